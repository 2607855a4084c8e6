// SPDX-License-Identifier: MIT
#include "trace/channel.h"

#include "trace/tracemodel.h"

#include "connection/bistrace.h"
#include "connection/connection.h"
#include "connection/ltd16trace.h"
#include "connection/ltdtrace.h"
#include "qrv16/messageparser.h"


namespace {

constexpr int DumpWidth = 16;

// "0010: 41 42 43 44 45 46 47 48  49 4A 4B 4C 4D 4E 4F 50  ABCDEFGHIJKLMNOP"
QString dumpLine(const char* bytes, int count, int offset)
{
    static const char digits[] = "0123456789ABCDEF";
    QString line = QString::asprintf("%04X:", unsigned(offset));
    line.reserve(6 + DumpWidth * 3 + 3 + DumpWidth);
    for (int i = 0; i < DumpWidth; ++i) {
        line += QLatin1Char(' ');
        if (i == DumpWidth / 2)
            line += QLatin1Char(' ');
        if (i < count) {
            const auto c = uchar(bytes[i]);
            line += QLatin1Char(digits[c >> 4]);
            line += QLatin1Char(digits[c & 15]);
        } else {
            line += QLatin1String("  ");
        }
    }
    line += QLatin1String("  ");
    for (int i = 0; i < count; ++i) {
        const auto c = uchar(bytes[i]);
        line += c >= 0x20 && c < 0x7F ? QLatin1Char(char(c)) : QLatin1Char('.');
    }
    return line;
}

} // namespace

Channel::Channel(int number, QObject* parent)
    : MessagePort(number, parent),
      m_label(QString::number(number)),
      m_connection(new Connection(this)),
      m_rawRx(channelColor(ColorRawRx1, number)),
      m_rawTx(channelColor(ColorRawTx1, number)),
      m_messageRx(channelColor(ColorMessageRx1, number)),
      m_messageTx(channelColor(ColorMessageTx1, number)),
      m_hexRx(channelColor(ColorHexRx1, number)),
      m_hexTx(channelColor(ColorHexTx1, number))
{
    m_settings.restoreFromSettings(settingsGroup(number), &m_settingsWarnings);
    QObject::connect(m_connection, &Connection::message, this, &Channel::connectionMessage);
    QObject::connect(m_connection, &Connection::blockStarted, this, &Channel::blockStarted);
    QObject::connect(m_connection, &Connection::rawReceived, this, &Channel::rawReceive);
    QObject::connect(m_connection, &Connection::rawSent, this, &Channel::rawSend);
    QObject::connect(m_connection, &Connection::received, this, &Channel::receive);
    QObject::connect(m_connection, qOverload<const QString&>(&Connection::trace), this, &Channel::onTrace);
    QObject::connect(m_connection, &Connection::traceNext, this, &Channel::onTraceNext);
    QObject::connect(m_connection, &Connection::stateChanged, this, &Channel::stateChanged);
    m_connection->setSettings(m_settings);
    choosePrinter();
}

Channel::~Channel()
{
    // The connection's last words ("Serial port closed") must not reach a
    // model that may already be gone.
    QObject::disconnect(m_connection, nullptr, this, nullptr);
    m_connection->close();
}

QString Channel::settingsGroup(int number)
{
    return QStringLiteral("Connection") + QString::number(number);
}

void Channel::setSettings(const ConnectionSettings& settings)
{
    m_settings = settings;
    m_settings.saveToSettings(settingsGroup(number()));
    m_connection->setSettings(m_settings);
    choosePrinter();
}

