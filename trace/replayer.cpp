// SPDX-License-Identifier: MIT
#include "trace/replayer.h"

#include "files/logrecord.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"

#include "qrv16/messageparser.h"

#include <QDateTime>
#include <QDir>
#include <QTimer>

#include <cstring>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

// Lines that fall off the trace's top during a long replay are freed among
// newer ones still held, and the C library keeps such memory for itself;
// without giving it back now and then, a replay of millions of lines grows
// the process well beyond what the trace keeps.
void giveBackFreedMemory()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

const char* const Log = "Log";

int recordNumber(const QStringList& fields, int index)
{
    bool ok = false;
    const int value = fields.value(index).toInt(&ok);
    return ok ? value : -1;
}

int nibble(QChar c)
{
    const ushort u = c.unicode();
    if (u >= '0' && u <= '9')
        return int(u - '0');
    if (u >= 'a' && u <= 'f')
        return int(u - 'a' + 10);
    if (u >= 'A' && u <= 'F')
        return int(u - 'A' + 10);
    return -1;
}

enum class HexText { Bytes, NotHex, Broken };

// Words of pairs of hexadecimal digits with white space between them. Any
// other text is a status text ("failed to listen", "Adapter ... found
// again"), however it starts; only a raw line whose first word is bytes
// and that stops being hex later is a broken record.
HexText parseHexPairs(const QString& text, bool rawLine, QByteArray* bytes)
{
    bytes->clear();
    bytes->reserve(text.size() / 2);
    bool firstWord = true;
    for (qsizetype i = 0; i < text.size();) {
        if (text.at(i).isSpace()) {
            ++i;
            continue;
        }
        qsizetype end = i;
        while (end < text.size() && !text.at(end).isSpace())
            ++end;
        bool pairs = (end - i) % 2 == 0;
        for (qsizetype k = i; pairs && k < end; ++k)
            pairs = nibble(text.at(k)) >= 0;
        if (!pairs)
            return rawLine && !firstWord ? HexText::Broken : HexText::NotHex;
        for (qsizetype k = i; k < end; k += 2)
            bytes->append(char(nibble(text.at(k)) << 4 | nibble(text.at(k + 1))));
        firstWord = false;
        i = end;
    }
    return bytes->isEmpty() ? HexText::NotHex : HexText::Bytes;
}

QString shortened(const QString& text)
{
    constexpr int Shown = 40;
    return text.size() > Shown ? text.left(Shown) + QStringLiteral("...") : text;
}

} // namespace

Replayer::Turn::Turn(TraceModel* model) : m_model(model), m_was(model && model->isBlockTurn())
{
    if (m_model)
        m_model->setBlockTurn(true);
}

Replayer::Turn::~Turn()
{
    if (m_model)
        m_model->setBlockTurn(m_was);
}

Replayer::Replayer(TraceModel* model, QObject* parent)
    : QObject(parent), m_model(model), m_slice(new QTimer(this))
{
    // Zero: one slice per event-loop turn, with input and painting between.
    m_slice->setInterval(0);
    connect(m_slice, &QTimer::timeout, this, &Replayer::runSlice);
}

Replayer::~Replayer()
{
    if (!m_model)
        return;
    // Live lines must neither stay held nor pass for replayed ones.
    m_model->setReplayOrigin(QString(), 0);
    if (isRunning())
        m_model->endBlock();
}

void Replayer::setChannels(Channel* first, Channel* second, Channel* fallback)
{
    m_first = first;
    m_second = second;
    m_fallback = fallback;
}

qint64 Replayer::done() const
{
    return m_mode == HexDump ? (m_file.isOpen() ? m_file.pos() : 0) : m_lines;
}

qint64 Replayer::total() const
{
    return m_mode == HexDump ? m_file.size() : m_lineTotal;
}

bool Replayer::start(const QString& path, Mode mode)
{
    if (isRunning()) {
        Q_EMIT message(tr("A replay is running already"), ColorError);
        return false;
    }
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::ReadOnly)) {
        Q_EMIT message(m_file.errorString(), ColorError);
        return false;
    }
    m_mode = mode;
    m_counting = mode == LogFile;
    m_lines = m_linesAtTrim = m_lineTotal = m_counted = m_bad = m_lineNumber = 0;
    m_skipping = false;
    m_model->beginBlock();
    Turn turn(m_model);
    m_model->appendSeparator();
    const QString native = QDir::toNativeSeparators(path);
    Q_EMIT message(mode == LogFile ? tr("Replay of file %1").arg(native)
                                   : tr("Replay hex dump of file %1").arg(native),
                   ColorText);
    m_slice->start();
    return true;
}

