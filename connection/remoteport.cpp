// SPDX-License-Identifier: MIT
#include "connection/remoteport.h"

bool RemotePort::isRemote(const QString& name)
{
    return name.trimmed().startsWith(QLatin1String(Scheme), Qt::CaseInsensitive);
}

RemotePort RemotePort::fromName(const QString& name, bool* ok)
{
    RemotePort remote;
    if (ok)
        *ok = false;
    if (!isRemote(name))
        return remote;
    QString rest = name.trimmed().mid(int(qstrlen(Scheme)));
    const qsizetype options = rest.indexOf(QLatin1Char('?'));
    if (options >= 0)
        rest.truncate(options);
    if (rest.endsWith(QLatin1Char('/')))
        rest.chop(1);
    const qsizetype colon = rest.lastIndexOf(QLatin1Char(':'));
    if (colon <= 0)
        return remote;
    QString host = rest.left(colon);
    if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
        host = host.mid(1, host.size() - 2);
    else if (host.contains(QLatin1Char(':')))
        return remote; // IPv6 needs its brackets, or the port is ambiguous
    bool numeric = false;
    const int port = rest.mid(colon + 1).toInt(&numeric);
    if (host.isEmpty() || host.contains(QLatin1Char('/')) || !numeric || port < 1 || port > 65535)
        return remote;
    remote.m_host = host;
    remote.m_port = port;
    if (ok)
        *ok = true;
    return remote;
}

QString RemotePort::nameOf(const QString& host, int port)
{
    const QString shown = host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : host;
    return QLatin1String(Scheme) + shown + QLatin1Char(':') + QString::number(port);
}