void Channel::choosePrinter()
{
    if (m_settings.rawPrinter() == m_printerkind)
        return;
    resetPrinter();
    for (int i = 0; i < 2; ++i) {
        delete m_bisprinter[i];
        delete m_elementprinter[i];
        m_bisprinter[i] = nullptr;
        m_elementprinter[i] = nullptr;
    }
    m_printerkind = m_settings.rawPrinter();
    for (int i = 0; i < 2; ++i) {
        switch (m_printerkind) {
        case ConnectionSettings::BiSPrinter:
            m_bisprinter[i] = new BiSTrace(this);
            QObject::connect(m_bisprinter[i], &BiSTrace::trace, this, &Channel::onPrinterLine);
            QObject::connect(m_bisprinter[i], &BiSTrace::next, this, &Channel::onPrinterNext);
            break;
        case ConnectionSettings::LTDPrinter:
        case ConnectionSettings::LTD16Printer:
            if (m_printerkind == ConnectionSettings::LTDPrinter)
                m_elementprinter[i] = new LTDTrace(this);
            else
                m_elementprinter[i] = new LTD16Trace(this);
            QObject::connect(m_elementprinter[i], &ElementTrace::trace, this, &Channel::onPrinterLine);
            QObject::connect(m_elementprinter[i], &ElementTrace::next, this, &Channel::onPrinterNext);
            break;
        default:
            m_printerkind = ConnectionSettings::HexPrinter;
            break;
        }
    }
}

void Channel::resetPrinter()
{
    for (int i = 0; i < 2; ++i) {
        if (m_bisprinter[i])
            m_bisprinter[i]->reset();
        if (m_elementprinter[i])
            m_elementprinter[i]->reset();
    }
}

void Channel::onPrinterLine(const QString& text)
{
    if (m_model)
        growLine(inbound().pendingPrinterLine, QStringLiteral(" Raw"), text, m_rawRx);
}

void Channel::onPrinterNext()
{
    endLine(inbound().pendingPrinterLine);
}

void Channel::setModel(TraceModel* model)
{
    m_model = model;
    clearLastData();
    for (Inbound* in : {&m_live, &m_replayed}) {
        in->pendingTrace = QPersistentModelIndex();
        in->pendingPrinterLine = QPersistentModelIndex();
    }
    // Found before there was a trace to show them in.
    if (m_model) {
        for (const QString& warning : std::as_const(m_settingsWarnings))
            appendLine(m_label + QLatin1String(" Con"), warning, ColorError);
        m_settingsWarnings.clear();
    }
}

void Channel::setColors(StyleColor rawRx, StyleColor rawTx, StyleColor messageRx, StyleColor messageTx,
                        StyleColor hexRx, StyleColor hexTx)
{
    m_rawRx = rawRx;
    m_rawTx = rawTx;
    m_messageRx = messageRx;
    m_messageTx = messageTx;
    m_hexRx = hexRx;
    m_hexTx = hexTx;
}

bool Channel::tooOld(const QModelIndex& index) const
{
    if (!index.isValid() || !m_model)
        return true;
    // Counted in the line's own part: live lines held behind a replay
    // count among themselves.
    const int after = m_model->linesAfter(index);
    return after < 0 || after >= 2;
}

void Channel::clearLastData()
{
    for (Inbound* in : {&m_live, &m_replayed}) {
        in->lastBytes.clear();
        in->lastSrc = -1;
        in->lastDst = -1;
        in->lastLine = QPersistentModelIndex();
    }
    m_lastTx.clear();
    m_lastTxLine = QPersistentModelIndex();
}

void Channel::connect()
{
    m_connection->connect();
}

void Channel::disconnect()
{
    m_connection->disconnect();
}

void Channel::toggleConnected()
{
    m_connection->toggleConnected();
}

bool Channel::sendMessage(const QString& text, const QString& origin)
{
    QRV16::MessageParser parser(m_model ? m_model->tags() : nullptr);
    const QList<QRV16::Message> messages = parser.parseList(text);
    if (parser.hasError()) {
        const QString report = parser.errorReport();
        appendLine(m_label + QLatin1String(" Err"),
                   origin.isEmpty() ? report : origin + QLatin1String(": ") + report, ColorError);
        return false;
    }
    if (!linkUp())
        return false;
    for (const QRV16::Message& message : messages)
        sendMessage(message);
    return true;
}

