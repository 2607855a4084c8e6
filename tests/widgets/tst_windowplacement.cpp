// SPDX-License-Identifier: MIT
#include "widgets/windowplacement.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <QtTest>


namespace {

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

class TestWindowPlacement : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void restoreGeometry_data();
    void restoreGeometry();
    void raiseShowsMinimised();
    void firstSizeFitsTheScreen_data();
    void firstSizeFitsTheScreen();
};

void TestWindowPlacement::restoreGeometry_data()
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
        << record(QPoint(100, 100), QSize(400, 300), false) << true << QPoint(100, 100)
        << QSize(400, 300) << false << QStringList{};
    QTest::newRow("the frame allowance at the right edge fits")
        << record(QPoint(0, 0), QSize(a.width() - 16, 300), false) << true << QPoint(0, 0)
        << QSize(a.width() - 16, 300) << false << QStringList{};
    QTest::newRow("the screen without the frame allowance at the bottom")
        << record(QPoint(0, 10), QSize(400, a.height()), false) << true << centred(QSize(400, a.height()))
        << QSize(400, a.height()) << false
        << QStringList{"Restore 400x" + QString::number(a.height()) + "+0+10: Does not fit " + areaText +
                       ", trying centered"};
    QTest::newRow("off every screen is centred on the screen")
        << record(QPoint(5000, 5000), QSize(400, 300), false) << true << centred(QSize(400, 300))
        << QSize(400, 300) << false
        << QStringList{"Restore 400x300+5000+5000: Not on any screen",
                       "Restore 400x300+5000+5000: Does not fit " + areaText + ", trying centered"};
    QTest::newRow("partly off the screen is centred")
        << record(QPoint(600, 400), QSize(400, 300), false) << true << centred(QSize(400, 300))
        << QSize(400, 300) << false
        << QStringList{"Restore 400x300+600+400: Does not fit " + areaText + ", trying centered"};
    QTest::newRow("too narrow is refused")
        << record(QPoint(100, 100), QSize(48, 300), false) << false << defaults.pos() << defaults.size()
        << false << QStringList{"Restore 48x300+100+100: Too small"};
    QTest::newRow("too low is refused")
        << record(QPoint(100, 100), QSize(300, 20), false) << false << defaults.pos() << defaults.size()
        << false << QStringList{"Restore 300x20+100+100: Too small"};
    QTest::newRow("larger than the screen is refused")
        << record(QPoint(0, 0), QSize(3000, 2000), false) << false << defaults.pos() << defaults.size()
        << false
        << QStringList{"Restore 3000x2000+0+0: Does not fit " + areaText + ", trying centered",
                       "Restore 3000x2000+0+0: Does not fit " + areaText};
    QTest::newRow("larger than the screen but maximised is maximised anyway")
        << record(QPoint(0, 0), QSize(3000, 2000), true) << true << QPoint() << QSize() << true
        << QStringList{"Restore 3000x2000+0+0: Does not fit " + areaText + ", trying centered",
                       "Restore 3000x2000+0+0: Does not fit " + areaText + ", maximizing anyway"};
    QTest::newRow("an empty record restores nothing")
        << QByteArray() << false << defaults.pos() << defaults.size() << false << QStringList{};
    QTest::newRow("a truncated record restores nothing")
        << record(QPoint(100, 100), QSize(400, 300), false).left(10) << false << defaults.pos()
        << defaults.size() << false << QStringList{};
}

void TestWindowPlacement::restoreGeometry()
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

void TestWindowPlacement::raiseShowsMinimised()
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

void TestWindowPlacement::firstSizeFitsTheScreen_data()
{
    QTest::addColumn<QSize>("wanted");
    QTest::addColumn<QSize>("minimum");
    QTest::addColumn<QSize>("expected");
    const QSize screen = QGuiApplication::primaryScreen()->availableGeometry().size();
    QTest::newRow("fits") << QSize(300, 200) << QSize() << QSize(300, 200);
    QTest::newRow("wider than the screen") << QSize(screen.width() + 500, 200) << QSize()
                                           << QSize(screen.width(), 200);
    QTest::newRow("taller than the screen") << QSize(300, screen.height() * 3) << QSize()
                                            << QSize(300, screen.height());
    QTest::newRow("both, as at twice the scale") << screen * 2 << QSize() << screen;
    // The minimum wins over the screen: the window scrolls off rather than breaks.
    QTest::newRow("minimum larger than the screen")
        << screen * 2 << QSize(screen.width() + 40, 100) << QSize(screen.width() + 40, screen.height());
}

void TestWindowPlacement::firstSizeFitsTheScreen()
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

QTEST_MAIN(TestWindowPlacement)
#include "tst_windowplacement.moc"
