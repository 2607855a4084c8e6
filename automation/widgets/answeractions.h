// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/message.h"

#include <QObject>

#include <functional>

class AnswerDocument;
class AutoAnswer;
class DocumentActions;
class QAction;
class QMenu;
class QWidget;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// The automatic answers in a window: the "Answers" menu with the rule
// file's Open, Save and Save As, the rule dialog and the switch that turns
// answering on and off. What the user should see leaves through message().
class AnswerActions : public QObject
{
    Q_OBJECT

public:
    // Neither is owned; `window` parents the menu and the dialogs.
    AnswerActions(AutoAnswer* answers, QWidget* window);

    AnswerDocument* document() const { return m_document; }
    DocumentActions* documentActions() const { return m_actions; }
    QMenu* menu() const { return m_mnu_answers; }
    QAction* editAction() const { return m_act_edit; }
    QAction* enableAction() const { return m_act_on; }

    // Where the rule dialog's pattern test takes its message from: the
    // message the user looks at, an empty one for none.
    void setSample(std::function<QRV16::Message()> sample) { m_sample = std::move(sample); }
    // Asks about unsaved rules; false when the user cancels.
    bool canClose();

public Q_SLOTS:
    // Not owned; the rules are read again with them.
    void setTags(const QRV16::TagDataLut* tags);
    // The rule dialog; accepted, its rules replace the document's.
    void edit();

Q_SIGNALS:
    void message(const QString& text, bool error);

private:
    AutoAnswer* m_answers; // Not owned.
    QWidget* m_window;     // Not owned.
    AnswerDocument* m_document; // Owned (child).
    DocumentActions* m_actions; // Owned (child of the document).
    QMenu* m_mnu_answers;       // Owned by the window, which places it.
    QAction* m_act_edit;        // Owned (children).
    QAction* m_act_on;
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    std::function<QRV16::Message()> m_sample;
};
