// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QList>
#include <QToolButton>

// A button that shows a colour as a swatch. A click pops up a grid of
// standard colours (arrow keys move, Enter or Space picks, Escape closes)
// whose last entry, "More colours...", opens a QColorDialog for any other.
class ColorButton : public QToolButton
{
    Q_OBJECT
public:
    explicit ColorButton(QWidget* parent = nullptr);
    explicit ColorButton(const QColor& color, QWidget* parent = nullptr);

    QColor color() const { return m_color; }

    // The colours of the popup grid, row by row, standardColumns() to a row.
    static QList<QColor> standardColors();
    static int standardColumns();

public Q_SLOTS:
    void setColor(const QColor& color);
    void showPopup();
    void chooseOtherColor();

Q_SIGNALS:
    // Only on a real change.
    void colorChanged(const QColor& color);

private:
    QColor m_color;
};
