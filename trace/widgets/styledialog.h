// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylesettings.h"

#include <QDialog>
#include <QFont>

namespace QRV16 {
class TagDataLut;
}

class ColorButton;
class ColorRuleEditor;
class QPushButton;
class QTreeWidget;

// Edits the trace's colours and fonts, with a preview that shows a line in
// each colour as the trace would. Apply and OK hand the edited style out
// through apply(); the dialog itself keeps nothing.
class StyleDialog : public QDialog
{
    Q_OBJECT
public:
    explicit StyleDialog(QWidget* parent = nullptr);

    // These hide QWidget's setStyle(QStyle*) and style(): inside this class
    // the widget style is QWidget::style().
    void setStyle(const StyleSettings& style);
    StyleSettings style() const;
    // Names for the colour rules' expressions; not owned.
    void setTags(const QRV16::TagDataLut* tags);
    ColorRuleEditor* colorRuleEditor() const { return m_colorRules; }

public Q_SLOTS:
    void accept() override;
    void onApply();
    void onDefaults();
    void onTextFont();
    void onCodeFont();

Q_SIGNALS:
    void apply(const StyleSettings& style);

private:
    bool chooseFont(QFont* font, const QString& title);
    void updateFontButtons();
    void updatePreview();

    ColorButton* m_pb_colors[StyleColorCount] = {};
    QPushButton* m_pb_textfont;
    QPushButton* m_pb_codefont;
    QTreeWidget* m_tw_preview;
    ColorRuleEditor* m_colorRules;
    QFont m_textFont;
    QFont m_codeFont;
};