void Replayer::cancel()
{
    if (!isRunning())
        return;
    Turn turn(m_model);
    Q_EMIT message(
        m_mode == LogFile
            ? tr("Replay cancelled after %1 of %2 lines").arg(m_lines).arg(m_lineTotal)
            : tr("Replay cancelled after %1 of %2 bytes").arg(m_file.pos()).arg(m_file.size()),
        ColorText);
    finish(false);
}

void Replayer::finish(bool completed)
{
    m_slice->stop();
    m_file.close();
    {
        Turn turn(m_model);
        setOrigin(0);
        if (m_bad > ReportLimit)
            Q_EMIT message(tr("%1 more bad records not shown").arg(m_bad - ReportLimit), ColorError);
        m_model->appendSeparator();
    }
    m_model->endBlock();
    giveBackFreedMemory();
    Q_EMIT finished(completed);
}

void Replayer::setOrigin(qint64 line)
{
    if (m_model)
        m_model->setReplayOrigin(line > 0 ? m_file.fileName() : QString(), line);
}

void Replayer::reportBad(const QString& reason)
{
    ++m_bad;
    if (m_bad > ReportLimit)
        return;
    // The report is the program's, not a replayed line.
    setOrigin(0);
    Q_EMIT message(tr("Line %1: %2").arg(m_lineNumber).arg(reason), ColorError);
    setOrigin(m_lineNumber);
}

bool Replayer::countSlice(const QElapsedTimer& clock)
{
    constexpr qint64 Block = 1 << 20;
    QByteArray block(Block, Qt::Uninitialized);
    while (clock.elapsed() < SliceMilliseconds) {
        const qint64 n = m_file.read(block.data(), Block);
        if (n <= 0) {
            m_lineTotal = m_counted;
            m_counting = false;
            return m_file.seek(0);
        }
        for (const char *p = block.constData(), *end = p + n;
             (p = static_cast<const char*>(std::memchr(p, '\n', size_t(end - p)))); ++p)
            ++m_counted;
        // A last line without a line feed counts too.
        if (m_file.atEnd() && block.at(n - 1) != '\n')
            ++m_counted;
    }
    return true;
}

Replayer::Read Replayer::readRecord(QByteArray* record, const QElapsedTimer& clock)
{
    while (!m_file.atEnd()) {
        *record = m_file.readLine(LineLimit + 1);
        const bool ended = record->endsWith('\n') || m_file.atEnd();
        if (m_skipping || !ended) {
            // Skipped a megabyte at a time with the clock watched: a 100 MB
            // line must not hold the window either.
            m_skipping = !ended;
            if (ended) {
                ++m_lineNumber;
                return TooLong;
            }
            if (clock.elapsed() >= SliceMilliseconds)
                return Wait;
            continue;
        }
        ++m_lineNumber;
        return Line;
    }
    return End;
}

void Replayer::runSlice()
{
    QElapsedTimer clock;
    clock.start();
    if (m_counting) {
        if (!countSlice(clock)) {
            Q_EMIT message(m_file.errorString(), ColorError);
            finish(false);
        }
        Q_EMIT progress(done(), total());
        return;
    }
    QByteArray record;
    bool more = true;
    QPointer<Replayer> alive(this);
    {
        Turn turn(m_model);
        while (clock.elapsed() < SliceMilliseconds) {
            const Read read = readRecord(&record, clock);
            if (read == Wait)
                break;
            if (read == End) {
                more = false;
                break;
            }
            ++m_lines;
            if (read == TooLong) {
                reportBad(tr("longer than %1 bytes, skipped").arg(LineLimit));
                continue;
            }
            // Every record is written with its line end: a last one without
            // it was cut (the window killed mid-write), and its text with it.
            if (m_mode == LogFile && !record.endsWith('\n')) {
                reportBad(tr("cut short, skipped"));
                continue;
            }
            setOrigin(m_lineNumber);
            const QString text = QString::fromUtf8(record);
            if (m_mode == LogFile)
                replayLogRecord(text);
            else
                replayHexRecord(text);
            if (!alive)
                return;
            setOrigin(0);
        }
    }
    Q_EMIT progress(done(), total());
    if (m_lines - m_linesAtTrim >= TrimLines) {
        m_linesAtTrim = m_lines;
        giveBackFreedMemory();
    }
    if (!more)
        finish(true);
}

