// SPDX-License-Identifier: MIT
#include "trace/traceitem.h"
#include "trace/tracemodel.h"
#include "trace/traceplotter.h"
#include "trace/widgets/plotdock.h"

#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "tests/support/definitions.h"
#include "tests/support/plotdefinitions.h"
#include "tests/support/stallmeter.h"

#include <QCategoryAxis>
#include <QChartView>
#include <QDateTimeAxis>
#include <QFile>
#include <QLineSeries>
#include <QRubberBand>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QValueAxis>
#include <QWheelEvent>
#include <QtTest>

#include <memory>

namespace {

const QDateTime start(QDate(2024, 3, 1), QTime(12, 0));

QString joined(const std::vector<double>& values)
{
    QStringList out;
    for (double v : values)
        out << QString::number(v, 'g', 15);
    return out.join(QLatin1Char(' '));
}

QString plain(const TracePlotter& plotter, int series, int curve)
{
    QStringList out;
    for (int n = 0; n < plotter.pointCount(series); ++n)
        out << QString::number(plotter.plainValue(series, curve, n), 'g', 15);
    return out.join(QLatin1Char(' '));
}

QString drawnY(const QLineSeries* line)
{
    QStringList out;
    for (const QPointF& p : line->points())
        out << QString::number(p.y(), 'g', 15);
    return out.join(QLatin1Char(' '));
}

// "Name=value" per point of each stream, so a failure shows where a value went.
QStringList streams(const TracePlotter& plotter)
{
    QStringList out;
    for (int s = 0; s < plotter.seriesCount(); ++s)
        out << plotter.name(s) + QLatin1Char('=') + plain(plotter, s, 0);
    return out;
}

} // namespace

class TestPlot : public QObject
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
    void seriesFollowTheTrace_data();
    void seriesFollowTheTrace();
    void pointsFollowTheLines();
    void exports();
    void dockDrawsOneCurvePerStream_data();
    void dockDrawsOneCurvePerStream();
    void everyTypeDrawsStacked();
    void manyPointsAreDecimated();
    void zoomPanAndTimeAxis();
    void mouseZoomsAndPans();

private:
    QModelIndex add(const QString& text, int msec = 0, StyleColor color = ColorMessageRx1);
    // "1> Temperature=5" is a reply channel 1 sent, "2<" one channel 2
    // received, "1!" a status line of channel 1.
    void addLine(const QString& line, int msec);

    QTemporaryDir m_dir;
    std::unique_ptr<QRV16::TagDataLut> m_tags;
    std::unique_ptr<TraceModel> m_model;
};

void TestPlot::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    // A settings file of its own: test programs run side by side.
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test-plot"));
    m_tags = tagsOf(plotDefinitions);
}

void TestPlot::init()
{
    m_model = std::make_unique<TraceModel>();
    m_model->setTags(m_tags.get());
}

void TestPlot::cleanup()
{
    m_model.reset();
}

QModelIndex TestPlot::add(const QString& text, int msec, StyleColor color)
{
    QRV16::MessageParser parser(m_tags.get());
    const QRV16::Message message = parser.parse(text);
    if (parser.hasError())
        qWarning() << text << parser.errorMessage();
    const QString channel = color >= ColorRawRx2 ? QStringLiteral("2") : QStringLiteral("1");
    return m_model->append(channel, message, color, start.addMSecs(msec));
}

void TestPlot::addLine(const QString& line, int msec)
{
    const QString text = QStringLiteral("Reply=(%1)").arg(line.mid(3));
    if (line.at(1) == QLatin1Char('!')) {
        m_model->append(line.left(1), text, ColorText, start.addMSecs(msec));
        return;
    }
    const StyleColor color = line.at(1) == QLatin1Char('>') ? ColorMessageTx1 : ColorMessageRx1;
    add(text, msec, channelColor(color, line.left(1).toInt()));
}

