// SPDX-License-Identifier: MIT
#include "trace/channel.h"
#include "trace/logwriter.h"
#include "trace/replayer.h"
#include "trace/tracemodel.h"

#include "qrv16/tagdatalut.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/timezone.h"
#include "tests/support/tracelines.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

const char goodRecord[] = "2011-03-04T10:20:30.045,\"1\",\"PumpId=4\",7,,\n";

QByteArray manyRecords(int count)
{
    QByteArray out;
    for (int i = 0; i < count; ++i)
        out += "2011-03-04T10:20:30.045,\"1\",\"PumpId=" + QByteArray::number(i) + "\",7,,\n";
    return out;
}

} // namespace

class TestReplayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void badRecordsAreReportedOnce_data();
    void badRecordsAreReportedOnce();
    void timesReplayAsLogged_data();
    void timesReplayAsLogged();
    void secondReplayWaits();
    void hexDumpProgressCountsBytes();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<QRV16::TagDataLut> m_tags;
    std::unique_ptr<TraceModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    std::unique_ptr<Channel> m_channel1;
    std::unique_ptr<Replayer> m_replayer;
};

void TestReplayer::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    m_tags = tagsOf(pumpDefinitions);
}

void TestReplayer::init()
{
    m_model = std::make_unique<TraceModel>();
    m_model->setTags(m_tags.get());
    m_tester = std::make_unique<QAbstractItemModelTester>(
        m_model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    m_channel1 = std::make_unique<Channel>(1);
    m_channel1->setModel(m_model.get());
    m_replayer = std::make_unique<Replayer>(m_model.get());
    m_replayer->setChannels(m_channel1.get(), nullptr, m_channel1.get());
    QObject::connect(m_replayer.get(), &Replayer::message, m_model.get(),
                     [this](const QString& text, StyleColor color) {
                         m_model->append(QStringLiteral("Log"), text, color);
                     });
}

void TestReplayer::cleanup()
{
    m_replayer.reset();
    m_channel1.reset();
    m_tester.reset();
    m_model.reset();
}

void TestReplayer::badRecordsAreReportedOnce_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("shown"); // but for the replay's own lines

    const QString good = QStringLiteral("1|PumpId=4");
    const QByteArray at = "2011-03-04T10:20:30.045,";
    QTest::newRow("no text field") << int(Replayer::LogFile) << QByteArray("garbage\n") + goodRecord
                                   << QStringList{"Log|Line 1: not a log record: garbage", good};
    QTest::newRow("an unreadable time is reported, the line kept")
        << int(Replayer::LogFile) << QByteArray("noon,\"1\",\"PumpId=4\",7,,\n")
        << QStringList{"Log|Line 1: unreadable time noon", good};
    QTest::newRow("a line over 1 MiB is skipped, the next one replayed")
        << int(Replayer::LogFile) << QByteArray(3 * 1048576 + 7, 'x') + "\n" + goodRecord
        << QStringList{"Log|Line 1: longer than 1048576 bytes, skipped", good};
    QTest::newRow("an over-long last line without a line feed")
        << int(Replayer::LogFile) << QByteArray(goodRecord) + QByteArray(1048577, ',')
        << QStringList{good, "Log|Line 2: longer than 1048576 bytes, skipped"};
    QTest::newRow("a last record cut short, in its text")
        << int(Replayer::LogFile)
        << QByteArray(goodRecord) + "2011-03-04T10:20:30.046,\"1\",\"PumpId=45"
        << QStringList{good, "Log|Line 2: cut short, skipped"};
    QTest::newRow("a last record cut short, after its text")
        << int(Replayer::LogFile)
        << QByteArray(goodRecord) + "2011-03-04T10:20:30.046,\"1\",\"PumpId=4\",7"
        << QStringList{good, "Log|Line 2: cut short, skipped"};
    QTest::newRow("odd characters in a byte line")
        << int(Replayer::HexDump) << at + "\"1 Raw\",\"03 00 0G\",3,,\n"
        << QStringList{"Log|Line 1: not hexadecimal bytes: 03 00 0G"};
    QTest::newRow("a byte line that breaks off")
        << int(Replayer::HexDump) << at + "\"1 Raw\",\"03 00 01 1\",3,,\n"
        << QStringList{"Log|Line 1: not hexadecimal bytes: 03 00 01 1"};
    QStringList hundred;
    for (int i = 1; i <= Replayer::ReportLimit; ++i)
        hundred << QStringLiteral("Log|Line %1: not a log record: ?").arg(i);
    hundred << good << QStringLiteral("Log|50 more bad records not shown");
    QTest::newRow("150 bad records: 100 reported, then a count")
        << int(Replayer::LogFile) << QByteArray("?\n").repeated(150) + goodRecord << hundred;
    // Reported where they are, and kept; status texts of other sources
    // never read as messages, so they are not reported.
    QTest::newRow("messages that do not read")
        << int(Replayer::LogFile)
        << QByteArray(goodRecord) + "2011-03-04T10:20:31.000,\"1\",\"PumpId=4294967296\",7,,\n"
                                    "2011-03-04T10:20:32.000,\"1 Con\",\"Connected to pts/3\",0,,\n"
                                    "2011-03-04T10:20:33.000,\"2\",\"PumpId=x\",13,,\n"
        << QStringList{good,
                       "Log|Line 2: Value out of range at column 8 of \"PumpId=4294967296\"",
                       "1|PumpId=4294967296",
                       "1 Con|Connected to pts/3",
                       "Log|Line 4: Failed to decode value at column 8 of \"PumpId=x\"",
                       "2|PumpId=x"};

    // Every text of a byte dump that is not bytes stays a line of the trace.
    QTest::newRow("a status text that starts with hex letters")
        << int(Replayer::HexDump) << at + "\"1 Con\",\"failed to listen on 127.0.0.1:10000\",1,,\n"
        << QStringList{"1 Con|failed to listen on 127.0.0.1:10000"};
    QTest::newRow("a status text whose first word is hex")
        << int(Replayer::HexDump) << at + "\"2 Con\",\"Adapter FTDI found again as ttyUSB1\",1,,\n"
        << QStringList{"2 Con|Adapter FTDI found again as ttyUSB1"};
    QTest::newRow("a status text that is one hex word and more")
        << int(Replayer::HexDump) << at + "\"1 Con\",\"Dead peer dropped\",1,,\n"
        << QStringList{"1 Con|Dead peer dropped"};
    QTest::newRow("a printer's text on a raw line")
        << int(Replayer::HexDump) << at + "\"1 Raw\",\"answer ctl 89 type 34 | CRC ok | end\",3,,\n"
        << QStringList{"1 Raw|answer ctl 89 type 34 | CRC ok | end"};
    QTest::newRow("bytes are bytes")
        << int(Replayer::HexDump) << at + "\"1 Con\",\"03 00 01 10 04\",1,,\n"
        << QStringList{good};
}

