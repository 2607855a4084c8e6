// SPDX-License-Identifier: MIT
#include "app/mainwindow.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"

#include "bookmarks/bookmarklist.h"
#include "connection/connection.h"
#include "qrv16/messageparser.h"
#include "qrv16/tagdatalut.h"
#include "tests/app/windowlinks.h"
#include "tests/support/files.h"
#include "tests/support/pty.h"
#include "tests/support/tracelines.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <vector>

namespace {

const char definitions[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<qrv16>
  <tag name="SetPumpMode" id="0xD002"/>
  <tag name="SetPumpModeReply" id="0xE002"/>
  <tag name="PumpId" id="0x1001"/>
  <tag name="PumpMode" id="0x1002">
    <enums>
      <enum name="Off" id="0"/>
      <enum name="Manual" id="1"/>
      <enum name="Auto" id="2"/>
      <enum name="Service" id="3"/>
    </enums>
  </tag>
</qrv16>
)";

const char bookmarkFile[] = R"(<?xml version="1.0"?>
<qrvbm>
  <bookmark>
    <text>Too far</text>
    <message>PumpId=4294967296</message>
  </bookmark>
</qrvbm>
)";

QAbstractItemView* namesPopup()
{
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->objectName() == QLatin1String("m_lv_names"))
            return qobject_cast<QAbstractItemView*>(w);
    }
    return nullptr;
}

QStringList shownNames(QAbstractItemView* popup)
{
    QStringList names;
    for (int row = 0; row < popup->model()->rowCount(); ++row)
        names << popup->model()->index(row, 0).data().toString();
    return names;
}

} // namespace

class TestEntryLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void sendsTheTextAsTyped_data();
    void sendsTheTextAsTyped();
    void historyStaysInTheDropDown();
    void namesOnlyWhenAskedAndTakenWhenChosen();
    void errorIsMarkedUntilTheTextChanges();
    void failingBookmarkIsNamed();

private:
    std::unique_ptr<MainWindow> makeWindow();
    QComboBox* entry(MainWindow* window) const
    {
        return window->findChild<QComboBox*>(QStringLiteral("m_cb_message"));
    }
    QTemporaryDir m_dir;
    QString m_defs;
    std::vector<std::unique_ptr<korvtest::Pty>> m_lines;
    QByteArray m_sent[2];
};

void TestEntryLine::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    // A settings file of its own: other window tests run beside this one.
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test-entryline"));
    QVERIFY(m_dir.isValid());
    m_defs = m_dir.filePath(QStringLiteral("defs.qrvdef"));
    QVERIFY(writeFile(m_defs, definitions));
}

void TestEntryLine::init()
{
    QSettings().clear();
    m_sent[0].clear();
    m_sent[1].clear();
}

void TestEntryLine::cleanup()
{
    QSettings().clear();
    m_lines.clear();
}

std::unique_ptr<MainWindow> TestEntryLine::makeWindow()
{
    auto window = windowWithLinks(&m_lines);
    for (int number : {1, 2}) {
        connect(window->channel(number)->connection(), &Connection::rawSent, this,
                [this, number](const QByteArray& bytes) { m_sent[number - 1] += bytes; });
    }
    if (!window->loadDefinitionFile(m_defs))
        return nullptr;
    window->traceModel()->clear();
    window->show();
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window.get()))
        return nullptr;
    return window;
}

