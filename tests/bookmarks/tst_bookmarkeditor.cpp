// SPDX-License-Identifier: MIT
// The bookmark editor under the offscreen platform, driven through its
// buttons and fields as a user would.

#include "bookmarks/bookmarkeditor.h"
#include "bookmarks/bookmarklist.h"
#include "tests/bookmarks/letters.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"

#include <QAction>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

// The field that a form label names.
template <typename T> T* field(const QWidget& dialog, const QString& label)
{
    for (QLabel* candidate : dialog.findChildren<QLabel*>()) {
        if (candidate->text() == label && candidate->buddy())
            return qobject_cast<T*>(candidate->buddy());
    }
    return nullptr;
}

QPushButton* button(const QWidget& dialog, const QString& text)
{
    for (QPushButton* candidate : dialog.findChildren<QPushButton*>()) {
        if (candidate->text() == text)
            return candidate;
    }
    return nullptr;
}

// What the labels that belong to no field say: the message and icon errors.
QString errors(const QWidget& dialog)
{
    QStringList texts;
    for (const QLabel* label : dialog.findChildren<QLabel*>()) {
        if (!label->buddy() && !label->text().isEmpty())
            texts << label->text();
    }
    return texts.join(QLatin1Char('\n'));
}

QLineEdit* textField(const QWidget& d)
{
    return field<QLineEdit>(d, QStringLiteral("&Text:"));
}
QLineEdit* tipField(const QWidget& d)
{
    return field<QLineEdit>(d, QStringLiteral("Tool &tip:"));
}
QPlainTextEdit* messageField(const QWidget& d)
{
    return field<QPlainTextEdit>(d, QStringLiteral("&Message:"));
}
QKeySequenceEdit* shortcutField(const QWidget& d)
{
    return field<QKeySequenceEdit>(d, QStringLiteral("S&hortcut:"));
}
QPushButton* iconButton(const QWidget& d)
{
    return field<QPushButton>(d, QStringLiteral("&Icon:"));
}

// Types text with line breaks, which keyClicks() does not take.
void type(QWidget* widget, const QString& text)
{
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        if (i > 0)
            QTest::keyClick(widget, Qt::Key_Return);
        QTest::keyClicks(widget, lines.at(i));
    }
}

void fill(BookmarkList& list)
{
    auto* full = new QAction(QStringLiteral("Get status"));
    full->setToolTip(QStringLiteral("Asks the station"));
    full->setData(QStringLiteral("GetStatus"));
    full->setShortcut(QKeySequence(QStringLiteral("Ctrl+1")));
    list.addAction(full);
    list.addAction(separator());
    auto* plain = new QAction(QStringLiteral("Pump"));
    plain->setData(QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Auto)"));
    list.addAction(plain);
    list.setClean();
}

struct Fixture
{
    Fixture()
    {
        fill(list);
        editor.setTags(tags.get());
        editor.setBookmarks(&list);
    }
    std::unique_ptr<QRV16::TagDataLut> tags = demoTags();
    BookmarkList list;
    BookmarkEditor editor;
};

} // namespace

class TestBookmarkEditor : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void selectionFillsFields_data();
    void selectionFillsFields();
    void typingEditsTheAction();
    void shortcutEdits();
    void messageChecked_data();
    void messageChecked();
    void messageCheckedAgainstNewTags();
    void buttons();
    void icons();
    void followsOutsideChanges();
    void withoutList();
    void style();
};

void TestBookmarkEditor::initTestCase()
{
    BookmarkEditor editor;
    QVERIFY(textField(editor));
    QVERIFY(tipField(editor));
    QVERIFY(messageField(editor));
    QVERIFY(shortcutField(editor));
    QVERIFY(iconButton(editor));
    for (const char* text : {"&New", "New &separator", "&Delete", "&Up", "Do&wn", "Clear"})
        QVERIFY2(button(editor, QString::fromLatin1(text)), text);
    // The main window stays usable beside it.
    QVERIFY(!editor.isModal());
}

