// SPDX-License-Identifier: MIT
#pragma once

// Data types of the QRV16 message format and the small free functions that
// work on tag codes, display modes, identifiers and the 1990 day count.

#include <QDate>
#include <QFlags>
#include <QString>

namespace QRV16 {

// Scoped, because QRV16::Message is also the name of the message class.
enum class DataType : int {
    Binary = 0,
    Integer = 1,
    Bool = 2,
    String = 3,
    Date = 4,
    Time = 5,
    DateTime = 6,
    BitArray = 7,
    NetworkAddress = 9,
    List = 12,
    Request = 13,
    Answer = 14,
    Message = 15,
    ExtPoint = 0x80,
    ExtRect = 0x81,
    ExtSize = 0x82,
};

struct DisplayMode
{
    enum Mode {
        Default = 0,
        SignedDecimal = 1,
        UnsignedDecimal = 2,
        Hex = 3,
        Octal = 4,
        Binary = 5,
    };

    qint32 mode = Default;
    qint32 digits = 0;

    DisplayMode() = default;
    DisplayMode(qint32 m, qint32 d = 0) : mode(m), digits(d) {}
    bool operator==(const DisplayMode& o) const { return mode == o.mode && digits == o.digits; }
    bool operator!=(const DisplayMode& o) const { return !(*this == o); }
};

// Options of the message text notation.
enum TextOption {
    Hungarian = 1, // tag names carry their type prefix: sName, iCount
    MultiLine = 4, // one element per line, nested elements indented
};
Q_DECLARE_FLAGS(TextOptions, TextOption)

DataType dataType(unsigned int tag);
unsigned int setDataType(unsigned int tag, DataType type);
bool isNestedTag(int tag);
unsigned int answerCode(int tag);
QString typeName(unsigned int tag);
QString tag2hex(unsigned int tag);
QString formatNumber(unsigned long long value, const DisplayMode& mode);
bool isValidIdentifier(const QString& name, QString* error = nullptr);
int dateToDaysSince1990(const QDate& date);
QDate daysSince1990ToDate(int days);
// Whether every wall-clock time of `date` exists once in local time, so a
// local date-time of that day keeps the date and time it was made from;
// then `offset` is the day's offset from UTC in seconds.
bool isSteadyLocalDay(const QDate& date, int* offset = nullptr);
// Names the local zone file in TZ when TZ is unset. Unpinned, the C library
// stat()s the zone file on every local-time conversion (about 1.6 us for
// each local date-time a getter makes); pinned, a change of the system's
// zone is seen only by programs started after it. It sets the environment,
// so call it at the start of main(), before any thread runs. A TZ the user
// set (an empty one means UTC) is kept.
void pinTimeZone();

} // namespace QRV16

Q_DECLARE_OPERATORS_FOR_FLAGS(QRV16::TextOptions)
