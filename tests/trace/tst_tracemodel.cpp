// SPDX-License-Identifier: MIT
#include "files/logrecord.h"
#include "trace/stylesettings.h"
#include "trace/tracemodel.h"

#include "qrv16/message.h"
#include "qrv16/messagewriter.h"
#include "qrv16/tagdatalut.h"
#include "tests/support/definitions.h"
#include "tests/support/statusreply.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFontMetrics>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

const QDateTime base(QDate(2011, 3, 4), QTime(10, 20, 30, 45));

// A separator in a list of line times.
constexpr qint64 Separator = std::numeric_limits<qint64>::min();

QString text(const TraceModel& model, int row, const QModelIndex& parent = QModelIndex())
{
    return model.index(row, TraceModel::TextColumn, parent).data().toString();
}

// The tree below `parent` as "depth:text" lines in view order.
void walk(const TraceModel& model, const QModelIndex& parent, int depth, QStringList* out)
{
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex child = model.index(row, 0, parent);
        *out << QString::number(depth) + QLatin1Char(':') + text(model, row, parent);
        walk(model, child, depth + 1, out);
    }
}

// Every top-level row finds itself again through index, item and parent.
bool rowsConsistent(const TraceModel& model)
{
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex index = model.index(row, 0);
        TraceItem* item = model.index2item(index);
        if (!item || model.item2index(item) != index || index.parent().isValid())
            return false;
    }
    return true;
}

} // namespace

class TestTraceModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void insertionOrder_data();
    void insertionOrder();
    void loweringTheLimitDropsTheOldestInOneRemoval_data();
    void loweringTheLimitDropsTheOldestInOneRemoval();
    void timeStamps_data();
    void timeStamps();
    void repeatCounting_data();
    void repeatCounting();
    void logRecord_data();
    void logRecord();
    void lineTextKeptAsWritten_data();
    void lineTextKeptAsWritten();
    void messageLines_data();
    void messageLines();
    void malformedMessageDoesNotCrash();
    void messageTextsWrittenWhenAsked_data();
    void messageTextsWrittenWhenAsked();
    void removeAndRenumber();
    void styleSetsRowHeightFontsAndColours();
    void colorRules_data();
    void colorRules();
    void modelTester();
    void linesBetweenBatchesArriveTogether_data();
    void linesBetweenBatchesArriveTogether();
    void batchesAreFiftyMillisecondsApart();
    void waitingLineCanBeCountedAndRemoved();
    void separatorsAndChildLines();
    void liveLinesWaitBehindABlock();
    void heldLinesKeepTheirIndexes();
    void takenLinesComeBack_data();
    void takenLinesComeBack();
    void replayedLinesNameTheirOrigin();

private:
    std::unique_ptr<QRV16::TagDataLut> m_lut;
};

void TestTraceModel::initTestCase()
{
    m_lut = demoTags();
}

void TestTraceModel::insertionOrder_data()
{
    QTest::addColumn<QList<qint64>>("existing"); // ms after base, or Separator
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<int>("row"); // -1: not kept

    QTest::newRow("1.5 s earlier goes before the last line") << QList<qint64>{0} << qint64(-1500) << 0;
    QTest::newRow("2.5 s earlier goes after the last line") << QList<qint64>{0} << qint64(-2500) << 1;
    QTest::newRow("1999 ms earlier goes before") << QList<qint64>{0} << qint64(-1999) << 0;
    QTest::newRow("2000 ms earlier goes after") << QList<qint64>{0} << qint64(-2000) << 1;
    QTest::newRow("the same time goes after") << QList<qint64>{0} << qint64(0) << 1;
    QTest::newRow("later goes to the end") << QList<qint64>{0, 10} << qint64(20) << 2;
    QTest::newRow("sorted in among several lines") << QList<qint64>{0, 100, 200, 300} << qint64(150) << 2;
    QTest::newRow("a line 2 s later stops the scan") << QList<qint64>{0, 5000, 2000} << qint64(1500) << 2;
    QTest::newRow("a separator stops the scan") << QList<qint64>{0, Separator, 10} << qint64(-5) << 2;
    QTest::newRow("into an empty trace") << QList<qint64>{} << qint64(0) << 0;
    QTest::newRow("before the first line") << QList<qint64>{0, 1} << qint64(-1) << 0;
    QTest::newRow("100 later lines are all passed") << QList<qint64>(100, 1000) << qint64(0) << 0;
    QTest::newRow("of 150 later lines only the last 100 are passed")
        << QList<qint64>(150, 1000) << qint64(0) << 50;
    // With the trace at its limit of three lines.
    QTest::newRow("the oldest of a full trace is neither kept nor announced")
        << QList<qint64>{0, 1, 2} << qint64(-100) << -1;
}

void TestTraceModel::insertionOrder()
{
    QFETCH(QList<qint64>, existing);
    QFETCH(qint64, offset);
    QFETCH(int, row);

    TraceModel model;
    if (row < 0)
        model.setLimit(existing.size());
    for (qint64 ms : existing) {
        if (ms == Separator)
            model.appendSeparator();
        else
            model.append(QStringLiteral("1"), QStringLiteral("old"), ColorText, base.addMSecs(ms));
    }
    model.flush();
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy appended(&model, &TraceModel::appended);
    QSignalSpy layout(&model, &QAbstractItemModel::layoutChanged);
    const QModelIndex index =
        model.append(QStringLiteral("1"), QStringLiteral("new"), ColorText, base.addMSecs(offset));
    model.flush();
    if (row < 0) {
        QVERIFY(!index.isValid());
        QCOMPARE(appended.count(), 0);
        QCOMPARE(inserted.count(), 0);
        QCOMPARE(model.rowCount(), existing.size());
        QCOMPARE(text(model, 0), QStringLiteral("old"));
        return;
    }

    QCOMPARE(index.row(), row);
    QCOMPARE(text(model, row), QStringLiteral("new"));
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(inserted.at(0).at(1).toInt(), row);
    QCOMPARE(inserted.at(0).at(2).toInt(), row);
    QCOMPARE(appended.count(), 1);
    QCOMPARE(appended.at(0).at(0).value<QModelIndex>(), index);
    QCOMPARE(layout.count(), 0);
    QVERIFY(rowsConsistent(model));
}

