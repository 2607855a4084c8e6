// SPDX-License-Identifier: MIT
#pragma once

// A serial device as a sequential QIODevice with speed, handshake, framing
// and modem-line control. Reads are driven by the event loop: readyRead()
// comes once, then again only after the reader has read. A device that goes
// away (adapter unplugged, far end of a pty closed) emits hungUp() once and
// is no longer watched, so it never wakes the loop again.

#include "libserial/pserbps.h"
#include "libserial/serframing.h"

#include <QIODevice>
#include <QString>

#include <memory>

struct pSerSerialPortData;

class SerSerialPort : public QIODevice
{
    Q_OBJECT
public:
    enum Handshake { RtsCts = 1, XonXoff = 2 };
    enum Parity { NoParity = 0, EvenParity = 1, OddParity = 2, MarkParity = 3, SpaceParity = 4 };
    enum ModemLine {
        ModemRts = 1,
        ModemCts = 2,
        ModemDtr = 4,
        ModemDsr = 8,
        ModemRi = 16,
        ModemCd = 32,
        ModemBreak = 64
    };

    // The platform's port for device name (e.g. "ttyUSB0"), owned by parent.
    static SerSerialPort* newPort(const QString& name, QObject* parent);

    ~SerSerialPort() override;

    bool isSequential() const override { return true; }

    virtual void setDevice(const QString& name);
    virtual void setSpeed(int speed);
    virtual void setHandshake(int handshake);
    virtual void setParity(int parity);
    // Data bits, parity and stop bits at once. On an open port the device
    // is asked and read back: false, with the reason in errorString(), when
    // it keeps another framing. A closed port checks at open.
    virtual bool setFraming(const SerFraming& framing);
    virtual int modemStatus() const;
    virtual int setRTS(bool on);
    virtual int setDTR(bool on);
    virtual int setBRK(bool on);
    virtual void causeReadyRead();
    // While on, readyWrite() comes once each time the device can take more
    // output; writes never block, so a writer with a backlog waits for it.
    virtual void setWriteNotification(bool on);

    QString device() const;
    int speed() const;
    int handshake() const;
    int parity() const;
    SerFraming framing() const;

    int getRTS() const { return modemStatus() & ModemRts; }
    int getCTS() const { return modemStatus() & ModemCts; }
    int getDTR() const { return modemStatus() & ModemDtr; }
    int getDSR() const { return modemStatus() & ModemDsr; }
    int getRI() const { return modemStatus() & ModemRi; }
    int getCD() const { return modemStatus() & ModemCd; }

Q_SIGNALS:
    void readyWrite();
    // reason: "Device disconnected" or the system's text for the error.
    void hungUp(const QString& reason);

protected:
    SerSerialPort(std::unique_ptr<pSerSerialPortData> data, QObject* parent);

    std::unique_ptr<pSerSerialPortData> m_data;
};