QDateTime Replayer::recordTime(const QString& field)
{
    // "2011-03-04T10:20:30.045": the first 19 characters, then milliseconds.
    // Records come many to a second: the second is converted once.
    const QStringView second = QStringView(field).left(19);
    if (second != m_timeSecond) {
        m_timeSecond = second.toString();
        const QDateTime time = QDateTime::fromString(m_timeSecond, Qt::ISODate);
        m_timeSecondValid = time.isValid();
        m_timeSecondMs = m_timeSecondValid ? time.toMSecsSinceEpoch() : 0;
    }
    if (!m_timeSecondValid)
        return QDateTime();
    return QDateTime::fromMSecsSinceEpoch(m_timeSecondMs + QStringView(field).mid(20, 3).toInt());
}

bool Replayer::splitRecord(const QString& record, Record* out)
{
    out->fields = LogRecord::split(record);
    if (out->fields.isEmpty())
        return false;
    if (out->fields.size() < 3) {
        reportBad(tr("not a log record: %1").arg(shortened(record.trimmed())));
        return false;
    }
    out->time = recordTime(out->fields.at(0));
    if (!out->time.isValid() && !out->fields.at(0).isEmpty())
        reportBad(tr("unreadable time %1").arg(shortened(out->fields.at(0))));
    out->color = StyleColor(recordNumber(out->fields, 3));
    return true;
}

void Replayer::replayLogRecord(const QString& text)
{
    Record record;
    if (!splitRecord(text, &record))
        return;
    const QString& from = record.fields.at(1);
    const QString& notation = record.fields.at(2);
    if (!notation.isEmpty()) {
        // The tables of now: definitions loaded during the replay count.
        QRV16::MessageParser parser(m_model->tags());
        const QList<QRV16::Message> messages = parser.parseList(notation);
        if (!messages.isEmpty() && !parser.hasError()) {
            const int src = recordNumber(record.fields, 4);
            const int dst = recordNumber(record.fields, 5);
            for (const QRV16::Message& msg : messages)
                m_model->append(from, msg, record.color, record.time, src, dst);
            return;
        }
        // A channel's message line that no longer reads (a value out of
        // range, a name the definitions lack) is said, and kept as text.
        if (from == QLatin1String("1") || from == QLatin1String("2")) {
            const QString hint = parser.errorHint();
            reportBad(tr("%1 at column %2 of \"%3\"%4")
                          .arg(parser.errorMessage())
                          .arg(parser.errorStart() + 1)
                          .arg(shortened(notation), hint.isEmpty() ? QString() : QLatin1String("; ") + hint));
        }
    }
    m_model->append(from, notation, record.color, record.time);
}

Channel* Replayer::channelOf(const QString& source) const
{
    const int number = QStringView(source).left(source.indexOf(QLatin1Char(' '))).toInt();
    Channel* channel = number == 1 ? m_first.data() : number == 2 ? m_second.data() : nullptr;
    return channel ? channel : m_fallback.data();
}

void Replayer::replayHexRecord(const QString& text)
{
    Record record;
    if (!splitRecord(text, &record))
        return;
    const QString& from = record.fields.at(1);
    const QString& bytesText = record.fields.at(2);
    const bool byteLine =
        from.endsWith(QLatin1String(" Con")) || from.endsWith(QLatin1String(" Raw"));
    Channel* target = byteLine ? channelOf(from) : nullptr;
    // Bytes that were sent come back as what they were, not as input.
    const bool sent = target && record.color == channelColor(ColorRawTx1, target->number());
    QByteArray bytes;
    if (target && !sent) {
        switch (parseHexPairs(bytesText, from.endsWith(QLatin1String(" Raw")), &bytes)) {
        case HexText::Bytes:
            target->replay(record.time, bytes);
            return;
        case HexText::Broken:
            reportBad(tr("not hexadecimal bytes: %1").arg(shortened(bytesText)));
            return;
        case HexText::NotHex:
            break;
        }
    }
    m_model->append(from, bytesText, record.color, record.time);
}
