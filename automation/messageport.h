// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/message.h"

#include <QObject>
#include <QString>

// One end of a link that messages go out on and come in from: a channel of
// the window, or the link of the command-line tool. Automatic answers and
// sequences work on ports, so both faces share one engine.
class MessagePort : public QObject
{
    Q_OBJECT

public:
    explicit MessagePort(int number, QObject* parent = nullptr);
    ~MessagePort() override;

    // 1 or 2: what rules and steps name the port by.
    int number() const { return m_number; }

    virtual bool isConnected() const = 0;
    // A non-empty `note` says why the message went out (e.g. which rule
    // sent it), for whoever traces it.
    virtual void sendMessage(const QRV16::Message& message, const QString& note = QString()) = 0;

Q_SIGNALS:
    // Every message received, also while duplicates are hidden.
    void received(const QRV16::Message& message);

private:
    const int m_number;
};
