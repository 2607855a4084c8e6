// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylecolor.h"

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QString>
#include <QVector>

class QSettings;

// The colours and fonts of the trace, a value saved to and restored from
// one settings group.
class StyleSettings
{
public:
    // Colours the lines whose message matches `expression`; a rule that does
    // not parse is kept, so the user can mend it, but colours nothing.
    struct ColorRule
    {
        QString expression;
        QColor color;
        bool enabled = true;
        bool operator==(const ColorRule& o) const
        {
            return expression == o.expression && color == o.color && enabled == o.enabled;
        }
    };

    StyleSettings();

    QColor color(StyleColor which) const;
    void setColor(StyleColor which, const QColor& color);
    QFont textFont() const { return m_textFont; }
    void setTextFont(const QFont& font) { m_textFont = font; }
    QFont codeFont() const { return m_codeFont; }
    void setCodeFont(const QFont& font) { m_codeFont = font; }
    // In order: the first matching rule wins.
    QVector<ColorRule> colorRules() const { return m_colorRules; }
    void setColorRules(const QVector<ColorRule>& rules) { m_colorRules = rules; }

    // Keys that are missing or unreadable keep their current values.
    void restoreFromSettings(QSettings& settings, const QString& group);
    void saveToSettings(QSettings& settings, const QString& group) const;

    // Background and text colours for the views that show the trace.
    QPalette palette() const;

    // The settings key of a colour ("BackgroundColor", "RawRxColor1", ...).
    static QString key(StyleColor which);
    static bool isValid(int which) { return which >= 0 && which < StyleColorCount; }

    bool operator==(const StyleSettings& o) const;
    bool operator!=(const StyleSettings& o) const { return !(*this == o); }

private:
    QColor m_colors[StyleColorCount];
    QFont m_textFont;
    QFont m_codeFont;
    QVector<ColorRule> m_colorRules;
};
