// SPDX-License-Identifier: MIT
#pragma once

// The name of a serial port on a device server, as device servers and
// other serial tools write it: "rfc2217://HOST:PORT", an IPv6 host in
// brackets. Options after "?" are left to the far end's tools and ignored.

#include <QString>

class RemotePort
{
public:
    static constexpr const char* Scheme = "rfc2217://";

    // The name asks for a remote port, well formed or not.
    static bool isRemote(const QString& name);
    // ok false for a name that is not "rfc2217://HOST:PORT".
    static RemotePort fromName(const QString& name, bool* ok = nullptr);
    static QString nameOf(const QString& host, int port);

    bool isValid() const { return !m_host.isEmpty() && m_port > 0; }
    QString host() const { return m_host; }
    int port() const { return m_port; }
    // "rfc2217://rack4:7001"
    QString name() const { return nameOf(m_host, m_port); }

private:
    QString m_host;
    int m_port = 0;
};
