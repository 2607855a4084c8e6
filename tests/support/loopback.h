// SPDX-License-Identifier: MIT
#pragma once

// Two channels talking to each other over TCP on 127.0.0.1: channel `one`
// listens, `two` connects to it.

#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "tests/support/serversettings.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"

#include <QAbstractItemModelTester>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

// Fails the calling test when the two do not meet.
inline void connectLoopback(Channel* one, Channel* two)
{
    one->setSettings(korvtest::loopbackServer());
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

// `channel` as a client of `peer`, a plain server that stands for the far
// end; `far` is that end's socket. Fails the calling test when they do not
// meet.
inline void connectToPeer(Channel* channel, QTcpServer* peer, std::unique_ptr<QTcpSocket>* far)
{
    QVERIFY(peer->isListening() || peer->listen(QHostAddress::LocalHost));
    ConnectionSettings client;
    client.setMode(ConnectionSettings::ClientMode);
    client.setClientAddress(QStringLiteral("127.0.0.1"));
    client.setClientPort(peer->serverPort());
    channel->setSettings(client);
    channel->connect();
    QTRY_VERIFY(peer->hasPendingConnections());
    far->reset(peer->nextPendingConnection());
    QTRY_VERIFY(channel->connection()->isConnected());
}

// Channels 1 and 2 tracing into one model, each end of a loopback pair
// once connect() ran; as a controller and its tester would sit. The
// channels go before the model.
struct LoopbackPair
{
    explicit LoopbackPair(const QRV16::TagDataLut* tags)
    {
        model.setTags(tags);
        one.setModel(&model);
        two.setModel(&model);
    }

    // Check QTest::currentTestFailed() after it.
    void connect() { connectLoopback(&one, &two); }

    TraceModel model;
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::QtTest};
    Channel one{1};
    Channel two{2};
};
