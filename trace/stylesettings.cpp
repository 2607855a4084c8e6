// SPDX-License-Identifier: MIT
#include "trace/stylesettings.h"

#include <QSettings>

namespace {

const char* const colorKeys[StyleColorCount] = {
    "BackgroundColor", "TextColor",     "ErrorColor",   "RawRxColor1",     "RawTxColor1",
    "HexRxColor1",     "HexTxColor1",   "MessageRxColor1", "MessageTxColor1", "RawRxColor2",
    "RawTxColor2",     "HexRxColor2",   "HexTxColor2",  "MessageRxColor2", "MessageTxColor2",
};

// Dark enough to read on white: received in cool tones, sent in warm ones;
// channel 1 blue and red, channel 2 green and brown.
const QRgb defaultColors[StyleColorCount] = {
    0xffffff, 0x000000, 0xc00000,
    0x5a6e96, 0x96645a, 0x3c5a8c, 0x8c4b3c, 0x0000b4, 0xa0146e,
    0x5a825a, 0x8c7346, 0x2d6e2d, 0x7d5a1e, 0x007800, 0x9b5000,
};

const QString textFontKey = QStringLiteral("TextFont");
const QString codeFontKey = QStringLiteral("CodeFont");
const QString rulesKey = QStringLiteral("ColorRules");
const QString ruleExpressionKey = QStringLiteral("Expression");
const QString ruleColorKey = QStringLiteral("Color");
const QString ruleEnabledKey = QStringLiteral("Enabled");

QColor readColor(const QVariant& value, const QColor& fallback)
{
    if (value.typeId() == QMetaType::QColor) {
        const QColor c = value.value<QColor>();
        return c.isValid() ? c : fallback;
    }
    const QColor c = QColor::fromString(value.toString());
    return c.isValid() ? c : fallback;
}

QFont readFont(const QVariant& value, const QFont& fallback)
{
    if (value.typeId() == QMetaType::QFont)
        return value.value<QFont>();
    QFont f;
    const QString text = value.toString();
    // A font description lists family, size and style, separated by commas.
    if (!text.contains(QLatin1Char(',')) || !f.fromString(text))
        return fallback;
    return f;
}

} // namespace

StyleSettings::StyleSettings()
{
    for (int i = 0; i < StyleColorCount; ++i)
        m_colors[i] = QColor(defaultColors[i]);
    m_codeFont = QFont(QStringLiteral("Monospace"));
    m_codeFont.setStyleHint(QFont::TypeWriter);
    // Code beside text in the same size; a bare family would be 12 points.
    if (m_textFont.pointSizeF() > 0)
        m_codeFont.setPointSizeF(m_textFont.pointSizeF());
}

QColor StyleSettings::color(StyleColor which) const
{
    return isValid(which) ? m_colors[which] : QColor();
}

void StyleSettings::setColor(StyleColor which, const QColor& color)
{
    if (isValid(which))
        m_colors[which] = color;
}

QString StyleSettings::key(StyleColor which)
{
    return isValid(which) ? QString::fromLatin1(colorKeys[which]) : QString();
}

void StyleSettings::restoreFromSettings(QSettings& settings, const QString& group)
{
    settings.beginGroup(group);
    for (int i = 0; i < StyleColorCount; ++i)
        m_colors[i] = readColor(settings.value(QLatin1String(colorKeys[i])), m_colors[i]);
    m_textFont = readFont(settings.value(textFontKey), m_textFont);
    m_codeFont = readFont(settings.value(codeFontKey), m_codeFont);
    // Only a saved array replaces the rules: older settings have none.
    if (settings.childGroups().contains(rulesKey)) {
        m_colorRules.clear();
        const int count = settings.beginReadArray(rulesKey);
        for (int i = 0; i < count; ++i) {
            settings.setArrayIndex(i);
            ColorRule rule;
            rule.expression = settings.value(ruleExpressionKey).toString();
            rule.color = readColor(settings.value(ruleColorKey), QColor(Qt::red));
            rule.enabled = settings.value(ruleEnabledKey, true).toBool();
            m_colorRules.append(rule);
        }
        settings.endArray();
    }
    settings.endGroup();
}

void StyleSettings::saveToSettings(QSettings& settings, const QString& group) const
{
    settings.beginGroup(group);
    for (int i = 0; i < StyleColorCount; ++i)
        settings.setValue(QLatin1String(colorKeys[i]), m_colors[i].name(QColor::HexArgb));
    settings.setValue(textFontKey, m_textFont.toString());
    settings.setValue(codeFontKey, m_codeFont.toString());
    settings.remove(rulesKey);
    settings.beginWriteArray(rulesKey, m_colorRules.size());
    for (int i = 0; i < m_colorRules.size(); ++i) {
        settings.setArrayIndex(i);
        settings.setValue(ruleExpressionKey, m_colorRules[i].expression);
        settings.setValue(ruleColorKey, m_colorRules[i].color.name(QColor::HexArgb));
        settings.setValue(ruleEnabledKey, m_colorRules[i].enabled);
    }
    settings.endArray();
    settings.endGroup();
}

QPalette StyleSettings::palette() const
{
    QPalette p;
    const QColor background = m_colors[ColorBackground];
    const QColor text = m_colors[ColorText];
    p.setColor(QPalette::Base, background);
    p.setColor(QPalette::AlternateBase, background);
    p.setColor(QPalette::Window, background);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::WindowText, text);
    return p;
}

bool StyleSettings::operator==(const StyleSettings& o) const
{
    for (int i = 0; i < StyleColorCount; ++i) {
        if (m_colors[i] != o.m_colors[i])
            return false;
    }
    return m_textFont == o.m_textFont && m_codeFont == o.m_codeFont && m_colorRules == o.m_colorRules;
}