void TestTraceModel::loweringTheLimitDropsTheOldestInOneRemoval_data()
{
    QTest::addColumn<int>("shown");   // lines the views know
    QTest::addColumn<int>("waiting"); // appended since the last batch
    QTest::addColumn<int>("held");    // live lines held behind a block
    QTest::addColumn<int>("limit");
    QTest::newRow("all shown") << 5000 << 0 << 0 << 1000;
    QTest::newRow("some waiting") << 3000 << 2500 << 0 << 1000;
    QTest::newRow("held lines beyond the new limit") << 500 << 0 << 1500 << 1000;
    QTest::newRow("raised keeps every line") << 3000 << 100 << 0 << 10000;
}

void TestTraceModel::loweringTheLimitDropsTheOldestInOneRemoval()
{
    QFETCH(int, shown);
    QFETCH(int, waiting);
    QFETCH(int, held);
    QFETCH(int, limit);
    TraceModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    int n = 0;
    for (; n < shown; ++n)
        model.append(QStringLiteral("1"), QString::number(n), ColorText, base.addMSecs(n));
    model.flush();
    for (; n < shown + waiting; ++n)
        model.append(QStringLiteral("1"), QString::number(n), ColorText, base.addMSecs(n));
    if (held > 0) {
        model.beginBlock();
        for (; n < shown + waiting + held; ++n)
            model.append(QStringLiteral("1"), QString::number(n), ColorText, base.addMSecs(n));
    }
    const QPersistentModelIndex first = model.index(0, 0);
    const QPersistentModelIndex last = model.index(n - 1, 0);
    QVERIFY(last.isValid());
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);

    model.setLimit(limit);
    QCOMPARE(model.limit(), limit);
    const int kept = qMin(n, limit);
    QVERIFY(model.lineCount() <= limit);
    QVERIFY(model.heldCount() <= limit);
    // At most one removal, from the top, of lines the views knew.
    QVERIFY(removed.count() <= 1);
    if (!removed.isEmpty())
        QCOMPARE(removed.at(0).at(1).toInt(), 0);
    QVERIFY(last.isValid());
    QCOMPARE(last.data(TraceModel::LogRole).toString().section(QLatin1Char(','), 2, 2),
             QStringLiteral("\"%1\"").arg(n - 1));

    model.endBlock();
    model.flush();
    QCOMPARE(model.rowCount(), kept);
    QCOMPARE(text(model, 0), QString::number(n - kept));
    QCOMPARE(text(model, kept - 1), QString::number(n - 1));
    QCOMPARE(last.row(), kept - 1);
    QCOMPARE(first.isValid(), n <= limit);
}

void TestTraceModel::timeStamps_data()
{
    QTest::addColumn<bool>("relative");
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<QString>("expected");

    QTest::newRow("absolute first line") << false << qint64(0) << "2011-03-04 10:20:30.045";
    QTest::newRow("absolute later line") << false << qint64(3600000 + 5) << "2011-03-04 11:20:30.050";
    QTest::newRow("relative first line shows 0.000") << true << qint64(0) << "0.000";
    QTest::newRow("relative milliseconds padded to three digits") << true << qint64(12045) << "12.045";
    QTest::newRow("relative below one second") << true << qint64(5) << "0.005";
    QTest::newRow("relative minutes stay seconds") << true << qint64(61001) << "61.001";
}

void TestTraceModel::timeStamps()
{
    QFETCH(bool, relative);
    QFETCH(qint64, offset);
    QFETCH(QString, expected);

    TraceModel model;
    model.appendSeparator(); // no time: relative time counts from the first timed line
    model.append(QStringLiteral("Main"), QStringLiteral("first"), ColorText, base);
    const QModelIndex index =
        model.append(QStringLiteral("Main"), QStringLiteral("line"), ColorText, base.addMSecs(offset));
    model.flush();
    // The time column changes with the option, and only with it.
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    model.setOptions(TraceOptions()
                         .with(TraceOptions::RelativeTime, relative)
                         .with(TraceOptions::HideDuplicates));
    QCOMPARE(changed.count(), relative ? 1 : 0);
    if (relative) {
        QCOMPARE(changed.at(0).at(0).toModelIndex(), model.index(0, TraceModel::TimeColumn));
        QCOMPARE(changed.at(0).at(1).toModelIndex(), model.index(2, TraceModel::TimeColumn));
    }
    QCOMPARE(index.siblingAtColumn(TraceModel::TimeColumn).data().toString(), expected);
    QCOMPARE(model.timestamp(base.addMSecs(offset)), expected);
    QCOMPARE(model.index(0, TraceModel::TimeColumn).data().toString(), QString());
}

void TestTraceModel::repeatCounting_data()
{
    QTest::addColumn<QString>("original");
    QTest::addColumn<QStringList>("counted"); // "=T": the text updated to T

    QTest::newRow("a plain text gets (2), then (3)") << "ping" << QStringList{"ping (2)", "ping (3)"};
    QTest::newRow("a word in parentheses is no counter") << "f(x)" << QStringList{"f(x) (2)"};
    QTest::newRow("an existing counter goes on") << "retry (9)" << QStringList{"retry (10)", "retry (11)"};
    QTest::newRow("text after the counter is kept") << "a (3) b" << QStringList{"a (4) b"};
    QTest::newRow("empty parentheses are no counter") << "()" << QStringList{"() (2)"};
    QTest::newRow("a sign is no counter") << "x (-1)" << QStringList{"x (-1) (2)"};
    QTest::newRow("a closing parenthesis first") << ")(" << QStringList{")( (2)"};
    QTest::newRow("a counter too large to count on")
        << "n (18446744073709551615)" << QStringList{"n (18446744073709551615) (2)"};
    QTest::newRow("an empty text") << "" << QStringList{" (2)"};
    QTest::newRow("an updated text counts on")
        << "b" << QStringList{"=b, updated: \u00e9", "b, updated: \u00e9 (2)"};
}

