// SPDX-License-Identifier: MIT
#pragma once

// One QRV16 message in its wire format: a byte buffer holding exactly one
// element (2-byte length, 2-byte tag, payload), with builders that append
// elements and an Iterator that walks and decodes them.

#include "qrv16/ipv4.h"
#include "qrv16/types.h"

#include <QBitArray>
#include <QByteArray>
#include <QByteArrayView>
#include <QDate>
#include <QDateTime>
#include <QList>
#include <QPair>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>
#include <QTime>
#include <QUtf8StringView>
#include <QVariant>
#include <QVector>

namespace QRV16 {

class TagDataLut;

class Message
{
public:
    enum MillisecondsMode { MillisecondsAuto = 0, MillisecondsAlways = 1 };

    // Payload filter: gets the tag and the payload, returns the bytes to use
    // instead, or a null array to keep the payload as it is.
    using Hook = QByteArray (*)(int tag, const QByteArray& payload);
    static Hook encipher;
    static Hook decipher;

    // Walks a range of elements. The message must outlive the iterator.
    class Iterator
    {
    public:
        Iterator() = default;
        Iterator(const Message* message, int start, int end);

        bool isValid() const;
        bool atEnd() const { return !m_message || m_pos < 0 || m_pos >= m_end; }
        int tag() const
        {
            const char* p = header();
            return p ? int(uchar(p[2]) | uchar(p[3]) << 8) : -1;
        }
        int size() const
        {
            const char* p = header();
            if (!p)
                return -1;
            const int length = int(uchar(p[0]) | uchar(p[1]) << 8);
            return length < 2 ? 0 : length - 2;
        }
        int position() const { return m_pos; }
        int start() const { return m_start; }
        int end() const { return m_end; }

        Iterator& operator++()
        {
            // The next header must fit the range, or the walk ends exactly there.
            const char* p = header();
            if (p) {
                const int next = m_pos + int(uchar(p[0]) | uchar(p[1]) << 8) + 2;
                if (next == m_end || next < m_end - 3) {
                    m_pos = next;
                    return *this;
                }
            }
            if (m_pos != m_end)
                die();
            return *this;
        }
        void rewind();
        void die();

        // Points into the message (or into the deciphered copy kept here).
        // Inline: every reader starts here, the text writer once per element.
        const char* getData(int* size) const
        {
            int dummy;
            int& n = size ? *size : dummy;
            n = 0;
            const char* p = header();
            if (!p)
                return nullptr;
            const int length = int(uchar(p[0]) | uchar(p[1]) << 8);
            if (length < 2 || m_pos + length + 2 > m_end)
                return nullptr;
            if (decipher)
                return deciphered(p, length, &n);
            n = length - 2;
            return p + 4;
        }

        QByteArray getByteArray(bool* ok = nullptr) const;
        QString getString(bool* ok = nullptr) const;
        QDateTime getDateTime(bool* ok = nullptr) const;
        bool getBool(bool* ok = nullptr) const;
        int getInt(bool* ok = nullptr) const;
        QTime getTime(bool* ok = nullptr) const;
        QDate getDate(bool* ok = nullptr) const;
        long long getInt64(bool* ok = nullptr) const;
        QBitArray getBitArray(bool* ok = nullptr) const;
        IPv4 getIPAddress(bool* ok = nullptr) const;
        QPair<int, int> getPair(bool* ok = nullptr) const;
        QPoint getPoint(bool* ok = nullptr) const;
        QSize getSize(bool* ok = nullptr) const;
        QRect getRect(bool* ok = nullptr) const;
        QList<int> getIntList(bool* ok, int width) const;
        Message getMessage(bool* ok = nullptr) const;
        Iterator getIterator(bool* ok = nullptr) const;
        QVariant get(bool* ok = nullptr) const;

        // Zero-copy reads: views into the message (or into the deciphered
        // copy, valid until this iterator moves or dies). A payload that is
        // missing or too short gives an empty view or 0, and ok false.
        QByteArrayView getPayload(bool* ok = nullptr) const;
        QUtf8StringView getUtf8(bool* ok = nullptr) const;
        // A date-time's days since 1990-01-01 as sent (0 means no date).
        int getDays(bool* ok = nullptr) const;
        // Milliseconds since midnight, wrapped into one day as getDateTime does.
        int getMSecsOfDay(bool* ok = nullptr) const;
        // The wall-clock time as milliseconds since 1970-01-01 00:00, with
        // no time zone applied; ok false when the date-time has no date.
        qint64 getEpochMSecs(bool* ok = nullptr) const;
        // A bit array of at most 64 bits, bit 0 first; ok false when longer.
        quint64 getBits(bool* ok = nullptr) const;

