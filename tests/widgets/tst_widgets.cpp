// SPDX-License-Identifier: MIT
// The generic widgets under the offscreen platform. The colour button: its
// swatch, its signal, and picking from its popup by keyboard and by mouse.
// The document actions: open, save and close asking about unsaved changes,
// the file dialogs where the last file was. The window placement: restored
// where it fits, saved back as it is.
#include "tests/support/files.h"
#include "tests/support/modalcloser.h"
#include "widgets/colorbutton.h"
#include "widgets/document.h"
#include "widgets/documentactions.h"
#include "widgets/documentflow.h"
#include "widgets/windowplacement.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QColorDialog>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <QWidget>
#include <QtTest>

namespace {

// Not one of the standard colours: the popup then starts on the first cell.
const QColor offGrid(0x12, 0x34, 0x56);
// In a list of keys: a click on the cell of the colour to be picked.
constexpr int Click = -1;

QWidget* openPopup(ColorButton* button)
{
    QTest::mouseClick(button, Qt::LeftButton);
    return QApplication::activePopupWidget();
}

QAbstractButton* cell(QWidget* popup, const QColor& color)
{
    for (QAbstractButton* candidate : popup->findChildren<QAbstractButton*>()) {
        if (candidate->toolTip().compare(color.name(), Qt::CaseInsensitive) == 0)
            return candidate;
    }
    return nullptr;
}

QToolButton* moreButton(QWidget* popup)
{
    for (QToolButton* candidate : popup->findChildren<QToolButton*>()) {
        if (candidate->text() == QLatin1String("More colours..."))
            return candidate;
    }
    return nullptr;
}

// A document of one line of text; its file is that text.
class Note : public Document
{
public:
    bool load(const QString& path) override
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            Q_EMIT message(QStringLiteral("Cannot read %1").arg(path), true);
            return false;
        }
        m_text = QString::fromUtf8(file.readAll());
        setPath(path);
        setModified(false);
        Q_EMIT message(QStringLiteral("Loaded %1").arg(path), false);
        return true;
    }

    bool save(const QString& path, QString* error) override
    {
        if (!writeFile(path, m_text.toUtf8())) {
            *error = QStringLiteral("Cannot write %1").arg(path);
            return false;
        }
        setPath(path);
        setModified(false);
        return true;
    }

    bool isModified() const override { return m_modified; }
    QString fileFilter() const override { return QStringLiteral("Notes (*.note)"); }
    QString lastPathKey() const override { return QStringLiteral("Test/LastNote"); }
    QString saveAsPathKey() const override { return QStringLiteral("Test/LastSavedNote"); }

    QString text() const { return m_text; }
    void setText(const QString& text)
    {
        m_text = text;
        setModified(true);
    }

private:
    void setModified(bool modified)
    {
        if (m_modified == modified)
            return;
        m_modified = modified;
        Q_EMIT modifiedChanged(modified);
    }

    QString m_text;
    bool m_modified = false;
};

DocumentActions::Texts texts()
{
    return {QStringLiteral("Open Note"), QStringLiteral("Save Note"), QStringLiteral("Save Note As"),
            QStringLiteral("There are unsaved notes. What do you want to do?"), QStringLiteral("Notes")};
}

QByteArray record(const QPoint& pos, const QSize& size, bool maximized)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << pos << size << maximized;
    return bytes;
}

QString rectText(const QSize& size, const QPoint& pos)
{
    return QString::asprintf("%ux%d%+d%+d", unsigned(size.width()), size.height(), pos.x(), pos.y());
}

QByteArray red(const QString& text)
{
    return (QStringLiteral("\033[31m") + text + QStringLiteral("\033[0m")).toUtf8();
}

// The area a window may use on the offscreen screen.
QRect area()
{
    return QGuiApplication::primaryScreen()->availableGeometry().adjusted(-16, 0, 16, -50);
}

} // namespace