void TestTraceModel::repeatCounting()
{
    QFETCH(QString, original);
    QFETCH(QStringList, counted);

    TraceModel model;
    model.append(QStringLiteral("1"), QStringLiteral("before"), ColorText, base);
    const QModelIndex index = model.append(QStringLiteral("1"), original, ColorText, base.addMSecs(1));
    model.append(QStringLiteral("1"), QStringLiteral("after"), ColorText, base.addMSecs(2));
    model.flush();
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    for (const QString& expected : counted) {
        const bool update = expected.startsWith(QLatin1Char('='));
        if (update)
            model.update(index, expected.mid(1));
        else
            model.count(index);
        QCOMPARE(text(model, 1), expected.mid(update ? 1 : 0));
    }
    // Each change repaints its whole row, and only it.
    QCOMPARE(changed.count(), counted.size());
    for (const QList<QVariant>& args : changed) {
        QCOMPARE(args.at(0).value<QModelIndex>(), index.siblingAtColumn(0));
        QCOMPARE(args.at(1).value<QModelIndex>(),
                 index.siblingAtColumn(TraceModel::ColumnCount - 1));
    }
    QCOMPARE(model.index2item(index)->time(), base.addMSecs(1));
    QCOMPARE(text(model, 0), QStringLiteral("before"));
    QCOMPARE(text(model, 2), QStringLiteral("after"));
}

void TestTraceModel::logRecord_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<int>("color");
    QTest::addColumn<int>("src");
    QTest::addColumn<int>("dst");
    QTest::addColumn<QString>("record");
    QTest::addColumn<QString>("addr"); // as the column shows them

    QTest::newRow("a status line ends in two empty address fields")
        << "Main"
        << "hello" << base << 1 << -1 << -1 << "2011-03-04T10:20:30.045,\"Main\",\"hello\",1,,\n"
        << "";
    QTest::newRow("quotes are doubled and commas kept")
        << "1 Con"
        << "say \"hi\", bye" << base << 2 << -1 << -1
        << "2011-03-04T10:20:30.045,\"1 Con\",\"say \"\"hi\"\", bye\",2,,\n"
        << "";
    QTest::newRow("empty source and text are written as nothing")
        << ""
        << "" << base << 0 << -1 << -1 << "2011-03-04T10:20:30.045,,,0,,\n"
        << "";
    QTest::newRow("a negative colour is left empty")
        << ""
        << "" << QDateTime() << -1 << -1 << -1 << ",,,,,\n"
        << "";
    QTest::newRow("bus addresses")
        << "2"
        << "x" << base << 7 << 5 << 7 << "2011-03-04T10:20:30.045,\"2\",\"x\",7,5,7\n"
        << "5 -> 7";
    QTest::newRow("address zero counts")
        << "2"
        << "x" << base << 7 << 0 << 0 << "2011-03-04T10:20:30.045,\"2\",\"x\",7,0,0\n"
        << "0 -> 0";
    QTest::newRow("source address only")
        << "2"
        << "x" << base << 7 << 5 << -1 << "2011-03-04T10:20:30.045,\"2\",\"x\",7,5,\n"
        << "5";
    QTest::newRow("destination address only")
        << "2"
        << "x" << base << 7 << -1 << 3 << "2011-03-04T10:20:30.045,\"2\",\"x\",7,,3\n"
        << "-1 -> 3";
    QTest::newRow("a line break stays inside the quotes")
        << "Main"
        << "a\nb" << base << 1 << -1 << -1 << "2011-03-04T10:20:30.045,\"Main\",\"a\nb\",1,,\n"
        << "";
}

void TestTraceModel::logRecord()
{
    QFETCH(QString, source);
    QFETCH(QString, text);
    QFETCH(QDateTime, time);
    QFETCH(int, color);
    QFETCH(int, src);
    QFETCH(int, dst);
    QFETCH(QString, record);
    QFETCH(QString, addr);

    const TraceData data(source, StyleColor(color), text, time, src, dst);
    QCOMPARE(TraceModel::logData(data), record);

    TraceModel model;
    const QModelIndex index = model.append(new TraceItem(data));
    QCOMPARE(index.data(TraceModel::LogRole).toString(), record);
    QCOMPARE(index.siblingAtColumn(TraceModel::AddrColumn).data().toString(), addr);
}

void TestTraceModel::lineTextKeptAsWritten_data()
{
    // A line's text is stored as UTF-8; ASCII is narrowed without a detour.
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("ASCII") << QStringLiteral("Count=5 Name=\"x\"");
    QTest::newRow("accent at the end") << QStringLiteral("Name=\"caf\u00e9\"");
    QTest::newRow("accent first") << QStringLiteral("\u00e9t\u00e9");
    QTest::newRow("outside the BMP") << QStringLiteral("x\U0001F600y");
    QTest::newRow("DEL and controls") << QStringLiteral("a\x7f\x01\tb");
    QTest::newRow("NUL inside") << QString::fromUtf16(u"a\0b", 3);
}

void TestTraceModel::lineTextKeptAsWritten()
{
    QFETCH(QString, text);
    TraceItem item(TraceData(QStringLiteral("1"), ColorText, text, base));
    QCOMPARE(item.text(), text);
    QCOMPARE(item.hasText(), !text.isEmpty());
    QCOMPARE(item.data().text, text);
    item.setText(text + QStringLiteral("\u00fc"));
    QCOMPARE(item.text(), text + QStringLiteral("\u00fc"));
    item.setText(text + QStringLiteral("z"));
    QCOMPARE(item.text(), text + QStringLiteral("z"));
}

void TestTraceModel::messageLines_data()
{
    QTest::addColumn<bool>("decode");
    QTest::addColumn<bool>("hungarian");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("tree");

    QTest::newRow("decoded with names")
        << true << false
        << "GetStatusReply=(ResultCode=Ok Pumps=(PumpId=2 Running=true) StationName=\"x\")"
        << QStringList{"0:GetStatusReply", "1:ResultCode = Ok", "1:Pumps", "2:PumpId = 2",
                       "2:Running = true", "1:StationName = \"x\""};
    QTest::newRow("decoded in Hungarian notation")
        << true << true
        << "ansGetStatusReply=(iResultCode=Ok lstPumps=(iPumpId=2 bRunning=true) sStationName=\"x\")"
        << QStringList{"0:ansGetStatusReply", "1:iResultCode = Ok", "1:lstPumps", "2:iPumpId = 2",
                       "2:bRunning = true", "1:sStationName = \"x\""};
    QTest::newRow("without decoding, codes only")
        << false << false << "E001=(1006=0 C001=(1001=2 2001=true) 3001=\"x\")"
        << QStringList{"0:E001", "1:1006 = 0", "1:C001", "2:1001 = 2", "2:2001 = true", "1:3001 = \"x\""};
    QTest::newRow("Hungarian without decoding has no names to prefix")
        << false << true << "E001=(1006=0 C001=(1001=2 2001=true) 3001=\"x\")"
        << QStringList{"0:E001", "1:1006 = 0", "1:C001", "2:1001 = 2", "2:2001 = true", "1:3001 = \"x\""};
}

