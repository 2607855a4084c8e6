// SPDX-License-Identifier: MIT
#include "trace/widgets/tracelogging.h"

#include "files/logrecord.h"
#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "trace/channel.h"
#include "trace/logwriter.h"
#include "trace/replayer.h"
#include "trace/traceitem.h"
#include "trace/tracemodel.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/tracelines.h"

#include <QAction>
#include <QDir>
#include <QProgressDialog>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

// Logging as a window has it: two channels on one trace, and what logging
// says as "Log" lines of the trace.
struct Logging
{
    Logging()
        : tags(tagsOf(pumpDefinitions))
    {
        model = new TraceModel(&window);
        model->setTags(tags.get());
        for (Channel** channel : {&first, &second}) {
            *channel = new Channel(channel == &first ? 1 : 2, &window);
            (*channel)->setModel(model);
        }
        logging = new TraceLogging(model, &window);
        logging->setChannels(first, second);
        QObject::connect(logging, &TraceLogging::message, model, [this](const QString& text, StyleColor color) {
            model->append(QStringLiteral("Log"), text, color);
        });
    }

    void say(const QString& text) { model->append(QStringLiteral("Main"), text, ColorText); }

    std::unique_ptr<QRV16::TagDataLut> tags;
    QWidget window;
    TraceModel* model;
    Channel* first;
    Channel* second;
    TraceLogging* logging;
};

} // namespace

class TestTraceLogging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void logWritesRecords();
    void logStartWhileOneRuns();
    void failedStartsAreSaid();
    void replayLogDecodesAfresh();
    void replayHexDumpFeedsTheChannel();
    void replayDialogCancels();
    void liveLinesFollowTheReplayedBlock();

private:
    QTemporaryDir m_dir;
};

void TestTraceLogging::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_dir.isValid());
}

void TestTraceLogging::init()
{
    QSettings().clear();
}

