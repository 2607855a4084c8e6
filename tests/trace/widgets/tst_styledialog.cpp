// SPDX-License-Identifier: MIT
// The style dialog under the offscreen platform: every labelled button
// edits its own colour, fonts come from QFontDialog, and the edited style
// leaves through apply() on Apply and OK only.

#include "trace/widgets/colorruleeditor.h"
#include "trace/widgets/styledialog.h"
#include "widgets/colorbutton.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontDialog>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTimer>
#include <QtTest>

Q_DECLARE_METATYPE(StyleSettings)

namespace {

// The field that a label names inside the group box of that title.
QWidget* field(const QWidget& dialog, const QString& group, const QString& label)
{
    for (QGroupBox* box : dialog.findChildren<QGroupBox*>()) {
        if (box->title() != group)
            continue;
        for (QLabel* candidate : box->findChildren<QLabel*>()) {
            if (candidate->text() == label)
                return candidate->buddy();
        }
    }
    return nullptr;
}

QPushButton* button(const QWidget& dialog, const QString& text)
{
    for (QPushButton* candidate : dialog.findChildren<QPushButton*>()) {
        if (candidate->text().remove(QLatin1Char('&')) == text)
            return candidate;
    }
    return nullptr;
}

StyleSettings customStyle()
{
    StyleSettings style;
    for (int i = 0; i < StyleColorCount; ++i)
        style.setColor(StyleColor(i), QColor(17 * i, 255 - 13 * i, (40 + 31 * i) % 256));
    QFont text(QStringLiteral("Serif"), 13);
    text.setBold(true);
    style.setTextFont(text);
    QFont code(QStringLiteral("Courier"), 9);
    code.setItalic(true);
    style.setCodeFont(code);
    return style;
}

QString differences(const StyleSettings& actual, const StyleSettings& expected)
{
    QStringList lines;
    for (int i = 0; i < StyleColorCount; ++i) {
        const StyleColor which = StyleColor(i);
        if (actual.color(which) != expected.color(which)) {
            lines << QStringLiteral("%1: %2 instead of %3")
                         .arg(StyleSettings::key(which), actual.color(which).name(),
                              expected.color(which).name());
        }
    }
    if (actual.textFont() != expected.textFont())
        lines << QLatin1String("text font: ") + actual.textFont().toString();
    if (actual.codeFont() != expected.codeFont())
        lines << QLatin1String("code font: ") + actual.codeFont().toString();
    return lines.join(QLatin1String("; "));
}

} // namespace

class TestStyleDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data();
    void roundTrip();
    void labelledButtonsEditTheirColour_data();
    void labelledButtonsEditTheirColour();
    void applyCarriesTheEditedStyle_data();
    void applyCarriesTheEditedStyle();
    void fontButtons_data();
    void fontButtons();
    void colorRules_data();
    void colorRules();
};

void TestStyleDialog::roundTrip_data()
{
    QTest::addColumn<StyleSettings>("style");

    QTest::newRow("the defaults") << StyleSettings();
    QTest::newRow("every colour and both fonts changed") << customStyle();
    StyleSettings pixels;
    QFont small;
    small.setFamily(QStringLiteral("Sans"));
    small.setPixelSize(11);
    pixels.setCodeFont(small);
    pixels.setColor(ColorBackground, QColor(20, 20, 20));
    QTest::newRow("a font sized in pixels on a dark background") << pixels;
    StyleSettings rules;
    rules.setColorRules({{QStringLiteral("ResultCode!=0"), QColor(Qt::red), true},
                         {QStringLiteral("(broken"), QColor(1, 2, 3), false}});
    QTest::newRow("colour rules, one broken and off") << rules;
}

void TestStyleDialog::roundTrip()
{
    QFETCH(StyleSettings, style);
    StyleDialog dialog;
    QSignalSpy spy(&dialog, &StyleDialog::apply);
    dialog.setStyle(style);
    QVERIFY2(dialog.style() == style, qPrintable(differences(dialog.style(), style)));
    QCOMPARE(spy.count(), 0);
}

void TestStyleDialog::labelledButtonsEditTheirColour_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("label");
    QTest::addColumn<int>("color");

    QTest::newRow("Background") << "Trace"
                                << "Background" << int(ColorBackground);
    QTest::newRow("Text") << "Trace"
                          << "Text" << int(ColorText);
    QTest::newRow("Error") << "Trace"
                           << "Error" << int(ColorError);
    const char* const labels[] = {"Raw received", "Raw sent",         "Hex received",
                                  "Hex sent",     "Message received", "Message sent"};
    for (int channel = 1; channel <= 2; ++channel) {
        const QString group = QStringLiteral("Channel %1").arg(channel);
        for (int i = 0; i < 6; ++i) {
            const QString label = QString::fromLatin1(labels[i]);
            QTest::addRow("%s, %s", qPrintable(group), labels[i])
                << group << label << int(channelColor(StyleColor(ColorRawRx1 + i), channel));
        }
    }
}

