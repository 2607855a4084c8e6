// SPDX-License-Identifier: MIT
#pragma once

// A TCP server, optionally with TLS, that talks to one peer at a time: a
// new peer replaces the old one.

#include "connection/sockettransport.h"

class ServerWrapper;

class TcpServerTransport : public SocketTransport
{
    Q_OBJECT
public:
    TcpServerTransport(const ConnectionSettings& settings, QObject* parent = nullptr);

    void open(bool retrying) override;
    void close() override;
    bool isListening() const override;
    // A server listens until told otherwise; it never retries.
    int retryDelay(int /*previous*/) const override { return 0; }
    QObject* endpoint() const override;

protected:
    void linkEnded() override;

private:
    void makeServer();
    void onNewConnection();

    ServerWrapper* m_server = nullptr; // Owned.
};