void TestPlot::streamsPerChannelAndDirection_data()
{
    QTest::addColumn<QString>("tag");
    QTest::addColumn<int>("limit"); // 0: the model's own
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("streams");
    QTest::addColumn<QStringList>("levels"); // enum names, once per stream

    QTest::newRow("a request and its answer on one channel are two streams")
        << "Temperature" << 0
        << QStringList{"1> Temperature=5", "1< Temperature=6", "1> Temperature=7",
                       "1< Temperature=8"}
        << QStringList{"Temperature 1 received=6 8", "Temperature 1 sent=5 7"} << QStringList();
    QTest::newRow("both channels make four, by channel, received first")
        << "Temperature" << 0
        << QStringList{"2> Temperature=1", "1> Temperature=2", "2< Temperature=3",
                       "1< Temperature=4", "1< Temperature=5"}
        << QStringList{"Temperature 1 received=4 5", "Temperature 1 sent=2",
                       "Temperature 2 received=3", "Temperature 2 sent=1"}
        << QStringList();
    QTest::newRow("status lines are never plotted")
        << "Temperature" << 0
        << QStringList{"1! Temperature=1", "1< Temperature=2", "2! Temperature=3"}
        << QStringList{"Temperature 1 received=2"} << QStringList();
    QTest::newRow("lines leaving at the limit take their stream's points")
        << "Temperature" << 4
        << QStringList{"1> Temperature=1", "1< Temperature=2", "1> Temperature=3",
                       "1< Temperature=4", "1< Temperature=6", "1< Temperature=8"}
        << QStringList{"Temperature 1 received=4 6 8", "Temperature 1 sent=3"} << QStringList();
    QTest::newRow("a stream whose lines all left stays, empty")
        << "Temperature" << 2
        << QStringList{"1> Temperature=1", "1< Temperature=2", "1< Temperature=3"}
        << QStringList{"Temperature 1 received=2 3", "Temperature 1 sent="} << QStringList();
    QTest::newRow("enum levels are the tag's, shared by its streams")
        << "PumpMode" << 0
        << QStringList{"1> PumpMode=Service", "1< PumpMode=Off", "2< PumpMode=Auto"}
        << QStringList{"PumpMode 1 received=0", "PumpMode 1 sent=5", "PumpMode 2 received=1"}
        << QStringList{"Off|Auto|Service", "Off|Auto|Service", "Off|Auto|Service"};
    QTest::newRow("a level leaves with the last line of any stream that had it")
        << "PumpMode" << 2
        << QStringList{"1> PumpMode=Service", "1< PumpMode=Off", "2< PumpMode=Auto"}
        << QStringList{"PumpMode 1 received=0", "PumpMode 1 sent=", "PumpMode 2 received=1"}
        << QStringList{"Off|Auto", "Off|Auto", "Off|Auto"};
}

void TestPlot::streamsPerChannelAndDirection()
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
        addLine(lines.at(i), i * 100);
        m_model->flush();
    }
    QVERIFY(plotter.addTag(m_tags->tagNumber(tag)));
    for (int i = before; i < lines.size(); ++i) {
        addLine(lines.at(i), i * 100);
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
            QCOMPARE(
                plotter.point(s, n).time,
                m_model->line(m_model->index(m_model->rowOf(plotter.point(s, n).line), 0)).stamp);
    }
}

void TestPlot::removingATagRemovesItsStreams()
{
    TracePlotter plotter(m_model.get());
    plotter.setTags(m_tags.get());
    QSignalSpy changed(&plotter, &TracePlotter::tagsChanged);
    QVERIFY(plotter.addTag(0x1001));
    QVERIFY(plotter.addTag(0x1002));
    QCOMPARE(plotter.seriesCount(), 0);
    changed.clear();
    addLine(QStringLiteral("1> Temperature=1 PumpMode=Off"), 0);
    addLine(QStringLiteral("2< Temperature=2 PumpMode=Auto"), 100);
    // Each new stream redraws the charts; another point on it does not.
    QCOMPARE(changed.size(), 2);
    addLine(QStringLiteral("2< Temperature=3"), 200);
    QCOMPARE(changed.size(), 2);
    QCOMPARE(::streams(plotter), (QStringList{"Temperature 1 sent=1", "Temperature 2 received=2 3",
                                              "PumpMode 1 sent=0", "PumpMode 2 received=1"}));

    plotter.removeTag(0x1001);
    QCOMPARE(plotter.tags(), QVector<int>{0x1002});
    QCOMPARE(::streams(plotter), (QStringList{"PumpMode 1 sent=0", "PumpMode 2 received=1"}));
    addLine(QStringLiteral("1< Temperature=4"), 300);
    QCOMPARE(plotter.seriesCount(), 2);
    plotter.clearTags();
    QCOMPARE(plotter.seriesCount(), 0);
    QVERIFY(plotter.tags().isEmpty());
}