void TestTraceModel::messageLines()
{
    QFETCH(bool, decode);
    QFETCH(bool, hungarian);
    QFETCH(QString, line);
    QFETCH(QStringList, tree);

    TraceModel model;
    model.setOptions(
        TraceOptions().with(TraceOptions::Decode, decode).with(TraceOptions::HungarianNotation, hungarian));
    model.setTags(m_lut.get());
    StyleSettings style;
    model.setStyle(&style);
    const QModelIndex index = model.append(QStringLiteral("1"), statusReply(), ColorMessageRx1, base, 1, 2);
    model.flush();
    QCOMPARE(index.siblingAtColumn(TraceModel::TextColumn).data().toString(), line);
    QCOMPARE(index.siblingAtColumn(TraceModel::SourceColumn).data().toString(), QStringLiteral("1"));
    QCOMPARE(index.siblingAtColumn(TraceModel::AddrColumn).data().toString(), QStringLiteral("1 -> 2"));
    QCOMPARE(LogRecord::split(index.data(TraceModel::LogRole).toString()),
             (QStringList{"2011-03-04T10:20:30.045", "1", line, "7", "1", "2"}));

    // The child lines are built only now, after the flags changed: they
    // keep the flags of their line.
    model.setOptions(TraceOptions()
                         .with(TraceOptions::Decode, !decode)
                         .with(TraceOptions::HungarianNotation, !hungarian));
    QStringList seen;
    walk(model, index, 0, &seen);
    QCOMPARE(seen, tree);
    const QString tip =
        index.siblingAtColumn(TraceModel::TextColumn).data(Qt::ToolTipRole).toString();
    QVERIFY2(tip.contains(tree.at(3).mid(2)), qPrintable(tip));

    // Child lines: text colour, no time stamp, no addresses, the parent's time.
    const QModelIndex first = model.index(0, 0, index);
    QCOMPARE(first.parent(), index);
    QCOMPARE(first.data(Qt::ForegroundRole).value<QColor>(), style.color(ColorText));
    QCOMPARE(first.data().toString(), QString());
    QCOMPARE(model.index2item(first)->time(), base);
    QCOMPARE(model.index2item(first)->src(), -1);
    QCOMPARE(first.siblingAtColumn(TraceModel::AddrColumn).data().toString(), QString());
    const QModelIndex pumps = model.index(1, 0, first);
    QCOMPARE(model.index(1, TraceModel::TextColumn, pumps).parent(), pumps);
    QCOMPARE(pumps.parent().parent(), index);
}

void TestTraceModel::malformedMessageDoesNotCrash()
{
    TraceModel model;
    model.setTags(m_lut.get());
    QRV16::Message secret;
    secret.beginMessage(0xC001);
    secret.appendString(0x3003, QStringLiteral("hunter2")); // Password
    secret.endMessage();
    const QList<QByteArray> inputs = {
        QByteArray(),
        QByteArray("\x05", 1),
        QByteArray("\x08\x00\x01\xC0\x09\x00\x01\x10\x00\x00", 10), // nested length past the end
        QByteArray("\x02\x00\x01\xC0", 4),                           // empty list
        secret.bytes(),
    };
    for (const QByteArray& bytes : inputs) {
        const QModelIndex index =
            model.append(QStringLiteral("1"), QRV16::Message(bytes), ColorMessageRx1, base);
        model.flush();
        QVERIFY(index.isValid());
        QStringList tree;
        walk(model, index, 0, &tree);
        QVERIFY(!tree.join(QLatin1Char('\n')).contains(QStringLiteral("hunter2")));
        // Nor in any tool tip: the line's own or its elements'.
        const QString own = index.siblingAtColumn(TraceModel::TextColumn).data(Qt::ToolTipRole).toString();
        QVERIFY2(!own.contains(QStringLiteral("hunter2")), qPrintable(own));
        for (int row = 0; row < model.rowCount(index); ++row) {
            const QString tip = model.index(row, TraceModel::TextColumn, index).data(Qt::ToolTipRole).toString();
            QVERIFY2(!tip.contains(QStringLiteral("hunter2")), qPrintable(tip));
        }
    }
    QCOMPARE(text(model, 0, model.index(3, 0)), QStringLiteral("Pumps"));
    QCOMPARE(model.rowCount(model.index(0, 0, model.index(3, 0))), 0);
}

void TestTraceModel::messageTextsWrittenWhenAsked_data()
{
    QTest::addColumn<bool>("decode");
    QTest::addColumn<bool>("hungarian");
    QTest::newRow("numbers") << false << false;
    QTest::newRow("decoded") << true << false;
    QTest::newRow("decoded, Hungarian") << true << true;
}

// Message lines keep no text: it is written as asked for, in any order, as
// their options said when they arrived.
void TestTraceModel::messageTextsWrittenWhenAsked()
{
    QFETCH(bool, decode);
    QFETCH(bool, hungarian);
    TraceModel model;
    model.setTags(m_lut.get());
    TraceOptions options;
    options.set(TraceOptions::Decode, decode);
    options.set(TraceOptions::HungarianNotation, hungarian);
    model.setOptions(options);
    const QRV16::MessageWriter writer(decode ? m_lut.get() : nullptr,
                                      hungarian ? QRV16::TextOptions(QRV16::Hungarian) : QRV16::TextOptions());
    constexpr int Lines = 3000;
    QStringList expected;
    for (int i = 0; i < Lines; ++i) {
        QRV16::Message m;
        m.beginMessage(0xC001);
        m.appendInt(0x1001, i);
        m.appendString(0x3001, QString(i % 7, QLatin1Char('s')));
        m.endMessage();
        expected << writer.toText(m);
        model.append(QStringLiteral("1"), m, ColorMessageRx1, base.addMSecs(i));
    }
    // Lines of later options keep theirs.
    model.setOptions(TraceOptions());
    model.flush();
    QCOMPARE(model.rowCount(), Lines);
    for (const int stride : {1, Lines - 1, 7919}) {
        for (int i = 0; i < Lines; ++i) {
            const int row = int(qint64(i) * stride % Lines);
            QCOMPARE(text(model, row), expected.at(row));
        }
    }
    const QModelIndex line = model.index(1234, 0);
    QCOMPARE(LogRecord::split(line.data(TraceModel::LogRole).toString()).value(2), expected.at(1234));
    model.count(line);
    model.count(line);
    QCOMPARE(text(model, 1234), expected.at(1234) + QStringLiteral(" (3)"));
    QCOMPARE(text(model, 1235), expected.at(1235));
}