void TestEntryLine::sendsTheTextAsTyped_data()
{
    QTest::addColumn<QStringList>("history");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("channel"); // 0: Return, else that button
    QTest::addColumn<QString>("line");
    QTest::newRow("a longer history entry is not sent for a shorter text")
        << QStringList{"PumpId=99999999"} << "PumpId=9" << 0 << "1|PumpId=9";
    QTest::newRow("the same by the button of channel 2")
        << QStringList{"PumpId=99999999"} << "PumpId=9" << 2 << "2|PumpId=9";
    QTest::newRow("a nested entry does not finish a nested text")
        << QStringList{"SetPumpMode=(PumpId=2 PumpMode=Service)"} << "SetPumpMode=(PumpId=2 PumpMode=S"
        << 0 << "1 Err|1:13: End of data looking for closing parenthesis expected";
    QTest::newRow("an unbalanced text reports its own error")
        << QStringList{"SetPumpMode=(PumpId=2 PumpMode=Service)"} << "SetPumpMode=(PumpId=2" << 0
        << "1 Err|1:13: End of data looking for closing parenthesis expected";
    QTest::newRow("a number beyond 32 bits is refused, not cut")
        << QStringList() << "PumpId=4294967296" << 1 << "1 Err|1:8: Value out of range";
    QTest::newRow("so is one beyond 64 bits")
        << QStringList() << "PumpId=99999999999999999999" << 0 << "1 Err|1:8: Value out of range";
}

void TestEntryLine::sendsTheTextAsTyped()
{
    QFETCH(QStringList, history);
    QFETCH(QString, typed);
    QFETCH(int, channel);
    QFETCH(QString, line);
    QSettings().setValue(QStringLiteral("MainWindow/History"), history);
    QSettings().setValue(QStringLiteral("MainWindow/HistoryIndex"), -1);
    auto window = makeWindow();
    QVERIFY(window);
    QComboBox* combo = entry(window.get());
    combo->setFocus();
    combo->clearEditText();
    QTest::keyClicks(combo, typed);
    QCOMPARE(combo->currentText(), typed);
    if (channel == 0)
        QTest::keyClick(combo, Qt::Key_Return);
    else
        window->findChild<QPushButton*>(QStringLiteral("m_pb_go%1").arg(channel))->click();
    QCOMPARE(lines(*window->traceModel()), QStringList{line});
    const int target = line.at(0) == QLatin1Char('2') ? 1 : 0;
    if (line.contains(QLatin1String(" Err|"))) {
        QVERIFY(m_sent[target].isEmpty());
    } else {
        QRV16::MessageParser parser(window->tags());
        QCOMPARE(m_sent[target], parser.parse(typed).bytes());
    }
    QVERIFY(m_sent[1 - target].isEmpty());
}

void TestEntryLine::historyStaysInTheDropDown()
{
    {
        auto window = makeWindow();
        QComboBox* combo = entry(window.get());
        for (const char* text : {"PumpId=1", "PumpId=2", "PumpId=1"}) {
            combo->setEditText(QLatin1String(text));
            QTest::keyClick(combo, Qt::Key_Return);
        }
        QCOMPARE(combo->count(), 2);
        QCOMPARE(combo->currentText(), QStringLiteral("PumpId=1"));
        QTest::keyClick(combo, Qt::Key_Down);
        QCOMPARE(combo->currentText(), QStringLiteral("PumpId=2"));
        QTest::keyClick(combo, Qt::Key_Return);
    }
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/History")).toStringList(),
             (QStringList{"PumpId=1", "PumpId=2"}));
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/HistoryIndex")).toInt(), 1);
    auto window = makeWindow();
    QComboBox* combo = entry(window.get());
    QCOMPARE(combo->currentText(), QStringLiteral("PumpId=2"));
    QTest::keyClick(combo, Qt::Key_Up);
    QCOMPARE(combo->currentText(), QStringLiteral("PumpId=1"));
}

