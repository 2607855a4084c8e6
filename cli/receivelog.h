// SPDX-License-Identifier: MIT
#pragma once

// What `korv listen` keeps of the messages it receives: a CSV log in the
// window's format, which the window replays, and a pcapng capture as the
// window exports it. Files are flushed at most a second after a write and
// when closed, not per message.

#include "qrv16/message.h"
#include "qrv16/pcapngwriter.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <memory>

class QFile;
class QTimer;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

class ReceiveLog : public QObject
{
    Q_OBJECT

public:
    static constexpr int FlushMilliseconds = 1000;

    // `tags` names the log's messages; may be null, not owned.
    explicit ReceiveLog(const QRV16::TagDataLut* tags, QObject* parent = nullptr);
    ~ReceiveLog() override;

    // Replace any file of that name. False with the file's error in `error`.
    bool openCsv(const QString& path, QString* error);
    bool openPcapng(const QString& path, QString* error);

    // A message received on `channel` (1 or 2); src and dst -1 when none.
    void record(const QRV16::Message& message, const QDateTime& time, int channel, int src, int dst);
    // Flushes and closes; false when a write failed on the way.
    bool close();

    // The capture packet of a received message, as record() writes it.
    static QRV16::PcapngWriter::Packet pcapngPacket(const QRV16::Message& message, const QDateTime& time,
                                                    int channel, int src, int dst);

private:
    void flush();
    void failed(const QFile& file);

    const QRV16::TagDataLut* m_tags;
    std::unique_ptr<QFile> m_csv;
    std::unique_ptr<QFile> m_pcapng;
    QRV16::PcapngWriter m_writer;
    QTimer* m_flushTimer; // Owned (child).
    bool m_failed = false;
};
