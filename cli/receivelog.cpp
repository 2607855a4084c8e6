// SPDX-License-Identifier: MIT
#include "cli/receivelog.h"

#include "cli/console.h"
#include "files/logrecord.h"
#include "qrv16/messagewriter.h"
#include "trace/stylecolor.h"

#include <QCoreApplication>
#include <QFile>
#include <QTimer>

namespace {

std::unique_ptr<QFile> create(const QString& path, QString* error)
{
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = QStringLiteral("%1: %2").arg(path, file->errorString());
        return nullptr;
    }
    return file;
}

} // namespace

ReceiveLog::ReceiveLog(const QRV16::TagDataLut* tags, QObject* parent)
    : QObject(parent), m_tags(tags), m_flushTimer(new QTimer(this))
{
    m_flushTimer->setInterval(FlushMilliseconds);
    m_flushTimer->setSingleShot(true);
    connect(m_flushTimer, &QTimer::timeout, this, &ReceiveLog::flush);
}

ReceiveLog::~ReceiveLog()
{
    close();
}

bool ReceiveLog::openCsv(const QString& path, QString* error)
{
    m_csv = create(path, error);
    return m_csv != nullptr;
}

bool ReceiveLog::openPcapng(const QString& path, QString* error)
{
    m_pcapng = create(path, error);
    if (!m_pcapng)
        return false;
    const QString application =
        QCoreApplication::applicationName() + QLatin1Char(' ') + QCoreApplication::applicationVersion();
    if (!m_writer.begin(m_pcapng.get(), application.trimmed())) {
        *error = QStringLiteral("%1: %2").arg(path, m_writer.errorString());
        m_pcapng.reset();
        return false;
    }
    return true;
}

void ReceiveLog::failed(const QFile& file)
{
    if (!m_failed)
        Console::errorLine(file.fileName(), file.errorString());
    m_failed = true;
}

void ReceiveLog::record(const QRV16::Message& message, const QDateTime& time, int channel, int src, int dst)
{
    if (m_csv) {
        // As the window traces a received message: labelled by its channel,
        // in the channel's received-message colour.
        const QString text = QRV16::MessageWriter(m_tags, QRV16::TextOptions()).toText(message);
        const QByteArray line =
            LogRecord::format(time, QString::number(channel), text,
                              channelColor(ColorMessageRx1, channel), src, dst)
                .toUtf8();
        if (m_csv->write(line) != line.size())
            failed(*m_csv);
    }
    if (m_pcapng && !m_writer.write(pcapngPacket(message, time, channel, src, dst)))
        failed(*m_pcapng);
    if (!m_flushTimer->isActive())
        m_flushTimer->start();
}

QRV16::PcapngWriter::Packet ReceiveLog::pcapngPacket(const QRV16::Message& message, const QDateTime& time,
                                                      int channel, int src, int dst)
{
    QRV16::PcapngWriter::Packet packet;
    packet.time = time;
    packet.channel = channel;
    packet.direction = QRV16::PcapngWriter::Received;
    packet.kind = QRV16::PcapngWriter::MessageBytes;
    if (src >= 0)
        packet.source = quint32(src);
    if (dst >= 0)
        packet.destination = quint32(dst);
    packet.data = message.bytes();
    return packet;
}

void ReceiveLog::flush()
{
    for (QFile* file : {m_csv.get(), m_pcapng.get()}) {
        if (file && !file->flush())
            failed(*file);
    }
}

bool ReceiveLog::close()
{
    m_flushTimer->stop();
    flush();
    for (std::unique_ptr<QFile>* file : {&m_csv, &m_pcapng}) {
        if (*file) {
            (*file)->close();
            file->reset();
        }
    }
    return !m_failed;
}