class TestWidgets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void swatchShowsTheColour_data();
    void swatchShowsTheColour();
    void signalsOnlyRealChanges_data();
    void signalsOnlyRealChanges();
    void pick_data();
    void pick();
    void moreColours_data();
    void moreColours();
    void unsavedChangesAreAskedAbout_data();
    void unsavedChangesAreAskedAbout();
    void openAsksBeforeChangesAreLost_data();
    void openAsksBeforeChangesAreLost();
    void saveWithoutAFileAsksForOne();
    void failedSaveSaysWhyAndKeepsTheChanges();
    void dialogsStartWhereTheLastFileWas();
    void firstDialogsStartInDocuments_data();
    void firstDialogsStartInDocuments();
    void restoreGeometry_data();
    void restoreGeometry();
    void raiseShowsMinimised();
    void firstSizeFitsTheScreen_data();
    void firstSizeFitsTheScreen();

private:
    QString file(const QString& name, const QByteArray& content = QByteArray()) const;

    ColorButton* m_button = nullptr; // shown for each test
    QTemporaryDir m_dir;
    QWidget m_window;
};

void TestWidgets::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_dir.isValid());
    m_window.setWindowTitle(QStringLiteral("Test"));
}

void TestWidgets::init()
{
    QSettings().clear();
    m_button = new ColorButton;
    m_button->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_button));
}

void TestWidgets::cleanup()
{
    if (QWidget* popup = QApplication::activePopupWidget())
        popup->close();
    delete m_button;
    m_button = nullptr;
}

void TestWidgets::swatchShowsTheColour_data()
{
    QTest::addColumn<QColor>("color");
    QTest::newRow("red") << QColor(Qt::red);
    QTest::newRow("a dark blue") << QColor(0x0a, 0x14, 0x50);
    QTest::newRow("white") << QColor(Qt::white);
}

void TestWidgets::swatchShowsTheColour()
{
    QFETCH(QColor, color);
    m_button->setColor(color);
    const QImage image = m_button->grab().toImage();
    const QPoint centre(image.width() / 2, image.height() / 2);
    QCOMPARE(image.pixelColor(centre).rgb(), color.rgb());
}

void TestWidgets::signalsOnlyRealChanges_data()
{
    QTest::addColumn<QColor>("start");
    QTest::addColumn<QList<QColor>>("set");
    QTest::addColumn<QList<QColor>>("signalled");

    const QColor red(Qt::red);
    const QColor blue(Qt::blue);
    QTest::newRow("a new colour signals once") << red << QList<QColor>{blue} << QList<QColor>{blue};
    QTest::newRow("the same colour signals nothing") << red << QList<QColor>{red} << QList<QColor>{};
    QTest::newRow("a new colour twice signals once") << red << QList<QColor>{blue, blue} << QList<QColor>{blue};
    QTest::newRow("there and back signals twice") << red << QList<QColor>{blue, red} << QList<QColor>{blue, red};
    QTest::newRow("no colour is a change") << red << QList<QColor>{QColor()} << QList<QColor>{QColor()};
}

void TestWidgets::signalsOnlyRealChanges()
{
    QFETCH(QColor, start);
    QFETCH(QList<QColor>, set);
    QFETCH(QList<QColor>, signalled);

    m_button->setColor(start);
    QSignalSpy spy(m_button, &ColorButton::colorChanged);
    for (const QColor& color : set)
        m_button->setColor(color);
    QCOMPARE(spy.count(), signalled.size());
    for (int i = 0; i < spy.count(); ++i)
        QCOMPARE(spy.at(i).at(0).value<QColor>(), signalled.at(i));
    QCOMPARE(m_button->color(), set.last());
}

