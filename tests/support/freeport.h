// SPDX-License-Identifier: MIT
#pragma once

#include <QTcpServer>

namespace korvtest {

// A loopback port nothing listens on: taken and let go at once. 0 when
// none could be had.
inline quint16 freePort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
}

} // namespace korvtest
