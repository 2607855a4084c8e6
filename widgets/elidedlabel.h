// SPDX-License-Identifier: MIT
#pragma once

#include <QLabel>
#include <QString>

// A one-line label that never asks for more room than a short text needs:
// a longer text is cut with "…" to the width the layout gives, and shown
// whole in the tool tip. A bar that reports long errors then keeps the
// window's width.
class ElidedLabel : public QLabel
{
    Q_OBJECT

public:
    // Widths in average characters: the most the label asks for, and the
    // least it needs.
    static constexpr int PreferredChars = 12;
    static constexpr int MinimumChars = 4;

    explicit ElidedLabel(QWidget* parent = nullptr);

    void setFullText(const QString& text);
    QString fullText() const { return m_text; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void elide();

    QString m_text;
};