void TestTraceModel::removeAndRenumber()
{
    TraceModel model;
    model.setTags(m_lut.get());
    model.setLimit(6);
    for (int i = 0; i < 8; ++i)
        model.append(QStringLiteral("1"), QString::number(i), ColorText, base.addMSecs(i));
    model.flush();
    QVERIFY(rowsConsistent(model));
    QCOMPARE(text(model, 0), QStringLiteral("2"));

    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    model.remove(model.index(2, 0));
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.at(0).at(1).toInt(), 2);
    QCOMPARE(model.rowCount(), 5);
    QCOMPARE(text(model, 2), QStringLiteral("5"));
    QVERIFY(rowsConsistent(model));

    QVERIFY(model.removeRow(3));
    QCOMPARE(text(model, 3), QStringLiteral("7"));
    QVERIFY(model.removeRows(0, 2));
    QCOMPARE(text(model, 0), QStringLiteral("5"));
    QVERIFY(!model.removeRows(1, 5));
    QVERIFY(rowsConsistent(model));

    // A line sorted in after removals still finds its row.
    const QModelIndex late = model.append(QStringLiteral("1"), QStringLiteral("6.5"), ColorText,
                                          base.addMSecs(6));
    model.flush();
    QCOMPARE(late.row(), 1);
    QVERIFY(rowsConsistent(model));

    // A child line goes with its own row only.
    const QModelIndex message = model.append(QStringLiteral("1"), statusReply(), ColorText, base.addSecs(9));
    model.flush();
    const QModelIndex reply = model.index(0, 0, message);
    model.remove(model.index(0, 0, reply));
    QCOMPARE(text(model, 0, reply), QStringLiteral("Pumps"));
    QCOMPARE(model.index(1, 0, reply).row(), 1);
    QCOMPARE(model.index2item(model.index(1, 0, reply))->row(), 1);

    model.remove(QModelIndex());
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    model.clear();
    QCOMPARE(reset.count(), 1);
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(model.append(QStringLiteral("1"), QStringLiteral("again"), ColorText, base).row(), 0);
}

void TestTraceModel::styleSetsRowHeightFontsAndColours()
{
    TraceModel model;
    const QModelIndex index = model.append(QStringLiteral("1"), QStringLiteral("x"), ColorError, base);
    QCOMPARE(index.data(Qt::SizeHintRole).toSize(), QSize(32, 32));
    QVERIFY(!index.data(Qt::ForegroundRole).isValid());

    StyleSettings style;
    QFont big = style.codeFont();
    big.setPixelSize(40);
    style.setCodeFont(big);
    QFont tiny = style.textFont();
    tiny.setPixelSize(4);
    style.setTextFont(tiny);
    QSignalSpy layout(&model, &QAbstractItemModel::layoutChanged);
    model.setStyle(&style);
    QCOMPARE(layout.count(), 1);
    QCOMPARE(model.rowHeight(), QFontMetrics(big).height());
    QCOMPARE(index.data(Qt::SizeHintRole).toSize(), QSize(32, model.rowHeight()));
    QCOMPARE(index.siblingAtColumn(TraceModel::TextColumn).data(Qt::FontRole).value<QFont>(), big);
    QCOMPARE(index.siblingAtColumn(TraceModel::SourceColumn).data(Qt::FontRole).value<QFont>(), tiny);
    QCOMPARE(index.data(Qt::ForegroundRole).value<QColor>(), style.color(ColorError));
    QCOMPARE(index.data(Qt::BackgroundRole).value<QColor>(), style.color(ColorBackground));

    big.setPixelSize(4);
    style.setCodeFont(big);
    model.setStyle(&style);
    QCOMPARE(model.rowHeight(), 16);

    // Colours outside the table get none.
    const QModelIndex odd = model.append(new TraceItem(TraceData("1", StyleColor(15), "y", base)));
    QVERIFY(!odd.data(Qt::ForegroundRole).isValid());
}

using Rules = QVector<StyleSettings::ColorRule>;
Q_DECLARE_METATYPE(Rules)

// ResultCode=3, no pumps.
QRV16::Message failedReply()
{
    QRV16::Message m;
    m.beginMessage(0xE001);
    m.appendInt(0x1006, 3);
    m.endMessage();
    return m;
}

void TestTraceModel::colorRules_data()
{
    const QColor red(Qt::red), green(Qt::green), blue(Qt::blue);
    QTest::addColumn<Rules>("rules");
    QTest::addColumn<QColor>("okColor");     // statusReply(); invalid for the style's own
    QTest::addColumn<QColor>("failedColor"); // failedReply()

    QTest::newRow("no rules") << Rules() << QColor() << QColor();
    QTest::newRow("one rule") << Rules{{QStringLiteral("ResultCode!=Ok"), red, true}} << QColor() << red;
    QTest::newRow("first match wins")
        << Rules{{QStringLiteral("PumpId=2"), green, true}, {QStringLiteral("GetStatusReply"), red, true}}
        << green << red;
    QTest::newRow("disabled rule ignored")
        << Rules{{QStringLiteral("GetStatusReply"), green, false}, {QStringLiteral("ResultCode=Ok"), blue, true}}
        << blue << QColor();
    QTest::newRow("broken rule ignored")
        << Rules{{QStringLiteral("(ResultCode="), green, true}, {QStringLiteral("0x1006"), red, true}} << red
        << red;
    QTest::newRow("unknown name ignored")
        << Rules{{QStringLiteral("NoSuchTag"), green, true}, {QStringLiteral("not PumpId"), blue, true}}
        << QColor() << blue;
    QTest::newRow("blank rule ignored") << Rules{{QStringLiteral("  "), green, true}} << QColor() << QColor();
}

