// SPDX-License-Identifier: MIT
// Thirty seconds of the soak run (bench/soak runs it for hours): both
// channels busy on loopback, the sequence over and over, everything logged,
// and then every message in the log, in order.

#include "tests/app/soak.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

class TestSoak : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void thirtySecondsLoseNothing();
};

void TestSoak::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    // Settings of its own: the soak unlinks the channels.
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-soak-test"));
}

void TestSoak::thirtySecondsLoseNothing()
{
    QTemporaryDir dir;
    korvtest::Soak soak(dir.path(), 2000);
    const QString error = soak.start();
    QVERIFY2(error.isEmpty(), qPrintable(error));
    const korvtest::Soak::Result result = soak.run(30, 10);
    QVERIFY2(result.error.isEmpty(), qPrintable(result.error));
    QCOMPARE(result.loggedSent, result.sent);
    QCOMPARE(result.loggedReceived, result.sent);
    QVERIFY2(result.sequenceRuns >= 2, qPrintable(QString::number(result.sequenceRuns)));
    for (const auto& period : result.periods) {
        qInfo("%.1f MiB resident, p99 lateness %.0f ms, loop CPU stall %lld ms, %lld sent", period.residentKiB / 1024.0,
              period.p99Ms, static_cast<long long>(period.cpuStallMs), static_cast<long long>(period.sent));
        // The loop's own CPU between two ticks: a busy machine does not count.
        QVERIFY2(period.cpuStallMs < 500, qPrintable(QString::number(period.cpuStallMs)));
    }
}

QTEST_MAIN(TestSoak)
#include "tst_soak.moc"
