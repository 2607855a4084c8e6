// SPDX-License-Identifier: MIT
#include "editor/editoritemeditdialog.h"
#include "editor/editortagedit.h"
#include "treetext.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QStackedWidget>
#include <QtTest>

#include <memory>

using namespace QRV16;

namespace {

const QByteArray tree = R"(<qrv16>
  <tag name="Mode" id="0x1002" display="4x" secure="true">
    <enums>
      <enum name="Off" id="0"/>
      <enum name="On" id="1" secure="true"/>
      <enum name="All" id="-1"/>
    </enums>
  </tag>
  <tag name="Other" id="0x3001"/>
  <tag name="Flags" id="0x7001">
    <bits>
      <bit name="Lock" id="3" secure="true"/>
    </bits>
  </tag>
</qrv16>)";

template<typename T>
T* child(QObject* parent, const char* name)
{
    T* found = parent->findChild<T*>(QLatin1String(name));
    if (!found)
        qWarning("no child %s", name);
    return found;
}

} // namespace

class TestEditorItemEditDialog : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void formFromTag();
    void formFromEnum();
    void digitsFollowMode_data();
    void digitsFollowMode();
    void invalidInputKeepsDialogOpen_data();
    void invalidInputKeepsDialogOpen();
    void applyEmitsOnceAndCloseReplacesCancel();
    void okAppliesAndCloses();
    void renamingKeepsTheRest_data();
    void renamingKeepsTheRest();
    void typingShowsTheType_data();
    void typingShowsTheType();
    void choosingATypeChangesTheCode_data();
    void choosingATypeChangesTheCode();
    void tagTextIsNormalised();

private:
    std::unique_ptr<Item> m_root;
};

void TestEditorItemEditDialog::init()
{
    m_root.reset(TreeText::read(tree));
    QVERIFY(m_root);
}

void TestEditorItemEditDialog::formFromTag()
{
    EditorItemEditDialog dialog;
    dialog.setData(m_root->child(0));
    QCOMPARE(child<QLineEdit>(&dialog, "m_le_name")->text(), QString("Mode"));
    auto* stack = child<QStackedWidget>(&dialog, "m_stk_id");
    QCOMPARE(stack->currentWidget(), child<QWidget>(&dialog, "m_pg_tag"));
    auto* tag = child<EditorTagEdit>(&dialog, "m_te_id");
    QCOMPARE(tag->tag(), QString("0x1002"));
    QCOMPARE(tag->currentText(), QString("0x1002"));
    QCOMPARE(tag->currentIndex(), 1); // "1 - Integer"
    QCOMPARE(child<QComboBox>(&dialog, "m_cb_display_mode")->currentText(), QString("Hex"));
    QCOMPARE(child<QSpinBox>(&dialog, "m_sb_digits")->value(), 4);
    QVERIFY(child<QCheckBox>(&dialog, "m_ck_secure")->isChecked());
}

void TestEditorItemEditDialog::formFromEnum()
{
    EditorItemEditDialog dialog;
    dialog.setData(m_root->child(0)->child(0)->child(1));
    QCOMPARE(child<QStackedWidget>(&dialog, "m_stk_id")->currentWidget(),
             child<QWidget>(&dialog, "m_pg_numeric"));
    // The value as shown, in the tag's display.
    QCOMPARE(child<QLineEdit>(&dialog, "m_le_id")->text(), QString("0x0001"));
    QCOMPARE(child<QComboBox>(&dialog, "m_cb_display_mode")->currentText(), QString("Default"));
    QVERIFY(!child<QSpinBox>(&dialog, "m_sb_digits")->isEnabled());
}

void TestEditorItemEditDialog::digitsFollowMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("Default has no digits") << 0 << false;
    QTest::newRow("Signed decimal") << 1 << true;
    QTest::newRow("Binary") << 5 << true;
}

void TestEditorItemEditDialog::digitsFollowMode()
{
    QFETCH(int, mode);
    QFETCH(bool, enabled);
    EditorItemEditDialog dialog;
    dialog.setData(m_root->child(0));
    child<QComboBox>(&dialog, "m_cb_display_mode")->setCurrentIndex(mode);
    QCOMPARE(child<QSpinBox>(&dialog, "m_sb_digits")->isEnabled(), enabled);
}

void TestEditorItemEditDialog::invalidInputKeepsDialogOpen_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("text");
    QTest::newRow("a name starting with a digit") << "m_le_name" << "1abc";
    QTest::newRow("a name with a dash") << "m_le_name" << "a-b";
    QTest::newRow("a tag code out of range") << "m_te_id" << "10000";
}