void TestTraceModel::colorRules()
{
    QFETCH(Rules, rules);
    QFETCH(QColor, okColor);
    QFETCH(QColor, failedColor);

    TraceModel model;
    QAbstractItemModelTester tester(&model);
    StyleSettings style;
    style.setColorRules(rules);
    model.setStyle(&style);
    const QModelIndex text = model.append(QStringLiteral("1"), QStringLiteral("GetStatusReply"), ColorText, base);
    const QModelIndex ok = model.append(QStringLiteral("1"), statusReply(), ColorMessageRx1, base, 1, 2);
    const QModelIndex failed = model.append(QStringLiteral("1"), failedReply(), ColorMessageTx1, base, 1, 2);
    model.flush();
    // Before the definitions only a rule by number can colour a line; names
    // resolve once they come, and without rules that colour nothing changes.
    const bool byNumber =
        std::any_of(rules.cbegin(), rules.cend(), [](const StyleSettings::ColorRule& rule) {
            return rule.enabled && rule.expression.startsWith(QLatin1String("0x"));
        });
    QCOMPARE(ok.data(Qt::ForegroundRole).value<QColor>(),
             byNumber ? okColor : style.color(ColorMessageRx1));
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    model.setTags(m_lut.get());
    QCOMPARE(changed.count(), okColor.isValid() || failedColor.isValid() ? 1 : 0);

    QCOMPARE(ok.data(Qt::ForegroundRole).value<QColor>(),
             okColor.isValid() ? okColor : style.color(ColorMessageRx1));
    QCOMPARE(failed.data(Qt::ForegroundRole).value<QColor>(),
             failedColor.isValid() ? failedColor : style.color(ColorMessageTx1));
    // Rules colour text only, and only whole messages.
    QCOMPARE(ok.data(Qt::BackgroundRole).value<QColor>(), style.color(ColorBackground));
    QCOMPARE(text.data(Qt::ForegroundRole).value<QColor>(), style.color(ColorText));
    QVERIFY(model.rowCount(ok) > 0);
    const QModelIndex child = model.index(0, 0, ok);
    const QColor childColor = child.data(Qt::ForegroundRole).value<QColor>();

    // Taking the rules away restores the line colours once the style is set again.
    style.setColorRules(Rules());
    model.setStyle(&style);
    QCOMPARE(failed.data(Qt::ForegroundRole).value<QColor>(), style.color(ColorMessageTx1));
    QCOMPARE(child.data(Qt::ForegroundRole).value<QColor>(), childColor);
}

void TestTraceModel::modelTester()
{
    TraceModel model;
    model.setTags(m_lut.get());
    model.setLimit(40);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);

    for (int i = 0; i < 120; ++i) {
        const QDateTime time = base.addMSecs(i * 100 - (i % 7) * 300);
        switch (i % 5) {
        case 0: model.append(QStringLiteral("1"), statusReply(), ColorMessageRx1, time, 1, 2); break;
        case 1: model.appendSeparator(); break;
        default: model.append(QStringLiteral("2 Con"), QString::number(i), ColorText, time);
        }
        if (i % 3 == 0)
            model.flush();
        if (QTest::currentTestFailed())
            return;
        if (i % 11 == 0) {
            QStringList tree;
            walk(model, QModelIndex(), 0, &tree);
            model.count(model.index(model.rowCount() - 1, 0));
        }
        if (i % 13 == 0)
            model.remove(model.index(model.rowCount() / 2, 0));
        if (i % 17 == 0) {
            const QModelIndex message = model.index(0, 0, model.index(model.rowCount() - 1, 0));
            model.remove(model.index(0, 0, message));
        }
    }
    QVERIFY(rowsConsistent(model));
    StyleSettings style;
    model.setStyle(&style);
    model.removeRows(0, 5);
    model.clear();
    model.append(QStringLiteral("1"), statusReply(), ColorMessageRx1, base);
    model.setLimit(1);
    model.append(QStringLiteral("1"), QStringLiteral("last"), ColorText, base.addSecs(1));
    model.flush();
    QCOMPARE(model.rowCount(), 1);
}

void TestTraceModel::linesBetweenBatchesArriveTogether_data()
{
    QTest::addColumn<int>("existing");
    QTest::addColumn<int>("added");
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("removed");

    QTest::newRow("into an empty trace") << 0 << 500 << 100000 << 0;
    QTest::newRow("behind lines already shown") << 20 << 300 << 100000 << 0;
    QTest::newRow("over the limit: one removal at the top") << 100 << 250 << 300 << 50;
    QTest::newRow("a batch nearly as large as the limit") << 40 << 45 << 50 << 35;
    QTest::newRow("the default limit: line 100,001 pushes out the oldest") << 100000 << 1 << 0 << 1;
}

