// SPDX-License-Identifier: MIT
#pragma once

// A serial port on a device server, reached as "rfc2217://HOST:PORT": Telnet
// with the COM-PORT-OPTION of RFC 2217. Speed, framing, flow control and the
// control lines go to the far end, which reports its modem lines back. The
// link is up once the far end has answered the option; what it refuses is
// said by name, and settings it never confirms cost one notice, never a
// stalled link.

#include "connection/connectionsettings.h"
#include "connection/remoteport.h"
#include "connection/telnetcodec.h"
#include "connection/transport.h"

#include <QAbstractSocket>

#include <array>
#include <bitset>

class QTcpSocket;
class QTimer;

class RemoteSerialTransport : public Transport
{
    Q_OBJECT
public:
    // How long the far end has to confirm settings before the notice.
    static constexpr int ConfirmTimeout = 3000;
    // How long it has to answer COM-PORT-OPTION at all.
    static constexpr int NegotiationTimeout = 3000;
    // Changes of the far end's lines are said at most this often.
    static constexpr int LineReportInterval = 250;
    static constexpr int RetryLimit = 30000;

    RemoteSerialTransport(const ConnectionSettings& settings, QObject* parent = nullptr);

    void open(bool retrying) override;
    void close() override;
    bool isConnected() const override { return m_up; }
    bool isAttempting() const override;
    void write(const QByteArray& data) override;
    qsizetype bytesToWrite() const override;
    void discardOutput() override;
    int retryDelay(int previous) const override;
    QObject* endpoint() const override;
    QString portName() const override;

    bool hasControlLines() const override { return true; }
    int speed() const override { return m_settings.serialSpeed(); }
    int modemStatus() const override;
    void setRts(bool on) override;
    void setDtr(bool on) override;
    void setBreak(bool on) override;

private:
    // What the far end is asked to set, in the order it is asked.
    enum Setting { Speed, DataBits, Parity, StopBits, FlowControl, Dtr, Rts, SettingCount };

    void onConnected();
    void onReadyRead();
    void onDisconnected();
    void onError(QAbstractSocket::SocketError error);
    void onConfirmTimeout();
    void finishOpening();
    void process(TelnetCodec::Output& out);
    void handle(const TelnetCodec::Answer& answer);
    void confirm(Setting setting, quint32 value);
    void ask(Setting setting, const QByteArray& command, quint32 value);
    void sendSettings();
    void sendRaw(const QByteArray& bytes);
    void flushHeld();
    void reportLines();
    // The socket is done: data it still holds is delivered, then the link
    // is down; `why` says so, as a lost link or as a failed attempt.
    void end(const QString& why, bool attempt);
    QString settingText(Setting setting, quint32 value) const;

    ConnectionSettings m_settings;
    RemotePort m_address;
    QTcpSocket* m_socket;        // Owned.
    QTimer* m_negotiationTimer; // Owned.
    QTimer* m_confirmTimer;     // Owned.
    QTimer* m_lineTimer;        // Owned.
    TelnetCodec m_codec;
    // From open() until the link ends or is closed.
    bool m_active = false;
    bool m_up = false;
    bool m_negotiating = false;
    bool m_readposted = false;
    // Data that came before the link was up, delivered once it is.
    QByteArray m_early;
    // Output held while the far end asked to pause.
    QByteArray m_held;
    bool m_suspended = false;
    bool m_rts = false;
    bool m_dtr = false;
    bool m_brk = false;
    // Commands sent and not yet answered, and the value last asked.
    std::array<int, SettingCount> m_unconfirmed{};
    std::array<quint32, SettingCount> m_asked{};
    bool m_confirmNoticeGiven = false;
    std::bitset<TelnetCodec::ProblemCount> m_reported;
    // NOTIFY-MODEMSTATE as last received, and as last said; -1 before.
    int m_farLines = -1;
    int m_saidLines = -1;
};
