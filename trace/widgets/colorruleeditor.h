// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylesettings.h"

#include <QWidget>

namespace QRV16 {
class TagDataLut;
}

class QLabel;
class QPushButton;
class QTableWidget;

// The ordered list of colour rules: on/off, expression and colour per row.
// A rule that does not parse stays in the list; its error shows below.
class ColorRuleEditor : public QWidget
{
    Q_OBJECT
public:
    enum Column { EnabledColumn = 0, ExpressionColumn, ColorColumn, ColumnCount };

    explicit ColorRuleEditor(QWidget* parent = nullptr);

    QVector<StyleSettings::ColorRule> rules() const { return m_rules; }
    void setRules(const QVector<StyleSettings::ColorRule>& rules);
    // Names for the expressions' errors; not owned, null for codes only.
    void setTags(const QRV16::TagDataLut* tags);

    QTableWidget* table() const { return m_tw_rules; }
    QString errorText() const;

public Q_SLOTS:
    void onAdd();
    void onRemove();
    void onUp();
    void onDown();

private:
    void onItemChanged(int row, int column);
    void moveCurrent(int by);
    void rebuild(int current);
    void updateState();

    QVector<StyleSettings::ColorRule> m_rules;
    const QRV16::TagDataLut* m_tags = nullptr;
    QTableWidget* m_tw_rules;
    QPushButton* m_pb_remove;
    QPushButton* m_pb_up;
    QPushButton* m_pb_down;
    QLabel* m_lbl_error;
};
