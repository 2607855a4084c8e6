// SPDX-License-Identifier: MIT
#pragma once

// Two channels talking to each other over TCP on 127.0.0.1: channel `one`
// listens, `two` connects to it.

#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "trace/channel.h"

#include <QTcpServer>
#include <QtTest>

inline void connectLoopback(Channel* one, Channel* two)
{
    ConnectionSettings server;
    server.setMode(ConnectionSettings::ServerMode);
    server.setServerAddress(QStringLiteral("127.0.0.1"));
    server.setServerPort(0);
    one->setSettings(server);
    one->connect();
    const auto* listener = qobject_cast<const QTcpServer*>(one->connection()->connection());
    QVERIFY(listener && listener->isListening());
    ConnectionSettings client;
    client.setMode(ConnectionSettings::ClientMode);
    client.setClientAddress(QStringLiteral("127.0.0.1"));
    client.setClientPort(listener->serverPort());
    two->setSettings(client);
    two->connect();
    QTRY_VERIFY(one->connection()->isConnected() && two->connection()->isConnected());
}