void TestReplayer::badRecordsAreReportedOnce()
{
    QFETCH(int, mode);
    QFETCH(QByteArray, content);
    QFETCH(QStringList, shown);

    const QString path = m_dir.filePath(QStringLiteral("replay.csv"));
    QVERIFY(writeFile(path, content));
    QSignalSpy finished(m_replayer.get(), &Replayer::finished);
    QVERIFY(m_replayer->start(path, Replayer::Mode(mode)));
    QVERIFY(finished.wait(20000));
    QVERIFY(finished.at(0).at(0).toBool());
    QStringList traced = lines(*m_model);
    // Framed by a separator line each side.
    QCOMPARE(traced.constFirst(), QStringLiteral("|"));
    QCOMPARE(traced.constLast(), QStringLiteral("|"));
    traced = traced.mid(1, traced.size() - 2);
    traced.removeIf(
        [](const QString& line) { return line.startsWith(QLatin1String("Log|Replay ")); });
    QCOMPARE(traced, shown);
}

void TestReplayer::timesReplayAsLogged_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QStringList>("times");
    const QStringList seasons{"2011-01-04T10:20:30.045", "2011-07-04T10:20:30.045"};
    // Berlin skips 02:00 to 03:00 that night: the two are 750 ms apart.
    const QStringList spring{"2026-03-29T01:59:59.500", "2026-03-29T03:00:00.250"};
    QTest::newRow("winter and summer, UTC") << QByteArray("UTC") << seasons;
    QTest::newRow("winter and summer, Berlin") << QByteArray("Europe/Berlin") << seasons;
    QTest::newRow("across the spring gap, UTC") << QByteArray("UTC") << spring;
    QTest::newRow("across the spring gap, Berlin") << QByteArray("Europe/Berlin") << spring;
}