void TestBookmarkEditor::selectionFillsFields_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("toolTip");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("shortcut");

    const auto row = [](const char* name, int row, bool enabled, const char* text,
                        const char* toolTip, const char* message, const char* shortcut) {
        QTest::newRow(name) << row << enabled << QString::fromLatin1(text)
                            << QString::fromLatin1(toolTip) << QString::fromLatin1(message)
                            << QString::fromLatin1(shortcut);
    };
    row("full bookmark", 0, true, "Get status", "Asks the station", "GetStatus", "Ctrl+1");
    row("separator", 1, false, "", "", "", "");
    row("no tool tip, no shortcut", 2, true, "Pump", "", "SetPumpMode=(PumpId=2 PumpMode=Auto)",
        "");
    row("nothing selected", -1, false, "", "", "", "");
}

void TestBookmarkEditor::selectionFillsFields()
{
    QFETCH(int, row);
    QFETCH(bool, enabled);
    QFETCH(QString, text);
    QFETCH(QString, toolTip);
    QFETCH(QString, message);
    QFETCH(QString, shortcut);

    Fixture f;
    // From another row first, so that every field has to change.
    f.editor.setCurrentRow(row == 0 ? 2 : 0);
    f.editor.setCurrentRow(row);
    QCOMPARE(f.editor.currentRow(), row);
    QCOMPARE(textField(f.editor)->isEnabled(), enabled);
    QCOMPARE(messageField(f.editor)->isEnabled(), enabled);
    QCOMPARE(textField(f.editor)->text(), text);
    QCOMPARE(tipField(f.editor)->text(), toolTip);
    QCOMPARE(messageField(f.editor)->toPlainText(), message);
    QCOMPARE(shortcutField(f.editor)->keySequence().toString(QKeySequence::PortableText), shortcut);
    // Showing a bookmark changes nothing.
    QVERIFY(!f.list.isDirty());
}

void TestBookmarkEditor::typingEditsTheAction()
{
    Fixture f;
    f.editor.setCurrentRow(2);
    QSignalSpy changes(&f.list, &BookmarkList::changed);
    QAction* action = f.list.action(2);

    QTest::keyClicks(textField(f.editor), QStringLiteral(" 2"));
    QCOMPARE(action->text(), QStringLiteral("Pump 2"));
    QVERIFY(f.list.isDirty());
    QCOMPARE(changes.count(), 2);
    // The field keeps what is typed, cursor and all.
    QCOMPARE(textField(f.editor)->text(), QStringLiteral("Pump 2"));
    QCOMPARE(textField(f.editor)->cursorPosition(), 6);

    QTest::keyClicks(tipField(f.editor), QStringLiteral("Manual pump"));
    QCOMPARE(action->toolTip(), QStringLiteral("Manual pump"));

    QPlainTextEdit* message = messageField(f.editor);
    message->selectAll();
    QTest::keyClicks(message, QStringLiteral("GetStatus"));
    QCOMPARE(BookmarkList::message(action), QStringLiteral("GetStatus"));
    QCOMPARE(message->toPlainText(), QStringLiteral("GetStatus"));

    // Another row shows its own fields, and the edited one kept its edits.
    f.editor.setCurrentRow(0);
    QCOMPARE(textField(f.editor)->text(), QStringLiteral("Get status"));
    QCOMPARE(f.list.action(2)->text(), QStringLiteral("Pump 2"));
    QCOMPARE(f.list.action(0)->text(), QStringLiteral("Get status"));
}

void TestBookmarkEditor::shortcutEdits()
{
    Fixture f;
    f.editor.setCurrentRow(2);
    QKeySequenceEdit* edit = shortcutField(f.editor);
    QSignalSpy finished(edit, &QKeySequenceEdit::editingFinished);
    QTest::keyClick(edit, Qt::Key_5, Qt::ControlModifier);
    // The edit waits a moment for a second key before it settles.
    QVERIFY(finished.wait(5000));
    QCOMPARE(f.list.action(2)->shortcut(), QKeySequence(QStringLiteral("Ctrl+5")));
    QVERIFY(f.list.isDirty());

    edit->clear();
    QVERIFY(f.list.action(2)->shortcut().isEmpty());
}

void TestBookmarkEditor::messageChecked_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("error");

    const auto row = [](const char* name, const char* message, const char* error) {
        QTest::newRow(name) << QString::fromLatin1(message) << QString::fromLatin1(error);
    };
    row("valid", "SetPumpMode=(PumpId=2 PumpMode=Manual)", "");
    row("several messages", "GetStatus\nReadLog=(FirstEntry=1 MaxEntries=2)", "");
    row("unknown enum name", "SetPumpMode=(PumpId=2 PumpMode=Fast)",
        "Line 1, column 32: Failed to decode value; PumpMode has Off, Manual, Auto, Service");
    row("number beyond 32 bits", "SetPumpMode=(PumpId=4294967296)",
        "Line 1, column 21: Value out of range");
    row("error on the second line", "GetStatus\nSetPumpMode=(PumpId=x)",
        "Line 2, column 21: Failed to decode value");
    row("unclosed", "GetStatus=(",
        "Line 1, column 11: End of data looking for closing parenthesis expected");
    row("empty", "", "No message: this bookmark sends nothing.");
}