void TestWidgets::pick_data()
{
    QTest::addColumn<int>("start");       // index into the standard colours, -1 for offGrid
    QTest::addColumn<QList<int>>("keys"); // or Click
    QTest::addColumn<int>("picked");      // index, -1 for "nothing picked"

    const int columns = ColorButton::standardColumns();
    const int count = int(ColorButton::standardColors().size());
    QVERIFY(count >= 30);
    QTest::newRow("a click picks the first colour") << -1 << QList<int>{Click} << 0;
    QTest::newRow("a click picks one in the middle") << -1 << QList<int>{Click} << count / 2 + 1;
    QTest::newRow("a click picks the last colour") << -1 << QList<int>{Click} << count - 1;
    QTest::newRow("Enter picks the cell to the right") << 9 << QList<int>{Qt::Key_Right, Qt::Key_Return} << 10;
    QTest::newRow("keypad Enter picks too") << 9 << QList<int>{Qt::Key_Left, Qt::Key_Enter} << 8;
    QTest::newRow("Down moves one row") << 9 << QList<int>{Qt::Key_Down, Qt::Key_Return} << 9 + columns;
    QTest::newRow("Space picks") << 0 << QList<int>{Qt::Key_Right, Qt::Key_Space} << 1;
    QTest::newRow("an unknown colour starts at the first cell") << -1 << QList<int>{Qt::Key_Return} << 0;
    QTest::newRow("Left stops at the edge of the row") << -1 << QList<int>{Qt::Key_Left, Qt::Key_Return} << 0;
    QTest::newRow("Up stops at the top row")
        << -1 << QList<int>{Qt::Key_Up, Qt::Key_Right, Qt::Key_Right, Qt::Key_Return} << 2;
    QTest::newRow("Right stops at the end of the row")
        << columns - 2 << QList<int>{Qt::Key_Right, Qt::Key_Right, Qt::Key_Right, Qt::Key_Return} << columns - 1;
    QTest::newRow("Down from the last row reaches More colours and Up comes back")
        << count - columns + 3 << QList<int>{Qt::Key_Down, Qt::Key_Up, Qt::Key_Left, Qt::Key_Return}
        << count - columns + 2;
    QTest::newRow("Escape keeps the colour") << -1 << QList<int>{Qt::Key_Right, Qt::Key_Escape} << -1;
}

void TestWidgets::pick()
{
    QFETCH(int, start);
    QFETCH(QList<int>, keys);
    QFETCH(int, picked);

    const QList<QColor> colors = ColorButton::standardColors();
    const QColor startColor = start < 0 ? offGrid : colors.at(start);
    m_button->setColor(startColor);
    QSignalSpy spy(m_button, &ColorButton::colorChanged);

    QWidget* popup = openPopup(m_button);
    QVERIFY(popup);
    for (int key : keys) {
        if (key == Click) {
            QAbstractButton* target = cell(popup, colors.at(picked));
            QVERIFY(target);
            QTest::mouseClick(target, Qt::LeftButton);
            continue;
        }
        QWidget* focus = QApplication::focusWidget();
        QVERIFY(focus);
        QCOMPARE(focus->window(), popup);
        QTest::keyClick(focus, Qt::Key(key));
    }
    QTRY_VERIFY(!QApplication::activePopupWidget());
    if (picked < 0) {
        QCOMPARE(m_button->color(), startColor);
        QCOMPARE(spy.count(), 0);
    } else {
        QCOMPARE(m_button->color(), colors.at(picked));
        QCOMPARE(spy.count(), 1);
    }
}

void TestWidgets::moreColours_data()
{
    QTest::addColumn<bool>("accept");
    QTest::newRow("a colour chosen in the dialog is taken") << true;
    QTest::newRow("a cancelled dialog keeps the colour") << false;
}

void TestWidgets::moreColours()
{
    QFETCH(bool, accept);
    const QColor chosen(0x21, 0x43, 0x65);
    m_button->setColor(offGrid);

    QWidget* popup = openPopup(m_button);
    QVERIFY(popup);
    QToolButton* more = moreButton(popup);
    QVERIFY(more);

    bool seen = false;
    QColor offered;
    QTimer answer;
    connect(&answer, &QTimer::timeout, this, [&] {
        auto* dialog = qobject_cast<QColorDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        seen = true;
        offered = dialog->currentColor();
        dialog->setCurrentColor(chosen);
        if (accept)
            dialog->accept();
        else
            dialog->reject();
    });
    answer.start(10);
    QTest::mouseClick(more, Qt::LeftButton);
    QTRY_VERIFY(seen);
    answer.stop();
    QCOMPARE(offered, offGrid);
    QTRY_COMPARE(m_button->color(), accept ? chosen : offGrid);
    QVERIFY(!QApplication::activeModalWidget());
}

QString TestWidgets::file(const QString& name, const QByteArray& content) const
{
    const QString path = m_dir.filePath(name);
    if (!content.isNull() && !writeFile(path, content))
        return QString();
    return path;
}