void TestEntryLine::namesOnlyWhenAskedAndTakenWhenChosen()
{
    auto window = makeWindow();
    QComboBox* combo = entry(window.get());
    QLineEdit* edit = combo->lineEdit();
    combo->setFocus();
    const QString typed = QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=S");
    QTest::keyClicks(combo, typed);
    QCOMPARE(edit->text(), typed);
    QAbstractItemView* popup = namesPopup();
    QVERIFY(!popup || !popup->isVisible());

    // Tab offers the enum names of the tag being typed; Escape takes none.
    QTest::keyClick(combo, Qt::Key_Tab);
    popup = namesPopup();
    QVERIFY(popup);
    QTRY_VERIFY(popup->isVisible());
    QCOMPARE(shownNames(popup), QStringList{"Service"});
    QCOMPARE(edit->text(), typed);
    QTest::keyClick(popup, Qt::Key_Escape);
    QVERIFY(!popup->isVisible());
    QCOMPARE(edit->text(), typed);

    // Return in the list takes the chosen name and sends nothing.
    QTest::keyClick(combo, Qt::Key_Tab);
    QTRY_VERIFY(popup->isVisible());
    QTest::keyClick(popup, Qt::Key_Return);
    QVERIFY(!popup->isVisible());
    QCOMPARE(edit->text(), QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Service"));
    QVERIFY(lines(*window->traceModel()).isEmpty());
    QVERIFY(m_sent[0].isEmpty());

    // Ctrl+Space where a tag begins offers tag names, narrowed while typing.
    QTest::keyClicks(combo, QStringLiteral(") "));
    QTest::keyClick(combo, Qt::Key_Space, Qt::ControlModifier);
    QTRY_VERIFY(popup->isVisible());
    QCOMPARE(shownNames(popup), (QStringList{"PumpId", "PumpMode", "SetPumpMode", "SetPumpModeReply"}));
    QTest::keyClicks(popup, QStringLiteral("Se"));
    QCOMPARE(shownNames(popup), (QStringList{"SetPumpMode", "SetPumpModeReply"}));
    QTest::keyClick(popup, Qt::Key_Down);
    QTest::keyClick(popup, Qt::Key_Tab);
    QCOMPARE(edit->text(), QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Service) SetPumpModeReply"));

    // Return sends the text shown, and only that.
    QTest::keyClick(combo, Qt::Key_Return);
    QCOMPARE(lines(*window->traceModel()),
             (QStringList{"1|SetPumpMode=(PumpId=2 PumpMode=Service)", "1|SetPumpModeReply=()"}));

    // Tab on an empty line moves on, as anywhere.
    combo->clearEditText();
    QTest::keyClick(combo, Qt::Key_Tab);
    QVERIFY(!popup->isVisible());
}

void TestEntryLine::errorIsMarkedUntilTheTextChanges()
{
    auto window = makeWindow();
    QComboBox* combo = entry(window.get());
    const QString normalTip = combo->toolTip();
    combo->setFocus();
    QTest::keyClicks(combo, QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Servic)"));
    QTest::keyClick(combo, Qt::Key_Return);
    const QString report = QStringLiteral("1:32: Failed to decode value; PumpMode has Off, Manual, Auto, Service");
    QCOMPARE(lines(*window->traceModel()), QStringList{"1 Err|" + report});
    QVERIFY(m_sent[0].isEmpty());
    QCOMPARE(combo->toolTip(), report);
    QVERIFY(!combo->styleSheet().isEmpty());
    QCOMPARE(combo->lineEdit()->cursorPosition(), 31);

    // The mark stays while the cursor moves, and goes with the first edit.
    QTest::keyClick(combo, Qt::Key_End);
    QCOMPARE(combo->toolTip(), report);
    QTest::keyClick(combo, Qt::Key_Backspace);
    QCOMPARE(combo->toolTip(), normalTip);
    QVERIFY(combo->styleSheet().isEmpty());
}

void TestEntryLine::failingBookmarkIsNamed()
{
    const QString path = m_dir.filePath(QStringLiteral("marks.qrvbm"));
    QVERIFY(writeFile(path, bookmarkFile));
    auto window = makeWindow();
    QVERIFY(window->loadBookmarks(path));
    window->traceModel()->clear();
    window->bookmarks()->action(0)->trigger();
    QCOMPARE(lines(*window->traceModel()),
             QStringList{"1 Err|Bookmark \"Too far\": 1:8: Value out of range"});
    QVERIFY(m_sent[0].isEmpty());
}

QTEST_MAIN(TestEntryLine)
#include "tst_entryline.moc"