void TestTraceLogging::logWritesRecords()
{
    const QString path = m_dir.filePath(QStringLiteral("trace.csv"));
    Logging log;
    QVERIFY(log.logging->startLog(path));
    QVERIFY(log.logging->isLogging());
    QVERIFY(!log.logging->startAction()->isEnabled());
    QVERIFY(log.logging->stopAction()->isEnabled());
    log.say(QStringLiteral("say \"hi\", twice"));
    QRV16::MessageParser parser(log.tags.get());
    log.model->append(QStringLiteral("1"), parser.parse(QStringLiteral("1001=3")), ColorMessageTx1, QDateTime());
    log.model->append(QStringLiteral("2"), parser.parse(QStringLiteral("1001=4")), ColorMessageRx2, QDateTime(), 5, 0);
    log.logging->stopAction()->trigger();
    QVERIFY(!log.logging->isLogging());
    QVERIFY(log.logging->startAction()->isEnabled());
    QVERIFY(!log.logging->stopAction()->isEnabled());
    const QStringList records = QString::fromUtf8(readFile(path)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(records.size(), 5);
    QVERIFY(records.at(0).contains(QStringLiteral(",\"Log\",\"Logging to ")));
    QVERIFY(records.at(4).contains(QStringLiteral(",\"Log\",\"Stopped logging to ")));
    // After the time, each record exactly as it always was: the direction
    // is in the colour number, not in the source.
    const auto afterTime = [&](int i) { return records.at(i).mid(records.at(i).indexOf(QLatin1Char(','))); };
    QCOMPARE(afterTime(1), QStringLiteral(",\"Main\",\"say \"\"hi\"\", twice\",1,,"));
    QCOMPARE(afterTime(2), QStringLiteral(",\"1\",\"PumpId=3\",8,,"));
    QCOMPARE(afterTime(3), QStringLiteral(",\"2\",\"PumpId=4\",13,5,0"));
    QCOMPARE(LogRecord::split(records.at(1)).value(2), QStringLiteral("say \"hi\", twice"));
}

// Starting the running log again, by another spelling, goes on with it; a
// start that fails keeps it; another file is written afresh.
void TestTraceLogging::logStartWhileOneRuns()
{
    const QString first = m_dir.filePath(QStringLiteral("first.csv"));
    const QString second = m_dir.filePath(QStringLiteral("second.csv"));
    const QString bad = m_dir.filePath(QStringLiteral("no/such/dir/x.csv"));
    QVERIFY(writeFile(second, "old content\n"));
    Logging log;
    QVERIFY(log.logging->startLog(first));
    log.say(QStringLiteral("one"));
    QVERIFY(log.logging->startLog(m_dir.filePath(QStringLiteral("./first.csv"))));
    log.model->clear();
    QVERIFY(!log.logging->startLog(bad));
    QVERIFY(log.logging->isLogging());
    QVERIFY(!log.logging->startAction()->isEnabled());
    const QStringList shown = lines(*log.model);
    QCOMPARE(shown.size(), 1);
    QVERIFY2(shown.constFirst().startsWith(QLatin1String("Log|")) &&
                 shown.constFirst().contains(QDir::toNativeSeparators(bad)),
             qPrintable(shown.constFirst()));
    log.say(QStringLiteral("two"));
    log.logging->writer()->flush();
    const QByteArray kept = readFile(first);
    QVERIFY(kept.contains("\"one\"") && kept.contains("\"two\""));
    QVERIFY(!kept.contains("Stopped logging"));

    QVERIFY(log.logging->startLog(second));
    log.say(QStringLiteral("three"));
    log.logging->stopLog();
    log.say(QStringLiteral("after"));
    const QByteArray replaced = readFile(second);
    QVERIFY(!replaced.contains("old content"));
    QVERIFY(replaced.contains("Logging to") && replaced.contains("\"three\""));
    QVERIFY(!replaced.contains("\"after\""));
    QVERIFY(readFile(first).contains("Stopped logging to"));
    QVERIFY(!readFile(first).contains("\"three\""));
}

// Without a log running: why, in the file system's words.
void TestTraceLogging::failedStartsAreSaid()
{
    Logging log;
    QVERIFY(!log.logging->startLog(m_dir.filePath(QStringLiteral("no/such/dir/x.csv"))));
    QVERIFY(!log.logging->isLogging());
    QCOMPARE(log.model->lineCount(), 1);
    QVERIFY2(lines(*log.model).constFirst().startsWith(QLatin1String("Log|Could not log to ")) &&
                 lines(*log.model).constFirst().endsWith(QLatin1String(": No such file or directory")),
             qPrintable(lines(*log.model).constFirst()));
    QCOMPARE(log.model->index2item(log.model->index(0, 0))->color(), ColorError);
    QVERIFY(!log.logging->replayLog(m_dir.filePath(QStringLiteral("missing.csv"))));
    QCOMPARE(log.model->lineCount(), 2);
    QCOMPARE(log.model->index2item(log.model->index(1, 0))->color(), ColorError);
    QVERIFY(!log.logging->replayer()->isRunning());
    QVERIFY(log.logging->replayAction()->isEnabled());
}

void TestTraceLogging::replayLogDecodesAfresh()
{
    const QString path = m_dir.filePath(QStringLiteral("replay.csv"));
    QVERIFY(writeFile(path, "2011-03-04T10:20:30.045,\"1\",\"D001=(1001=4)\",8,5,0\n"
                            "2011-03-04T10:20:31.000,\"1 Con\",\"Connection established\",1,,\n"
                            "\n"
                            "garbage,\"Main\",\"x, \"\"quoted\"\"\",,,\n"));
    Logging log;
    QSignalSpy finished(log.logging->replayer(), &Replayer::finished);
    QVERIFY(log.logging->replayLog(path));
    QVERIFY(finished.wait(5000));
    QCOMPARE(finished.at(0).at(0).toBool(), true);
    TraceModel* model = log.model;
    const QStringList shown = lines(*model);
    QCOMPARE(shown.size(), 7);
    QCOMPARE(shown.at(0), QStringLiteral("|"));
    QVERIFY(shown.at(1).startsWith(QLatin1String("Log|Replay of file ")));
    QVERIFY(shown.contains(QStringLiteral("1|GetStatus=(PumpId=4)")));
    QVERIFY(shown.contains(QStringLiteral("1 Con|Connection established")));
    QVERIFY(shown.contains(QStringLiteral("Main|x, \"quoted\"")));
    QVERIFY(shown.contains(QStringLiteral("Log|Line 4: unreadable time garbage")));
    QCOMPARE(shown.constLast(), QStringLiteral("|"));
    const int row = int(shown.indexOf(QStringLiteral("1|GetStatus=(PumpId=4)")));
    const TraceItem* line = model->index2item(model->index(row, 0));
    QCOMPARE(line->time(), QDateTime(QDate(2011, 3, 4), QTime(10, 20, 30, 45)));
    QCOMPARE(line->color(), ColorMessageTx1);
    QCOMPARE(line->src(), 5);
    QCOMPARE(line->dst(), 0);
    QCOMPARE(model->rowCount(model->index(row, 0)), 1);
}

void TestTraceLogging::replayHexDumpFeedsTheChannel()
{
    const QString path = m_dir.filePath(QStringLiteral("dump.csv"));
    // A message cut over two raw lines, a sent line, a status line and a
    // byte line of channel 2.
    QVERIFY(writeFile(path, "2011-03-04T10:20:30.045,\"1 Raw\",\"03 00 01\",3,,\n"
                            "2011-03-04T10:20:30.050,\"1 Raw\",\"10 09\",3,,\n"
                            "2011-03-04T10:20:30.060,\"1 Raw\",\"03 00 01 10 07\",4,,\n"
                            "2011-03-04T10:20:31.000,\"1 Con\",\"Connection closed\",1,,\n"
                            "2011-03-04T10:20:32.000,\"2 Con\",\"03 00 01 10 02\",1,,\n"));
    Logging log;
    const TraceOptions paused = TraceOptions().with(TraceOptions::Pause);
    log.first->setOptions(paused);
    log.second->setOptions(paused);
    QSignalSpy finished(log.logging->replayer(), &Replayer::finished);
    QVERIFY(log.logging->replayHexDump(path));
    QVERIFY(finished.wait(5000));
    const QStringList shown = lines(*log.model);
    QVERIFY2(shown.contains(QStringLiteral("1|PumpId=9")), qPrintable(shown.join(QLatin1Char('\n'))));
    QVERIFY(shown.contains(QStringLiteral("1 Raw|03 00 01 10 07")));
    QVERIFY(!shown.contains(QStringLiteral("1|PumpId=7")));
    QVERIFY(shown.contains(QStringLiteral("1 Con|Connection closed")));
    QVERIFY(shown.contains(QStringLiteral("2|PumpId=2")));
    const int row = int(shown.indexOf(QStringLiteral("1|PumpId=9")));
    QCOMPARE(log.model->index2item(log.model->index(row, 0))->time(),
             QDateTime(QDate(2011, 3, 4), QTime(10, 20, 30, 50)));
    // The pause is back as it was.
    QVERIFY(log.first->options().test(TraceOptions::Pause));
}

void TestTraceLogging::replayDialogCancels()
{
    const QString path = m_dir.filePath(QStringLiteral("long.csv"));
    QVERIFY(writeFile(path, QByteArray("2011-03-04T10:20:30.045,\"Main\",\"x\",1,,\n").repeated(300000)));
    Logging log;
    QAction* play = log.logging->replayAction();
    QSignalSpy finished(log.logging->replayer(), &Replayer::finished);
    QVERIFY(log.logging->replayLog(path));
    QVERIFY(!play->isEnabled());
    QVERIFY(!log.logging->replayHexAction()->isEnabled());
    auto* dialog = log.window.findChild<QProgressDialog*>(QStringLiteral("m_dlg_replay"));
    QVERIFY(dialog);
    QTRY_VERIFY(log.logging->replayer()->done() > 0);
    QVERIFY(dialog->labelText().endsWith(QLatin1String(" of 300000 lines")));
    dialog->findChild<QPushButton*>()->click();
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toBool(), false);
    QVERIFY(!log.logging->replayer()->isRunning());
    QVERIFY(play->isEnabled());
    QVERIFY(log.logging->replayHexAction()->isEnabled());
    QTRY_VERIFY(!log.window.findChild<QProgressDialog*>(QStringLiteral("m_dlg_replay")));
    const qint64 done = log.logging->replayer()->done();
    QVERIFY(done < 300000);
    const QStringList shown = lines(*log.model);
    QCOMPARE(shown.mid(shown.size() - 2),
             (QStringList{QStringLiteral("Log|Replay cancelled after %1 of 300000 lines").arg(done),
                          "|"}));

    // Nothing of the cancelled replay follows the next one's.
    const QString small = m_dir.filePath(QStringLiteral("small.csv"));
    QVERIFY(
        writeFile(small, QByteArray("2011-03-04T10:20:30.045,\"Main\",\"y\",1,,\n").repeated(3)));
    QVERIFY(log.logging->replayLog(small));
    QVERIFY(finished.wait(20000));
    const QStringList next = lines(*log.model).mid(shown.size());
    QCOMPARE(next.size(), 2 + 3 + 1);
    QCOMPARE(next.mid(2), (QStringList{"Main|y", "Main|y", "Main|y", "|"}));
}

