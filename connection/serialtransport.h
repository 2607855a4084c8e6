// SPDX-License-Identifier: MIT
#pragma once

// A local serial port. Output waits in a buffer of its own while the device
// is slow and leaves in order as it takes more; a device that goes away is
// closed and said once. Reopening after a fault also finds a USB adapter
// that came back under another name, by its serial number.

#include "connection/connectionsettings.h"
#include "connection/transport.h"

class SerSerialPort;

class SerialTransport : public Transport
{
    Q_OBJECT
public:
    static constexpr int RetryInterval = 1000;

    SerialTransport(const ConnectionSettings& settings, QObject* parent = nullptr);

    SerSerialPort* port() const { return m_port; }

    void open(bool retrying) override;
    void close() override;
    bool isConnected() const override;
    void write(const QByteArray& data) override;
    qsizetype bytesToWrite() const override { return m_out.size() - m_outpos; }
    void discardOutput() override;
    int retryDelay(int /*previous*/) const override { return RetryInterval; }
    QObject* endpoint() const override;
    QString portName() const override;

    bool hasControlLines() const override { return true; }
    int speed() const override;
    int modemStatus() const override;
    void setRts(bool on) override;
    void setDtr(bool on) override;
    void setBreak(bool on) override;

private:
    void onReadyRead();
    void writeOut();
    void onHangUp(const QString& reason);
    bool openSameAdapter();

    SerSerialPort* m_port; // Owned.
    // Output not yet taken by the device, from m_outpos on.
    QByteArray m_out;
    qsizetype m_outpos = 0;
    // Of the USB adapter last opened, to find it under another name.
    QString m_serialnumber;
};
