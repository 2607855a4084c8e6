// SPDX-License-Identifier: MIT
#include "trace/logwriter.h"
#include "trace/tracemodel.h"
#include "tests/support/files.h"
#include "tests/support/timezone.h"
#include "tests/support/tracelines.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <optional>

namespace {

// Local, in the zone the test runs in.
QDateTime base()
{
    return QDateTime(QDate(2011, 3, 4), QTime(10, 20, 30, 45));
}

} // namespace

class TestLogWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data() { addZoneRows(); }
    void init()
    {
        QFETCH_GLOBAL(QByteArray, zone);
        m_zone.emplace(zone);
    }
    void cleanup() { m_zone.reset(); }
    void everyLineInArrivalOrderBeforeTheViewsHearOfIt_data();
    void everyLineInArrivalOrderBeforeTheViewsHearOfIt();
    void flushWaitsForASecondOfQuiet();
    void steadyTrafficIsFlushedEverySecond();
    void aFailedWriteStopsTheLogOnce_data();
    void aFailedWriteStopsTheLogOnce();

private:
    std::optional<LocalZone> m_zone;
};

void TestLogWriter::everyLineInArrivalOrderBeforeTheViewsHearOfIt_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("limit");

    QTest::newRow("a few lines") << 3 << 100000;
    QTest::newRow("a burst within one batch") << 2000 << 100000;
    QTest::newRow("more lines than the trace keeps") << 500 << 100;
}

void TestLogWriter::everyLineInArrivalOrderBeforeTheViewsHearOfIt()
{
    QFETCH(int, count);
    QFETCH(int, limit);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("log.csv"));
    TraceModel model;
    model.setLimit(limit);
    LogWriter writer(&model);
    QVERIFY(writer.open(path));
    // Out of order by a little: the trace sorts them, the log keeps arrival.
    for (int i = 0; i < count; ++i)
        model.append(QStringLiteral("1"), QString::number(i), ColorText,
                     base().addMSecs(i % 2 ? i - 10 : i));
    // A batch as large as the limit is delivered at once.
    if (count < limit)
        QCOMPARE(model.rowCount(), 0);
    writer.flush();

    const QList<QByteArray> records = readFile(path).split('\n');
    QCOMPARE(records.size(), count + 1);
    QVERIFY(records.constLast().isEmpty());
    for (int i = 0; i < count; ++i) {
        const QByteArray time =
            base().addMSecs(i % 2 ? i - 10 : i).toString(Qt::ISODateWithMs).toLatin1();
        QCOMPARE(records.at(i), time + ",\"1\",\"" + QByteArray::number(i) + "\",1,,");
    }

    // The trace keeps the newest lines up to its limit, in time order.
    std::vector<std::pair<int, int>> byTime;
    for (int i = 0; i < count; ++i)
        byTime.emplace_back(i % 2 ? i - 10 : i, i);
    std::sort(byTime.begin(), byTime.end());
    QStringList kept;
    for (size_t k = byTime.size() - size_t(std::min(count, limit)); k < byTime.size(); ++k)
        kept << QStringLiteral("1|%1").arg(byTime[k].second);
    model.flush();
    QCOMPARE(model.rowCount(), int(kept.size()));
    QCOMPARE(lines(model), kept);
}

void TestLogWriter::flushWaitsForASecondOfQuiet()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("log.csv"));
    TraceModel model;
    LogWriter writer(&model);
    QVERIFY(writer.open(path));
    model.append(QStringLiteral("Main"), QStringLiteral("quiet"), ColorText, base());
    QVERIFY(readFile(path).isEmpty());
    QTRY_VERIFY_WITH_TIMEOUT(readFile(path).contains("\"quiet\""), 3000);
}

void TestLogWriter::steadyTrafficIsFlushedEverySecond()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("log.csv"));
    TraceModel model;
    LogWriter writer(&model);
    QVERIFY(writer.open(path));
    // A line every 100 ms, never a second of quiet: far less than the
    // file's own buffer holds before the wait ends.
    int count = 0;
    QTimer traffic;
    QObject::connect(&traffic, &QTimer::timeout, &traffic, [&] {
        model.append(QStringLiteral("1"), QStringLiteral("line %1").arg(count++), ColorText, base());
    });
    traffic.start(100);
    QTRY_VERIFY_WITH_TIMEOUT(readFile(path).contains("\"line 0\""), 10000);
}

void TestLogWriter::aFailedWriteStopsTheLogOnce_data()
{
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("flush");
    QTest::newRow("at the flush") << 1 << true;
    QTest::newRow("at a write, past the file's buffer") << 2000 << false;
}

void TestLogWriter::aFailedWriteStopsTheLogOnce()
{
    QFETCH(int, lines);
    QFETCH(bool, flush);
    TraceModel model;
    LogWriter writer(&model);
    QSignalSpy said(&writer, &LogWriter::message);
    // Every write to it fails as on a full disk.
    QVERIFY(writer.open(QStringLiteral("/dev/full")));
    for (int i = 0; i < lines; ++i)
        model.append(QStringLiteral("1"), QStringLiteral("a line long enough to fill a buffer soon: %1").arg(i),
                     ColorText, base());
    if (flush)
        writer.flush();
    QCOMPARE(said.size(), 1);
    QCOMPARE(said.at(0).at(0).toString(), QStringLiteral("Log stopped: No space left on device"));
    QVERIFY(!writer.isOpen());
    model.append(QStringLiteral("1"), QStringLiteral("after"), ColorText, base());
    writer.flush();
    QCOMPARE(said.size(), 1);
}

QTEST_MAIN(TestLogWriter)
#include "tst_logwriter.moc"
