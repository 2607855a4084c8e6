// SPDX-License-Identifier: MIT
#include "trace/traceitem.h"
#include "trace/tracelines.h"

#include <QTest>

namespace {

TraceLines::Line textLine(const QString& text, const QString& source = QStringLiteral("Main"))
{
    TraceLines::Line line;
    line.source = source;
    line.text = text;
    line.stamp = 1000;
    line.color = ColorText;
    return line;
}

TraceLines::Line messageLine(const QByteArray& bytes)
{
    TraceLines::Line line;
    line.kind = TraceLines::Message;
    line.source = QStringLiteral("1");
    line.bytes = bytes;
    line.stamp = 2000;
    line.color = ColorMessageRx1;
    line.src = 3;
    line.dst = 70000;
    line.decode = true;
    return line;
}

// The lines' texts in row order, joined.
QString texts(const TraceLines& lines)
{
    QStringList all;
    for (int row = 0; row < lines.size(); ++row)
        all << lines.text(row);
    return all.join(QLatin1Char(' '));
}

TraceLines numbered(int n)
{
    TraceLines lines;
    for (int i = 0; i < n; ++i)
        lines.append(textLine(QString::number(i)));
    return lines;
}

} // namespace

class TestTraceLines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsWhatGoesIn_data();
    void keepsWhatGoesIn();
    void insertAndRemove_data();
    void insertAndRemove();
    void takeAndPutBack_data();
    void takeAndPutBack();
    void findsMovedLines();
    void memoryFallsAsOldestGo_data();
    void memoryFallsAsOldestGo();
};

void TestTraceLines::keepsWhatGoesIn_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("origin");
    QTest::newRow("separator") << QString() << QString();
    QTest::newRow("ascii") << QStringLiteral("Connected to 127.0.0.1") << QString();
    QTest::newRow("not ascii") << QStringLiteral("Pumpe \u00fcberhitzt \u2014 \U0001F525") << QString();
    QTest::newRow("replayed") << QStringLiteral("x") << QStringLiteral("/tmp/night.log");
    QTest::newRow("longer than a chunk") << QString(int(TraceLines::ChunkSize), QLatin1Char('z'))
                                         << QStringLiteral("a.log");
}

void TestTraceLines::keepsWhatGoesIn()
{
    QFETCH(QString, text);
    QFETCH(QString, origin);
    TraceLines lines;
    TraceLines::Line line = textLine(text, QStringLiteral("2 Con"));
    line.originFile = origin;
    line.originLine = 123456789012LL;
    const quint64 id = lines.append(line);
    const QByteArray bytes = QByteArray("\x01\x02\x00\x03", 4);
    lines.append(messageLine(bytes));

    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.id(0), id);
    QCOMPARE(lines.text(0), text);
    QCOMPARE(lines.source(0), QStringLiteral("2 Con"));
    QCOMPARE(lines.originFile(0), origin);
    QCOMPARE(lines.originLine(0), origin.isEmpty() ? 0 : 123456789012LL);
    QCOMPARE(lines.kind(0), TraceLines::Text);

    const TraceLines::View message = lines.view(1);
    QCOMPARE(message.kind, TraceLines::Message);
    QCOMPARE(message.bytes.toByteArray(), bytes);
    QCOMPARE(message.color, ColorMessageRx1);
    QCOMPARE(message.src, 3);
    QCOMPARE(message.dst, 70000);
    QCOMPARE(message.stamp, 2000);
    QVERIFY(message.decode);
    QVERIFY(!message.hungarian);
    QVERIFY(lines.text(1).isNull()); // written by whoever shows it
    QVERIFY(lines.originFile(1).isEmpty());
}

void TestTraceLines::insertAndRemove_data()
{
    QTest::addColumn<int>("insertAt");
    QTest::addColumn<int>("removeAt");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("expected");
    QTest::newRow("top, top") << 0 << 0 << 2 << "one 2 3";
    QTest::newRow("middle, top") << 2 << 0 << 1 << "one x 2 3";
    QTest::newRow("end, middle") << 4 << 1 << 2 << "0 3 x";
    QTest::newRow("middle, middle") << 2 << 2 << 1 << "0 one 2 3";
    QTest::newRow("remove past the end") << 4 << 3 << 10 << "0 one 2";
    QTest::newRow("remove nothing") << 0 << 9 << 1 << "x 0 one 2 3";
}

// What is kept beside a line (a note, a counted text, its element lines)
// follows it while lines come and go, and goes with it.
void TestTraceLines::insertAndRemove()
{
    QFETCH(int, insertAt);
    QFETCH(int, removeAt);
    QFETCH(int, count);
    QFETCH(QString, expected);
    TraceLines lines = numbered(4);
    lines.setNote(1, QStringLiteral("note"));
    lines.setText(1, QStringLiteral("one"));
    lines.setTree(1, std::make_unique<TraceItem>(TraceData()));
    const quint64 one = lines.id(1);
    const qint64 before = lines.weight();
    lines.insert(insertAt, textLine(QStringLiteral("x")));
    QVERIFY(lines.weight() > before);
    lines.remove(removeAt, count);
    QCOMPARE(texts(lines), expected);
    qint64 sum = 0;
    for (int row = 0; row < lines.size(); ++row)
        sum += lines.weight(row);
    QCOMPARE(lines.weight(), sum);

    const int row = lines.find(one);
    QCOMPARE(row >= 0, expected.contains(QLatin1String("one")));
    if (row >= 0) {
        QCOMPARE(lines.note(row), QStringLiteral("note"));
        QVERIFY(lines.tree(row));
    }
    // A new line where it was has nothing beside it.
    const int fresh = qMin(1, lines.size());
    lines.insert(fresh, textLine(QStringLiteral("fresh")));
    QCOMPARE(lines.text(fresh), QStringLiteral("fresh"));
    QVERIFY(lines.note(fresh).isEmpty());
    QVERIFY(!lines.tree(fresh));
}