// A tag added to a long trace is collected without holding the event loop,
// and lines that come and go meanwhile end up as a fresh collection would
// find them.
void TestPlot::longTraceIsCollectedInSlices()
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

void TestPlot::seriesFollowTheTrace_data()
{
    QTest::addColumn<QString>("tag");
    QTest::addColumn<QStringList>("messages");
    QTest::addColumn<QStringList>("curves");
    QTest::addColumn<QStringList>("values"); // plain, per curve
    QTest::addColumn<QStringList>("drawn");  // per curve
    QTest::addColumn<QString>("names");      // of curve 0's values
    QTest::addColumn<QString>("levels");

    QTest::newRow("integers, the first at any depth")
        << "Temperature"
        << QStringList{"Reply=(Temperature=5)", "Reply=(Inner=(Temperature=-7))", "Reply=(Name=x)", "Reply=(Temperature=9 Temperature=10)"}
        << QStringList{"Temperature"} << QStringList{"5 -7 9"} << QStringList{"5 -7 9"} << "||" << "";
    QTest::newRow("enum values step by their rank among those seen")
        << "PumpMode" << QStringList{"Reply=(PumpMode=Service)", "Reply=(PumpMode=Off)", "Reply=(PumpMode=Service)"}
        << QStringList{"PumpMode"} << QStringList{"5 0 5"} << QStringList{"1 0 1"} << "Service|Off|Service"
        << "Off|Service";
    QTest::newRow("bools") << "Running" << QStringList{"Reply=(Running=true)", "Reply=(Running=false)"}
                           << QStringList{"Running"} << QStringList{"1 0"} << QStringList{"1 0"} << "true|false"
                           << "false|true";
    QTest::newRow("dates") << "Day" << QStringList{"Reply=(Day=2024-03-01)", "Reply=(Day=2024-03-02)"}
                           << QStringList{"Day"}
                           << QStringList{QString::number(QDateTime(QDate(2024, 3, 1), QTime(0, 0)).toMSecsSinceEpoch()) +
                                          " " +
                                          QString::number(QDateTime(QDate(2024, 3, 2), QTime(0, 0)).toMSecsSinceEpoch())}
                           << QStringList() << "2024-03-01|2024-03-02" << "";
    QTest::newRow("times of day") << "Clock" << QStringList{"Reply=(Clock=06:30:00)"} << QStringList{"Clock"}
                                  << QStringList{QString::number(
                                         QDateTime(QDate(2000, 1, 1), QTime(6, 30)).toMSecsSinceEpoch())}
                                  << QStringList() << "06:30:00.000" << "";
    QTest::newRow("date-times") << "Stamp" << QStringList{"Reply=(Stamp=2024-03-01T12:30:15.250)"}
                                << QStringList{"Stamp"}
                                << QStringList{QString::number(
                                       QDateTime(QDate(2024, 3, 1), QTime(12, 30, 15, 250)).toMSecsSinceEpoch())}
                                << QStringList() << "2024-03-01T12:30:15.250" << "";
    QTest::newRow("bits one lane each, named and seen")
        << "Flags" << QStringList{"Reply=(Flags=Ready|Fault)", "Reply=(Flags=Fault)", "Reply=(Flags=0x02)"}
        << QStringList{"Flags.Ready", "Flags.1", "Flags.Fault"} << QStringList{"1 0 0", "0 0 1", "1 1 0"}
        << QStringList{"0.6 0 0", "1 1 1.6", "2.6 2.6 2"} << "set|clear|clear" << "Ready|1|Fault";
    QTest::newRow("points as x and y") << "Where" << QStringList{"Reply=(Where=[3, -4])", "Reply=(Where=[5, 6])"}
                                       << QStringList{"Where.x", "Where.y"} << QStringList{"3 5", "-4 6"}
                                       << QStringList{"3 5", "-4 6"} << "|" << "";
}

