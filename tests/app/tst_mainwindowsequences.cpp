// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"
#include "automation/autoanswer.h"
#include "automation/widgets/sequencedock.h"
#include "bookmarks/bookmarklist.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"
#include "tests/support/loopback.h"
#include "tests/support/sequencesteps.h"
#include "tests/support/stallmeter.h"
#include "tests/support/tracelines.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QMenuBar>
#include <QSettings>
#include <QStandardPaths>
#include <QTreeWidget>
#include <QtTest>

namespace {

const QString answersPath = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvans");
const QString sequencesPath = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvseq");

// The deferred start-up connects the stored links, channel 2 last; with
// none stored it says so. A test's own links go up after that.
void waitForStartUp(const MainWindow& window)
{
    QTRY_VERIFY_WITH_TIMEOUT(lines(*window.traceModel()).contains(QStringLiteral("2 Con|Not configured")), 30000);
}

} // namespace

// The sequence dock in the window: its keys, its entry-line step, and runs
// against the window's own channels.
class TestMainWindowSequences : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void deleteKeyInWindowTakesOnlyTheStep();
    void windowStaysLiveWhileRunning();
    void windowRunsTheDemo_data();
    void windowRunsTheDemo();
};

void TestMainWindowSequences::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestMainWindowSequences::init()
{
    QSettings().clear();
}