void TestTraceLines::takeAndPutBack_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("count");
    QTest::newRow("first") << 0 << 1;
    QTest::newRow("middle") << 3 << 2;
    QTest::newRow("last") << 9 << 1;
    QTest::newRow("all") << 0 << 10;
}

void TestTraceLines::takeAndPutBack()
{
    QFETCH(int, row);
    QFETCH(int, count);
    TraceLines lines = numbered(10);
    TraceLines::Line replayed = textLine(QStringLiteral("5"), QStringLiteral("Other"));
    replayed.originFile = QStringLiteral("r.log");
    replayed.originLine = 77;
    lines.remove(5);
    lines.insert(5, replayed);
    lines.setNote(row, QStringLiteral("why"));
    lines.setText(row + count - 1, QStringLiteral("replaced"));
    const quint64 id = lines.id(row);
    TraceItem* tree = lines.setTree(row, std::make_unique<TraceItem>(TraceData()));
    const QString changed = texts(lines);

    TraceLines taken = lines.take(row, count);
    QCOMPARE(taken.size(), count);
    QCOMPARE(lines.size(), 10 - count);
    QCOMPARE(lines.find(id), -1);
    QCOMPARE(taken.id(0), id);
    QCOMPARE(taken.note(0), QStringLiteral("why"));
    QCOMPARE(taken.tree(0), tree);
    QCOMPARE(taken.treeLine(tree), id);
    QCOMPARE(lines.treeLine(tree), quint64(0));
    // New lines meanwhile: the taken ones go back among them unharmed.
    lines.append(textLine(QStringLiteral("new")));

    lines.insert(row, std::move(taken));
    QVERIFY(taken.isEmpty());
    QCOMPARE(texts(lines), changed + QStringLiteral(" new"));
    QCOMPARE(lines.find(id), row);
    QCOMPARE(lines.note(row), QStringLiteral("why"));
    QCOMPARE(lines.tree(row), tree);
    QCOMPARE(lines.treeLine(tree), id);
    const int five = lines.find(lines.id(5));
    QCOMPARE(lines.source(five), QStringLiteral("Other"));
    QCOMPARE(lines.originFile(five), QStringLiteral("r.log"));
    QCOMPARE(lines.originLine(five), 77);
}

void TestTraceLines::findsMovedLines()
{
    TraceLines lines = numbered(2000);
    QList<quint64> ids;
    // Lines sorted in a little above the end, as late lines are.
    for (int i = 0; i < 300; ++i)
        ids << lines.insert(lines.size() - 50, textLine(QStringLiteral("late")));
    TraceLines middle = lines.take(700, 400);
    lines.remove(0, 100);
    lines.insert(600, std::move(middle));
    for (int row = 0; row < lines.size(); ++row)
        QCOMPARE(lines.find(lines.id(row)), row);
    for (quint64 id : std::as_const(ids))
        QVERIFY(lines.find(id) >= 0);
    QCOMPARE(lines.find(lines.id(10), 10), 10);
    QCOMPARE(lines.find(quint64(-1)), -1);
}

void TestTraceLines::memoryFallsAsOldestGo_data()
{
    QTest::addColumn<bool>("messages");
    QTest::newRow("texts") << false;
    QTest::newRow("messages") << true;
}

void TestTraceLines::memoryFallsAsOldestGo()
{
    QFETCH(bool, messages);
    TraceLines lines;
    const QByteArray bytes(100, '\x07');
    const int n = 20 * int(TraceLines::ChunkSize) / 100;
    for (int i = 0; i < n; ++i)
        lines.append(messages ? messageLine(bytes) : textLine(QString(100, QLatin1Char('t'))));
    const size_t full = lines.memoryUse();
    QVERIFY(full >= size_t(n) * 100);
    // Below a record and the bytes, a line costs little more.
    QVERIFY2(full < size_t(n) * (100 + 64), qPrintable(QString::number(full)));

    lines.remove(0, n / 2);
    const size_t half = lines.memoryUse();
    QVERIFY2(half < full * 6 / 10, qPrintable(QStringLiteral("%1 of %2").arg(half).arg(full)));
    lines.remove(0, lines.size());
    QVERIFY(lines.memoryUse() <= TraceLines::ChunkSize + 1024);
    QCOMPARE(lines.weight(), 0);
}

QTEST_GUILESS_MAIN(TestTraceLines)
#include "tst_tracelines.moc"
