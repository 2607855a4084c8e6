// SPDX-License-Identifier: MIT
#pragma once

// Prints the traffic of a BiS bus on which this program only listens. Bytes
// of both directions arrive interleaved through receive(); queries and
// answers are recognised by the same rules as BiSProtocol (stuffing,
// address modes, CRC), and every frame becomes one line such as
//   query ctl 89 type 34 seq 01 dst 5 src 0 | 01 02 | CRC ok | end
// Bytes outside frames get lines of their own ("noise 41 42") so that line
// noise stays visible.

#include <QByteArray>
#include <QObject>
#include <QString>

class BiSTrace : public QObject
{
    Q_OBJECT
public:
    explicit BiSTrace(QObject* parent = nullptr);

    void receive(const QByteArray& bytes);
    void receive(const void* data, unsigned len);
    // Ends the current line and forgets a half-read frame.
    void reset();

Q_SIGNALS:
    // The current line as far as it is built, again after every received
    // chunk that adds to it, so that a frame in progress is visible at once.
    void trace(const QString& line);
    // The current line is complete.
    void next();
    // A frame with a good CRC, with its addresses and payload.
    void qrv16(int src, int dst, const QByteArray& payload);

private:
    enum State { Idle, Control, Sequence, Addresses, Data };

    void receiveByte(unsigned char byte);
    void startFrame(unsigned char marker);
    void endFrame();
    void abortFrame(const QString& reason);
    void showPayload(qsizetype upTo);
    void noise(unsigned char byte);
    void endLine();
    void showLine();

    State m_state = Idle;
    bool m_lineopen = false;
    int m_noisecount = 0;
    unsigned m_escapecount = 0;
    unsigned m_addressmode = 0;
    unsigned m_addressbytes = 0;
    quint32 m_destination = 0;
    quint32 m_source = 0;
    quint16 m_crc = 0xFFFF;
    // Registers before the last and the second-to-last data byte: the
    // latter is what the sender's CRC was computed from.
    quint16 m_crcbeforetail[2] = {0xFFFF, 0xFFFF};
    // Unstuffed bytes after the addresses: payload and, at the end, the CRC.
    QByteArray m_data;
    // Payload bytes printed so far; the last two are held back until the
    // end marker tells whether they are the CRC.
    qsizetype m_shown = 0;
    QString m_line;
    // Length of the line when it was last shown.
    qsizetype m_shownline = 0;
    // Where the last run of payload bytes ends in the line.
    qsizetype m_payloadrunend = 0;
};
