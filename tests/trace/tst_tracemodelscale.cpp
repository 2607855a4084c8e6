// SPDX-License-Identifier: MIT
// The trace model at its largest, on its own: each signal makes the item
// model tester walk every line.
#include "trace/tracemodel.h"

#include "qrv16/message.h"
#include "tests/support/statusreply.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

namespace {

const QDateTime base(QDate(2011, 3, 4), QTime(10, 20, 30, 45));

QString text(const TraceModel& model, int row)
{
    return model.index(row, TraceModel::TextColumn).data().toString();
}

} // namespace

class TestTraceModelScale : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aMillionLinesUnderTheTester();
};

// The largest default a user may want, with the tester checking every
// signal: lines arriving past the limit, removed at the top, the limit
// lowered under them.
void TestTraceModelScale::aMillionLinesUnderTheTester()
{
    constexpr int Million = 1000000;
    TraceModel model;
    model.setLimit(Million);
    const QRV16::Message message = statusReply();
    // Every signal makes the tester walk all lines: it is attached once the
    // trace is full, and lines arrive in few batches.
    for (int i = 0; i < Million; ++i) {
        if (i % 1000 == 0)
            model.append(QStringLiteral("1"), message, ColorMessageRx1, base.addMSecs(i), 1, 2);
        else
            model.append(QStringLiteral("1"), QString::number(i), ColorText, base.addMSecs(i));
    }
    model.flush();
    // Lines arriving push as many out at the top, in one batch.
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    for (int i = Million; i < Million + 3010; ++i)
        model.append(QStringLiteral("1"), QString::number(i), ColorText, base.addMSecs(i));
    const QPersistentModelIndex kept = model.index(Million + 3009, 0);
    model.flush();
    QCOMPARE(model.rowCount(), Million);
    QCOMPARE(text(model, 0), QStringLiteral("3010"));
    QCOMPARE(kept.row(), Million - 1);

    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    model.setLimit(1000);
    QCOMPARE(removed.count(), 1);
    QCOMPARE(model.rowCount(), 1000);
    QCOMPARE(kept.row(), 999);
    QCOMPARE(text(model, 0), QString::number(Million + 2010));
    model.append(QStringLiteral("1"), message, ColorMessageRx1, base.addMSecs(Million + 3010), 1, 2);
    model.flush();
    QCOMPARE(model.rowCount(), 1000);
    QVERIFY(model.rowCount(model.index(999, 0)) > 0);
}

QTEST_MAIN(TestTraceModelScale)
#include "tst_tracemodelscale.moc"
