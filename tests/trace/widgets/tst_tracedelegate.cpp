// SPDX-License-Identifier: MIT
#include "trace/tracemodel.h"
#include "trace/widgets/tracedelegate.h"

#include "connection/ansitext.h"

#include <QImage>
#include <QPainter>
#include <QtTest>

namespace {

const QDateTime base(QDate(2011, 3, 4), QTime(10, 20, 30, 45));

// Pixels of exactly this colour in the image.
int pixelsOf(const QImage& image, const QColor& color)
{
    int n = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            n += image.pixelColor(x, y) == color;
    return n;
}

// Large bold glyphs by default, so that coloured runs cover many pixels.
QImage paintLine(const QModelIndex& index, bool selected, QSize size = QSize(300, 30), bool large = true)
{
    TraceDelegate delegate;
    QStyleOptionViewItem option;
    option.rect = QRect(QPoint(0, 0), size);
    if (large) {
        option.font.setPixelSize(22);
        option.font.setBold(true);
    }
    option.state |= QStyle::State_Enabled;
    option.palette.setColor(QPalette::Text, Qt::black);
    option.palette.setColor(QPalette::Base, Qt::white);
    option.palette.setColor(QPalette::Highlight, Qt::blue);
    option.palette.setColor(QPalette::HighlightedText, Qt::yellow);
    if (selected)
        option.state |= QStyle::State_Selected;
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    delegate.paint(&painter, option, index);
    return image;
}

} // namespace

class TestTraceDelegate : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void runsArePaintedInTheirColours_data();
    void runsArePaintedInTheirColours();
    void paletteReadsOnItsBackground();
    void separatorPainting_data();
    void separatorPainting();
};

void TestTraceDelegate::runsArePaintedInTheirColours_data()
{
    QTest::addColumn<int>("role");
    QTest::addColumn<int>("colorIndex");
    QTest::addColumn<bool>("selected");
    QTest::newRow("good verdicts green") << int(AnsiText::Good) << 2 << false;
    QTest::newRow("bad verdicts bright red") << int(AnsiText::Bad) << 9 << false;
    QTest::newRow("markers cyan") << int(AnsiText::Marker) << 6 << false;
    QTest::newRow("addresses magenta") << int(AnsiText::Address) << 5 << false;
    QTest::newRow("lengths yellow") << int(AnsiText::Length) << 3 << false;
    QTest::newRow("a selected line in the highlight colour only")
        << int(AnsiText::Good) << 2 << true;
}

void TestTraceDelegate::runsArePaintedInTheirColours()
{
    QFETCH(int, role);
    QFETCH(int, colorIndex);
    QFETCH(bool, selected);
    TraceModel model;
    const QString colored = QStringLiteral("MM ") + AnsiText::colored(AnsiText::Role(role), u"MMMM");
    const QModelIndex line = model.append(QStringLiteral("1 Trace"), colored, ColorText, base)
                                 .siblingAtColumn(TraceModel::TextColumn);
    const QImage image = paintLine(line, selected);
    const QColor ink = TraceDelegate::ansiColor(colorIndex, Qt::white);
    if (selected) {
        QCOMPARE(pixelsOf(image, ink), 0);
        QVERIFY(pixelsOf(image, Qt::yellow) > 20);
        return;
    }
    QVERIFY2(pixelsOf(image, ink) > 20, qPrintable(ink.name()));
    // The uncoloured part keeps the line's own colour.
    QVERIFY(pixelsOf(image, Qt::black) > 10);
    // No escape bytes drawn as text: the coloured glyphs are all there is.
    QVERIFY(pixelsOf(image, Qt::white) > 300 * 30 / 2);
}

void TestTraceDelegate::paletteReadsOnItsBackground()
{
    for (const QColor background : {QColor(Qt::white), QColor(Qt::black), QColor(0xFFFFE0), QColor(0x202020)}) {
        for (int i = 1; i < 16; ++i) {
            if (i == 7 || i == 8 || i == 0 || i == 15)
                continue; // greys: contrast is their point only against one side
            const QColor ink = TraceDelegate::ansiColor(i, background);
            QVERIFY2(qAbs(ink.lightness() - background.lightness()) > 60,
                     qPrintable(QStringLiteral("%1 on %2").arg(i).arg(background.name())));
        }
    }
    QVERIFY(!TraceDelegate::ansiColor(16, Qt::white).isValid());
    QVERIFY(!TraceDelegate::ansiColor(-1, Qt::white).isValid());
}

void TestTraceDelegate::separatorPainting_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<bool>("selected");
    QTest::addColumn<int>("left");  // first x with dots
    QTest::addColumn<int>("right"); // last x with dots

    QTest::newRow("first column is indented at the left") << 0 << false << 4 << 99;
    QTest::newRow("middle column runs through") << 1 << false << 0 << 99;
    QTest::newRow("last column is indented at the right") << 3 << false << 0 << 95;
    QTest::newRow("selected cell in the highlight colours") << 1 << true << 0 << 99;
}

void TestTraceDelegate::separatorPainting()
{
    QFETCH(int, column);
    QFETCH(bool, selected);
    QFETCH(int, left);
    QFETCH(int, right);

    TraceModel model;
    const QModelIndex separator = model.appendSeparator().siblingAtColumn(column);
    QImage image = paintLine(separator, selected, QSize(100, 20), false);
    const QColor background = selected ? QColor(Qt::blue) : QColor(Qt::white);
    const QColor ink = selected ? QColor(Qt::yellow) : QColor(Qt::black);
    const int middle = QRect(0, 0, 100, 20).center().y();
    int first = -1;
    int last = -1;
    for (int x = 0; x < 100; ++x) {
        for (int y = 0; y < 20; ++y) {
            const QColor pixel = image.pixelColor(x, y);
            if (y == middle) {
                if (pixel == ink) {
                    if (first < 0)
                        first = x;
                    last = x;
                }
            } else {
                QCOMPARE(pixel, background);
            }
        }
    }
    QVERIFY(first >= left && first <= left + 3);
    QVERIFY(last <= right && last >= right - 3);

    // A line with text is left to the default painting: no rule.
    const QModelIndex line = model.append(QStringLiteral("1"), QStringLiteral("x"), ColorText, base)
                                 .siblingAtColumn(column);
    image = paintLine(line, false, QSize(100, 20), false);
    for (int x = 50; x < 100; ++x)
        QVERIFY(image.pixelColor(x, middle) != ink);
}

QTEST_MAIN(TestTraceDelegate)
#include "tst_tracedelegate.moc"
