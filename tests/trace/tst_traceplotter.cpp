// SPDX-License-Identifier: MIT
#include "trace/traceitem.h"
#include "trace/tracemodel.h"
#include "trace/traceplotter.h"

#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "tests/support/definitions.h"
#include "tests/support/plotdefinitions.h"
#include "tests/support/stallmeter.h"

#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

const QDateTime start(QDate(2024, 3, 1), QTime(12, 0));

// "Name=value" per point of each stream, so a failure shows where a value went.
QStringList streams(const TracePlotter& plotter)
{
    QStringList out;
    for (int s = 0; s < plotter.seriesCount(); ++s) {
        QStringList values;
        for (int n = 0; n < plotter.pointCount(s); ++n)
            values << QString::number(plotter.plainValue(s, 0, n), 'g', 15);
        out << plotter.name(s) + QLatin1Char('=') + values.join(QLatin1Char(' '));
    }
    return out;
}

} // namespace

// Points of one tag go to one stream per channel and direction.
class TestTracePlotter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void streamsPerChannelAndDirection_data();
    void streamsPerChannelAndDirection();
    void removingATagRemovesItsStreams();
    void longTraceIsCollectedInSlices();

private:
    // "1> Temperature=5" is a message channel 1 sent, "2<" one channel 2
    // received, "1!" a status line of channel 1.
    void add(const QString& line, int msec);

    std::unique_ptr<QRV16::TagDataLut> m_tags;
    std::unique_ptr<TraceModel> m_model;
};

void TestTracePlotter::initTestCase()
{
    m_tags = tagsOf(plotDefinitions);
}

void TestTracePlotter::init()
{
    m_model = std::make_unique<TraceModel>();
    m_model->setTags(m_tags.get());
}

void TestTracePlotter::cleanup()
{
    m_model.reset();
}

void TestTracePlotter::add(const QString& line, int msec)
{
    const QString channel = line.left(1);
    const QChar kind = line.at(1);
    const QString text = QStringLiteral("Reply=(%1)").arg(line.mid(3));
    const QDateTime time = start.addMSecs(msec);
    if (kind == QLatin1Char('!')) {
        m_model->append(channel, text, ColorText, time);
        return;
    }
    QRV16::MessageParser parser(m_tags.get());
    const QRV16::Message message = parser.parse(text);
    QVERIFY2(!parser.hasError(), qPrintable(parser.errorMessage()));
    const StyleColor color = kind == QLatin1Char('>') ? ColorMessageTx1 : ColorMessageRx1;
    m_model->append(channel, message, channelColor(color, channel.toInt()), time);
}

// A tag added to a long trace is collected without holding the event loop,
// and lines that come and go meanwhile end up as a fresh collection would
// find them.
void TestTracePlotter::longTraceIsCollectedInSlices()
{
    constexpr int Lines = 300000;
    const int temperature = m_tags->tagNumber(QStringLiteral("Temperature"));
    const auto append = [&](int value) {
        QRV16::Message m;
        m.beginMessage(0xE001);
        m.appendInt(temperature, value);
        m.endMessage();
        m_model->append(QStringLiteral("1"), m, ColorMessageRx1, start.addMSecs(value));
    };
    m_model->setLimit(Lines);
    for (int i = 0; i < Lines; ++i)
        append(i);
    m_model->flush();

    TracePlotter plotter(m_model.get());
    plotter.setTags(m_tags.get());
    QSignalSpy finished(&plotter, &TracePlotter::collectingFinished);
    korvtest::StallMeter meter;
    QVERIFY(plotter.addTag(temperature));
    // Meanwhile lines arrive and the oldest go.
    for (int i = Lines; i < Lines + 10; ++i)
        append(i);
    m_model->setLimit(Lines - 1000);
    QVERIFY(finished.count() == 1 || finished.wait(120000));
    // A tick after the work, so that the meter has seen all of it.
    const int ticks = meter.ticks;
    QTRY_VERIFY_WITH_TIMEOUT(meter.ticks > ticks, 60000);
    meter.stop();
    QVERIFY(!plotter.isCollecting());
    QVERIFY2(meter.longest < 150, qPrintable(QStringLiteral("%1 ms").arg(meter.longest)));

    QCOMPARE(plotter.seriesCount(), 1);
    TracePlotter fresh(m_model.get());
    fresh.setTags(m_tags.get());
    QVERIFY(fresh.addTag(temperature));
    QVERIFY(finished.count() == 1);
    QTRY_VERIFY_WITH_TIMEOUT(!fresh.isCollecting(), 120000);
    QCOMPARE(plotter.pointCount(0), m_model->lineCount());
    QCOMPARE(fresh.pointCount(0), m_model->lineCount());
    for (int n = 0; n < plotter.pointCount(0); ++n) {
        if (plotter.plainValue(0, 0, n) != fresh.plainValue(0, 0, n))
            QFAIL(qPrintable(QStringLiteral("point %1: %2, a fresh collection has %3")
                                 .arg(n)
                                 .arg(plotter.plainValue(0, 0, n))
                                 .arg(fresh.plainValue(0, 0, n))));
    }
    QCOMPARE(plotter.plainValue(0, 0, 0), 1010.0);
}

