// SPDX-License-Identifier: MIT
#pragma once

// Drives a window as a user does: its actions by their texts, its file
// dialogs and message boxes answered when they come up. What survives a
// reshuffle of the window's classes.

#include <QAction>
#include <QApplication>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <QWidget>

#include <unistd.h>

namespace korvtest {

// The action with this text ('&' left out) in `window`.
inline QAction* actionNamed(QWidget* window, const QString& text)
{
    const QList<QAction*> actions = window->findChildren<QAction*>();
    for (QAction* action : actions)
        if (action->text().remove(QLatin1Char('&')) == text)
            return action;
    return nullptr;
}

// Answers the modal dialogs that come up while it lives: a file dialog
// gets `choose`, a message box "Yes" (replace the file) or its default;
// the boxes' texts are kept.
class Modals
{
public:
    explicit Modals(const QString& choose)
    {
        m_timer.setInterval(10);
        // Each answer is queued: a dialog that opens another one (a file
        // that exists) runs that one's loop inside, and this timer does not
        // fire again while its own call runs.
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this, choose] {
            QWidget* modal = QApplication::activeModalWidget();
            if (!modal || modal == m_answered)
                return;
            if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                texts << box->text() + QLatin1Char(' ') + box->informativeText();
                QAbstractButton* button = box->button(QMessageBox::Yes);
                if (!button)
                    button = box->defaultButton();
                if (!button && !box->buttons().isEmpty())
                    button = box->buttons().constFirst();
                if (button) {
                    m_answered = box;
                    QMetaObject::invokeMethod(button, &QAbstractButton::click, Qt::QueuedConnection);
                }
            } else if (auto* dialog = qobject_cast<QFileDialog*>(modal)) {
                m_answered = dialog;
                dialog->selectFile(choose);
                QMetaObject::invokeMethod(dialog, &QDialog::accept, Qt::QueuedConnection);
            }
        });
        m_timer.start();
    }

    QStringList texts;

private:
    QTimer m_timer;
    QPointer<QWidget> m_answered;
};

// Triggers the enabled action of that text, choosing `path` in any file
// dialog; the message boxes' texts go to `said`. False when there is no
// such action or it is disabled.
inline bool trigger(QWidget* window, const QString& text, const QString& path = QString(),
                    QStringList* said = nullptr)
{
    QAction* action = actionNamed(window, text);
    if (!action || !action->isEnabled())
        return false;
    Modals modals(path);
    action->trigger();
    if (said)
        *said << modals.texts;
    return true;
}

// Runs the event loop until `done` holds; false after `ms`.
template <typename Done>
bool waitFor(Done done, int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > ms)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

inline qint64 residentKiB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.value(1).toLongLong() * (sysconf(_SC_PAGESIZE) / 1024);
}

} // namespace korvtest
