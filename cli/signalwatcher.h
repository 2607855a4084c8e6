// SPDX-License-Identifier: MIT
#pragma once

// Turns SIGINT and SIGTERM into a signal of the event loop: the handler
// only writes to a socket pair, the loop reads it, so a command can close
// its link and flush its files before it ends. SIGPIPE is ignored while it
// lives, for the same reason.

#include <QObject>

class QSocketNotifier;

class SignalWatcher : public QObject
{
    Q_OBJECT

public:
    explicit SignalWatcher(QObject* parent = nullptr);
    ~SignalWatcher() override;

    bool isValid() const { return m_notifier != nullptr; }

Q_SIGNALS:
    void signalled(int number);

private:
    void onReadable();

    QSocketNotifier* m_notifier = nullptr; // Owned (child).
};