bool Channel::isConnected() const
{
    return m_connection->isConnected();
}

bool Channel::linkUp()
{
    if (m_connection->isConnected())
        return true;
    // Traced in the sent colour, it would look as if it had left.
    appendLine(m_label + QLatin1String(" Err"), tr("Not connected: nothing sent"), ColorError);
    return false;
}

void Channel::sendMessage(const QRV16::Message& message, const QString& note)
{
    if (!linkUp())
        return;
    const QByteArray& bytes = message.bytes();
    if (m_options.test(TraceOptions::HideDuplicates) && bytes == m_lastTx && !tooOld(m_lastTxLine)) {
        m_model->count(m_lastTxLine);
    } else {
        m_lastTx = bytes;
        // Bus addresses mean something only on a BiS link.
        const bool bus = m_settings.mode() == ConnectionSettings::SerialMode && m_settings.bisEnabled();
        m_lastTxLine = traceMessage(bus ? m_connection->sourceAddress() : -1,
                                    bus ? m_connection->destinationAddress() : -1, message,
                                    m_messageTx);
        if (!note.isEmpty() && m_model)
            m_model->setNote(m_lastTxLine, note);
    }
    send(bytes);
}

void Channel::send(const QByteArray& bytes)
{
    if (!linkUp())
        return;
    if (m_options.test(TraceOptions::TraceMessageBytes))
        memdump(m_label + QLatin1String(" Hex"), bytes, m_hexTx);
    m_connection->send(bytes);
}

bool Channel::busTraceMode() const
{
    return m_settings.mode() == ConnectionSettings::SerialMode && m_settings.bisEnabled() &&
           m_settings.bisMode() == ConnectionSettings::BiSTraceMode;
}

bool Channel::paused() const
{
    // A replay is asked for: the pause is for live input.
    return m_options.test(TraceOptions::Pause) && !m_replaying;
}

void Channel::receive(int src, int dst, const QByteArray& bytes)
{
    if (m_replaying) {
        collect(m_replayed, src, dst, bytes);
        return;
    }
    // Relayed before the display rules: pausing the display must not
    // starve the other peer.
    if (m_options.test(TraceOptions::LinkChannels) && m_linked && m_linked->connection()->isConnected())
        m_linked->connection()->send(bytes);
    if (m_options.test(TraceOptions::Pause)) {
        // Nothing received during a pause is shown, not even the start of
        // a message that ends after it.
        m_live.collector.reset();
        return;
    }
    collect(m_live, src, dst, bytes);
}

void Channel::collect(Inbound& in, int src, int dst, const QByteArray& bytes)
{
    const bool live = &in == &m_live;
    in.collector.append(bytes);
    while (in.collector.hasMessage()) {
        const QRV16::Message message = in.collector.nextMessage();
        const QByteArray& data = message.bytes();
        if (live)
            Q_EMIT received(message);
        // On a bus the trace printer shows the bytes already.
        if (m_options.test(TraceOptions::TraceMessageBytes) && !busTraceMode())
            memdump(m_label + QLatin1String(" Hex"), data, m_hexRx);
        if (m_options.test(TraceOptions::HideDuplicates) && src == in.lastSrc && dst == in.lastDst &&
            data == in.lastBytes && !tooOld(in.lastLine)) {
            m_model->count(in.lastLine);
            continue;
        }
        in.lastBytes = data;
        in.lastSrc = src;
        in.lastDst = dst;
        in.lastLine = traceMessage(src, dst, message, m_messageRx);
    }
}

void Channel::replay(const QDateTime& time, const QByteArray& bytes)
{
    if (m_model)
        m_model->setReplayTime(time);
    m_replaying = true;
    m_connection->replayReceive(bytes);
    m_replaying = false;
    if (m_model)
        m_model->setReplayTime(QDateTime());
}

