// SPDX-License-Identifier: MIT
#pragma once

// SerSerialPort on a Unix terminal device (termios and modem-line ioctls),
// read without blocking through a socket notifier on its descriptor.

#include "libserial/serserialport.h"

struct pSerUnixSerialPortData;

class pSerUnixSerialPort : public SerSerialPort
{
    Q_OBJECT
public:
    explicit pSerUnixSerialPort(QObject* parent = nullptr);
    ~pSerUnixSerialPort() override;

    bool open(OpenMode mode) override;
    void close() override;
    // The remainder of msecs / 1000 goes to select() as microseconds,
    // unscaled: ports in the field were tuned against this, so 250 is a
    // quarter of a millisecond and 1500 is one second and 500 microseconds.
    bool waitForReadyRead(int msecs) override;
    bool waitForBytesWritten(int msecs) override;

    void setSpeed(int speed) override;
    void setHandshake(int handshake) override;
    void setParity(int parity) override;
    bool setFraming(const SerFraming& framing) override;
    int modemStatus() const override;
    int setRTS(bool on) override;
    int setDTR(bool on) override;
    int setBRK(bool on) override;
    void setWriteNotification(bool on) override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private Q_SLOTS:
    void onRxReady();
    void onTxReady();

private:
    pSerUnixSerialPortData* d() const;
    void shutdown();
    void startWaitForEvent();
    bool waitFor(bool forWrite, int msecs);
    bool applySettings(const void* settings);
    void hangUp(int error);
    int setModemLine(int line, bool on);
    bool applyFraming();
};