void TestTracePlotter::streamsPerChannelAndDirection_data()
{
    QTest::addColumn<QString>("tag");
    QTest::addColumn<int>("limit"); // 0: the model's own
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("streams");
    QTest::addColumn<QStringList>("levels"); // enum names, once per stream

    QTest::newRow("a request and its answer on one channel are two streams")
        << "Temperature" << 0
        << QStringList{"1> Temperature=5", "1< Temperature=6", "1> Temperature=7", "1< Temperature=8"}
        << QStringList{"Temperature 1 received=6 8", "Temperature 1 sent=5 7"} << QStringList();
    QTest::newRow("both channels make four, by channel, received first")
        << "Temperature" << 0
        << QStringList{"2> Temperature=1", "1> Temperature=2", "2< Temperature=3", "1< Temperature=4",
                       "1< Temperature=5"}
        << QStringList{"Temperature 1 received=4 5", "Temperature 1 sent=2", "Temperature 2 received=3",
                       "Temperature 2 sent=1"}
        << QStringList();
    QTest::newRow("status lines are never plotted")
        << "Temperature" << 0 << QStringList{"1! Temperature=1", "1< Temperature=2", "2! Temperature=3"}
        << QStringList{"Temperature 1 received=2"} << QStringList();
    QTest::newRow("lines leaving at the limit take their stream's points")
        << "Temperature" << 4
        << QStringList{"1> Temperature=1", "1< Temperature=2", "1> Temperature=3", "1< Temperature=4",
                       "1< Temperature=6", "1< Temperature=8"}
        << QStringList{"Temperature 1 received=4 6 8", "Temperature 1 sent=3"} << QStringList();
    QTest::newRow("a stream whose lines all left stays, empty")
        << "Temperature" << 2 << QStringList{"1> Temperature=1", "1< Temperature=2", "1< Temperature=3"}
        << QStringList{"Temperature 1 received=2 3", "Temperature 1 sent="} << QStringList();
    QTest::newRow("enum levels are the tag's, shared by its streams")
        << "PumpMode" << 0 << QStringList{"1> PumpMode=Service", "1< PumpMode=Off", "2< PumpMode=Auto"}
        << QStringList{"PumpMode 1 received=0", "PumpMode 1 sent=5", "PumpMode 2 received=1"}
        << QStringList{"Off|Auto|Service", "Off|Auto|Service", "Off|Auto|Service"};
    QTest::newRow("a level leaves with the last line of any stream that had it")
        << "PumpMode" << 2 << QStringList{"1> PumpMode=Service", "1< PumpMode=Off", "2< PumpMode=Auto"}
        << QStringList{"PumpMode 1 received=0", "PumpMode 1 sent=", "PumpMode 2 received=1"}
        << QStringList{"Off|Auto", "Off|Auto", "Off|Auto"};
}

void TestTracePlotter::streamsPerChannelAndDirection()
{
    QFETCH(QString, tag);
    QFETCH(int, limit);
    QFETCH(QStringList, lines);
    QFETCH(QStringList, streams);
    QFETCH(QStringList, levels);

    if (limit > 0)
        m_model->setLimit(limit);
    // Half the lines there before the tag is plotted, half arriving after.
    TracePlotter plotter(m_model.get());
    plotter.setTags(m_tags.get());
    const int before = int(lines.size()) / 2;
    for (int i = 0; i < before; ++i) {
        add(lines.at(i), i * 100);
        m_model->flush();
    }
    QVERIFY(plotter.addTag(m_tags->tagNumber(tag)));
    for (int i = before; i < lines.size(); ++i) {
        add(lines.at(i), i * 100);
        m_model->flush();
    }
    QCOMPARE(::streams(plotter), streams);
    if (!levels.isEmpty()) {
        QStringList seen;
        for (int s = 0; s < plotter.seriesCount(); ++s)
            seen << plotter.levelNames(s).join(QLatin1Char('|'));
        QCOMPARE(seen, levels);
    }
    for (int s = 0; s < plotter.seriesCount(); ++s) {
        QVERIFY(plotter.pointCount(s) <= m_model->limit());
        for (int n = 0; n < plotter.pointCount(s); ++n)
            QCOMPARE(plotter.point(s, n).time,
                     m_model->line(m_model->index(m_model->rowOf(plotter.point(s, n).line), 0)).stamp);
    }
}

void TestTracePlotter::removingATagRemovesItsStreams()
{
    TracePlotter plotter(m_model.get());
    plotter.setTags(m_tags.get());
    QSignalSpy changed(&plotter, &TracePlotter::tagsChanged);
    QVERIFY(plotter.addTag(0x1001));
    QVERIFY(plotter.addTag(0x1002));
    QCOMPARE(plotter.seriesCount(), 0);
    changed.clear();
    add(QStringLiteral("1> Temperature=1 PumpMode=Off"), 0);
    add(QStringLiteral("2< Temperature=2 PumpMode=Auto"), 100);
    // Each new stream redraws the charts; another point on it does not.
    QCOMPARE(changed.size(), 2);
    add(QStringLiteral("2< Temperature=3"), 200);
    QCOMPARE(changed.size(), 2);
    QCOMPARE(::streams(plotter), (QStringList{"Temperature 1 sent=1", "Temperature 2 received=2 3",
                                              "PumpMode 1 sent=0", "PumpMode 2 received=1"}));

    plotter.removeTag(0x1001);
    QCOMPARE(plotter.tags(), QVector<int>{0x1002});
    QCOMPARE(::streams(plotter), (QStringList{"PumpMode 1 sent=0", "PumpMode 2 received=1"}));
    add(QStringLiteral("1< Temperature=4"), 300);
    QCOMPARE(plotter.seriesCount(), 2);
    plotter.clearTags();
    QCOMPARE(plotter.seriesCount(), 0);
    QVERIFY(plotter.tags().isEmpty());
}

QTEST_MAIN(TestTracePlotter)
#include "tst_traceplotter.moc"