void TestEditorItemEditDialog::invalidInputKeepsDialogOpen()
{
    QFETCH(QString, field);
    QFETCH(QString, text);
    EditorItemEditDialog dialog;
    dialog.setData(m_root->child(0));
    QSignalSpy applied(&dialog, &EditorItemEditDialog::apply);
    dialog.show();
    QApplication::setActiveWindow(&dialog);
    QVERIFY(QTest::qWaitForWindowActive(&dialog));

    QWidget* target = dialog.findChild<QWidget*>(field);
    QVERIFY(target);
    QLineEdit* line = qobject_cast<QLineEdit*>(target);
    if (auto* tag = qobject_cast<EditorTagEdit*>(target))
        line = tag->lineEdit();
    line->clear();
    QTest::keyClicks(line, text);
    QCOMPARE(line->text(), text);
    child<QLineEdit>(&dialog, "m_le_id")->setFocus(); // elsewhere

    child<QDialogButtonBox>(&dialog, "m_buttunz")->button(QDialogButtonBox::Ok)->click();
    QVERIFY(dialog.isVisible());
    QCOMPARE(applied.size(), 0);
    QTRY_VERIFY(target->hasFocus());
    QCOMPARE(child<QLabel>(&dialog, "m_lbl_message")->text(), QString("Invalid input"));

    child<QDialogButtonBox>(&dialog, "m_buttunz")->button(QDialogButtonBox::Apply)->click();
    QCOMPARE(applied.size(), 0);
    QVERIFY(child<QDialogButtonBox>(&dialog, "m_buttunz")->button(QDialogButtonBox::Cancel));
}

void TestEditorItemEditDialog::applyEmitsOnceAndCloseReplacesCancel()
{
    EditorItemEditDialog dialog;
    const Item* item = m_root->child(0);
    dialog.setData(item);
    QSignalSpy applied(&dialog, &EditorItemEditDialog::apply);
    QSignalSpy finished(&dialog, &QDialog::finished);
    dialog.show();
    auto* buttons = child<QDialogButtonBox>(&dialog, "m_buttunz");
    QVERIFY(buttons->button(QDialogButtonBox::Cancel));
    QVERIFY(!buttons->button(QDialogButtonBox::Close));

    auto* name = child<QLineEdit>(&dialog, "m_le_name");
    name->setText("Speed");
    child<EditorTagEdit>(&dialog, "m_te_id")->setTag("2005");
    child<QComboBox>(&dialog, "m_cb_display_mode")->setCurrentIndex(2);
    child<QSpinBox>(&dialog, "m_sb_digits")->setValue(3);
    child<QCheckBox>(&dialog, "m_ck_secure")->setChecked(false);
    buttons->button(QDialogButtonBox::Apply)->click();

    QCOMPARE(applied.size(), 1);
    QCOMPARE(applied.at(0).at(0).value<const Item*>(), item);
    const ItemData d = applied.at(0).at(1).value<ItemData>();
    QCOMPARE(d.name, QString("Speed"));
    QCOMPARE(d.id, quint64(0x2005));
    QVERIFY(d.hasId);
    QCOMPARE(d.display, DisplayMode(DisplayMode::UnsignedDecimal, 3));
    QVERIFY(!d.secure);
    QCOMPARE(d.type, ItemType::Tag);
    QVERIFY(dialog.isVisible());

    QVERIFY(!buttons->button(QDialogButtonBox::Cancel));
    QPushButton* close = buttons->button(QDialogButtonBox::Close);
    QVERIFY(close);
    close->click();
    QCOMPARE(finished.size(), 1);
    QCOMPARE(finished.at(0).at(0).toInt(), int(QDialog::Rejected));
    QCOMPARE(applied.size(), 1);
}

void TestEditorItemEditDialog::okAppliesAndCloses()
{
    EditorItemEditDialog dialog;
    dialog.setData(m_root->child(0)->child(0)->child(0));
    QSignalSpy applied(&dialog, &EditorItemEditDialog::apply);
    dialog.show();
    // A sibling's value is only a warning.
    auto* value = child<QLineEdit>(&dialog, "m_le_id");
    value->setText("1");
    QVERIFY(value->hasAcceptableInput());
    QCOMPARE(child<QLabel>(&dialog, "m_lbl_message")->text(),
             QString("This number already exists"));
    child<QDialogButtonBox>(&dialog, "m_buttunz")->button(QDialogButtonBox::Ok)->click();
    QCOMPARE(applied.size(), 1);
    QCOMPARE(applied.at(0).at(1).value<ItemData>().id, quint64(1));
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(!dialog.isVisible());
}

