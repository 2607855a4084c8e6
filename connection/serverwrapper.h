// SPDX-License-Identifier: MIT
#pragma once

#include <QTcpServer>

// A TCP server that hands out TLS-capable sockets.
class ServerWrapper : public QTcpServer
{
    Q_OBJECT
public:
    explicit ServerWrapper(QObject* parent = nullptr);

protected:
    void incomingConnection(qintptr descriptor) override;
};