void TestMainWindowSequences::deleteKeyInWindowTakesOnlyTheStep()
{
    MainWindow window;
    window.show();
    QApplication::setActiveWindow(&window);
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QVERIFY(window.loadBookmarks(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvbm")));
    const int bookmarks = window.bookmarks()->count();
    window.message(QStringLiteral("a line"));
    QTRY_VERIFY(window.traceModel()->lineCount() > 0);
    const int trace = window.traceModel()->lineCount();
    SequenceDock* dock = window.sequenceDock();
    dock->insertStep(SequenceStep::wait(1));
    dock->insertStep(SequenceStep::wait(2));
    dock->setCurrentStep(0);
    dock->stepView()->setFocus();
    QTRY_VERIFY(dock->stepView()->hasFocus());
    QTest::keyClick(dock->stepView(), Qt::Key_Delete);
    QCOMPARE(stepTexts(*dock), QStringList{QStringLiteral("Wait 2 ms")});
    window.selectTarget(2);
    QLineEdit* entry = window.findChild<QComboBox*>(QStringLiteral("m_cb_message"))->lineEdit();
    entry->setText(QStringLiteral("GetStatus"));
    action(dock, "m_act_sequence_add_entry")->trigger();
    QCOMPARE(stepTexts(*dock), (QStringList{QStringLiteral("Wait 2 ms"), QStringLiteral("Send on 2: GetStatus")}));
    QCOMPARE(window.bookmarks()->count(), bookmarks);
    QCOMPARE(window.traceModel()->lineCount(), trace);
}

// A sequence of 1 ms waits and an answer rule without delay, both busy on
// one loopback pair: the window's event loop stays live throughout.
void TestMainWindowSequences::windowStaysLiveWhileRunning()
{
    MainWindow window;
    window.show();
    waitForStartUp(window);
    QVERIFY(window.loadDefinitionFile(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")));
    action(&window, "m_act_link")->setChecked(false);
    connectLoopback(window.channel(1), window.channel(2));
    if (QTest::currentTestFailed())
        return;
    AnswerRule rule;
    rule.when = QStringLiteral("GetStatus");
    rule.answer = QStringLiteral("GetStatusReply=(ResultCode=Ok)");
    rule.channel = 2;
    window.autoAnswer()->setRules({rule});
    Sequence sequence;
    sequence.name = QStringLiteral("busy");
    sequence.steps = {SequenceStep::repeat(300), SequenceStep::send(1, QStringLiteral("GetStatus")),
                      SequenceStep::expect(1, QStringLiteral("GetStatusReply"), 1000), SequenceStep::wait(1),
                      SequenceStep::end()};
    SequenceDock* dock = window.sequenceDock();
    dock->setSequences({sequence});

    QSignalSpy finished(dock->runner(), &SequenceRunner::finished);
    korvtest::StallMeter meter;
    dock->run();
    QVERIFY(finished.wait(60000));
    meter.stop();
    const auto summary = finished.first().at(0).value<SequenceRunner::Summary>();
    QCOMPARE(summary.passes, 300);
    QVERIFY(summary.passed());
    // Wall-clock lateness would count the machine preempting the test; a
    // stall of ours is time the event loop's thread spent working.
    QVERIFY(meter.ticks > 10);
    QVERIFY2(meter.longest < 100, qPrintable(QString::number(meter.longest)));
}

void TestMainWindowSequences::windowRunsTheDemo_data()
{
    QTest::addColumn<QString>("ruleOff");
    QTest::newRow("green") << QString();
    QTest::newRow("red without the lockout") << QStringLiteral("Pump 2 locked out");
}

// The window as `make run` sets it up: the demo's sequence against its
// simulated controller, with the trace telling the outcome.
void TestMainWindowSequences::windowRunsTheDemo()
{
    QFETCH(QString, ruleOff);
    MainWindow window;
    window.resize(1300, 800);
    window.show();
    waitForStartUp(window);
    QVERIFY(window.loadDefinitionFile(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")));
    QVERIFY(window.loadBookmarks(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvbm")));
    QVERIFY(window.loadAnswers(answersPath));
    // As in the demo's settings: the two ends talk to each other, no relay.
    action(&window, "m_act_link")->setChecked(false);
    connectLoopback(window.channel(1), window.channel(2));
    if (QTest::currentTestFailed())
        return;
    QVector<AnswerRule> rules = window.autoAnswer()->rules();
    for (AnswerRule& rule : rules)
        rule.enabled = rule.enabled && rule.name != ruleOff;
    window.autoAnswer()->setRules(rules);
    SequenceDock* dock = window.sequenceDock();
    window.resizeDocks({dock}, {480}, Qt::Horizontal);
    window.resizeDocks({dock}, {560}, Qt::Vertical);
    QVERIFY(dock->load(sequencesPath));
    QVERIFY(window.menuBar()->findChild<QMenu*>(QStringLiteral("m_mnu_sequences")));
    window.traceModel()->clear();
    QSignalSpy finished(dock->runner(), &SequenceRunner::finished);
    action(dock, "m_act_sequence_run")->trigger();
    QVERIFY(finished.wait(10000));
    QCoreApplication::processEvents();
    const QStringList trace = lines(*window.traceModel());
    const QStringList mine = trace.filter(QRegularExpression(QStringLiteral("^Sequences\\|")));
    QVERIFY2(mine.size() >= 2, qPrintable(trace.join(QLatin1Char('\n'))));
    QCOMPARE(mine.first(), QStringLiteral("Sequences|Sequence \"Pump station acceptance\" started"));
    if (ruleOff.isEmpty()) {
        QCOMPARE(mine.size(), 2);
        QVERIFY2(mine.last().contains(QStringLiteral(": 17 steps, 7 passed, 0 failed, ")), qPrintable(mine.last()));
    } else {
        QCOMPARE(mine.size(), 3);
        QVERIFY2(mine.at(1).contains(QStringLiteral("arrived instead: SetPumpModeReply=(PumpId=2 ResultCode=Ok)")),
                 qPrintable(mine.at(1)));
        QVERIFY2(mine.last().contains(QStringLiteral(": 15 steps, 5 passed, 1 failed, ")), qPrintable(mine.last()));
    }
    // What the sequence sent is traced on channel 1 as sent, saying by whom.
    const TraceModel* model = window.traceModel();
    const int sent = int(trace.indexOf(QStringLiteral("1|GetStatus=()")));
    QVERIFY2(sent >= 0, qPrintable(trace.join(QLatin1Char('\n'))));
    QCOMPARE(model->index(sent, TraceModel::SourceColumn).data(TraceModel::DirectionRole).toInt(), int(Sent));
    const QString tip = model->index(sent, TraceModel::TextColumn).data(Qt::ToolTipRole).toString();
    QVERIFY2(tip.contains(QLatin1String("Sent by sequence \"Pump station acceptance\", step 1")), qPrintable(tip));
    const QByteArray shot = qgetenv("KORV_SEQUENCES_SHOT");
    if (!shot.isEmpty() && ruleOff.isEmpty()) {
        QTest::qWait(300);
        window.grab().save(QString::fromLocal8Bit(shot));
    }
}

QTEST_MAIN(TestMainWindowSequences)
#include "tst_mainwindowsequences.moc"