// The log holds local wall-clock times; its replay shows the same times and
// the same spans between them.
void TestReplayer::timesReplayAsLogged()
{
    QFETCH(QByteArray, zone);
    QFETCH(QStringList, times);
    const LocalZone local(zone);
    const QString path = m_dir.filePath(QStringLiteral("times.csv"));
    TraceModel logged;
    {
        LogWriter writer(&logged);
        QVERIFY(writer.open(path));
        for (const QString& time : times)
            logged.append(QStringLiteral("1"), QStringLiteral("PumpId=1"), ColorText,
                          QDateTime::fromString(time, Qt::ISODateWithMs));
        writer.flush();
    }
    QSignalSpy finished(m_replayer.get(), &Replayer::finished);
    QVERIFY(m_replayer->start(path, Replayer::LogFile));
    QVERIFY(finished.wait(20000));
    QCOMPARE(m_replayer->badRecords(), 0);

    const auto timeColumn = [](const TraceModel& model) {
        QStringList out;
        for (int row = 0; row < model.lineCount(); ++row) {
            if (model.index(row, TraceModel::SourceColumn).data().toString() == QLatin1String("1"))
                out << model.index(row, TraceModel::TimeColumn).data().toString();
        }
        return out;
    };
    QCOMPARE(timeColumn(*m_model), timeColumn(logged));
    const TraceOptions relative = TraceOptions().with(TraceOptions::RelativeTime);
    m_model->setOptions(relative);
    const QDateTime first = QDateTime::fromString(times.first(), Qt::ISODateWithMs);
    const QDateTime last = QDateTime::fromString(times.last(), Qt::ISODateWithMs);
    const QStringList relatives = timeColumn(*m_model);
    QCOMPARE(qRound64(relatives.constLast().toDouble() * 1000) - qRound64(relatives.constFirst().toDouble() * 1000),
             first.msecsTo(last));
}

void TestReplayer::secondReplayWaits()
{
    const QString path = m_dir.filePath(QStringLiteral("small.csv"));
    QVERIFY(writeFile(path, manyRecords(10)));
    QSignalSpy finished(m_replayer.get(), &Replayer::finished);
    QVERIFY(m_replayer->start(path, Replayer::LogFile));
    QVERIFY(!m_replayer->start(path, Replayer::HexDump));
    QCOMPARE(m_replayer->mode(), Replayer::LogFile);
    QVERIFY(finished.wait(5000));
    QCOMPARE(m_model->lineCount(), 2 + 1 + 10 + 1);
}

void TestReplayer::hexDumpProgressCountsBytes()
{
    const QByteArray dump = QByteArray("2011-03-04T10:20:30.045,\"1 Raw\",\"03 00 01 10 04\",3,,\n").repeated(50);
    const QString path = m_dir.filePath(QStringLiteral("dump.csv"));
    QVERIFY(writeFile(path, dump));
    QSignalSpy progress(m_replayer.get(), &Replayer::progress);
    QSignalSpy finished(m_replayer.get(), &Replayer::finished);
    QVERIFY(m_replayer->start(path, Replayer::HexDump));
    QVERIFY(finished.wait(5000));
    QCOMPARE(progress.constLast().at(0).toLongLong(), qint64(dump.size()));
    QCOMPARE(progress.constLast().at(1).toLongLong(), qint64(dump.size()));
    QCOMPARE(int(lines(*m_model).count(QStringLiteral("1|PumpId=4"))), 50);
}

QTEST_MAIN(TestReplayer)
#include "tst_replayer.moc"
