// SPDX-License-Identifier: MIT
#include "qrv16/message.h"

#include "qrv16/types.h"

#include <climits>
#include <cstring>

namespace QRV16 {

Message::Hook Message::encipher = nullptr;
Message::Hook Message::decipher = nullptr;

namespace {

inline unsigned readU16(const char* p)
{
    return unsigned(uchar(p[0])) | unsigned(uchar(p[1])) << 8;
}

inline quint32 readU32(const char* p)
{
    return quint32(uchar(p[0])) | quint32(uchar(p[1])) << 8 | quint32(uchar(p[2])) << 16 |
           quint32(uchar(p[3])) << 24;
}

// Unsigned little-endian, at most `limit` bytes taken.
inline quint64 readLE(const char* p, int size, int limit)
{
    const int n = size < limit ? size : limit;
    quint64 v = 0;
    for (int i = n - 1; i >= 0; --i)
        v = v << 8 | uchar(p[i]);
    return v;
}

inline char* putLE(char* p, quint64 v, int bytes)
{
    for (int i = 0; i < bytes; ++i, v >>= 8)
        *p++ = char(v & 0xFF);
    return p;
}

inline int significantBytes(quint64 v, int max)
{
    int n = max;
    while (n > 1 && ((v >> (8 * (n - 1))) & 0xFF) == 0)
        --n;
    return n;
}

inline bool fits16(int v)
{
    return v >= -32768 && v <= 32767;
}

const QTime midnight(0, 0);

constexpr quint64 msecsPerDay = 24ull * 3600 * 1000;
// 1970-01-01 to 1990-01-01.
constexpr qint64 daysBefore1990 = 7305;

QTime timeFromMilliseconds(quint64 ms)
{
    return QTime::fromMSecsSinceStartOfDay(int(ms % msecsPerDay));
}

} // namespace

// ---------------------------------------------------------------- Iterator

Message::Iterator::Iterator(const Message* message, int start, int end)
    : m_message(message), m_start(start), m_pos(start), m_end(end)
{
    // Never let a range reach past the buffer it walks.
    const int size = message ? message->size() : 0;
    if (m_end > size)
        m_end = size;
}

bool Message::Iterator::isValid() const
{
    return m_message && m_start <= m_pos && m_pos < m_end;
}

void Message::Iterator::rewind()
{
    if (m_pos >= 0)
        m_pos = m_start;
}

void Message::Iterator::die()
{
    m_start = 0;
    m_end = 0;
    m_pos = -1;
}

const char* Message::Iterator::deciphered(const char* header, int length, int* size) const
{
    m_deciphered = decipher(int(readU16(header + 2)),
                            QByteArray::fromRawData(header + 4, length - 2));
    if (!m_deciphered.isNull()) {
        // Detach from the raw view should the hook have returned it.
        m_deciphered.detach();
        *size = int(m_deciphered.size());
        return m_deciphered.constData();
    }
    *size = length - 2;
    return header + 4;
}

QByteArray Message::Iterator::getByteArray(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    if (ok)
        *ok = p != nullptr;
    return p ? QByteArray(p, size) : QByteArray();
}

QString Message::Iterator::getString(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    if (ok)
        *ok = p != nullptr;
    return p ? QString::fromUtf8(p, size) : QString();
}

bool Message::Iterator::dateTimeParts(quint32* days, int* msecs) const
{
    int size;
    const char* p = getData(&size);
    if (!p || size < 8) {
        *days = 0;
        *msecs = 0;
        return false;
    }
    *days = readU32(p);
    const quint32 seconds = readU32(p + 4);
    const unsigned ms = size >= 10 ? readU16(p + 8) : 0;
    *msecs = int((quint64(seconds) * 1000 + ms) % msecsPerDay);
    return true;
}

QDateTime Message::Iterator::getDateTime(bool* ok) const
{
    quint32 days;
    int msecs;
    const bool good = dateTimeParts(&days, &msecs);
    if (ok)
        *ok = good;
    if (!good)
        return QDateTime();
    const QDate date = daysSince1990ToDate(int(days));
    if (!date.isValid())
        return QDateTime();
    // Made from the instant, the local date-time skips the C library's
    // search for the offset; only on a day whose offset is one all day is
    // that instant the wall-clock time's.
    int offset = 0;
    if (isSteadyLocalDay(date, &offset)) {
        const qint64 local = (qint64(days) + daysBefore1990) * qint64(msecsPerDay) + msecs;
        return QDateTime::fromMSecsSinceEpoch(local - qint64(offset) * 1000, Qt::LocalTime);
    }
    return QDateTime(date, QTime::fromMSecsSinceStartOfDay(msecs));
}

QByteArrayView Message::Iterator::getPayload(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    if (ok)
        *ok = p != nullptr;
    return p ? QByteArrayView(p, size) : QByteArrayView();
}

QUtf8StringView Message::Iterator::getUtf8(bool* ok) const
{
    const QByteArrayView payload = getPayload(ok);
    return QUtf8StringView(payload.data(), payload.size());
}

int Message::Iterator::getDays(bool* ok) const
{
    quint32 days;
    int msecs;
    const bool good = dateTimeParts(&days, &msecs);
    if (ok)
        *ok = good;
    return int(days);
}

int Message::Iterator::getMSecsOfDay(bool* ok) const
{
    quint32 days;
    int msecs;
    const bool good = dateTimeParts(&days, &msecs);
    if (ok)
        *ok = good;
    return msecs;
}

qint64 Message::Iterator::getEpochMSecs(bool* ok) const
{
    quint32 days;
    int msecs;
    // Day 0 and the negative ones read as no date, as in getDateTime.
    const bool good = dateTimeParts(&days, &msecs) && int(days) > 0;
    if (ok)
        *ok = good;
    if (!good)
        return 0;
    return (daysBefore1990 + int(days)) * qint64(msecsPerDay) + msecs;
}

quint64 Message::Iterator::getBits(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    const bool good = p && size <= 8;
    if (ok)
        *ok = good;
    return good ? readLE(p, size, 8) : 0;
}

bool Message::Iterator::getBool(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    const bool good = p && size == 1;
    if (ok)
        *ok = good;
    return good && p[0] != 0;
}

int Message::Iterator::getInt(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    const bool good = p && size > 0;
    if (ok)
        *ok = good;
    return good ? int(quint32(readLE(p, size, 4))) : 0;
}

QTime Message::Iterator::getTime(bool* ok) const
{
    bool good;
    const quint32 seconds = quint32(getInt(&good));
    if (ok)
        *ok = good;
    return good ? timeFromMilliseconds(quint64(seconds) * 1000) : QTime();
}

QDate Message::Iterator::getDate(bool* ok) const
{
    bool good;
    const int days = getInt(&good);
    if (ok)
        *ok = good;
    return good ? daysSince1990ToDate(days) : QDate();
}

long long Message::Iterator::getInt64(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    const bool good = p && size > 0;
    if (ok)
        *ok = good;
    return good ? qint64(readLE(p, size, 8)) : 0;
}

QBitArray Message::Iterator::getBitArray(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    if (ok)
        *ok = p != nullptr;
    if (!p)
        return QBitArray();
    return QBitArray::fromBits(p, qsizetype(size) * 8);
}

IPv4 Message::Iterator::getIPAddress(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    const bool good = p && (size == 4 || size == 0);
    if (ok)
        *ok = good;
    IPv4 address;
    if (good && size == 4)
        address.fromBinary(p);
    return address;
}

QPair<int, int> Message::Iterator::getPair(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    const bool good = p && (size == 0 || size == 4 || size == 8);
    if (ok)
        *ok = good;
    if (!good || size == 0)
        return qMakePair(0, 0);
    if (size == 4)
        return qMakePair(int(qint16(readU16(p))), int(qint16(readU16(p + 2))));
    return qMakePair(int(readU32(p)), int(readU32(p + 4)));
}

QPoint Message::Iterator::getPoint(bool* ok) const
{
    const QPair<int, int> pair = getPair(ok);
    return QPoint(pair.first, pair.second);
}

QSize Message::Iterator::getSize(bool* ok) const
{
    const QPair<int, int> pair = getPair(ok);
    return QSize(pair.first, pair.second);
}

QRect Message::Iterator::getRect(bool* ok) const
{
    int size;
    const char* p = getData(&size);
    const bool good = p && (size == 0 || size == 8 || size == 16);
    if (ok)
        *ok = good;
    if (!good || size == 0)
        return QRect();
    int v[4];
    for (int i = 0; i < 4; ++i)
        v[i] = size == 8 ? int(qint16(readU16(p + 2 * i))) : int(readU32(p + 4 * i));
    QRect rect;
    if (!rectFromGeometry(v[0], v[1], v[2], v[3], &rect)) {
        if (ok)
            *ok = false;
    }
    return rect;
}

QList<int> Message::Iterator::getIntList(bool* ok, int width) const
{
    QList<int> list;
    int size = 0;
    const char* p = width >= 1 && width <= 4 ? getData(&size) : nullptr;
    if (ok)
        *ok = p != nullptr;
    if (!p)
        return list;
    const int count = size / width;
    list.reserve(count);
    for (int i = 0; i < count; ++i, p += width)
        list.append(int(quint32(readLE(p, width, width))));
    return list;
}

Message Message::Iterator::getMessage(bool* ok) const
{
    bool good = m_message && m_pos >= 0 && m_pos < m_end - 3;
    int length = 0;
    if (good) {
        length = int(readU16(m_message->m_data.constData() + m_pos));
        good = length >= 2 && m_pos + length + 2 <= m_end;
    }
    if (ok)
        *ok = good;
    if (!good)
        return Message();
    return Message(m_message->m_data.mid(m_pos, length + 2));
}

Message::Iterator Message::Iterator::getIterator(bool* ok) const
{
    if (m_message && m_pos >= 0 && m_pos < m_end - 4) {
        const int length = int(readU16(m_message->m_data.constData() + m_pos));
        if (length > 1 && m_pos + length + 2 <= m_end) {
            if (ok)
                *ok = true;
            return Iterator(m_message, m_pos + 4, m_pos + length + 2);
        }
    }
    if (ok)
        *ok = false;
    Iterator dead(m_message, 0, 0);
    dead.die();
    return dead;
}

QVariant Message::Iterator::get(bool* ok) const
{
    if (atEnd()) {
        if (ok)
            *ok = false;
        return QVariant();
    }
    bool good = false;
    QVariant v;
    switch (dataType(unsigned(tag()))) {
    case DataType::Binary: v = getByteArray(&good); break;
    case DataType::Integer: v = getInt(&good); break;
    case DataType::Bool: v = getBool(&good); break;
    case DataType::String: v = getString(&good); break;
    case DataType::Date: v = getDate(&good); break;
    case DataType::Time: v = getTime(&good); break;
    case DataType::DateTime: v = getDateTime(&good); break;
    case DataType::BitArray: v = getBitArray(&good); break;
    case DataType::ExtPoint: v = getPoint(&good); break;
    case DataType::ExtRect: v = getRect(&good); break;
    case DataType::ExtSize: v = getSize(&good); break;
    default: break;
    }
    if (!good)
        v = QVariant();
    if (ok)
        *ok = good;
    return v;
}

// ---------------------------------------------------------------- Message

void Message::clear()
{
    m_data.clear();
    m_stack.clear();
}

bool Message::isValid() const
{
    return m_data.size() >= 4 && qsizetype(readU16(m_data.constData())) + 2 == m_data.size();
}

int Message::tag() const
{
    return isValid() ? int(readU16(m_data.constData() + 2)) : -1;
}

Message::Iterator Message::topLevelIterator() const
{
    return Iterator(this, 0, size());
}

Message::Iterator Message::iterator() const
{
    return Iterator(this, 4, size());
}

Message::Iterator Message::find(int tag) const
{
    Iterator it = iterator();
    while (!it.atEnd() && it.tag() != tag)
        ++it;
    return it;
}

bool Message::contains(int tag) const
{
    return !find(tag).atEnd();
}

const char* Message::getData(int tag, int* size) const
{
    const Iterator it = find(tag);
    const char* p = it.getData(size);
    if (p && decipher) {
        // The iterator's copy dies with it; keep ours.
        m_deciphered = QByteArray(p, *size);
        return m_deciphered.constData();
    }
    return p;
}

QByteArray Message::getByteArray(int tag, bool* ok) const { return find(tag).getByteArray(ok); }
QString Message::getString(int tag, bool* ok) const { return find(tag).getString(ok); }
QDateTime Message::getDateTime(int tag, bool* ok) const { return find(tag).getDateTime(ok); }
QDate Message::getDate(int tag, bool* ok) const { return find(tag).getDate(ok); }
QTime Message::getTime(int tag, bool* ok) const { return find(tag).getTime(ok); }
bool Message::getBool(int tag, bool* ok) const { return find(tag).getBool(ok); }
int Message::getInt(int tag, bool* ok) const { return find(tag).getInt(ok); }
long long Message::getInt64(int tag, bool* ok) const { return find(tag).getInt64(ok); }
QBitArray Message::getBitArray(int tag, bool* ok) const { return find(tag).getBitArray(ok); }
IPv4 Message::getIPAddress(int tag, bool* ok) const { return find(tag).getIPAddress(ok); }
QPair<int, int> Message::getPair(int tag, bool* ok) const { return find(tag).getPair(ok); }
QPoint Message::getPoint(int tag, bool* ok) const { return find(tag).getPoint(ok); }
QRect Message::getRect(int tag, bool* ok) const { return find(tag).getRect(ok); }
QSize Message::getSize(int tag, bool* ok) const { return find(tag).getSize(ok); }
Message Message::getMessage(int tag, bool* ok) const { return find(tag).getMessage(ok); }
Message::Iterator Message::getIterator(int tag, bool* ok) const { return find(tag).getIterator(ok); }
QVariant Message::get(int tag, bool* ok) const { return find(tag).get(ok); }

QList<int> Message::getIntList(int tag, bool* ok, int width) const
{
    return find(tag).getIntList(ok, width);
}

void Message::beginMessage(int tag)
{
    m_stack.append(int(m_data.size()));
    const char header[4] = {2, 0, char(tag & 0xFF), char((tag >> 8) & 0xFF)};
    m_data.append(header, 4);
}

void Message::endMessage()
{
    if (m_stack.isEmpty())
        return;
    const int offset = m_stack.takeLast();
    putLE(m_data.data() + offset, quint64(m_data.size() - offset - 2), 2);
}

void Message::appendData(int tag, const void* data, int size)
{
    QByteArray filtered;
    if (encipher) {
        filtered = encipher(tag, QByteArray::fromRawData(static_cast<const char*>(data), size));
        if (!filtered.isNull()) {
            data = filtered.constData();
            size = int(filtered.size());
        }
    }
    // Header and a small payload in one append: most elements are small.
    char buf[4 + 28];
    putLE(putLE(buf, quint64(size + 2), 2), quint64(tag), 2);
    if (size > 0 && size <= int(sizeof buf) - 4) {
        std::memcpy(buf + 4, data, size_t(size));
        // resize() and a copy: append() goes through the general insert.
        const qsizetype at = m_data.size();
        m_data.resize(at + 4 + size);
        std::memcpy(m_data.data() + at, buf, size_t(4 + size));
        return;
    }
    m_data.append(buf, 4);
    if (size > 0)
        m_data.append(static_cast<const char*>(data), size);
}

void Message::appendByteArray(int tag, const QByteArray& data)
{
    appendData(tag, data.constData(), int(data.size()));
}

void Message::appendString(int tag, const QString& text)
{
    appendByteArray(tag, text.toUtf8());
}

void Message::appendDateTime(int tag, const QDateTime& dateTime, MillisecondsMode mode)
{
    const QTime time = dateTime.time();
    const quint32 days = quint32(dateToDaysSince1990(dateTime.date()));
    const quint32 seconds = time.isValid() ? quint32(midnight.secsTo(time)) : 0;
    const unsigned ms = time.isValid() ? unsigned(time.msec()) : 0;
    char buf[10];
    putLE(putLE(putLE(buf, days, 4), seconds, 4), ms, 2);
    appendData(tag, buf, ms != 0 || mode == MillisecondsAlways ? 10 : 8);
}

void Message::appendBool(int tag, bool value)
{
    const char b = value ? 1 : 0;
    appendData(tag, &b, 1);
}

void Message::appendInt(int tag, int value)
{
    char buf[4];
    putLE(buf, quint32(value), 4);
    appendData(tag, buf, significantBytes(quint32(value), 4));
}

void Message::appendTime(int tag, const QTime& time)
{
    appendInt(tag, time.isValid() ? midnight.secsTo(time) : 0);
}

void Message::appendDate(int tag, const QDate& date)
{
    appendInt(tag, dateToDaysSince1990(date));
}

void Message::appendInt64(int tag, long long value)
{
    char buf[8];
    putLE(buf, quint64(value), 8);
    appendData(tag, buf, significantBytes(quint64(value), 8));
}

void Message::appendBitArray(int tag, const QBitArray& bits)
{
    const int bytes = int((bits.size() + 7) / 8);
    QByteArray buf(bits.bits(), bytes);
    if (bits.size() % 8)
        buf[bytes - 1] = char(uchar(buf[bytes - 1]) & ((1u << (bits.size() % 8)) - 1));
    appendByteArray(tag, buf);
}

void Message::appendIPAddress(int tag, const IPv4& address)
{
    char buf[4];
    address.toBinary(buf);
    appendData(tag, buf, 4);
}

void Message::appendPair(int tag, const QPair<int, int>& pair)
{
    char buf[8];
    if (fits16(pair.first) && fits16(pair.second)) {
        putLE(putLE(buf, quint16(pair.first), 2), quint16(pair.second), 2);
        appendData(tag, buf, 4);
    } else {
        putLE(putLE(buf, quint32(pair.first), 4), quint32(pair.second), 4);
        appendData(tag, buf, 8);
    }
}

void Message::appendPoint(int tag, const QPoint& point)
{
    appendPair(tag, qMakePair(point.x(), point.y()));
}

void Message::appendSize(int tag, const QSize& size)
{
    appendPair(tag, qMakePair(size.width(), size.height()));
}

bool rectFromGeometry(int x, int y, int width, int height, QRect* rect)
{
    // QRect keeps edges and derives the sides in int: both must fit.
    const qint64 right = qint64(x) + width - 1;
    const qint64 bottom = qint64(y) + height - 1;
    const bool fits = right >= INT_MIN && right <= INT_MAX && bottom >= INT_MIN &&
                      bottom <= INT_MAX && width != INT_MIN && height != INT_MIN;
    *rect = fits ? QRect(QPoint(x, y), QPoint(int(right), int(bottom))) : QRect();
    return fits;
}

void Message::appendRect(int tag, const QRect& rect)
{
    // A rectangle spanning more than the int range has a side that wraps.
    const int v[4] = {rect.left(), rect.top(), int(quint32(qint64(rect.right()) - rect.left() + 1)),
                      int(quint32(qint64(rect.bottom()) - rect.top() + 1))};
    const bool narrow = fits16(v[0]) && fits16(v[1]) && fits16(v[2]) && fits16(v[3]);
    const int width = narrow ? 2 : 4;
    char buf[16];
    char* p = buf;
    for (int x : v)
        p = putLE(p, quint32(x), width);
    appendData(tag, buf, 4 * width);
}

void Message::appendIntList(int tag, const QList<int>& values, int width)
{
    if (width < 1 || width > 4)
        return;
    QByteArray buf(qsizetype(values.size()) * width, Qt::Uninitialized);
    char* p = buf.data();
    for (int v : values)
        p = putLE(p, quint32(v), width);
    appendByteArray(tag, buf);
}

void Message::appendMessage(int tag, const Message& message)
{
    appendByteArray(tag, message.m_data);
}

void Message::appendMessage(const Message& message)
{
    m_data.append(message.m_data);
}

void Message::append(int tag, const QVariant& value)
{
    switch (dataType(unsigned(tag))) {
    case DataType::Binary: appendByteArray(tag, value.toByteArray()); break;
    case DataType::Integer: appendInt(tag, value.toInt()); break;
    case DataType::Bool: appendBool(tag, value.toBool()); break;
    case DataType::String: appendString(tag, value.toString()); break;
    case DataType::Date: appendDate(tag, value.toDate()); break;
    case DataType::Time: appendTime(tag, value.toTime()); break;
    case DataType::DateTime: appendDateTime(tag, value.toDateTime(), MillisecondsAuto); break;
    case DataType::BitArray: appendBitArray(tag, value.toBitArray()); break;
    case DataType::ExtPoint: appendPoint(tag, value.toPoint()); break;
    case DataType::ExtRect: appendRect(tag, value.toRect()); break;
    case DataType::ExtSize: appendSize(tag, value.toSize()); break;
    default: break;
    }
}

} // namespace QRV16
