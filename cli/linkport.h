// SPDX-License-Identifier: MIT
#pragma once

// The link of a korv command as a message port: a Connection, the
// received bytes cut into messages, and each message printed as it comes
// and goes, so that answers and sequences run here as in the window.

#include "automation/messageport.h"
#include "connection/connectionsettings.h"
#include "qrv16/messagecollector.h"
#include "qrv16/types.h"

#include <QDateTime>

class Connection;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

class LinkPort : public MessagePort
{
    Q_OBJECT

public:
    // `tags` may be null; not owned.
    LinkPort(int number, const ConnectionSettings& settings, const QRV16::TagDataLut* tags,
             QObject* parent = nullptr);
    ~LinkPort() override;

    // Starts opening: opened() or failed() follow, at once or later.
    void open();
    void close();
    // Messages can go both ways: the device is open, the peer connected
    // and, with TLS, the handshake done.
    bool isConnected() const override;
    void sendMessage(const QRV16::Message& message, const QString& note = QString()) override;
    // 0 once everything sent has left.
    qsizetype pendingOutput() const;
    bool isServer() const { return m_settings.mode() == ConnectionSettings::ServerMode; }

    void setPrintReceived(bool on) { m_printReceived = on; }
    void setPrintSent(bool on) { m_printSent = on; }
    void setTimestamps(bool on) { m_timestamps = on; }
    void setHex(bool on) { m_hex = on; }
    // Decoded as the trace shows it, or hexadecimal bytes with setHex().
    QString text(const QRV16::Message& message) const;

Q_SIGNALS:
    // The device is open or the server listens.
    void opened();
    // The link could not be opened; `reason` as the link reported it.
    void failed(const QString& reason);
    // isConnected() became true.
    void ready();
    // A client or serial link that was up went down.
    void lost();
    // Standard output went away (the reader of a pipe ended): nothing
    // printed from now on arrives.
    void outputClosed();
    // Every message received, with when and, on a bus, from and to whom.
    void arrived(const QRV16::Message& message, const QDateTime& time, int src, int dst);

private:
    void onBytes(int src, int dst, const QByteArray& bytes);
    void onStateChanged();
    void onMessage(const QString& text);
    void fail();
    void print(const QDateTime& time, const QString& prefix, const QRV16::Message& message,
               const QString& note);

    ConnectionSettings m_settings;
    Connection* m_connection; // Owned (child).
    const QRV16::TagDataLut* m_tags;
    QRV16::MessageCollector m_collector;
    QString m_lastMessage;
    bool m_opening = false;
    bool m_ready = false;
    bool m_printReceived = true;
    bool m_printSent = false;
    bool m_timestamps = false;
    bool m_hex = false;
    bool m_outputClosed = false;
};
