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
    void roundTrip_data();
    void roundTrip();
    void missingAndBadValuesKeepTheCurrentOnes();
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

using Rules = QVector<StyleSettings::ColorRule>;
Q_DECLARE_METATYPE(StyleSettings)

void TestStyleSettings::roundTrip_data()
{
    QTest::addColumn<StyleSettings>("style");
    StyleSettings custom;
    for (int i = 0; i < StyleColorCount; ++i)
        custom.setColor(StyleColor(i), QColor(10 * i, 255 - 10 * i, 3 * i));
    QFont text(QStringLiteral("Serif"), 13);
    text.setBold(true);
    custom.setTextFont(text);
    QFont code(QStringLiteral("Courier"), 9);
    code.setItalic(true);
    custom.setCodeFont(code);
    QTest::newRow("every colour and both fonts") << custom;
    QTest::newRow("no rules") << StyleSettings();
    StyleSettings one;
    one.setColorRules({{QStringLiteral("ResultCode!=Ok"), QColor(Qt::red), true}});
    QTest::newRow("one rule") << one;
    StyleSettings three;
    three.setColorRules({{QStringLiteral("Temperature>700"), QColor(1, 2, 3), false},
                         {QStringLiteral("(PumpMode="), QColor(0, 128, 0, 100), true},
                         {QStringLiteral("not 0x10"), QColor(Qt::blue), true}});
    QTest::newRow("rule order, disabled and broken rules kept") << three;
}

void TestStyleSettings::roundTrip()
{
    QFETCH(StyleSettings, style);
    const QString group = QStringLiteral("MainWindow/Style");
    {
        // Start from more rules than saved: saving must drop the extra ones.
        QSettings settings;
        StyleSettings longer;
        longer.setColorRules(Rules(4, {QStringLiteral("Old"), QColor(Qt::gray), true}));
        longer.saveToSettings(settings, group);
        style.saveToSettings(settings, group);
    }
    QSettings settings;
    for (const char* key : {"MessageTxColor2", "TextFont", "CodeFont"})
        QVERIFY2(settings.contains(group + QLatin1Char('/') + QLatin1String(key)), key);

    StyleSettings restored;
    restored.setColorRules(Rules{{QStringLiteral("Stale"), QColor(Qt::gray), true}});
    restored.restoreFromSettings(settings, group);
    QVERIFY(restored == style);
    QCOMPARE(restored.colorRules(), style.colorRules());
    QCOMPARE(restored.palette().color(QPalette::Base), style.color(ColorBackground));
    QCOMPARE(restored.palette().color(QPalette::Text), style.color(ColorText));
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

QTEST_MAIN(TestStyleSettings)
#include "tst_stylesettings.moc"
