// SPDX-License-Identifier: MIT
// The automation's widgets: the answer rules dialog, and the sequence dock
// with its step dialog.
#include "automation/messageport.h"
#include "automation/sequenceparser.h"
#include "automation/widgets/answerdialog.h"
#include "automation/widgets/sequencedock.h"
#include "automation/widgets/sequencestepdialog.h"
#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkmodel.h"
#include "qrv16/messageparser.h"
#include "tests/support/definitions.h"
#include "tests/support/sequencesteps.h"

#include <QAction>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <QtTest>

Q_DECLARE_METATYPE(AnswerRule)
Q_DECLARE_METATYPE(SequenceStep)

namespace {

const QString sequencesPath = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvseq");

// A port without a link that answers GetStatus at once.
class EchoPort : public MessagePort
{
public:
    using MessagePort::MessagePort;
    bool isConnected() const override { return true; }
    void sendMessage(const QRV16::Message& message, const QString&) override
    {
        sent.append(message);
        if (reply.isValid() && request.matches(message))
            Q_EMIT received(reply);
    }
    QList<QRV16::Message> sent;
    QRV16::MessagePattern request;
    QRV16::Message reply;
};

// Drags `data` onto `row` of the step list from another program, as the
// view sees a drag whose source it cannot ask for, and drops it.
bool drop(SequenceDock* dock, QMimeData* data, int row)
{
    QTreeWidget* view = dock->stepView();
    QPoint at(10, view->viewport()->height() - 2);
    if (QTreeWidgetItem* item = view->topLevelItem(row))
        at = view->visualItemRect(item).topLeft() + QPoint(10, 1);
    const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction;
    QDragEnterEvent enter(at, actions, data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(view->viewport(), &enter);
    if (!enter.isAccepted())
        return false;
    QDropEvent event(QPointF(at), actions, data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(view->viewport(), &event);
    return event.isAccepted();
}

AnswerRule make(const QString& name, const QString& when, int channel)
{
    AnswerRule r;
    r.name = name;
    r.when = when;
    r.answer = name + QStringLiteral("Reply");
    r.channel = channel;
    return r;
}

} // namespace

class TestAutomationWidgets : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void stepDialogKeepsEachKind_data();
    void stepDialogKeepsEachKind();
    void entryLineBecomesASendStep();
    void dropsBecomeSendSteps();
    void stepsAreRemovedAndReordered();
    void saveAndLoad();
    void runShowsCurrentStepAndResults();
    void runLocksEditing();
    void addRemoveReorder();
    void editedCells();
    void testPattern_data();
    void testPattern();

private:
    QPushButton* button(const QString& text) const;

    std::unique_ptr<QRV16::TagDataLut> m_tags;
    QTemporaryDir m_dir;
    // An answer dialog on four rules, one of each sort.
    std::unique_ptr<AnswerDialog> m_dialog;
    QTableWidget* m_table = nullptr;
    QVector<AnswerRule> m_rules;
};

void TestAutomationWidgets::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    m_tags = demoTags();
}

void TestAutomationWidgets::init()
{
    QSettings().clear();
    m_dialog = std::make_unique<AnswerDialog>();
    m_dialog->setTags(m_tags.get());
    m_table = m_dialog->findChild<QTableWidget*>(QStringLiteral("m_tw_rules"));
    QVERIFY(m_table);
    m_rules = {make(QStringLiteral("GetStatus"), QStringLiteral("GetStatus"), 2),
               make(QStringLiteral("Login"), QStringLiteral("Login=(Operator=*)"), AnswerRule::AnyChannel),
               make(QStringLiteral("ReadLog"), QStringLiteral("ReadLog"), 1)};
    m_rules[1].enabled = false;
    m_rules[1].delay = 250;
    m_rules[1].limit = 3;
    m_rules[2].every = 0;
    AnswerRule periodic;
    periodic.name = QStringLiteral("report");
    periodic.answer = QStringLiteral("StatusReport");
    periodic.channel = 2;
    periodic.every = 10000;
    m_rules.append(periodic);
    m_dialog->setRules(m_rules);
}

