// SPDX-License-Identifier: MIT
#pragma once

#include "connection/connectionsettings.h"

namespace korvtest {

// A TCP server on 127.0.0.1 at `port`; 0 lets the system choose.
inline ConnectionSettings loopbackServer(quint16 port = 0)
{
    ConnectionSettings server;
    server.setMode(ConnectionSettings::ServerMode);
    server.setServerAddress(QStringLiteral("127.0.0.1"));
    server.setServerPort(port);
    return server;
}

} // namespace korvtest