void TestEditorItemEditDialog::renamingKeepsTheRest_data()
{
    QTest::addColumn<QList<int>>("path");
    QTest::addColumn<bool>("secure");
    QTest::newRow("enum value the file marked secure") << QList<int>{0, 0, 1} << true;
    QTest::newRow("enum value without") << QList<int>{0, 0, 0} << false;
    QTest::newRow("bit the file marked secure") << QList<int>{2, 0, 0} << true;
    QTest::newRow("value -1 keeps all its bits") << QList<int>{0, 0, 2} << false;
}

void TestEditorItemEditDialog::renamingKeepsTheRest()
{
    QFETCH(QList<int>, path);
    QFETCH(bool, secure);
    const Item* item = m_root.get();
    for (int row : path)
        item = item->child(row);
    EditorItemEditDialog dialog;
    dialog.setData(item);
    // Only a tag's flag is edited here; a value's stays as the file has it.
    auto* box = child<QCheckBox>(&dialog, "m_ck_secure");
    QVERIFY(!box->isEnabled());
    QCOMPARE(box->isChecked(), secure);
    child<QLineEdit>(&dialog, "m_le_name")->setText("Renamed");
    const ItemData d = dialog.applyData();
    QCOMPARE(d.name, QString("Renamed"));
    QCOMPARE(d.secure, secure);
    QCOMPARE(d.id, item->data().id);
    QCOMPARE(d.comment, item->data().comment);
}

void TestEditorItemEditDialog::typingShowsTheType_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("current");
    QTest::newRow("3001 is a string") << "3001" << "3 - String";
    QTest::newRow("0xd005 is a request") << "0xd005" << "D - Request";
    QTest::newRow("8101 is a rect") << "8101" << "81 - Rect";
    QTest::newRow("9001 is an address") << "9001" << "9 - Network address";
}

void TestEditorItemEditDialog::typingShowsTheType()
{
    QFETCH(QString, typed);
    QFETCH(QString, current);
    EditorTagEdit edit;
    edit.show();
    QTest::keyClicks(edit.lineEdit(), typed);
    QCOMPARE(edit.lineEdit()->text(), typed);
    QCOMPARE(edit.itemText(edit.currentIndex()), current);
    QVERIFY(!edit.itemIcon(edit.currentIndex()).isNull());
}

void TestEditorItemEditDialog::choosingATypeChangesTheCode_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QString>("tag");
    QTest::newRow("1 - Integer turns 0x3001 into 0x1001") << "0x3001" << "1 - Integer" << "0x1001";
    QTest::newRow("an extended type keeps the low byte") << "3234" << "80 - Point" << "0x8034";
    QTest::newRow("an ordinary type keeps twelve bits") << "8034" << "3 - String" << "0x3034";
    QTest::newRow("nothing typed yet") << "" << "C - List" << "0xC000";
}

void TestEditorItemEditDialog::choosingATypeChangesTheCode()
{
    QFETCH(QString, typed);
    QFETCH(QString, chosen);
    QFETCH(QString, tag);
    EditorTagEdit edit;
    edit.setTag(typed);
    edit.setCurrentIndex(edit.findText(chosen));
    QCOMPARE(edit.tag(), tag);
    QCOMPARE(edit.lineEdit()->text(), tag);
    QCOMPARE(edit.currentText(), tag);
}

void TestEditorItemEditDialog::tagTextIsNormalised()
{
    EditorTagEdit edit;
    edit.setItem(m_root->child(0));
    QSignalSpy messages(&edit, &EditorTagEdit::message);
    edit.setTag("1a");
    QCOMPARE(edit.tag(), QString("0x001A"));
    QVERIFY(edit.hasAcceptableInput());
    edit.setTag("0x3001");
    QVERIFY(edit.hasAcceptableInput());
    QCOMPARE(messages.last().at(0).toString(), QString("Tag code already exists"));
    edit.setTag("10000");
    QVERIFY(!edit.hasAcceptableInput());
    QCOMPARE(edit.tag(), QString("10000"));
}

QTEST_MAIN(TestEditorItemEditDialog)
#include "tst_editoritemeditdialog.moc"
