// SPDX-License-Identifier: MIT
#include "cli/linkport.h"

#include "cli/console.h"
#include "connection/connection.h"
#include "qrv16/messagewriter.h"

#include <QSslSocket>

#include <cstdio>

LinkPort::LinkPort(int number, const ConnectionSettings& settings, const QRV16::TagDataLut* tags,
                   QObject* parent)
    : MessagePort(number, parent), m_settings(settings), m_connection(new Connection(this)), m_tags(tags)
{
    connect(m_connection, &Connection::received, this, &LinkPort::onBytes);
    connect(m_connection, &Connection::blockStarted, this, [this] { m_collector.reset(); });
    connect(m_connection, &Connection::stateChanged, this, &LinkPort::onStateChanged);
    connect(m_connection, &Connection::message, this, &LinkPort::onMessage);
    m_connection->setSettings(m_settings);
}

LinkPort::~LinkPort()
{
    close();
}

void LinkPort::open()
{
    m_opening = true;
    // A remote port connects and negotiates first; it may also fail at once.
    const bool remote = m_settings.mode() == ConnectionSettings::SerialMode && m_settings.isRemoteSerialPort();
    if (remote) {
        connect(m_connection, &Connection::attemptFailed, this, [this] {
            if (m_opening)
                fail();
        });
    }
    m_connection->connect();
    switch (m_settings.mode()) {
    case ConnectionSettings::SerialMode:
        if (remote && !m_connection->isConnected())
            return;
        if (!m_connection->isConnected())
            return fail();
        break;
    case ConnectionSettings::ServerMode:
        if (!m_connection->isListening())
            return fail();
        break;
    case ConnectionSettings::ClientMode:
        // Refusals and handshake failures come back as socket errors.
        if (QSslSocket* socket = m_connection->socket()) {
            connect(socket, &QAbstractSocket::errorOccurred, this, [this] {
                if (m_opening)
                    fail();
            });
        }
        return;
    default:
        return fail();
    }
    m_opening = false;
    Q_EMIT opened();
    onStateChanged();
}

void LinkPort::close()
{
    QObject::disconnect(m_connection, nullptr, this, nullptr);
    m_connection->close();
    m_ready = false;
}

void LinkPort::fail()
{
    m_opening = false;
    Q_EMIT failed(m_lastMessage.isEmpty() ? QStringLiteral("cannot open the link") : m_lastMessage);
}

bool LinkPort::isConnected() const
{
    if (!m_connection->isConnected())
        return false;
    QSslSocket* socket = m_connection->socket();
    return !m_settings.sslEnabled() || (socket && socket->isEncrypted());
}

void LinkPort::onStateChanged()
{
    const bool up = isConnected();
    if (up == m_ready)
        return;
    m_ready = up;
    if (up) {
        if (m_opening) {
            m_opening = false;
            Q_EMIT opened();
        }
        Q_EMIT ready();
    } else if (!isServer()) {
        Q_EMIT lost();
    }
}

void LinkPort::onMessage(const QString& text)
{
    m_lastMessage = text;
    Console::note(text);
}

qsizetype LinkPort::pendingOutput() const
{
    return m_connection->pendingOutput();
}

QString LinkPort::text(const QRV16::Message& message) const
{
    if (m_hex)
        return QString::fromLatin1(message.bytes().toHex(' ').toUpper());
    return QRV16::MessageWriter(m_tags, QRV16::TextOptions()).toText(message);
}

void LinkPort::print(const QDateTime& time, const QString& prefix, const QRV16::Message& message,
                     const QString& note)
{
    QString line;
    if (m_timestamps)
        line = time.toString(QStringLiteral("yyyy-MM-dd'T'hh:mm:ss.zzz ")) + prefix;
    else
        line = prefix;
    line += text(message);
    if (!note.isEmpty())
        line += QStringLiteral("  # ") + note;
    Console::out(line + QLatin1Char('\n'));
    // Lines reach a pipe as they happen, not when the buffer fills.
    if (std::fflush(stdout) != 0 && !m_outputClosed) {
        m_outputClosed = true;
        Q_EMIT outputClosed();
    }
}

void LinkPort::sendMessage(const QRV16::Message& message, const QString& note)
{
    if (!isConnected()) {
        Console::note(QStringLiteral("not connected: nothing sent"));
        return;
    }
    if (m_printSent)
        print(QDateTime::currentDateTime(), QStringLiteral("> "), message, note);
    m_connection->send(message.bytes());
}

void LinkPort::onBytes(int src, int dst, const QByteArray& bytes)
{
    m_collector.append(bytes);
    while (m_collector.hasMessage()) {
        const QRV16::Message message = m_collector.nextMessage();
        if (!message.isValid()) {
            Console::note(QStringLiteral("not a message: %1")
                              .arg(QString::fromLatin1(message.bytes().toHex(' ').toUpper())));
            continue;
        }
        const QDateTime time = QDateTime::currentDateTime();
        if (m_printReceived)
            print(time, QString(), message, QString());
        Q_EMIT arrived(message, time, src, dst);
        Q_EMIT received(message);
    }
}