void TestWidgets::unsavedChangesAreAskedAbout_data()
{
    QTest::addColumn<bool>("modified");
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("closes");
    QTest::addColumn<QByteArray>("onDisk");
    QTest::newRow("nothing to save: no question") << false << int(QMessageBox::Cancel) << true << QByteArray("old");
    QTest::newRow("cancel keeps the document open") << true << int(QMessageBox::Cancel) << false << QByteArray("old");
    QTest::newRow("discard lets it go unsaved") << true << int(QMessageBox::Discard) << true << QByteArray("old");
    QTest::newRow("save writes it first") << true << int(QMessageBox::Save) << true << QByteArray("new");
}

void TestWidgets::unsavedChangesAreAskedAbout()
{
    QFETCH(bool, modified);
    QFETCH(int, answer);
    QFETCH(bool, closes);
    QFETCH(QByteArray, onDisk);
    const QString path = file(QStringLiteral("close.note"), "old");
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    QVERIFY(actions.load(path));
    if (modified)
        note.setText(QStringLiteral("new"));
    ModalCloser closer{QMessageBox::StandardButton(answer)};
    QCOMPARE(actions.canClose(), closes);
    QCOMPARE(closer.seen, modified ? QStringList{"box"} : QStringList());
    QCOMPARE(readFile(path), onDisk);
}

void TestWidgets::openAsksBeforeChangesAreLost_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("text");
    QTest::newRow("cancel: no dialog, the changes stay") << int(QMessageBox::Cancel) << "changed";
    QTest::newRow("discard: the other file") << int(QMessageBox::Discard) << "other";
}

void TestWidgets::openAsksBeforeChangesAreLost()
{
    QFETCH(int, answer);
    QFETCH(QString, text);
    const QString first = file(QStringLiteral("first.note"), "first");
    const QString other = file(QStringLiteral("other.note"), "other");
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    QVERIFY(actions.load(first));
    note.setText(QStringLiteral("changed"));
    ModalCloser closer(QMessageBox::StandardButton(answer), other);
    actions.openAction()->trigger();
    QCOMPARE(closer.seen.value(0), QStringLiteral("box"));
    QCOMPARE(closer.seen.size(), answer == QMessageBox::Cancel ? 1 : 2);
    QCOMPARE(note.text(), text);
    QCOMPARE(note.path(), answer == QMessageBox::Cancel ? first : other);
    QCOMPARE(readFile(first), QByteArray("first"));
}

void TestWidgets::saveWithoutAFileAsksForOne()
{
    const QString path = file(QStringLiteral("chosen.note"));
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    QSignalSpy said(&actions, &DocumentActions::message);
    // Save is there while there is something to save; Save As always.
    QVERIFY(!actions.saveAction()->isEnabled());
    QVERIFY(actions.saveAsAction()->isEnabled());
    note.setText(QStringLiteral("fresh"));
    QVERIFY(actions.saveAction()->isEnabled());
    ModalCloser closer(QMessageBox::Cancel, path);
    actions.saveAction()->trigger();
    QCOMPARE(closer.seen.size(), 1);
    QVERIFY(closer.seen.constFirst().startsWith(QLatin1String("file ")));
    QCOMPARE(readFile(path), QByteArray("fresh"));
    QCOMPARE(note.path(), path);
    QVERIFY(!note.isModified());
    QVERIFY(!actions.saveAction()->isEnabled());
    QCOMPARE(said.count(), 1);
    QCOMPARE(said.at(0).at(0).toString(), QStringLiteral("Saved to %1").arg(QDir::toNativeSeparators(path)));
    QCOMPARE(said.at(0).at(1).toBool(), false);
    // From now on Save goes to that file without a dialog.
    closer.seen.clear();
    note.setText(QStringLiteral("again"));
    QVERIFY(actions.save());
    QVERIFY(closer.seen.isEmpty());
    QCOMPARE(readFile(path), QByteArray("again"));
}

void TestWidgets::failedSaveSaysWhyAndKeepsTheChanges()
{
    const QString path = m_dir.filePath(QStringLiteral("no/such/dir/x.note"));
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    QSignalSpy said(&actions, &DocumentActions::message);
    note.setText(QStringLiteral("kept"));
    QVERIFY(!actions.saveTo(path));
    QCOMPARE(said.count(), 1);
    QCOMPARE(said.at(0).at(0).toString(), QStringLiteral("Cannot write %1").arg(path));
    QCOMPARE(said.at(0).at(1).toBool(), true);
    QVERIFY(note.isModified());
    QVERIFY(actions.saveAction()->isEnabled());
    // Closing still asks: the changes are not saved anywhere.
    ModalCloser closer(QMessageBox::Cancel);
    QVERIFY(!actions.canClose());
    QCOMPARE(closer.seen, QStringList{"box"});
}