void TestStyleDialog::labelledButtonsEditTheirColour()
{
    QFETCH(QString, group);
    QFETCH(QString, label);
    QFETCH(int, color);

    const StyleSettings start = customStyle();
    StyleDialog dialog;
    dialog.setStyle(start);
    auto* colorButton = qobject_cast<ColorButton*>(field(dialog, group, label));
    QVERIFY(colorButton);
    QCOMPARE(colorButton->color(), start.color(StyleColor(color)));

    // Picking from the popup is the button's own test.
    const QColor picked = ColorButton::standardColors().at(5);
    colorButton->setColor(picked);

    StyleSettings expected = start;
    expected.setColor(StyleColor(color), picked);
    QVERIFY2(dialog.style() == expected, qPrintable(differences(dialog.style(), expected)));
}

void TestStyleDialog::applyCarriesTheEditedStyle_data()
{
    QTest::addColumn<QString>("finish");
    QTest::addColumn<bool>("applied");
    QTest::addColumn<bool>("staysOpen");
    QTest::addColumn<bool>("defaults"); // the dialog shows the defaults after

    QTest::newRow("Apply") << "Apply" << true << true << false;
    QTest::newRow("OK") << "OK" << true << false << false;
    QTest::newRow("Cancel") << "Cancel" << false << false << false;
    QTest::newRow("Defaults restores the defaults") << "Defaults" << false << true << true;
}

void TestStyleDialog::applyCarriesTheEditedStyle()
{
    QFETCH(QString, finish);
    QFETCH(bool, applied);
    QFETCH(bool, staysOpen);
    QFETCH(bool, defaults);

    StyleDialog dialog;
    dialog.setStyle(customStyle());
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    auto* error =
        qobject_cast<ColorButton*>(field(dialog, QStringLiteral("Trace"), QStringLiteral("Error")));
    QVERIFY(error);
    error->setColor(QColor(0x40, 0x00, 0x80));
    StyleSettings edited = customStyle();
    edited.setColor(ColorError, QColor(0x40, 0x00, 0x80));

    QSignalSpy spy(&dialog, &StyleDialog::apply);
    QPushButton* target = button(dialog, finish);
    QVERIFY(target);
    QTest::mouseClick(target, Qt::LeftButton);
    QCOMPARE(spy.count(), applied ? 1 : 0);
    if (applied) {
        const auto sent = spy.at(0).at(0).value<StyleSettings>();
        QVERIFY2(sent == edited, qPrintable(differences(sent, edited)));
    }
    QCOMPARE(dialog.isVisible(), staysOpen);
    const StyleSettings shown = defaults ? StyleSettings() : edited;
    QVERIFY2(dialog.style() == shown, qPrintable(differences(dialog.style(), shown)));
    QCOMPARE(error->color(), shown.color(ColorError));
}

void TestStyleDialog::fontButtons_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<bool>("accept");

    QTest::newRow("text font chosen") << "Text font" << true;
    QTest::newRow("code font chosen") << "Code font" << true;
    QTest::newRow("text font dialog cancelled") << "Text font" << false;
    QTest::newRow("code font dialog cancelled") << "Code font" << false;
}

