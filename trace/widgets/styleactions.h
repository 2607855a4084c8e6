// SPDX-License-Identifier: MIT
#pragma once

#include "trace/stylesettings.h"

#include <QObject>
#include <QPointer>

class QAction;
class QWidget;
class StyleDialog;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// The trace's colours and fonts in a window: the style kept in the
// settings ("MainWindow/Style"), and the "Style" action with its dialog,
// whose Apply and OK make it the style in use.
class StyleActions : public QObject
{
    Q_OBJECT

public:
    // `window` parents the dialog. The style is read from the settings.
    explicit StyleActions(QWidget* window);

    QAction* action() const { return m_act_style; }
    // Stays at this address: the trace model keeps a pointer to it.
    const StyleSettings& style() const { return m_style; }

public Q_SLOTS:
    void edit();
    // Applied and kept in the settings.
    void setStyle(const StyleSettings& style);
    // Not owned; names for the colour rules of a dialog opened from now on.
    void setTags(const QRV16::TagDataLut* tags) { m_tags = tags; }

Q_SIGNALS:
    void changed(const StyleSettings& style);

private:
    QWidget* m_window;    // Not owned.
    QAction* m_act_style; // Owned (child).
    QPointer<StyleDialog> m_dialog;
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    StyleSettings m_style;
};