void TestBookmarkEditor::messageChecked()
{
    QFETCH(QString, message);
    QFETCH(QString, error);

    Fixture f;
    f.editor.setCurrentRow(2);
    QPlainTextEdit* field = messageField(f.editor);
    field->selectAll();
    if (message.isEmpty())
        QTest::keyClick(field, Qt::Key_Delete);
    else
        type(field, message);
    QCOMPARE(errors(f.editor), error);
    // A faulty message is kept all the same.
    QCOMPARE(BookmarkList::message(f.list.action(2)), message);
    // The faulty span is marked in the field.
    QCOMPARE(field->extraSelections().isEmpty(), error.isEmpty() || message.isEmpty());
}

void TestBookmarkEditor::messageCheckedAgainstNewTags()
{
    BookmarkList list;
    fill(list);
    BookmarkEditor editor;
    editor.setBookmarks(&list);
    // Names mean nothing without definitions.
    QCOMPARE(errors(editor), QStringLiteral("Line 1, column 1: Tag must have four digits"));
    const auto tags = demoTags();
    editor.setTags(tags.get());
    QCOMPARE(errors(editor), QString());
    editor.setTags(nullptr);
    QVERIFY(!errors(editor).isEmpty());
}

void TestBookmarkEditor::buttons()
{
    Fixture f;
    f.editor.setCurrentRow(0);
    button(f.editor, QStringLiteral("&New"))->click();
    QCOMPARE(order(f.list), QStringLiteral("Get statusNew bookmark|Pump"));
    QCOMPARE(f.editor.currentRow(), 1);
    QCOMPARE(textField(f.editor)->text(), QStringLiteral("New bookmark"));
    QVERIFY(f.list.isDirty());

    button(f.editor, QStringLiteral("New &separator"))->click();
    QCOMPARE(order(f.list), QStringLiteral("Get statusNew bookmark||Pump"));
    QCOMPARE(f.editor.currentRow(), 2);
    QVERIFY(!textField(f.editor)->isEnabled());

    button(f.editor, QStringLiteral("&Up"))->click();
    button(f.editor, QStringLiteral("&Up"))->click();
    QCOMPARE(order(f.list), QStringLiteral("|Get statusNew bookmark|Pump"));
    QCOMPARE(f.editor.currentRow(), 0);
    QVERIFY(!button(f.editor, QStringLiteral("&Up"))->isEnabled());

    f.editor.setCurrentRow(3);
    button(f.editor, QStringLiteral("Do&wn"))->click();
    QCOMPARE(order(f.list), QStringLiteral("|Get statusNew bookmarkPump|"));
    QCOMPARE(f.editor.currentRow(), 4);
    QVERIFY(!button(f.editor, QStringLiteral("Do&wn"))->isEnabled());

    button(f.editor, QStringLiteral("&Delete"))->click();
    QCOMPARE(order(f.list), QStringLiteral("|Get statusNew bookmarkPump"));
    QCOMPARE(f.editor.currentRow(), 3);
    for (int i = 0; i < 4; ++i)
        button(f.editor, QStringLiteral("&Delete"))->click();
    QCOMPARE(f.list.count(), 0);
    QCOMPARE(f.editor.currentRow(), -1);
    QVERIFY(!button(f.editor, QStringLiteral("&Delete"))->isEnabled());

    // New into an empty list.
    button(f.editor, QStringLiteral("&New"))->click();
    QCOMPARE(order(f.list), QStringLiteral("New bookmark"));
    QCOMPARE(f.editor.currentRow(), 0);
}