// Open starts where the last file opened was, Save As where the last one
// saved under a new name was; both outlive the object that chose them.
void TestWidgets::dialogsStartWhereTheLastFileWas()
{
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("opened")));
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("saved")));
    const QString opened = file(QStringLiteral("opened/a.note"), "a");
    const QString saved = m_dir.filePath(QStringLiteral("saved/b.note"));
    {
        Note note;
        DocumentActions actions(&note, &m_window, texts());
        {
            ModalCloser closer(QMessageBox::Cancel, opened);
            actions.openAction()->trigger();
            QCOMPARE(closer.seen.size(), 1);
            QCOMPARE(note.path(), opened);
        }
        ModalCloser saver(QMessageBox::Cancel, saved);
        actions.saveAsAction()->trigger();
        QCOMPARE(readFile(saved), QByteArray("a"));
    }
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    ModalCloser closer(QMessageBox::Cancel);
    actions.openAction()->trigger();
    actions.saveAsAction()->trigger();
    QCOMPARE(closer.seen, (QStringList{QStringLiteral("file ") + QFileInfo(opened).absolutePath(),
                                       QStringLiteral("file ") + QFileInfo(saved).absolutePath()}));
}

void TestWidgets::firstDialogsStartInDocuments_data()
{
    QTest::addColumn<QByteArray>("home");
    QTest::addColumn<QString>("documents");
    QTest::newRow("a home folder") << QByteArray("/srv/korv-home") << "/srv/korv-home/Documents";
    QTest::newRow("a home folder with a slash at the end")
        << QByteArray("/srv/korv-home/") << "/srv/korv-home/Documents";
    QTest::newRow("the root") << QByteArray("/") << "/Documents";
}

void TestWidgets::firstDialogsStartInDocuments()
{
    QFETCH(QByteArray, home);
    QFETCH(QString, documents);
    const QByteArray saved = qgetenv("HOME");
    qputenv("HOME", home);
    const QString path = DocumentFlow::documentsPath();
    qputenv("HOME", saved);
    QCOMPARE(path, documents);
}

void TestWidgets::restoreGeometry_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("restored");
    QTest::addColumn<QPoint>("pos");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("maximized");
    QTest::addColumn<QStringList>("diagnostics");

    const QWidget defaults;
    const QRect a = area();
    const QString areaText = rectText(a.size(), a.topLeft());
    auto centred = [&](const QSize& size) {
        QRect r(QPoint(0, 0), size);
        r.moveCenter(a.center());
        return r.topLeft();
    };

    QTest::newRow("a record that fits is applied as it is")
        << record(QPoint(100, 100), QSize(400, 300), false) << true << QPoint(100, 100) << QSize(400, 300) << false
        << QStringList{};
    QTest::newRow("the frame allowance at the right edge fits")
        << record(QPoint(0, 0), QSize(a.width() - 16, 300), false) << true << QPoint(0, 0) << QSize(a.width() - 16, 300)
        << false << QStringList{};
    QTest::newRow("the screen without the frame allowance at the bottom")
        << record(QPoint(0, 10), QSize(400, a.height()), false) << true << centred(QSize(400, a.height()))
        << QSize(400, a.height()) << false
        << QStringList{"Restore 400x" + QString::number(a.height()) + "+0+10: Does not fit " + areaText +
                       ", trying centered"};
    QTest::newRow("off every screen is centred on the screen")
        << record(QPoint(5000, 5000), QSize(400, 300), false) << true << centred(QSize(400, 300)) << QSize(400, 300)
        << false
        << QStringList{"Restore 400x300+5000+5000: Not on any screen",
                       "Restore 400x300+5000+5000: Does not fit " + areaText + ", trying centered"};
    QTest::newRow("partly off the screen is centred")
        << record(QPoint(600, 400), QSize(400, 300), false) << true << centred(QSize(400, 300)) << QSize(400, 300)
        << false << QStringList{"Restore 400x300+600+400: Does not fit " + areaText + ", trying centered"};
    QTest::newRow("too narrow is refused")
        << record(QPoint(100, 100), QSize(48, 300), false) << false << defaults.pos() << defaults.size() << false
        << QStringList{"Restore 48x300+100+100: Too small"};
    QTest::newRow("too low is refused") << record(QPoint(100, 100), QSize(300, 20), false) << false << defaults.pos()
                                        << defaults.size() << false << QStringList{"Restore 300x20+100+100: Too small"};
    QTest::newRow("larger than the screen is refused")
        << record(QPoint(0, 0), QSize(3000, 2000), false) << false << defaults.pos() << defaults.size() << false
        << QStringList{"Restore 3000x2000+0+0: Does not fit " + areaText + ", trying centered",
                       "Restore 3000x2000+0+0: Does not fit " + areaText};
    QTest::newRow("larger than the screen but maximised is maximised anyway")
        << record(QPoint(0, 0), QSize(3000, 2000), true) << true << QPoint() << QSize() << true
        << QStringList{"Restore 3000x2000+0+0: Does not fit " + areaText + ", trying centered",
                       "Restore 3000x2000+0+0: Does not fit " + areaText + ", maximizing anyway"};
    QTest::newRow("an empty record restores nothing")
        << QByteArray() << false << defaults.pos() << defaults.size() << false << QStringList{};
    QTest::newRow("a truncated record restores nothing")
        << record(QPoint(100, 100), QSize(400, 300), false).left(10) << false << defaults.pos() << defaults.size()
        << false << QStringList{};
}