// Lines that arrive while a log replays are placed after the replayed
// block, in the trace and in the log being written.
void TestTraceLogging::liveLinesFollowTheReplayedBlock()
{
    constexpr int Count = 5000;
    const QString path = m_dir.filePath(QStringLiteral("block.csv"));
    QByteArray content;
    const QDateTime start(QDate(2011, 3, 4), QTime(10, 20, 30));
    for (int i = 0; i < Count; ++i)
        content += start.addMSecs(i).toString(QStringLiteral("yyyy-MM-ddThh:mm:ss.zzz")).toLatin1() +
                   ",\"Main\",\"r " + QByteArray::number(i) + "\",1,,\n";
    QVERIFY(writeFile(path, content));
    const QString logFile = m_dir.filePath(QStringLiteral("during.csv"));
    Logging log;
    QVERIFY(log.logging->startLog(logFile));
    int live = 0;
    // Between the replay's slices, as traffic arrives.
    connect(log.logging->replayer(), &Replayer::progress, &log.window, [&] {
        QTimer::singleShot(0, &log.window, [&] { log.say(QStringLiteral("live %1").arg(live++)); });
    });
    QSignalSpy progress(log.logging->replayer(), &Replayer::progress);
    QSignalSpy finished(log.logging->replayer(), &Replayer::finished);
    const int before = log.model->lineCount();
    QVERIFY(log.logging->replayLog(path));
    // Nothing is replayed before the event loop turns, then it takes many
    // turns, each saying how far it got.
    QCOMPARE(log.model->lineCount(), before + 2);
    QVERIFY(finished.wait(240000));
    QVERIFY(finished.at(0).at(0).toBool());
    QCOMPARE(progress.constLast(), (QVariantList{qint64(Count), qint64(Count)}));
    log.say(QStringLiteral("live end"));
    log.logging->stopLog();
    QVERIFY2(live > 1, qPrintable(QString::number(live)));

    const QStringList shown = lines(*log.model);
    const int opening = int(shown.indexOf(QStringLiteral("|")));
    const int closing = int(shown.lastIndexOf(QStringLiteral("|")));
    QVERIFY(opening >= 0 && closing > opening);
    QStringList block;
    for (int row = opening + 1; row < closing; ++row) {
        if (shown.at(row).startsWith(QLatin1String("Main|")))
            block << shown.at(row);
    }
    QCOMPARE(block.size(), Count);
    for (int i = 0; i < Count; ++i)
        QCOMPARE(block.at(i), QStringLiteral("Main|r %1").arg(i));
    QCOMPARE(shown.filter(QStringLiteral("Main|live ")).size(), live + 1);
    for (int row = 0; row < closing; ++row)
        QVERIFY2(!shown.at(row).startsWith(QLatin1String("Main|live ")), qPrintable(shown.at(row)));

    const QStringList records = QString::fromUtf8(readFile(logFile)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    int lastReplayed = -1;
    int firstLive = -1;
    for (int i = 0; i < records.size(); ++i) {
        if (records.at(i).contains(QLatin1String(",\"r ")))
            lastReplayed = i;
        if (firstLive < 0 && records.at(i).contains(QLatin1String(",\"live ")))
            firstLive = i;
    }
    QCOMPARE(records.filter(QStringLiteral(",\"r ")).size(), Count);
    QVERIFY2(lastReplayed < firstLive, qPrintable(QStringLiteral("%1 %2").arg(lastReplayed).arg(firstLive)));
}

QTEST_MAIN(TestTraceLogging)
#include "tst_tracelogging.moc"
