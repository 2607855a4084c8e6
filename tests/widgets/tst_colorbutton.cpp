// SPDX-License-Identifier: MIT
// The colour button under the offscreen platform: its swatch, its signal,
// and picking from its popup by keyboard and by mouse.

#include "widgets/colorbutton.h"

#include <QAbstractButton>
#include <QApplication>
#include <QColorDialog>
#include <QSignalSpy>
#include <QTimer>
#include <QToolButton>
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

} // namespace

class TestColorButton : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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

private:
    ColorButton* m_button = nullptr;
};

void TestColorButton::init()
{
    m_button = new ColorButton;
    m_button->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_button));
}

void TestColorButton::cleanup()
{
    if (QWidget* popup = QApplication::activePopupWidget())
        popup->close();
    delete m_button;
    m_button = nullptr;
}

void TestColorButton::swatchShowsTheColour_data()
{
    QTest::addColumn<QColor>("color");
    QTest::newRow("red") << QColor(Qt::red);
    QTest::newRow("a dark blue") << QColor(0x0a, 0x14, 0x50);
    QTest::newRow("white") << QColor(Qt::white);
}

void TestColorButton::swatchShowsTheColour()
{
    QFETCH(QColor, color);
    m_button->setColor(color);
    const QImage image = m_button->grab().toImage();
    const QPoint centre(image.width() / 2, image.height() / 2);
    QCOMPARE(image.pixelColor(centre).rgb(), color.rgb());
}

void TestColorButton::signalsOnlyRealChanges_data()
{
    QTest::addColumn<QColor>("start");
    QTest::addColumn<QList<QColor>>("set");
    QTest::addColumn<QList<QColor>>("signalled");

    const QColor red(Qt::red);
    const QColor blue(Qt::blue);
    QTest::newRow("a new colour signals once") << red << QList<QColor>{blue} << QList<QColor>{blue};
    QTest::newRow("the same colour signals nothing")
        << red << QList<QColor>{red} << QList<QColor>{};
    QTest::newRow("a new colour twice signals once")
        << red << QList<QColor>{blue, blue} << QList<QColor>{blue};
    QTest::newRow("there and back signals twice")
        << red << QList<QColor>{blue, red} << QList<QColor>{blue, red};
    QTest::newRow("no colour is a change")
        << red << QList<QColor>{QColor()} << QList<QColor>{QColor()};
}

void TestColorButton::signalsOnlyRealChanges()
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

void TestColorButton::pick_data()
{
    QTest::addColumn<int>("start"); // index into the standard colours, -1 for offGrid
    QTest::addColumn<QList<int>>("keys"); // or Click
    QTest::addColumn<int>("picked"); // index, -1 for "nothing picked"

    const int columns = ColorButton::standardColumns();
    const int count = int(ColorButton::standardColors().size());
    QVERIFY(count >= 30);
    QTest::newRow("a click picks the first colour") << -1 << QList<int>{Click} << 0;
    QTest::newRow("a click picks one in the middle") << -1 << QList<int>{Click} << count / 2 + 1;
    QTest::newRow("a click picks the last colour") << -1 << QList<int>{Click} << count - 1;
    QTest::newRow("Enter picks the cell to the right")
        << 9 << QList<int>{Qt::Key_Right, Qt::Key_Return} << 10;
    QTest::newRow("keypad Enter picks too") << 9 << QList<int>{Qt::Key_Left, Qt::Key_Enter} << 8;
    QTest::newRow("Down moves one row")
        << 9 << QList<int>{Qt::Key_Down, Qt::Key_Return} << 9 + columns;
    QTest::newRow("Space picks") << 0 << QList<int>{Qt::Key_Right, Qt::Key_Space} << 1;
    QTest::newRow("an unknown colour starts at the first cell")
        << -1 << QList<int>{Qt::Key_Return} << 0;
    QTest::newRow("Left stops at the edge of the row")
        << -1 << QList<int>{Qt::Key_Left, Qt::Key_Return} << 0;
    QTest::newRow("Up stops at the top row")
        << -1 << QList<int>{Qt::Key_Up, Qt::Key_Right, Qt::Key_Right, Qt::Key_Return} << 2;
    QTest::newRow("Right stops at the end of the row")
        << columns - 2 << QList<int>{Qt::Key_Right, Qt::Key_Right, Qt::Key_Right, Qt::Key_Return}
        << columns - 1;
    QTest::newRow("Down from the last row reaches More colours and Up comes back")
        << count - columns + 3 << QList<int>{Qt::Key_Down, Qt::Key_Up, Qt::Key_Left, Qt::Key_Return}
        << count - columns + 2;
    QTest::newRow("Escape keeps the colour")
        << -1 << QList<int>{Qt::Key_Right, Qt::Key_Escape} << -1;
}

void TestColorButton::pick()
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

void TestColorButton::moreColours_data()
{
    QTest::addColumn<bool>("accept");
    QTest::newRow("a colour chosen in the dialog is taken") << true;
    QTest::newRow("a cancelled dialog keeps the colour") << false;
}

void TestColorButton::moreColours()
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

QTEST_MAIN(TestColorButton)
#include "tst_colorbutton.moc"