void TestTraceModel::linesBetweenBatchesArriveTogether()
{
    QFETCH(int, existing);
    QFETCH(int, added);
    QFETCH(int, limit);
    QFETCH(int, removed);

    TraceModel model;
    if (limit > 0)
        model.setLimit(limit);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    for (int i = 0; i < existing; ++i)
        model.append(QStringLiteral("1"), QString::number(i), ColorText, base.addMSecs(i));
    model.flush();
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removals(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy appended(&model, &TraceModel::appended);
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    for (int i = existing; i < existing + added; ++i)
        model.append(QStringLiteral("1"), QString::number(i), ColorText, base.addMSecs(i));

    // Every line is reported at once, in order, for the log ...
    QCOMPARE(appended.count(), added);
    for (int i = 0; i < added; ++i)
        QCOMPARE(model.data(appended.at(i).at(0).value<QModelIndex>(), TraceModel::LogRole)
                     .toString()
                     .section(QLatin1Char(','), 2, 2),
                 QLatin1Char('"') + QString::number(existing + i) + QLatin1Char('"'));
    // ... while views hear of them only once the event loop turns.
    QCOMPARE(inserted.count(), 0);
    QCOMPARE(model.rowCount(), existing);
    QVERIFY(inserted.wait(1000));
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(removals.count(), removed > 0 ? 1 : 0);
    if (removed > 0) {
        QCOMPARE(removals.at(0).at(1).toInt(), 0);
        QCOMPARE(removals.at(0).at(2).toInt(), removed - 1);
    }
    const int shown = existing + added - removed;
    QCOMPARE(model.rowCount(), shown);
    QCOMPARE(inserted.at(0).at(1).toInt(), existing - removed);
    QCOMPARE(inserted.at(0).at(2).toInt(), shown - 1);
    for (int row = 0; row < shown; ++row)
        QCOMPARE(text(model, row), QString::number(removed + row));
    QCOMPARE(reset.count(), 0);
    QVERIFY(rowsConsistent(model));
}

void TestTraceModel::batchesAreFiftyMillisecondsApart()
{
    TraceModel model;
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    model.append(QStringLiteral("1"), QStringLiteral("first"), ColorText, base);
    // Long after the last batch: the next event-loop turn delivers it.
    QCoreApplication::processEvents();
    QCOMPARE(inserted.count(), 1);

    QElapsedTimer clock;
    qint64 deliveredAt = -1;
    connect(&model, &QAbstractItemModel::rowsInserted, this, [&] { deliveredAt = clock.elapsed(); });
    clock.start();
    model.append(QStringLiteral("1"), QStringLiteral("second"), ColorText, base.addMSecs(1));
    QCoreApplication::processEvents();
    // Only a lower bound: a busy machine may take any time to come back.
    QVERIFY(deliveredAt < 0 || deliveredAt >= TraceModel::BatchMilliseconds - 5);
    QTRY_COMPARE_WITH_TIMEOUT(inserted.count(), 2, 30000);
    QVERIFY2(deliveredAt >= TraceModel::BatchMilliseconds - 5, qPrintable(QString::number(deliveredAt)));
    QCOMPARE(model.rowCount(), 2);
}

void TestTraceModel::waitingLineCanBeCountedAndRemoved()
{
    TraceModel model;
    model.setLimit(10);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    for (int i = 0; i < 10; ++i)
        model.append(QStringLiteral("1"), QString::number(i), ColorText, base.addMSecs(i));
    model.flush();
    const QPersistentModelIndex kept =
        model.append(QStringLiteral("1"), QStringLiteral("ping"), ColorText, base.addMSecs(10));
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    model.count(kept);
    QCOMPARE(changed.count(), 0); // no view knows the row yet
    // One line sorted in among the shown ones moves the waiting line too.
    model.append(QStringLiteral("1"), QStringLiteral("late"), ColorText, base.addMSecs(4));
    QCOMPARE(kept.row(), 11);
    model.flush();
    QCOMPARE(kept.row(), 9);
    QCOMPARE(text(model, 9), QStringLiteral("ping (2)"));

    const QPersistentModelIndex gone =
        model.append(QStringLiteral("1"), QStringLiteral("gone"), ColorText, base.addMSecs(20));
    model.remove(gone);
    QVERIFY(!gone.isValid());
    // Removing it delivered the batch first, which pushed out the oldest.
    QCOMPARE(model.rowCount(), 9);
    QCOMPARE(text(model, 8), QStringLiteral("ping (2)"));
    QVERIFY(rowsConsistent(model));
}

void TestTraceModel::separatorsAndChildLines()
{
    TraceModel model;
    model.setTags(m_lut.get());
    StyleSettings style;
    model.setStyle(&style);
    model.append(QStringLiteral("Main"), QStringLiteral("status"), ColorText, base.addDays(1));
    // A separator is never sorted in, and has no text, colours or time.
    const QModelIndex separator = model.appendSeparator();
    QCOMPARE(separator.row(), 1);
    for (int column = 0; column < TraceModel::ColumnCount; ++column)
        QCOMPARE(separator.siblingAtColumn(column).data().toString(), QString());
    QVERIFY(!separator.data(Qt::ForegroundRole).isValid());
    QVERIFY(!separator.data(Qt::BackgroundRole).isValid());
    QCOMPARE(separator.data(TraceModel::LogRole).toString(), QStringLiteral(",,,,,\n"));
    QCOMPARE(model.index2item(separator)->color(), ColorNone);
    model.append(QStringLiteral("1"), statusReply(), ColorMessageRx1, base);
    model.append(QStringLiteral("1"), QRV16::Message(QByteArray()), ColorMessageRx1, base);
    TraceItem* plain = new TraceItem(TraceData(QStringLiteral("Main"), ColorText, QStringLiteral("x"), base));
    model.append(plain);
    model.flush();

    QVERIFY(!model.hasChildren(model.index(0, 0)));
    QVERIFY(!model.hasChildren(model.index(1, 0)));
    const QModelIndex message = model.index(2, 0);
    QVERIFY(model.hasChildren(message));
    QVERIFY(model.index2item(message)->hasPendingChildren()); // not built by asking
    QVERIFY(!model.hasChildren(model.index(3, 0)));
    // Nested lists have children, plain elements none.
    const QModelIndex reply = model.index(0, 0, message);
    QVERIFY(model.hasChildren(reply));
    QVERIFY(!model.hasChildren(model.index(0, 0, reply)));
    QVERIFY(model.hasChildren(model.index(1, 0, reply)));
    QVERIFY(!model.hasChildren(model.index(4, 0)));
    // Attached last: it walks the tree and builds every child line.
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
}

// Lines appended between the turns of a replay stay out of sight and out of
// the log until the replayed block is complete, then follow it in order.
void TestTraceModel::liveLinesWaitBehindABlock()
{
    TraceModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy appended(&model, &TraceModel::appended);
    const QDateTime now = QDateTime::currentDateTime();
    model.append(QStringLiteral("Main"), QStringLiteral("before"), ColorText, now);
    model.beginBlock();
    model.setBlockTurn(true);
    model.appendSeparator();
    model.setBlockTurn(false);
    const QPersistentModelIndex live = model.append(QStringLiteral("1"), QStringLiteral("ping"), ColorText, now);
    QVERIFY(live.isValid());
    model.count(live);
    const QModelIndex growing = model.appendUnannounced(QStringLiteral("1 Trace"), QStringLiteral("query"), ColorText);
    model.setBlockTurn(true);
    for (int i = 0; i < 3; ++i)
        model.append(QStringLiteral("Log"), QStringLiteral("replayed %1").arg(i), ColorText, base.addMSecs(i));
    model.setBlockTurn(false);
    model.flush();
    QCOMPARE(model.heldCount(), 2);
    QCOMPARE(model.rowCount(), 5);
    QCOMPARE(appended.count(), 5);
    model.announce(growing);
    QCOMPARE(appended.count(), 5);
    model.update(growing, QStringLiteral("query ctl 89"));

    model.setBlockTurn(true);
    model.appendSeparator();
    model.setBlockTurn(false);
    model.endBlock();
    model.flush();
    QStringList shown;
    for (int row = 0; row < model.rowCount(); ++row)
        shown << text(model, row);
    QCOMPARE(shown, (QStringList{"before", "", "replayed 0", "replayed 1", "replayed 2", "", "ping (2)",
                                 "query ctl 89"}));
    QCOMPARE(live.row(), 6);
    QCOMPARE(model.heldCount(), 0);
    QCOMPARE(appended.count(), 8);
    QCOMPARE(appended.at(6).at(0).value<QModelIndex>().row(), 6);
    QCOMPARE(appended.at(7).at(0).value<QModelIndex>().row(), 7);
    QVERIFY(rowsConsistent(model));
}

// Persistent indexes to held lines follow them while the block grows and
// the oldest lines leave by the limit.
void TestTraceModel::heldLinesKeepTheirIndexes()
{
    TraceModel model;
    model.setLimit(10);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    const QDateTime now = QDateTime::currentDateTime();
    for (int i = 0; i < 5; ++i)
        model.append(QStringLiteral("Main"), QStringLiteral("old %1").arg(i), ColorText, now);
    model.flush();
    model.beginBlock();
    const QPersistentModelIndex first = model.append(QStringLiteral("1"), QStringLiteral("live 0"), ColorText, now);
    const QPersistentModelIndex second = model.append(QStringLiteral("1"), QStringLiteral("live 1"), ColorText, now);
    model.setBlockTurn(true);
    for (int i = 0; i < 12; ++i) {
        model.append(QStringLiteral("Log"), QStringLiteral("replayed %1").arg(i), ColorText, base.addMSecs(i));
        // A view asks between the turns; the oldest lines leave.
        if (i % 4 == 3)
            model.flush();
    }
    model.setBlockTurn(false);
    QCOMPARE(first.sibling(first.row(), TraceModel::TextColumn).data().toString(), QStringLiteral("live 0"));
    model.endBlock();
    model.flush();
    QCOMPARE(model.rowCount(), 10);
    QCOMPARE(text(model, 9), QStringLiteral("live 1"));
    QCOMPARE(second.row(), 9);
    QCOMPARE(first.row(), 8);
    QCOMPARE(text(model, 7), QStringLiteral("replayed 11"));
    QVERIFY(rowsConsistent(model));
}

void TestTraceModel::takenLinesComeBack_data()
{
    QTest::addColumn<bool>("all");
    QTest::newRow("one line") << false;
    QTest::newRow("every line") << true;
}

// Lines handed out come back whole where they are put, with their child
// lines, without being announced again; lines that came since stay.
void TestTraceModel::takenLinesComeBack()
{
    QFETCH(bool, all);
    TraceModel model;
    model.setTags(m_lut.get());
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.append(QStringLiteral("Main"), QStringLiteral("a"), ColorText, base);
    model.append(QStringLiteral("1"), statusReply(), ColorMessageRx1, base.addMSecs(1));
    model.append(QStringLiteral("Main"), QStringLiteral("c"), ColorText, base.addMSecs(2));
    model.flush();
    QStringList before;
    walk(model, QModelIndex(), 0, &before);
    TraceModel::Lines taken;
    int row = 0;
    if (all) {
        taken = model.takeAll();
        QCOMPARE(taken.size(), 3);
        QCOMPARE(model.rowCount(), 0);
    } else {
        taken = model.take(model.index(1, 0));
        QCOMPARE(taken.size(), 1);
        QVERIFY(model.take(model.index(0, 0, model.index(0, 0))).isEmpty());
        QCOMPARE(model.rowCount(), 2);
        QCOMPARE(text(model, 1), QStringLiteral("c"));
        row = 1;
    }
    model.append(QStringLiteral("Main"), QStringLiteral("since"), ColorText, base.addSecs(10));
    QSignalSpy appended(&model, &TraceModel::appended);
    model.restore(std::move(taken), row);
    QCOMPARE(appended.count(), 0);
    QStringList shown;
    walk(model, QModelIndex(), 0, &shown);
    QCOMPARE(shown, before + QStringList{"0:since"});
    QVERIFY(shown.size() > 6);
    QVERIFY(rowsConsistent(model));
}

// Replayed lines say where they come from, in every column's tool tip, and
// stand apart in italics.
void TestTraceModel::replayedLinesNameTheirOrigin()
{
    TraceModel model;
    model.setTags(m_lut.get());
    StyleSettings style;
    model.setStyle(&style);
    model.append(QStringLiteral("Main"), QStringLiteral("live"), ColorText, base);
    model.setReplayOrigin(QStringLiteral("/logs/day.csv"), 12);
    model.append(QStringLiteral("1"), statusReply(), ColorMessageRx1, base);
    model.setReplayOrigin(QString(), 0);
    model.append(QStringLiteral("Main"), QStringLiteral("live again"), ColorText, base);
    model.flush();
    const QString origin =
        QStringLiteral("Replayed from %1, line 12").arg(QDir::toNativeSeparators(QStringLiteral("/logs/day.csv")));
    QCOMPARE(model.index(1, TraceModel::TimeColumn).data(Qt::ToolTipRole).toString(), origin);
    const QString tip = model.index(1, TraceModel::TextColumn).data(Qt::ToolTipRole).toString();
    QVERIFY2(tip.startsWith(origin + QLatin1Char('\n')), qPrintable(tip));
    QVERIFY(model.index(1, TraceModel::TextColumn).data(Qt::FontRole).value<QFont>().italic());
    for (int row : {0, 2}) {
        QVERIFY(!model.index(row, TraceModel::TimeColumn).data(Qt::ToolTipRole).isValid());
        QVERIFY(!model.index(row, TraceModel::TextColumn).data(Qt::FontRole).value<QFont>().italic());
    }
}

QTEST_MAIN(TestTraceModel)
#include "tst_tracemodel.moc"