void TestPlot::seriesFollowTheTrace()
{
    QFETCH(QString, tag);
    QFETCH(QStringList, messages);
    QFETCH(QStringList, curves);
    QFETCH(QStringList, values);
    QFETCH(QStringList, drawn);
    QFETCH(QString, names);
    QFETCH(QString, levels);

    for (int i = 0; i < messages.size(); ++i)
        add(messages.at(i), i * 100);
    TracePlotter plotter(m_model.get());
    plotter.setTags(m_tags.get());
    QVERIFY(plotter.addTag(m_tags->tagNumber(tag)));
    QVERIFY(!plotter.addTag(m_tags->tagNumber(tag)));
    // Lines received on channel 1: one stream.
    QCOMPARE(plotter.seriesCount(), 1);
    QCOMPARE(plotter.name(0), tag + QStringLiteral(" 1 received"));
    QCOMPARE(plotter.curveCount(0), curves.size());
    for (int c = 0; c < curves.size(); ++c) {
        QCOMPARE(plotter.curveName(0, c), curves.at(c) + QStringLiteral(" 1 received"));
        QCOMPARE(plain(plotter, 0, c), values.at(c));
        if (!drawn.isEmpty()) {
            std::vector<double> y;
            plotter.curveValues(0, c, &y);
            QCOMPARE(joined(y), drawn.at(c));
        }
    }
    QStringList valueNames;
    for (int n = 0; n < plotter.pointCount(0); ++n) {
        valueNames << plotter.valueName(0, 0, n);
        // Each point carries the time of its own line.
        QCOMPARE(plotter.point(0, n).time,
                 m_model->line(m_model->index(m_model->rowOf(plotter.point(0, n).line), 0)).stamp);
    }
    QCOMPARE(valueNames.join(QLatin1Char('|')), names);
    QCOMPARE(plotter.levelNames(0).join(QLatin1Char('|')), levels);
}

// Points come and go with their lines: late lines are sorted in, deleted
// and cleared lines take theirs along. Lines leaving at the limit are rows
// of the streams table.
void TestPlot::pointsFollowTheLines()
{
    TracePlotter plotter(m_model.get());
    plotter.setTags(m_tags.get());
    add(QStringLiteral("Reply=(Temperature=1 PumpMode=Auto)"), 0);
    QVERIFY(plotter.addTag(0x1001));
    QVERIFY(plotter.addTag(0x1002));
    QCOMPARE(plotter.pointCount(0), 1);
    const quint64 before = plotter.revision();
    add(QStringLiteral("Reply=(Temperature=2)"), 1000);
    m_model->append(QStringLiteral("1"), QStringLiteral("connected"), ColorText, start.addMSecs(1100));
    add(QStringLiteral("Reply=(Name=x)"), 1200);
    QVERIFY(plotter.revision() != before);
    QCOMPARE(plain(plotter, 0, 0), QStringLiteral("1 2"));
    // Half a second late: sorted in before the last line, and so is its point.
    add(QStringLiteral("Reply=(Temperature=3)"), 500);
    add(QStringLiteral("Reply=(Temperature=4)"), 2000);
    QCOMPARE(plain(plotter, 0, 0), QStringLiteral("1 3 2 4"));
    QCOMPARE(plotter.point(0, 1).time, start.addMSecs(500).toMSecsSinceEpoch());

    m_model->flush();
    m_model->remove(m_model->index(1, 0));
    QCOMPARE(plain(plotter, 0, 0), QStringLiteral("1 2 4"));
    m_model->clear();
    QCOMPARE(plotter.pointCount(0), 0);
    QCOMPARE(plotter.pointCount(1), 0);
    QCOMPARE(plotter.levelNames(1), QStringList());
    add(QStringLiteral("Reply=(Temperature=12)"), 3000);
    QCOMPARE(plain(plotter, 0, 0), QStringLiteral("12"));
}