void TestBookmarkEditor::icons()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QImage small(16, 16, QImage::Format_ARGB32);
    small.fill(QColor(10, 200, 30));
    const QString smallPath = dir.filePath(QStringLiteral("small.png"));
    QVERIFY(small.save(smallPath));
    QImage big(400, 200, QImage::Format_RGB32);
    big.fill(Qt::blue);
    const QString bigPath = dir.filePath(QStringLiteral("big.png"));
    QVERIFY(big.save(bigPath));
    const QString notImage = dir.filePath(QStringLiteral("notes.png"));
    QVERIFY(writeFile(notImage, "GetStatus\n"));

    Fixture f;
    f.editor.setCurrentRow(2);
    QAction* action = f.list.action(2);
    QVERIFY(f.editor.setIconFile(smallPath));
    QCOMPARE(action->icon().availableSizes().value(0), QSize(16, 16));
    QCOMPARE(action->icon().pixmap(16, 16).toImage().pixelColor(5, 5), QColor(10, 200, 30));
    QVERIFY(!iconButton(f.editor)->icon().isNull());
    QVERIFY(f.list.isDirty());

    // Big pictures are brought down to icon size.
    QVERIFY(f.editor.setIconFile(bigPath));
    QCOMPARE(action->icon().availableSizes().value(0), QSize(64, 32));

    // A file that is no image leaves the icon and says why.
    QVERIFY(!f.editor.setIconFile(notImage));
    QVERIFY2(errors(f.editor).contains(QStringLiteral("notes.png")), qPrintable(errors(f.editor)));
    QCOMPARE(action->icon().availableSizes().value(0), QSize(64, 32));

    button(f.editor, QStringLiteral("Clear"))->click();
    QVERIFY(action->icon().isNull());
    QVERIFY(iconButton(f.editor)->icon().isNull());
    QCOMPARE(errors(f.editor), QString());

    // A separator takes no icon.
    f.editor.setCurrentRow(1);
    QVERIFY(!f.editor.setIconFile(smallPath));
    QVERIFY(f.list.action(1)->icon().isNull());
}

void TestBookmarkEditor::followsOutsideChanges()
{
    Fixture f;
    f.editor.setCurrentRow(0);
    f.list.action(0)->setText(QStringLiteral("Renamed elsewhere"));
    QCOMPARE(textField(f.editor)->text(), QStringLiteral("Renamed elsewhere"));

    // The shown bookmark moves: the editor stays with it.
    f.list.moveAction(0, 2);
    QCOMPARE(f.editor.currentRow(), 2);
    QCOMPARE(textField(f.editor)->text(), QStringLiteral("Renamed elsewhere"));

    // The shown bookmark goes away: a neighbour is shown.
    f.list.removeAction(2);
    QCOMPARE(f.editor.currentRow(), 1);
    QCOMPARE(textField(f.editor)->text(), QStringLiteral("Pump"));
    QVERIFY(textField(f.editor)->isEnabled());

    f.list.clear();
    QCOMPARE(f.editor.currentRow(), -1);
    QVERIFY(!textField(f.editor)->isEnabled());
    QCOMPARE(textField(f.editor)->text(), QString());
}

void TestBookmarkEditor::withoutList()
{
    BookmarkEditor editor;
    editor.setBookmarks(nullptr);
    QVERIFY(!button(editor, QStringLiteral("&New"))->isEnabled());
    editor.onNew();
    editor.onNewSeparator();
    editor.onDelete();
    editor.onUp();
    editor.onDown();
    editor.onClearIcon();
    QCOMPARE(editor.currentRow(), -1);

    // The list goes away under an open editor.
    auto list = std::make_unique<BookmarkList>();
    fill(*list);
    editor.setBookmarks(list.get());
    QCOMPARE(editor.currentRow(), 0);
    list.reset();
    QCOMPARE(editor.currentRow(), -1);
    QVERIFY(!textField(editor)->isEnabled());
    QTest::keyClicks(textField(editor), QStringLiteral("x"));
}

void TestBookmarkEditor::style()
{
    BookmarkEditor editor;
    QPalette palette;
    palette.setColor(QPalette::Base, QColor(20, 20, 30));
    palette.setColor(QPalette::Text, QColor(220, 220, 200));
    QFont code(QStringLiteral("Monospace"));
    code.setPointSize(13);
    editor.setStyle(palette, code);
    QPlainTextEdit* message = messageField(editor);
    QCOMPARE(message->font().pointSize(), 13);
    QCOMPARE(message->font().family(), code.family());
    QCOMPARE(message->palette().color(QPalette::Base), QColor(20, 20, 30));
}

QTEST_MAIN(TestBookmarkEditor)
#include "tst_bookmarkeditor.moc"