QModelIndex Channel::traceMessage(int src, int dst, const QRV16::Message& message, StyleColor color)
{
    if (!m_model)
        return QModelIndex();
    const QModelIndex index = m_model->append(m_label, message, color, QDateTime(), src, dst);
    announce(index);
    return index;
}

void Channel::memdump(const QString& source, const QByteArray& bytes, StyleColor color)
{
    for (int offset = 0; offset < bytes.size(); offset += DumpWidth) {
        const int count = int(qMin<qsizetype>(DumpWidth, bytes.size() - offset));
        appendLine(source, dumpLine(bytes.constData() + offset, count, offset), color);
    }
}

void Channel::connectionMessage(const QString& text)
{
    appendLine(m_label + QLatin1String(" Con"), text, ColorText);
}

void Channel::blockStarted()
{
    // A block starts a fresh stream: a new peer, or a bus frame that holds
    // whole messages. What is left of the last one would only garble it.
    inbound().collector.reset();
}

void Channel::traceRaw(const QByteArray& bytes, StyleColor color)
{
    if (!m_options.test(TraceOptions::TraceRaw) || paused() || bytes.isEmpty())
        return;
    appendLine(m_label + QLatin1String(" Raw"), QString::fromLatin1(bytes.toHex(' ').toUpper()), color);
}

void Channel::rawReceive(const QByteArray& bytes)
{
    if (m_printerkind == ConnectionSettings::HexPrinter) {
        traceRaw(bytes, m_rawRx);
        return;
    }
    if (!m_options.test(TraceOptions::TraceRaw) || bytes.isEmpty())
        return;
    const int which = m_replaying ? 1 : 0;
    if (paused()) {
        // What arrives after the pause does not continue the frame before it.
        if (m_bisprinter[which])
            m_bisprinter[which]->reset();
        if (m_elementprinter[which])
            m_elementprinter[which]->reset();
        return;
    }
    if (ElementTrace* printer = m_elementprinter[which])
        printer->setDefinitions(m_model ? m_model->tags() : nullptr);
    if (m_bisprinter[which])
        m_bisprinter[which]->receive(bytes);
    else if (m_elementprinter[which])
        m_elementprinter[which]->receive(bytes);
}

void Channel::rawSend(const QByteArray& bytes)
{
    traceRaw(bytes, m_rawTx);
}

void Channel::onTrace(const QString& text)
{
    if (!m_model || paused() || !m_options.test(TraceOptions::TraceMessageBytes))
        return;
    growLine(inbound().pendingTrace, QStringLiteral(" Trace"), text, ColorText);
}

void Channel::onTraceNext()
{
    endLine(inbound().pendingTrace);
}

void Channel::growLine(QPersistentModelIndex& pending, const QString& suffix, const QString& text, StyleColor color)
{
    // A printer repeats its line as it grows: replace it in place rather
    // than inserting a new row per byte.
    if (pending.isValid()) {
        m_model->update(pending, text);
        return;
    }
    pending = m_model->appendUnannounced(m_label + suffix, text, color);
}

void Channel::endLine(QPersistentModelIndex& pending)
{
    const QModelIndex line = pending;
    pending = QPersistentModelIndex();
    if (line.isValid() && m_model) {
        m_model->announce(line);
        Q_EMIT appended(line);
    }
}

bool Channel::hasModemLines() const
{
    return m_connection->hasControlLines();
}

void Channel::disturb()
{
    if (!hasModemLines()) {
        appendLine(m_label + QLatin1String(" Err"), tr("No modem lines on this link: nothing disturbed"), ColorError);
        return;
    }
    m_connection->disturb();
    connectionMessage(tr("DISTURBANCE GENERATED"));
}

QModelIndex Channel::appendLine(const QString& source, const QString& text, StyleColor color)
{
    if (!m_model)
        return QModelIndex();
    const QModelIndex index = m_model->append(source, text, color);
    announce(index);
    return index;
}

void Channel::announce(const QModelIndex& index)
{
    if (index.isValid())
        Q_EMIT appended(index);
}