void TestStyleDialog::fontButtons()
{
    QFETCH(QString, label);
    QFETCH(bool, accept);

    StyleDialog dialog;
    const StyleSettings start = customStyle();
    dialog.setStyle(start);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    auto* fontButton = qobject_cast<QPushButton*>(field(dialog, QStringLiteral("Fonts"), label));
    QVERIFY(fontButton);
    const bool text = label == QLatin1String("Text font");
    const QFont before = text ? start.textFont() : start.codeFont();
    QVERIFY2(fontButton->text().contains(before.family()), qPrintable(fontButton->text()));
    QVERIFY2(fontButton->text().contains(QString::number(before.pointSize())),
             qPrintable(fontButton->text()));

    QFont chosen(QStringLiteral("Sans"), 17);
    bool seen = false;
    QFont offered;
    QTimer answer;
    connect(&answer, &QTimer::timeout, this, [&] {
        auto* fontDialog = qobject_cast<QFontDialog*>(QApplication::activeModalWidget());
        if (!fontDialog)
            return;
        seen = true;
        offered = fontDialog->currentFont();
        fontDialog->setCurrentFont(chosen);
        chosen = fontDialog->currentFont(); // as the dialog resolves it
        if (accept)
            fontDialog->accept();
        else
            fontDialog->reject();
    });
    answer.start(10);
    QTest::mouseClick(fontButton, Qt::LeftButton);
    QTRY_VERIFY(seen);
    answer.stop();
    // The dialog starts from the current font (or, for a family that is not
    // installed, from its stand-in).
    QCOMPARE(offered.pointSize(), before.pointSize());
    if (QFontDatabase::hasFamily(before.family()))
        QCOMPARE(offered.family(), before.family());

    StyleSettings expected = start;
    if (accept) {
        if (text)
            expected.setTextFont(chosen);
        else
            expected.setCodeFont(chosen);
    }
    QVERIFY2(dialog.style() == expected, qPrintable(differences(dialog.style(), expected)));
    if (accept)
        QVERIFY2(fontButton->text().contains(QStringLiteral("17")), qPrintable(fontButton->text()));
}

using Rules = QVector<StyleSettings::ColorRule>;

// Steps on the rule list, written as "add", "remove", "up", "down",
// "text:EXPR", "off", "color:#rrggbb"; each applies to the current row.
void TestStyleDialog::colorRules_data()
{
    const QColor a(Qt::red), b(Qt::blue), added(Qt::red);
    const Rules two{{QStringLiteral("0x1006"), a, true}, {QStringLiteral("0x1001=2"), b, true}};
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<Rules>("expected");
    QTest::addColumn<QString>("error");

    QTest::newRow("nothing") << QStringList() << two << QString();
    QTest::newRow("add and type") << QStringList{"add", "text:0x2001"}
                                  << Rules{two[0], two[1], {QStringLiteral("0x2001"), added, true}} << QString();
    QTest::newRow("first down") << QStringList{"down"} << Rules{two[1], two[0]} << QString();
    QTest::newRow("up at the top does nothing") << QStringList{"up"} << two << QString();
    QTest::newRow("remove first") << QStringList{"remove"} << Rules{two[1]} << QString();
    QTest::newRow("switch off and recolour")
        << QStringList{"off", "color:#00ff00"}
        << Rules{{QStringLiteral("0x1006"), QColor(0, 255, 0), false}, two[1]} << QString();
    QTest::newRow("broken expression kept, error with position")
        << QStringList{"text:(0x1006"} << Rules{{QStringLiteral("(0x1006"), a, true}, two[1]}
        << QStringLiteral("Rule 1, at ");
}

void TestStyleDialog::colorRules()
{
    QFETCH(QStringList, steps);
    QFETCH(Rules, expected);
    QFETCH(QString, error);

    StyleDialog dialog;
    StyleSettings style;
    style.setColorRules({{QStringLiteral("0x1006"), QColor(Qt::red), true},
                         {QStringLiteral("0x1001=2"), QColor(Qt::blue), true}});
    dialog.setStyle(style);
    ColorRuleEditor* editor = dialog.colorRuleEditor();
    QTableWidget* table = editor->table();
    for (const QString& step : steps) {
        const int row = table->currentRow();
        if (step.startsWith(QLatin1String("text:"))) {
            table->item(row, ColorRuleEditor::ExpressionColumn)->setText(step.mid(5));
        } else if (step == QLatin1String("off")) {
            table->item(row, ColorRuleEditor::EnabledColumn)->setCheckState(Qt::Unchecked);
        } else if (step.startsWith(QLatin1String("color:"))) {
            auto* color = qobject_cast<ColorButton*>(table->cellWidget(row, ColorRuleEditor::ColorColumn));
            QVERIFY(color);
            color->setColor(QColor(step.mid(6)));
        } else {
            QPushButton* pb = button(*editor, step.at(0).toUpper() + step.mid(1));
            QVERIFY2(pb, qPrintable(step));
            if (pb->isEnabled())
                pb->click();
        }
    }
    QCOMPARE(dialog.style().colorRules(), expected);
    QCOMPARE(table->rowCount(), expected.size());
    if (error.isEmpty())
        QCOMPARE(editor->errorText(), QString());
    else
        QVERIFY2(editor->errorText().startsWith(error), qPrintable(editor->errorText()));

    QSignalSpy spy(&dialog, &StyleDialog::apply);
    dialog.onApply();
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<StyleSettings>().colorRules(), expected);
}

QTEST_MAIN(TestStyleDialog)
#include "tst_styledialog.moc"