void TestPlot::exports()
{
    add(QStringLiteral("Reply=(PumpMode=Service Where=[1, 2])"), 0);
    add(QStringLiteral("Reply=(PumpMode=Off)"), 1500);
    add(QStringLiteral("Reply=(Where=[-3, 4])"), 2250);
    PlotDock dock(m_model.get());
    dock.setTags(m_tags.get());
    QVERIFY(dock.addTag(0x1002));
    QVERIFY(dock.addTag(0x8001));
    dock.setOptions(TraceOptions().with(TraceOptions::RelativeTime));
    const QString path = m_dir.filePath(QStringLiteral("plot.csv"));
    QVERIFY2(dock.exportCsv(path), qPrintable(dock.errorString()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(file.readAll()), QStringLiteral("Time,Series,Value,Name\n"
                                                               "0.000,\"PumpMode 1 received\",5,\"Service\"\n"
                                                               "1.500,\"PumpMode 1 received\",0,\"Off\"\n"
                                                               "0.000,\"Where.x 1 received\",1,\n"
                                                               "2.250,\"Where.x 1 received\",-3,\n"
                                                               "0.000,\"Where.y 1 received\",2,\n"
                                                               "2.250,\"Where.y 1 received\",4,\n"));
    file.close();

    // Absolute times, and the earlier file kept as the backup.
    dock.setOptions(TraceOptions());
    QVERIFY(dock.exportCsv(path));
    QVERIFY(QFile::exists(path + QStringLiteral(".bak")));
    QVERIFY(!QFile::exists(path + QStringLiteral(".tmp")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> records = file.readAll().split('\n');
    QCOMPARE(records.value(1),
             QByteArray("2024-03-01T12:00:00.000,\"PumpMode 1 received\",5,\"Service\""));

    // Where nothing can be written, either export says why; a picture takes
    // a shown plot.
    const QString nowhere = m_dir.filePath(QStringLiteral("no such folder/plot.png"));
    QVERIFY(!dock.exportCsv(nowhere));
    QVERIFY(!dock.errorString().isEmpty());
    dock.resize(400, 300);
    dock.show();
    QVERIFY(!dock.exportPng(nowhere));
    QVERIFY(dock.errorString().contains(QStringLiteral("no such folder")));
    const QString png = m_dir.filePath(QStringLiteral("plot.png"));
    QVERIFY(dock.exportPng(png));
    QVERIFY(!QImage(png).isNull());
}

void TestPlot::dockDrawsOneCurvePerStream_data()
{
    QTest::addColumn<bool>("stacked");
    QTest::newRow("one chart, an axis per tag") << false;
    QTest::newRow("a chart per tag") << true;
}

void TestPlot::dockDrawsOneCurvePerStream()
{
    QFETCH(bool, stacked);

    PlotDock dock(m_model.get());
    dock.setTags(m_tags.get());
    dock.resize(900, 600);
    dock.setStacked(stacked);
    QVERIFY(dock.addTag(0x1001));
    QVERIFY(dock.addTag(0x1002));
    QVERIFY(!dock.addTag(0x3001)); // a string
    dock.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dock));
    // Requests and their answers on both channels, arriving while plotted.
    const QStringList modes{"Off", "Auto", "Service"};
    for (int i = 0; i < 30; ++i) {
        const int channel = i % 2;
        const QString request = QStringLiteral("Reply=(Temperature=%1)").arg(100 * channel + i);
        const QString answer = QStringLiteral("Reply=(Temperature=%1 PumpMode=%2)").arg(100 * channel + i + 50).arg(modes.at(i % 3));
        add(request, i * 200, channelColor(ColorMessageTx1, channel + 1));
        add(answer, i * 200 + 80, channelColor(ColorMessageRx1, channel + 1));
    }
    dock.redraw();

    QStringList names;
    for (QLineSeries* line : dock.curves())
        names << line->name();
    QCOMPARE(names, (QStringList{"Temperature 1 received", "Temperature 1 sent", "Temperature 2 received",
                                 "Temperature 2 sent", "PumpMode 1 received", "PumpMode 2 received"}));
    // Each stream has its own values: no answer among the requests. Few
    // points are drawn as they are, at their lines' times.
    QCOMPARE(dock.curves().at(1)->count(), 15);
    QCOMPARE(dock.curves().at(1)->at(0).y(), 0.0);
    QCOMPARE(dock.curves().at(0)->at(0).y(), 50.0);
    QCOMPARE(dock.curves().at(3)->at(0).y(), 101.0);
    QCOMPARE(dock.curves().at(3)->at(1), QPointF(start.addMSecs(600).toMSecsSinceEpoch(), 103));
    // Off, Service, Auto in steps, each ranked among Off, Auto, Service.
    QCOMPARE(drawnY(dock.curves().at(4)).left(11), QStringLiteral("0 0 2 2 1 1"));

    // The streams of a tag share its one axis, one ranking of its enum.
    const QList<QChartView*> views = dock.views();
    QCOMPARE(views.size(), stacked ? 2 : 1);
    QList<QAbstractAxis*> axes;
    for (QChartView* view : views)
        axes << view->chart()->axes(Qt::Vertical);
    QCOMPARE(axes.size(), 2);
    QCOMPARE(axes.at(0)->titleText(), QStringLiteral("Temperature"));
    QCOMPARE(axes.at(1)->titleText(), QStringLiteral("PumpMode"));
    QCOMPARE(qobject_cast<QCategoryAxis*>(axes.at(1))->categoriesLabels(), (QStringList{"Off", "Auto", "Service"}));
    for (int c = 0; c < names.size(); ++c) {
        const QList<QAbstractAxis*> attached = dock.curves().at(c)->attachedAxes();
        QVERIFY2(attached.contains(axes.at(c < 4 ? 0 : 1)), qPrintable(names.at(c)));
    }
    // And every curve a colour of its own within its chart.
    for (QChartView* view : views) {
        QSet<QRgb> colors;
        for (QAbstractSeries* series : view->chart()->series())
            colors.insert(qobject_cast<QLineSeries*>(series)->color().rgb());
        QCOMPARE(colors.size(), view->chart()->series().size());
    }

    // Closed, it collects nothing more.
    dock.close();
    QCOMPARE(dock.plotter()->seriesCount(), 0);
    QVERIFY(dock.views().isEmpty());
}

void TestPlot::everyTypeDrawsStacked()
{
    for (int i = 0; i < 12; ++i)
        add(QStringLiteral("Reply=(Running=%1 Day=2024-03-%2 Clock=06:%3:00 Flags=%4 Where=[%5, %6])")
                .arg(i % 3 ? QStringLiteral("true") : QStringLiteral("false"))
                .arg(i + 1, 2, 10, QLatin1Char('0'))
                .arg(i * 4, 2, 10, QLatin1Char('0'))
                .arg(i % 4 == 0 ? QStringLiteral("Ready|Fault") : i % 4 == 1 ? QStringLiteral("Ready") : QStringLiteral("0x02"))
                .arg(i * 10)
                .arg(100 - i * i),
            i * 1000);
    PlotDock dock(m_model.get());
    dock.setTags(m_tags.get());
    dock.resize(700, 900);
    dock.setStacked(true);
    for (const char* name : {"Running", "Day", "Clock", "Flags", "Where"})
        QVERIFY(dock.addTag(m_tags->tagNumber(QLatin1String(name))));
    dock.show();
    QTest::qWait(2 * PlotDock::RedrawMilliseconds);
    dock.redraw();
    const QList<QChartView*> views = dock.views();
    QCOMPARE(views.size(), 5);
    // Names for steps, dates for dates and times, numbers for the rest.
    const auto yAxis = [&views](int chart) { return views.at(chart)->chart()->axes(Qt::Vertical).value(0); };
    QCOMPARE(qobject_cast<QCategoryAxis*>(yAxis(0))->categoriesLabels(), (QStringList{"false", "true"}));
    QCOMPARE(qobject_cast<QDateTimeAxis*>(yAxis(1))->format(), QStringLiteral("yyyy-MM-dd"));
    QCOMPARE(qobject_cast<QDateTimeAxis*>(yAxis(2))->format(), QStringLiteral("hh:mm:ss"));
    QCOMPARE(qobject_cast<QCategoryAxis*>(yAxis(3))->categoriesLabels(), (QStringList{"Ready", "1", "Fault"}));
    QVERIFY(qobject_cast<QValueAxis*>(yAxis(4)));
    QCOMPARE(views.at(3)->chart()->series().size(), 3);
    QCOMPARE(views.at(4)->chart()->series().size(), 2);
    for (QLineSeries* line : dock.curves())
        QVERIFY(line->count() >= 12);
}

void TestPlot::manyPointsAreDecimated()
{
    // 20,000 points with one spike and one dip far from the rest.
    for (int i = 0; i < 20000; ++i) {
        const int value = i == 12345 ? 90000 : i == 777 ? -90000 : i % 100;
        QRV16::Message m;
        m.beginMessage(0xE001);
        m.appendInt(0x1001, value);
        m.endMessage();
        m_model->append(QStringLiteral("1"), m, ColorMessageRx1, start.addMSecs(i * 10));
    }
    PlotDock dock(m_model.get());
    dock.setTags(m_tags.get());
    dock.resize(700, 300);
    QVERIFY(dock.addTag(0x1001));
    // A trace this long is collected partly in later turns of the event loop.
    QTRY_VERIFY_WITH_TIMEOUT(!dock.plotter()->isCollecting(), 120000);
    dock.show();
    dock.redraw();
    QLineSeries* line = dock.curves().value(0);
    QVERIFY(line);
    QVERIFY2(line->count() <= 4 * 700, qPrintable(QString::number(line->count())));
    QVERIFY(line->count() > 200);
    double min = 0;
    double max = 0;
    for (const QPointF& p : line->points()) {
        min = std::min(min, p.y());
        max = std::max(max, p.y());
    }
    QCOMPARE(max, 90000.0);
    QCOMPARE(min, -90000.0);
}

void TestPlot::zoomPanAndTimeAxis()
{
    for (int i = 0; i <= 100; ++i)
        add(QStringLiteral("Reply=(Temperature=%1)").arg(i), i * 100);
    PlotDock dock(m_model.get());
    dock.setTags(m_tags.get());
    QVERIFY(dock.addTag(0x1001));
    dock.resize(600, 300);
    dock.show();
    dock.redraw();
    const qint64 t0 = start.toMSecsSinceEpoch();
    QVERIFY(!dock.isZoomed());
    QCOMPARE(dock.rangeStart(), t0);
    QCOMPARE(dock.rangeEnd(), t0 + 10000);

    dock.zoom(0.5, 0.5);
    dock.redraw();
    QVERIFY(dock.isZoomed());
    QCOMPARE(dock.rangeStart(), t0 + 2500);
    QCOMPARE(dock.rangeEnd(), t0 + 7500);
    // The points inside and one on each side.
    QCOMPARE(dock.curves().first()->count(), 53);
    QCOMPARE(dock.curves().first()->at(0).y(), 24.0);

    dock.pan(0.2);
    QCOMPARE(dock.rangeStart(), t0 + 3500);
    // A zoomed plot stays where it is while lines arrive ...
    add(QStringLiteral("Reply=(Temperature=101)"), 10100);
    dock.redraw();
    QCOMPARE(dock.rangeEnd(), t0 + 8500);
    // ... and follows them again after a reset.
    dock.resetZoom();
    QVERIFY(!dock.isZoomed());
    QCOMPARE(dock.rangeEnd(), t0 + 10100);

    // With the trace's relative times, seconds from the first line.
    QVERIFY(
        qobject_cast<QDateTimeAxis*>(dock.views().first()->chart()->axes(Qt::Horizontal).value(0)));
    dock.setOptions(TraceOptions().with(TraceOptions::RelativeTime));
    auto* seconds =
        qobject_cast<QValueAxis*>(dock.views().first()->chart()->axes(Qt::Horizontal).value(0));
    QVERIFY(seconds);
    QCOMPARE(dock.curves().first()->at(1), QPointF(0.1, 1));
    QCOMPARE(seconds->min(), 0.0);
    QCOMPARE(seconds->max(), 10.1);
}

void TestPlot::mouseZoomsAndPans()
{
    for (int i = 0; i <= 100; ++i)
        add(QStringLiteral("Reply=(Temperature=%1)").arg(i), i * 100);
    PlotDock dock(m_model.get());
    dock.setTags(m_tags.get());
    QVERIFY(dock.addTag(0x1001));
    dock.resize(600, 300);
    dock.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dock));
    QTest::qWait(2 * PlotDock::RedrawMilliseconds);
    QChartView* view = dock.views().first();
    QWidget* viewport = view->viewport();
    QRectF area = view->chart()->plotArea();
    const qint64 t0 = start.toMSecsSinceEpoch();
    const auto send = [viewport](QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons buttons) {
        QMouseEvent event(type, at, viewport->mapToGlobal(at), button, buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(viewport, &event);
    };

    // The wheel zooms around the pointer, here the left edge.
    const QPointF left(area.left(), area.center().y());
    QWheelEvent wheel(left, viewport->mapToGlobal(left), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(viewport, &wheel);
    QVERIFY(dock.isZoomed());
    QVERIFY(qAbs(dock.rangeStart() - t0) < 100);
    QVERIFY(qAbs(dock.rangeEnd() - (t0 + 8000)) < 100);

    // The middle button drags the range: half the width to the right goes
    // back in time by half the range.
    send(QEvent::MouseButtonPress, area.center(), Qt::MiddleButton, Qt::MiddleButton);
    send(QEvent::MouseMove, area.center() + QPointF(area.width() / 2, 0), Qt::NoButton, Qt::MiddleButton);
    send(QEvent::MouseButtonRelease, area.center() + QPointF(area.width() / 2, 0), Qt::MiddleButton, Qt::NoButton);
    QVERIFY(qAbs(dock.rangeStart() - (t0 - 4000)) < 100);

    // A rubber band over the left half of the plot shows that half.
    dock.resetZoom();
    // The axis labels changed: so may have the plot's place.
    QTest::qWait(PlotDock::RedrawMilliseconds);
    area = view->chart()->plotArea();
    const QPointF from(area.left() + 1, area.center().y());
    send(QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    send(QEvent::MouseMove, area.center(), Qt::NoButton, Qt::LeftButton);
    QVERIFY(view->findChild<QRubberBand*>()->isVisible());
    send(QEvent::MouseButtonRelease, area.center(), Qt::LeftButton, Qt::NoButton);
    QVERIFY(!view->findChild<QRubberBand*>()->isVisible());
    QVERIFY(dock.isZoomed());
    QVERIFY2(qAbs(dock.rangeEnd() - (t0 + 5000)) < 150, qPrintable(QString::number(dock.rangeEnd() - t0)));
    QVERIFY(dock.curves().first()->count() < 60);
    // A click is no zoom; the right button zooms out.
    send(QEvent::MouseButtonPress, area.center(), Qt::LeftButton, Qt::LeftButton);
    send(QEvent::MouseButtonRelease, area.center(), Qt::LeftButton, Qt::NoButton);
    QVERIFY(qAbs(dock.rangeEnd() - (t0 + 5000)) < 150);
    send(QEvent::MouseButtonRelease, area.center(), Qt::RightButton, Qt::NoButton);
    QVERIFY(qAbs(dock.rangeEnd() - dock.rangeStart() - 10000) < 300);
}

QTEST_MAIN(TestPlot)
#include "tst_plot.moc"