void TestAutomationWidgets::stepDialogKeepsEachKind_data()
{
    QTest::addColumn<SequenceStep>("step");
    QTest::newRow("send on 2") << SequenceStep::send(2, QStringLiteral("GetStatus"));
    QTest::newRow("wait") << SequenceStep::wait(250);
    QTest::newRow("expect") << SequenceStep::expect(1, QStringLiteral("GetStatusReply=(ResultCode=*)"), 1500);
    QTest::newRow("repeat") << SequenceStep::repeat(7);
    QTest::newRow("end") << SequenceStep::end();
    QTest::newRow("stop") << SequenceStep::stop();
}

void TestAutomationWidgets::stepDialogKeepsEachKind()
{
    QFETCH(SequenceStep, step);
    SequenceStepDialog dialog;
    dialog.setStep(step);
    QCOMPARE(dialog.step(), step);
    // Switching the kind keeps only what the new kind uses.
    auto* kind = dialog.findChild<QComboBox*>(QStringLiteral("m_cb_kind"));
    kind->setCurrentIndex(kind->findData(SequenceStep::Stop));
    QCOMPARE(dialog.step(), SequenceStep::stop());
}

void TestAutomationWidgets::entryLineBecomesASendStep()
{
    SequenceDock dock;
    QLineEdit entry;
    dock.setEntryLine(&entry);
    QSignalSpy messages(&dock, &SequenceDock::message);
    entry.setText(QStringLiteral("  GetStatus "));
    action(&dock, "m_act_sequence_add_entry")->trigger();
    // Without a sequence one is made for the step.
    QCOMPARE(dock.sequences().size(), 1);
    QCOMPARE(dock.sequences().first().steps, QVector<SequenceStep>{SequenceStep::send(1, QStringLiteral("GetStatus"))});
    QVERIFY(dock.isModified());
    QVERIFY(dock.windowTitle().endsWith(QLatin1Char('*')));
    // On the channel that Return sends to.
    dock.setSendChannel(2);
    entry.setText(QStringLiteral("Login"));
    action(&dock, "m_act_sequence_add_entry")->trigger();
    QCOMPARE(dock.sequences().first().steps.last(), SequenceStep::send(2, QStringLiteral("Login")));
    entry.clear();
    action(&dock, "m_act_sequence_add_entry")->trigger();
    QCOMPARE(dock.sequences().first().steps.size(), 2);
    QCOMPARE(messages.size(), 1);
    QVERIFY(messages.first().at(1).toBool());
}

void TestAutomationWidgets::dropsBecomeSendSteps()
{
    SequenceDock dock;
    dock.resize(400, 400);
    dock.show();
    BookmarkList bookmarks;
    for (const char* text : {"GetStatus", "SetPumpMode=(PumpId=1 PumpMode=Auto)"}) {
        auto* a = new QAction(QString::fromLatin1(text));
        a->setData(QString::fromLatin1(text));
        bookmarks.addAction(a);
    }
    dock.setBookmarks(&bookmarks);
    dock.insertStep(SequenceStep::wait(5));
    BookmarkModel model(&bookmarks);

    // A bookmark from the panel, dropped on the first row, goes before it.
    std::unique_ptr<QMimeData> mark(model.mimeData({model.index(1)}));
    QVERIFY(drop(&dock, mark.get(), 0));
    // Text from the entry line or another program, dropped below the rows.
    QMimeData text;
    text.setText(QStringLiteral("Login=(Operator=\"x\")"));
    QVERIFY(drop(&dock, &text, -1));
    QCOMPARE(stepTexts(dock), (QStringList{"Send on 1: SetPumpMode=(PumpId=1 PumpMode=Auto)", "Wait 5 ms",
                                           "Send on 1: Login=(Operator=\"x\")"}));

    // What names another list, another program, or nothing, is refused.
    BookmarkList other;
    other.addAction(new QAction(QStringLiteral("x")));
    BookmarkModel otherModel(&other);
    std::unique_ptr<QMimeData> foreign(otherModel.mimeData({otherModel.index(0)}));
    QVERIFY(!drop(&dock, foreign.get(), 0));
    QMimeData forged;
    forged.setData(BookmarkModel::MimeType, "1 2 0");
    QVERIFY(!drop(&dock, &forged, 0));
    QMimeData blank;
    blank.setText(QStringLiteral("   "));
    QVERIFY(!drop(&dock, &blank, 0));
    QCOMPARE(dock.sequences().first().steps.size(), 3);
}

