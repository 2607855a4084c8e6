// SPDX-License-Identifier: MIT
#include "trace/stylesettings.h"

#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

class TestStyleSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void keys_data();
    void keys();
    void defaultsAreReadableOnTheBackground();
    void roundTrip();
    void missingAndBadValuesKeepTheCurrentOnes();
    void palette();
    void colorRulesRoundTrip_data();
    void colorRulesRoundTrip();
    void channelColours();
};

void TestStyleSettings::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test-style"));
}

void TestStyleSettings::init()
{
    QSettings settings;
    settings.clear();
}

void TestStyleSettings::keys_data()
{
    QTest::addColumn<int>("color");
    QTest::addColumn<QString>("key");

    const char* const keys[] = {"BackgroundColor", "TextColor",       "ErrorColor",
                                "RawRxColor1",     "RawTxColor1",     "HexRxColor1",
                                "HexTxColor1",     "MessageRxColor1", "MessageTxColor1",
                                "RawRxColor2",     "RawTxColor2",     "HexRxColor2",
                                "HexTxColor2",     "MessageRxColor2", "MessageTxColor2"};
    for (int i = 0; i < StyleColorCount; ++i)
        QTest::newRow(keys[i]) << i << QString::fromLatin1(keys[i]);
    QTest::newRow("no key for no colour") << int(ColorNone) << QString();
    QTest::newRow("no key past the table") << int(StyleColorCount) << QString();
}

void TestStyleSettings::keys()
{
    QFETCH(int, color);
    QFETCH(QString, key);
    QCOMPARE(StyleSettings::key(StyleColor(color)), key);
}

void TestStyleSettings::defaultsAreReadableOnTheBackground()
{
    const StyleSettings style;
    QCOMPARE(style.codeFont().family(), QStringLiteral("Monospace"));
    const QColor background = style.color(ColorBackground);
    QVERIFY(background.lightness() > 200);
    for (int i = ColorText; i < StyleColorCount; ++i) {
        const QColor c = style.color(StyleColor(i));
        QVERIFY2(background.lightness() - c.lightness() > 80, qPrintable(StyleSettings::key(StyleColor(i))));
    }
    QVERIFY(!style.color(ColorNone).isValid());
}

void TestStyleSettings::roundTrip()
{
    StyleSettings style;
    for (int i = 0; i < StyleColorCount; ++i)
        style.setColor(StyleColor(i), QColor(10 * i, 255 - 10 * i, 3 * i));
    QFont text(QStringLiteral("Serif"), 13);
    text.setBold(true);
    style.setTextFont(text);
    QFont code(QStringLiteral("Courier"), 9);
    code.setItalic(true);
    style.setCodeFont(code);
    QVERIFY(style != StyleSettings());

    {
        QSettings settings;
        style.saveToSettings(settings, QStringLiteral("MainWindow/Style"));
    }
    QSettings settings;
    QVERIFY(settings.contains(QStringLiteral("MainWindow/Style/MessageTxColor2")));
    QVERIFY(settings.contains(QStringLiteral("MainWindow/Style/TextFont")));
    QVERIFY(settings.contains(QStringLiteral("MainWindow/Style/CodeFont")));

    StyleSettings restored;
    restored.restoreFromSettings(settings, QStringLiteral("MainWindow/Style"));
    QCOMPARE(restored.color(ColorRawTx2), style.color(ColorRawTx2));
    QCOMPARE(restored.textFont(), text);
    QCOMPARE(restored.codeFont(), code);
    QVERIFY(restored == style);
    QCOMPARE(settings.group(), QString());
}

using Rules = QVector<StyleSettings::ColorRule>;
Q_DECLARE_METATYPE(Rules)

void TestStyleSettings::colorRulesRoundTrip_data()
{
    QTest::addColumn<Rules>("rules");
    QTest::newRow("none") << Rules();
    QTest::newRow("one") << Rules{{QStringLiteral("ResultCode!=Ok"), QColor(Qt::red), true}};
    QTest::newRow("order, disabled and broken kept")
        << Rules{{QStringLiteral("Temperature>700"), QColor(1, 2, 3), false},
                 {QStringLiteral("(PumpMode="), QColor(0, 128, 0, 100), true},
                 {QStringLiteral("not 0x10"), QColor(Qt::blue), true}};
}

void TestStyleSettings::colorRulesRoundTrip()
{
    QFETCH(Rules, rules);
    const QString group = QStringLiteral("MainWindow/Style");
    {
        // Start from more rules than saved: saving must drop the extra ones.
        QSettings settings;
        StyleSettings longer;
        longer.setColorRules(Rules(4, {QStringLiteral("Old"), QColor(Qt::gray), true}));
        longer.saveToSettings(settings, group);
        StyleSettings style;
        style.setColorRules(rules);
        style.saveToSettings(settings, group);
    }
    QSettings settings;
    StyleSettings restored;
    restored.setColorRules(Rules{{QStringLiteral("Stale"), QColor(Qt::gray), true}});
    restored.restoreFromSettings(settings, group);
    QCOMPARE(restored.colorRules(), rules);
    QCOMPARE(settings.group(), QString());
}

void TestStyleSettings::missingAndBadValuesKeepTheCurrentOnes()
{
    QSettings settings;
    settings.setValue(QStringLiteral("Style/TextColor"), QStringLiteral("no colour at all"));
    settings.setValue(QStringLiteral("Style/ErrorColor"), QStringLiteral("#00ff00"));
    settings.setValue(QStringLiteral("Style/CodeFont"), 42);
    StyleSettings style;
    style.restoreFromSettings(settings, QStringLiteral("Style"));
    const StyleSettings defaults;
    QCOMPARE(style.color(ColorText), defaults.color(ColorText));
    QCOMPARE(style.color(ColorError), QColor(0, 255, 0));
    QCOMPARE(style.color(ColorRawRx1), defaults.color(ColorRawRx1));
    QCOMPARE(style.codeFont(), defaults.codeFont());

    StyleSettings empty;
    empty.restoreFromSettings(settings, QStringLiteral("Nothing/Here"));
    QVERIFY(empty == defaults);
}

void TestStyleSettings::palette()
{
    StyleSettings style;
    style.setColor(ColorBackground, QColor(250, 250, 240));
    style.setColor(ColorText, QColor(20, 20, 60));
    const QPalette p = style.palette();
    QCOMPARE(p.color(QPalette::Base), QColor(250, 250, 240));
    QCOMPARE(p.color(QPalette::Text), QColor(20, 20, 60));
}

void TestStyleSettings::channelColours()
{
    QCOMPARE(channelColor(ColorRawRx1, 1), ColorRawRx1);
    QCOMPARE(channelColor(ColorRawRx1, 2), ColorRawRx2);
    QCOMPARE(channelColor(ColorMessageTx1, 2), ColorMessageTx2);
    QCOMPARE(int(ColorMessageTx2), 14);
}

QTEST_MAIN(TestStyleSettings)
#include "tst_stylesettings.moc"
