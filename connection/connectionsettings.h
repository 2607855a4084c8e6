// SPDX-License-Identifier: MIT
#pragma once

// One channel's transport: mode, BiS framing, serial, TCP client, TCP server
// and TLS parameters. A value object, saved to and restored from a group of
// the application's settings store; it also loads the TLS key and
// certificates that a Connection puts into its configuration.

#include "libserial/serframing.h"

#include <QList>
#include <QSslCertificate>
#include <QStringList>
#include <QSslKey>
#include <QString>

class QSettings;

class ConnectionSettings
{
public:
    enum Mode { DisabledMode = 0, SerialMode = 1, ClientMode = 2, ServerMode = 3 };
    enum BiSMode { BiSMasterMode = 1, BiSSlaveMode = 2, BiSTraceMode = 3 };
    enum Handshake { NoHandshake = 0, RtsCtsHandshake = 1, XonXoffHandshake = 2 };
    // How the trace shows raw received bytes: hexadecimal, or through one
    // of the annotating printers.
    enum RawPrinter { HexPrinter = 0, BiSPrinter = 1, LTDPrinter = 2, LTD16Printer = 3 };

    static constexpr int DefaultTries = 5;
    static constexpr int DefaultTimeout = 1000;
    static constexpr int DefaultPort = 10000;
    static constexpr int DefaultSpeed = 9600;
    // Shorter answer time-outs only spend every try at once.
    static constexpr int MinimumTimeout = 10;
    static constexpr int MaximumTries = 100;

    void saveToSettings(const QString& group) const;
    // A stored speed, time-out or try count out of range falls back to its
    // default; warnings, if given, gets one line for each.
    void restoreFromSettings(const QString& group, QStringList* warnings = nullptr);
    // The same from another program's store.
    void restoreFromSettings(QSettings& settings, const QString& group, QStringList* warnings = nullptr);

    // Null key or certificate when the file cannot be read or parsed.
    static QSslKey loadPrivateKey(const QString& path);
    static QSslCertificate loadCertificate(const QString& path);
    // Every certificate in dir: *.crt (PEM, then DER), *.pem and *.der.
    static QList<QSslCertificate> loadCertificates(const QString& dir);

    // The configured files, or the built-in test key and certificate.
    QSslKey loadPrivateKey() const;
    QSslCertificate loadLocalCertificate() const;
    QList<QSslCertificate> loadCACertificates() const;

    int mode() const { return m_mode; }
    void setMode(int mode) { m_mode = mode; }
    int bisMode() const { return m_bismode; }
    void setBisMode(int mode) { m_bismode = mode; }
    bool bisEnabled() const { return m_bisenabled; }
    void setBisEnabled(bool on) { m_bisenabled = on; }
    // -1 stands for any address.
    int sourceAddress() const { return m_sourceaddress; }
    void setSourceAddress(int address) { m_sourceaddress = address; }
    int destinationAddress() const { return m_destinationaddress; }
    void setDestinationAddress(int address) { m_destinationaddress = address; }
    int tries() const { return m_tries; }
    void setTries(int tries) { m_tries = tries; }
    // Milliseconds.
    int timeout() const { return m_timeout; }
    void setTimeout(int msecs) { m_timeout = msecs; }

    QString serialPort() const { return m_serialport; }
    void setSerialPort(const QString& name) { m_serialport = name; }
    int serialSpeed() const { return m_serialspeed; }
    void setSerialSpeed(int speed) { m_serialspeed = speed; }
    int serialHandshake() const { return m_serialhandshake; }
    void setSerialHandshake(int handshake) { m_serialhandshake = handshake; }
    // Data bits, parity and stop bits; 8N1 unless stored otherwise.
    SerFraming serialFraming() const { return m_serialframing; }
    void setSerialFraming(const SerFraming& framing) { m_serialframing = framing; }
    // The serial port is a remote one ("rfc2217://HOST:PORT").
    bool isRemoteSerialPort() const;

    QString clientAddress() const { return m_clientaddress; }
    void setClientAddress(const QString& host) { m_clientaddress = host; }
    int clientPort() const { return m_clientport; }
    void setClientPort(int port) { m_clientport = port; }
    // Empty listens on every address.
    QString serverAddress() const { return m_serveraddress; }
    void setServerAddress(const QString& address) { m_serveraddress = address; }
    int serverPort() const { return m_serverport; }
    void setServerPort(int port) { m_serverport = port; }

    bool sslEnabled() const { return m_sslenabled; }
    void setSslEnabled(bool on) { m_sslenabled = on; }
    // Empty means the built-in test key and certificate.
    QString privateKeyFile() const { return m_privatekeyfile; }
    void setPrivateKeyFile(const QString& path) { m_privatekeyfile = path; }
    QString localCertificateFile() const { return m_localcertificatefile; }
    void setLocalCertificateFile(const QString& path) { m_localcertificatefile = path; }
    // Empty means no CA certificates.
    QString caCertificateDirectory() const { return m_cacertificatedirectory; }
    void setCaCertificateDirectory(const QString& dir) { m_cacertificatedirectory = dir; }
    // A QSslSocket::PeerVerifyMode value.
    int peerVerifyMode() const { return m_peerverifymode; }
    void setPeerVerifyMode(int mode) { m_peerverifymode = mode; }

    int rawPrinter() const { return m_rawprinter; }
    void setRawPrinter(int printer) { m_rawprinter = printer; }

    // Opens the link again after the device or the peer went away.
    bool reconnect() const { return m_reconnect; }
    void setReconnect(bool on) { m_reconnect = on; }

private:
    int m_mode = DisabledMode;
    int m_bismode = BiSMasterMode;
    bool m_bisenabled = false;
    int m_sourceaddress = -1;
    int m_destinationaddress = -1;
    int m_tries = DefaultTries;
    int m_timeout = DefaultTimeout;
    QString m_serialport;
    int m_serialspeed = DefaultSpeed;
    int m_serialhandshake = NoHandshake;
    SerFraming m_serialframing;
    QString m_clientaddress = QStringLiteral("localhost");
    int m_clientport = DefaultPort;
    QString m_serveraddress;
    int m_serverport = DefaultPort;
    bool m_sslenabled = false;
    QString m_privatekeyfile;
    QString m_localcertificatefile;
    QString m_cacertificatedirectory;
    int m_peerverifymode = 0;
    bool m_reconnect = false;
    int m_rawprinter = HexPrinter;
};
