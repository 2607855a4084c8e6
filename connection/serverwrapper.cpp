// SPDX-License-Identifier: MIT
#include "connection/serverwrapper.h"

#include <QSslSocket>

ServerWrapper::ServerWrapper(QObject* parent)
    : QTcpServer(parent)
{
}

void ServerWrapper::incomingConnection(qintptr descriptor)
{
    auto* socket = new QSslSocket(this);
    if (!socket->setSocketDescriptor(descriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite)) {
        delete socket;
        return;
    }
    addPendingConnection(socket);
}
