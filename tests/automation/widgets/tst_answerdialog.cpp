// SPDX-License-Identifier: MIT
#include "automation/widgets/answerdialog.h"
#include "qrv16/messageparser.h"
#include "tests/support/definitions.h"

#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

Q_DECLARE_METATYPE(AnswerRule)

namespace {

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

class TestAnswerDialog : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_tags = demoTags(); }
    void init();
    void addRemoveReorder();
    void editedCells();
    void testPattern_data();
    void testPattern();

private:
    QPushButton* button(const QString& text) const;

    std::unique_ptr<QRV16::TagDataLut> m_tags;
    std::unique_ptr<AnswerDialog> m_dialog;
    QTableWidget* m_table = nullptr;
    QVector<AnswerRule> m_rules;
};

void TestAnswerDialog::init()
{
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

QPushButton* TestAnswerDialog::button(const QString& text) const
{
    for (QPushButton* b : m_dialog->findChildren<QPushButton*>()) {
        if (b->text() == text)
            return b;
    }
    return nullptr;
}

void TestAnswerDialog::addRemoveReorder()
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

void TestAnswerDialog::editedCells()
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

void TestAnswerDialog::testPattern_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("result");

    QTest::newRow("matches") << 1 << "Login=(Operator=\"x\")" << "Matches Login=(Operator=\"x\")";
    QTest::newRow("does not match") << 0 << "Login=(Operator=\"x\")" << "Does not match Login=(Operator=\"x\")";
    QTest::newRow("no line") << 0 << "" << "Select a message line in the trace to test the pattern on.";
    QTest::newRow("no rule") << -1 << "GetStatus" << "Select a rule to test.";
    QTest::newRow("periodic rule has no pattern") << 3 << "GetStatus" << "Pattern error at column 1: Empty pattern";
}

void TestAnswerDialog::testPattern()
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

QTEST_MAIN(TestAnswerDialog)
#include "tst_answerdialog.moc"