void TestWidgets::restoreGeometry()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, restored);
    QFETCH(QPoint, pos);
    QFETCH(QSize, size);
    QFETCH(bool, maximized);
    QFETCH(QStringList, diagnostics);

    for (const QString& text : diagnostics)
        QTest::ignoreMessage(QtDebugMsg, red(text).constData());
    QWidget widget;
    QCOMPARE(WindowPlacement::restore(&widget, bytes), restored);
    QCOMPARE(widget.isMaximized(), maximized);
    if (maximized) {
        QVERIFY(QGuiApplication::primaryScreen()->geometry().contains(widget.geometry()));
    } else {
        QCOMPARE(widget.pos(), pos);
        QCOMPARE(widget.size(), size);
        // Saved again, where it was put.
        QCOMPARE(WindowPlacement::save(&widget), record(pos, size, false));
    }
}

void TestWidgets::raiseShowsMinimised()
{
    QWidget widget;
    widget.resize(200, 100);
    widget.showMinimized();
    QVERIFY(widget.isMinimized());
    WindowPlacement::raise(&widget);
    QVERIFY(!widget.isMinimized());
    QVERIFY(widget.isVisible());
    WindowPlacement::raise(nullptr);
}

void TestWidgets::firstSizeFitsTheScreen_data()
{
    QTest::addColumn<QSize>("wanted");
    QTest::addColumn<QSize>("minimum");
    QTest::addColumn<QSize>("expected");
    const QSize screen = QGuiApplication::primaryScreen()->availableGeometry().size();
    QTest::newRow("fits") << QSize(300, 200) << QSize() << QSize(300, 200);
    QTest::newRow("wider than the screen") << QSize(screen.width() + 500, 200) << QSize() << QSize(screen.width(), 200);
    QTest::newRow("taller than the screen")
        << QSize(300, screen.height() * 3) << QSize() << QSize(300, screen.height());
    QTest::newRow("both, as at twice the scale") << screen * 2 << QSize() << screen;
    // The minimum wins over the screen: the window scrolls off rather than breaks.
    QTest::newRow("minimum larger than the screen")
        << screen * 2 << QSize(screen.width() + 40, 100) << QSize(screen.width() + 40, screen.height());
}

void TestWidgets::firstSizeFitsTheScreen()
{
    QFETCH(QSize, wanted);
    QFETCH(QSize, minimum);
    QFETCH(QSize, expected);
    QWidget widget;
    if (minimum.isValid())
        widget.setMinimumSize(minimum);
    WindowPlacement::resizeToFit(&widget, wanted);
    QCOMPARE(widget.size(), expected);
}

QTEST_MAIN(TestWidgets)
#include "tst_widgets.moc"