void TestAutomationWidgets::stepsAreRemovedAndReordered()
{
    SequenceDock dock;
    for (int ms : {1, 2, 3, 4})
        dock.insertStep(SequenceStep::wait(ms));
    dock.setCurrentStep(0);
    action(&dock, "m_act_sequence_down")->trigger();
    QCOMPARE(stepTexts(dock), (QStringList{"Wait 2 ms", "Wait 1 ms", "Wait 3 ms", "Wait 4 ms"}));
    QCOMPARE(dock.currentStep(), 1);
    dock.setCurrentStep(3);
    QVERIFY(!action(&dock, "m_act_sequence_down")->isEnabled());
    action(&dock, "m_act_sequence_up")->trigger();
    QCOMPARE(stepTexts(dock), (QStringList{"Wait 2 ms", "Wait 1 ms", "Wait 4 ms", "Wait 3 ms"}));
    // The window's test presses Del for it.
    action(&dock, "m_act_sequence_remove_step")->trigger();
    QCOMPARE(stepTexts(dock), (QStringList{"Wait 2 ms", "Wait 1 ms", "Wait 3 ms"}));
    QCOMPARE(dock.currentStep(), 2);
    dock.replaceStep(0, SequenceStep::repeat(2));
    dock.insertStep(SequenceStep::end(), 3);
    // Steps inside a repeat are indented under it.
    QCOMPARE(dock.stepView()->topLevelItem(1)->text(0), QStringLiteral("    Wait 1 ms"));
    QCOMPARE(dock.stepView()->topLevelItem(3)->text(0), QStringLiteral("End of repeat"));
}

void TestAutomationWidgets::saveAndLoad()
{
    const QString path = m_dir.filePath(QStringLiteral("s.qrvseq"));
    SequenceDock dock;
    QVERIFY(dock.load(sequencesPath));
    QVERIFY(!dock.isModified());
    QCOMPARE(dock.findChild<QComboBox*>(QStringLiteral("m_cb_sequences"))->count(), 2);
    dock.setCurrentSequence(1);
    dock.insertStep(SequenceStep::stop());
    QVERIFY(dock.isModified());
    QVERIFY(dock.save(path));
    QVERIFY(!dock.isModified());
    QCOMPARE(dock.path(), path);
    SequenceDock again;
    QVERIFY(again.load(path));
    QCOMPARE(again.sequences(), dock.sequences());
    // A broken file leaves what is loaded alone and says why.
    QSignalSpy messages(&again, &SequenceDock::message);
    QVERIFY(!again.load(m_dir.filePath(QStringLiteral("missing.qrvseq"))));
    QCOMPARE(again.sequences(), dock.sequences());
    QCOMPARE(again.path(), path);
    QCOMPARE(messages.size(), 1);
    QVERIFY(messages.first().at(1).toBool());
}

