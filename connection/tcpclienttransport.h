// SPDX-License-Identifier: MIT
#pragma once

// A TCP client, optionally with TLS. One socket for its whole life, so
// that those watching it see every attempt; retries wait 1, 2, 4 ... at
// most RetryLimit ms.

#include "connection/sockettransport.h"

class TcpClientTransport : public SocketTransport
{
    Q_OBJECT
public:
    static constexpr int RetryLimit = 30000;

    TcpClientTransport(const ConnectionSettings& settings, QObject* parent = nullptr);

    void open(bool retrying) override;
    void close() override;
    int retryDelay(int previous) const override;
    QObject* endpoint() const override;

protected:
    void linkEnded() override;
    void onSocketConnected() override;
};
