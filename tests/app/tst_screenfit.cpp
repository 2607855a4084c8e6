// SPDX-License-Identifier: MIT
// Windows on a screen shorter than they would like: a laptop's 1600 x 1000
// pixels at twice the scale, 800 x 500 logical ones. Every dialog opens
// within it with its buttons in sight; the main window keeps a size it can
// still be used at.

#include "app/mainwindow.h"
#include "automation/widgets/answerdialog.h"
#include "automation/widgets/sequencestepdialog.h"
#include "bookmarks/bookmarkeditor.h"
#include "connection/widgets/certificatedialog.h"
#include "connection/widgets/connectionsettingsdialog.h"
#include "connection/widgets/remoteportdialog.h"
#include "editor/editoritemeditdialog.h"
#include "trace/widgets/styledialog.h"
#include "widgets/qttoolbardialog.h"
#include "widgets/screenfitarea.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QScreen>
#include <QScrollBar>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QVBoxLayout>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

using DialogFactory = std::function<QDialog*()>;

// A dialog with a body of `rows` line edits above OK and Cancel.
QDialog* formDialog(int rows)
{
    auto* dialog = new QDialog;
    auto* layout = new QVBoxLayout(dialog);
    for (int i = 0; i < rows; ++i)
        layout->addWidget(new QLineEdit(QStringLiteral("row %1").arg(i), dialog));
    layout->addWidget(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog));
    ScreenFitArea::wrap(dialog);
    return dialog;
}

} // namespace

Q_DECLARE_METATYPE(DialogFactory)

class TestScreenFit : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void dialogsFitTheScreen_data();
    void dialogsFitTheScreen();
    void shortDialogIsNotCut();
    void mainWindowFitsAndKeepsAUsableSize();
};

void TestScreenFit::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-screenfit-test"));
    QSettings().clear();
    QCOMPARE(qApp->primaryScreen()->devicePixelRatio(), 2.0);
    QCOMPARE(qApp->primaryScreen()->geometry().size(), QSize(800, 500));
}

void TestScreenFit::dialogsFitTheScreen_data()
{
    QTest::addColumn<DialogFactory>("make");
    QTest::newRow("style") << DialogFactory([] { return new StyleDialog; });
    QTest::newRow("connection settings, serial with BiS") << DialogFactory([] {
        auto* dialog = new ConnectionSettingsDialog;
        ConnectionSettings settings;
        settings.setMode(ConnectionSettings::SerialMode);
        settings.setBisEnabled(true);
        dialog->setSettings(settings);
        return dialog;
    });
    QTest::newRow("remote port") << DialogFactory([] { return new RemotePortDialog; });
    QTest::newRow("certificate") << DialogFactory([] { return new CertificateDialog; });
    QTest::newRow("toolbars") << DialogFactory([] { return new QtToolBarDialog; });
    QTest::newRow("answer rule") << DialogFactory([] { return new AnswerDialog; });
    QTest::newRow("sequence step") << DialogFactory([] { return new SequenceStepDialog; });
    QTest::newRow("definition item") << DialogFactory([] { return new QRV16::EditorItemEditDialog; });
    QTest::newRow("bookmarks") << DialogFactory([] { return new BookmarkEditor; });
    QTest::newRow("forty rows") << DialogFactory([] { return formDialog(40); });
}

void TestScreenFit::dialogsFitTheScreen()
{
    QFETCH(DialogFactory, make);
    std::unique_ptr<QDialog> dialog(make());
    dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
    const QRect screen = dialog->screen()->availableGeometry();
    const QRect frame = dialog->frameGeometry();
    QString shown;
    QDebug(&shown) << frame << "on" << screen;
    QVERIFY2(screen.contains(frame), qPrintable(shown));
    auto* buttons = dialog->findChild<QDialogButtonBox*>();
    QVERIFY(buttons && buttons->isVisible());
    const QRect placed(buttons->mapTo(dialog.get(), QPoint(0, 0)), buttons->size());
    QVERIFY(dialog->rect().contains(placed));
    // What did not fit scrolls; where the screen is wide enough, nothing
    // scrolls sideways.
    if (auto* area = dialog->findChild<ScreenFitArea*>()) {
        if (area->widget()->minimumSizeHint().height() > area->viewport()->height())
            QVERIFY(area->verticalScrollBar()->maximum() > 0);
        if (area->sizeHint().width() < ScreenFitArea::room(dialog.get()).width() - 50)
            QCOMPARE(area->horizontalScrollBar()->maximum(), 0);
    }
}

// A short dialog is not cut, at its own size or at one the user gave it.
void TestScreenFit::shortDialogIsNotCut()
{
    for (const QSize& size : {QSize(), QSize(350, 260)}) {
        std::unique_ptr<QDialog> dialog(formDialog(2));
        if (size.isValid())
            dialog->resize(size);
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
        if (size.isValid())
            QCOMPARE(dialog->size(), size);
        auto* area = dialog->findChild<ScreenFitArea*>();
        QVERIFY(area);
        QCOMPARE(area->verticalScrollBar()->maximum(), 0);
        QVERIFY(area->viewport()->height() >= area->widget()->sizeHint().height());
    }
}

void TestScreenFit::mainWindowFitsAndKeepsAUsableSize()
{
    QSettings().clear();
    MainWindow window;
    const QRect screen = window.screen()->availableGeometry();
    // No saved place yet: the status bar at the bottom must be in sight.
    QString shown;
    QDebug(&shown) << window.size() << "on" << screen.size();
    QVERIFY2(window.width() <= screen.width() && window.height() <= screen.height(), qPrintable(shown));
    window.resize(200, 150);
    QVERIFY2(window.width() >= 600 && window.height() >= 380,
             qPrintable(QStringLiteral("%1 x %2").arg(window.width()).arg(window.height())));
    // Still within a laptop's screen at twice the scale: 1600 x 1000
    // pixels are 800 x 500 logical ones, less a title bar.
    QVERIFY(window.minimumSize().width() <= 800 && window.minimumSize().height() <= 460);
}

int main(int argc, char** argv)
{
    // Before the application: the screen and the scale are read once.
    QTemporaryDir dir;
    const QString config = dir.filePath(QStringLiteral("screen.json"));
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly)
        || file.write(R"({"screens": [{"name": "laptop", "x": 0, "y": 0, "width": 1600, "height": 1000,
                          "logicalDpi": 96, "logicalBaseDpi": 96}]})")
               < 0)
        return 1;
    file.close();
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + QFile::encodeName(config));
    qputenv("QT_SCALE_FACTOR", "2");
    QApplication app(argc, argv);
    TestScreenFit test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_screenfit.moc"