void TestAutomationWidgets::runShowsCurrentStepAndResults()
{
    EchoPort one(1);
    EchoPort two(2);
    one.request = QRV16::MessagePattern(QStringLiteral("GetStatus"), m_tags.get());
    one.reply = QRV16::MessageParser(m_tags.get()).parse(QStringLiteral("GetStatusReply=(ResultCode=Denied)"));
    SequenceDock dock;
    dock.setPorts(&one, &two);
    dock.setTags(m_tags.get());
    Sequence sequence;
    sequence.name = QStringLiteral("s");
    sequence.continueOnFail = true;
    sequence.steps = {SequenceStep::send(1, QStringLiteral("GetStatus")),
                      SequenceStep::expect(1, QStringLiteral("GetStatusReply"), 100), SequenceStep::wait(300),
                      SequenceStep::send(1, QStringLiteral("GetStatus")),
                      SequenceStep::expect(1, QStringLiteral("GetStatusReply=(ResultCode=Ok)"), 50)};
    dock.setSequences({sequence});
    QSignalSpy messages(&dock, &SequenceDock::message);
    QSignalSpy finished(dock.runner(), &SequenceRunner::finished);
    // As the wait begins (the dock hears of it first), the wait is the
    // marked step and the expect before it passed.
    QTreeWidget* view = dock.stepView();
    QStringList atWait;
    connect(dock.runner(), &SequenceRunner::stepStarted, this, [&](int step) {
        if (step != 2)
            return;
        atWait << QString::number(view->topLevelItem(2)->background(0) != QBrush())
               << QString::number(view->topLevelItem(1)->background(0) != QBrush())
               << view->topLevelItem(1)->text(1).left(8);
    });
    action(&dock, "m_act_sequence_run")->trigger();
    QVERIFY(finished.wait(10000));
    QCOMPARE(atWait, (QStringList{"1", "0", "passed, "}));
    QCOMPARE(view->topLevelItem(4)->text(1), QStringLiteral("failed"));
    QVERIFY(view->topLevelItem(4)->toolTip(1).endsWith(
        QStringLiteral("arrived instead: GetStatusReply=(ResultCode=Denied)")));
    QCOMPARE(view->topLevelItem(2)->background(0), QBrush());
    QVERIFY(dock.findChild<QLabel*>(QStringLiteral("m_lbl_summary"))
                ->text()
                .contains(QStringLiteral("1 passed, 1 failed")));
    // Started, the failure with what came instead, the summary.
    QCOMPARE(messages.size(), 3);
    QCOMPARE(messages.at(0).at(0).toString(), QStringLiteral("Sequence \"s\" started"));
    QCOMPARE(messages.at(1).at(0).toString(),
             QStringLiteral("Sequence \"s\", step 5: expected GetStatusReply=(ResultCode=Ok), arrived instead: "
                            "GetStatusReply=(ResultCode=Denied)"));
    QVERIFY(messages.at(1).at(1).toBool());
    QVERIFY(
        messages.at(2).at(0).toString().startsWith(QStringLiteral("Sequence \"s\": 5 steps, 1 passed, 1 failed, ")));
    QVERIFY(messages.at(2).at(1).toBool());
}

void TestAutomationWidgets::runLocksEditing()
{
    EchoPort one(1);
    EchoPort two(2);
    SequenceDock dock;
    dock.setPorts(&one, &two);
    dock.insertStep(SequenceStep::wait(5000));
    const char* const editing[] = {"m_act_sequence_add_entry",
                                   "m_act_sequence_add",
                                   "m_act_sequence_edit_step",
                                   "m_act_sequence_remove_step",
                                   "m_act_sequence_new",
                                   "m_act_sequence_remove",
                                   "m_act_run"};
    action(&dock, "m_act_sequence_run")->trigger();
    QVERIFY(dock.runner()->isRunning());
    for (const char* name : editing) {
        if (QAction* a = action(&dock, name))
            QVERIFY2(!a->isEnabled(), name);
    }
    dock.insertStep(SequenceStep::stop());
    QCOMPARE(dock.sequences().first().steps.size(), 1);
    action(&dock, "m_act_sequence_pause")->trigger();
    QCOMPARE(dock.runner()->state(), SequenceRunner::Paused);
    action(&dock, "m_act_sequence_pause")->trigger();
    QCOMPARE(dock.runner()->state(), SequenceRunner::Running);
    action(&dock, "m_act_sequence_stop")->trigger();
    QVERIFY(!dock.runner()->isRunning());
    QVERIFY(action(&dock, "m_act_sequence_remove_step")->isEnabled());
    QVERIFY(dock.findChild<QLabel*>(QStringLiteral("m_lbl_summary"))->text().endsWith(QStringLiteral(", stopped")));
}

QPushButton* TestAutomationWidgets::button(const QString& text) const
{
    for (QPushButton* b : m_dialog->findChildren<QPushButton*>()) {
        if (b->text() == text)
            return b;
    }
    return nullptr;
}

