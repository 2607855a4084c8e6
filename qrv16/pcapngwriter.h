// SPDX-License-Identifier: MIT
#pragma once

// Writes traced traffic as a pcapng capture that Wireshark and tshark open.
// One section with one interface of link type USER0 (147); every packet is
// a 12-byte header followed by the bytes as they travelled:
//
//   offset 0   version, 1
//   offset 1   kind: 0 a QRV16 message, 1 raw bytes of a line
//   offset 2   direction: 0 received, 1 sent
//   offset 3   channel, 1 or 2
//   offset 4   source bus address, 32-bit big-endian, 0xFFFFFFFF for none
//   offset 8   destination bus address, the same way
//
// Each packet also carries a comment that says the same in words. The
// dissector written by `korv generate --lang wireshark` reads this header.

#include <QByteArray>
#include <QDateTime>
#include <QString>

class QIODevice;

namespace QRV16 {

class PcapngWriter
{
public:
    static constexpr quint16 LinkType = 147;
    static constexpr int HeaderSize = 12;
    static constexpr quint32 NoAddress = 0xFFFFFFFF;

    enum Kind { MessageBytes = 0, RawBytes = 1 };
    enum Direction { Received = 0, Sent = 1 };

    struct Packet
    {
        QDateTime time;
        int channel = 1;
        Direction direction = Received;
        Kind kind = MessageBytes;
        quint32 source = NoAddress;
        quint32 destination = NoAddress;
        QByteArray data;
    };

    // Starts the capture on an open device: section header and interface.
    bool begin(QIODevice* device, const QString& application);
    // Appends one packet; begin() must have succeeded.
    bool write(const Packet& packet);
    QString errorString() const { return m_error; }

    static QByteArray header(const Packet& packet);
    // "channel 1, sent, message, src 5, dst 0"; addresses only when known.
    static QString comment(const Packet& packet);

private:
    bool put(const QByteArray& block);

    QIODevice* m_device = nullptr;
    QString m_error;
};

} // namespace QRV16
