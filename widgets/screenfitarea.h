// SPDX-License-Identifier: MIT
#pragma once

// The body of a dialog in a scroll area, so that the dialog fits any screen:
// it opens as large as its contents want where the screen has room, no
// larger than the screen where it has not, and scrolls there; its buttons
// stay below the area, always in reach.

#include <QScrollArea>

class QDialog;

class ScreenFitArea : public QScrollArea
{
    Q_OBJECT
public:
    explicit ScreenFitArea(QWidget* parent = nullptr);

    // Moves everything in the dialog's box layout but the last `keep` items
    // (its buttons) into a new area owned by the dialog. Each time the
    // dialog is shown it fits its screen: at its contents' size where it
    // has no size of its own, and no larger than the screen where it has.
    static ScreenFitArea* wrap(QDialog* dialog, int keep = 1);
    // The most a window on widget's screen may take, frame included.
    static QSize room(const QWidget* widget);

    // The contents' own size, with room for a scroll bar.
    QSize sizeHint() const override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fitWindow(QWidget* window);
};