void TestAutomationWidgets::addRemoveReorder()
{
    QCOMPARE(m_dialog->rules(), m_rules);
    m_table->setCurrentCell(0, AnswerDialog::NameColumn);
    QVERIFY(!button(QStringLiteral("Up"))->isEnabled());
    QTest::mouseClick(button(QStringLiteral("Down")), Qt::LeftButton);
    QTest::mouseClick(button(QStringLiteral("Down")), Qt::LeftButton);
    QCOMPARE(m_table->currentRow(), 2);
    QVector<AnswerRule> expected = {m_rules[1], m_rules[2], m_rules[0], m_rules[3]};
    QCOMPARE(m_dialog->rules(), expected);
    QTest::mouseClick(button(QStringLiteral("Up")), Qt::LeftButton);
    expected = {m_rules[1], m_rules[0], m_rules[2], m_rules[3]};
    QCOMPARE(m_dialog->rules(), expected);

    QTest::mouseClick(button(QStringLiteral("Remove")), Qt::LeftButton);
    expected.remove(1);
    QCOMPARE(m_dialog->rules(), expected);

    QTest::mouseClick(button(QStringLiteral("Add")), Qt::LeftButton);
    QCOMPARE(m_table->rowCount(), 4);
    const AnswerRule added = m_dialog->rules().last();
    QCOMPARE(added.channel, 2);
    QVERIFY(added.enabled);
    QVERIFY(added.when.isEmpty());
    m_table->setCurrentCell(3, 0);
    QVERIFY(!button(QStringLiteral("Down"))->isEnabled());
}

void TestAutomationWidgets::editedCells()
{
    m_table->item(0, AnswerDialog::ChannelColumn)->setText(QStringLiteral("3"));
    m_table->item(0, AnswerDialog::DelayColumn)->setData(Qt::EditRole, -5);
    m_table->item(0, AnswerDialog::OnColumn)->setCheckState(Qt::Unchecked);
    m_table->item(0, AnswerDialog::WhenColumn)->setText(QStringLiteral("  GetStatus=(PumpId=1) "));
    const AnswerRule rule = m_dialog->rules().first();
    // A channel that does not exist means any; a delay cannot be negative.
    QCOMPARE(rule.channel, int(AnswerRule::AnyChannel));
    QCOMPARE(rule.delay, 0);
    QVERIFY(!rule.enabled);
    QCOMPARE(rule.when, QStringLiteral("GetStatus=(PumpId=1)"));
}

void TestAutomationWidgets::testPattern_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("result");

    QTest::newRow("matches") << 1 << "Login=(Operator=\"x\")"
                             << "Matches Login=(Operator=\"x\")";
    QTest::newRow("does not match") << 0 << "Login=(Operator=\"x\")"
                                    << "Does not match Login=(Operator=\"x\")";
    QTest::newRow("no line") << 0 << ""
                             << "Select a message line in the trace to test the pattern on.";
    QTest::newRow("no rule") << -1 << "GetStatus"
                             << "Select a rule to test.";
    QTest::newRow("periodic rule has no pattern") << 3 << "GetStatus"
                                                  << "Pattern error at column 1: Empty pattern";
}

void TestAutomationWidgets::testPattern()
{
    QFETCH(int, row);
    QFETCH(QString, message);
    QFETCH(QString, result);
    m_dialog->setTestMessage(message.isEmpty() ? QRV16::Message() : QRV16::MessageParser(m_tags.get()).parse(message));
    m_table->setCurrentCell(row, row < 0 ? -1 : AnswerDialog::WhenColumn);
    if (row >= 0)
        QTest::mouseClick(button(QStringLiteral("Test Pattern")), Qt::LeftButton);
    QCOMPARE(m_dialog->testResult(), result);
    if (row >= 0)
        QCOMPARE(m_dialog->findChild<QLabel*>(QStringLiteral("m_lbl_test"))->text(), result);
}

QTEST_MAIN(TestAutomationWidgets)
#include "tst_automationwidgets.moc"