    private:
        // The current element's 4-byte header, or null when it does not fit.
        const char* header() const
        {
            if (!m_message || m_pos < 0 || m_pos >= m_end - 3)
                return nullptr;
            return m_message->m_data.constData() + m_pos;
        }
        const char* deciphered(const char* header, int length, int* size) const;
        // The date-time's days and milliseconds of the day; false when short.
        bool dateTimeParts(quint32* days, int* msecs) const;

        const Message* m_message = nullptr;
        int m_start = 0;
        int m_pos = -1;
        int m_end = 0;
        mutable QByteArray m_deciphered;
    };

    Message() = default;
    explicit Message(const QByteArray& bytes) : m_data(bytes) {}

    const QByteArray& bytes() const { return m_data; }
    int size() const { return int(m_data.size()); }
    bool isEmpty() const { return m_data.isEmpty(); }
    void clear();
    // Capacity for a message whose size is known in advance.
    void reserve(int bytes) { m_data.reserve(bytes); }
    // Elements begun with beginMessage and not yet ended.
    int openElements() const { return int(m_stack.size()); }

    bool operator==(const Message& o) const { return m_data == o.m_data; }
    bool operator!=(const Message& o) const { return m_data != o.m_data; }

    bool isValid() const;
    int tag() const;
    Iterator topLevelIterator() const;
    Iterator iterator() const;
    Iterator find(int tag) const;
    bool contains(int tag) const;

    const char* getData(int tag, int* size) const;
    QByteArray getByteArray(int tag, bool* ok = nullptr) const;
    QString getString(int tag, bool* ok = nullptr) const;
    QDateTime getDateTime(int tag, bool* ok = nullptr) const;
    QDate getDate(int tag, bool* ok = nullptr) const;
    QTime getTime(int tag, bool* ok = nullptr) const;
    bool getBool(int tag, bool* ok = nullptr) const;
    int getInt(int tag, bool* ok = nullptr) const;
    long long getInt64(int tag, bool* ok = nullptr) const;
    QBitArray getBitArray(int tag, bool* ok = nullptr) const;
    IPv4 getIPAddress(int tag, bool* ok = nullptr) const;
    QPair<int, int> getPair(int tag, bool* ok = nullptr) const;
    QPoint getPoint(int tag, bool* ok = nullptr) const;
    QRect getRect(int tag, bool* ok = nullptr) const;
    QSize getSize(int tag, bool* ok = nullptr) const;
    Message getMessage(int tag, bool* ok = nullptr) const;
    // The iterator points into this message, which must outlive it.
    Iterator getIterator(int tag, bool* ok = nullptr) const;
    QVariant get(int tag, bool* ok = nullptr) const;
    QList<int> getIntList(int tag, bool* ok, int width) const;

    void beginMessage(int tag);
    void endMessage();
    void appendData(int tag, const void* data, int size);
    void appendByteArray(int tag, const QByteArray& data);
    void appendString(int tag, const QString& text);
    void appendDateTime(int tag, const QDateTime& dateTime, MillisecondsMode mode = MillisecondsAuto);
    void appendBool(int tag, bool value);
    void appendInt(int tag, int value);
    void appendTime(int tag, const QTime& time);
    void appendDate(int tag, const QDate& date);
    void appendInt64(int tag, long long value);
    void appendBitArray(int tag, const QBitArray& bits);
    void appendIPAddress(int tag, const IPv4& address);
    void appendPair(int tag, const QPair<int, int>& pair);
    void appendPoint(int tag, const QPoint& point);
    void appendSize(int tag, const QSize& size);
    void appendRect(int tag, const QRect& rect);
    void appendIntList(int tag, const QList<int>& values, int width);
    void appendMessage(int tag, const Message& message);
    void appendMessage(const Message& message);
    void append(int tag, const QVariant& value);

    // The text notation of this message (names from `lut` when given).
    QString toText(const TagDataLut* lut = nullptr, TextOptions options = {}) const;

private:
    QByteArray m_data;
    QVector<int> m_stack;
    // Keeps deciphered bytes alive for getData(tag, size).
    mutable QByteArray m_deciphered;
};

// The rectangle at (x, y) of width x height, as the wire format gives it;
// false and a null rectangle when an edge or a side does not fit an int.
bool rectFromGeometry(int x, int y, int width, int height, QRect* rect);

} // namespace QRV16
