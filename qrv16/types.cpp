// SPDX-License-Identifier: MIT
#include "qrv16/types.h"

#include <QDateTime>

#include <cstdlib>
#include <string>

namespace QRV16 {

static const QDate epoch1990(1990, 1, 1);

DataType dataType(unsigned int tag)
{
    if ((tag >> 12) == 8)
        return DataType(tag >> 8);
    return DataType(tag >> 12);
}

unsigned int setDataType(unsigned int tag, DataType type)
{
    const unsigned int t = unsigned(type);
    if (t > 15)
        return (t << 8) | (tag & 0xFF);
    return (t << 12) | (tag & 0xFFF);
}

bool isNestedTag(int tag)
{
    return unsigned(dataType(unsigned(tag))) - 12u < 4u;
}

unsigned int answerCode(int tag)
{
    if (dataType(unsigned(tag)) != DataType::Request)
        return ~0u;
    return 0xE000u | (unsigned(tag) & 0x0F00u) | (unsigned(tag) & 0x00FFu);
}

QString typeName(unsigned int tag)
{
    // Only the top nibble counts, so every extended tag is "Int64"; the code
    // generators print exactly this.
    static const char* const names[16] = {
        "Binary", "Integer",   "Bool",  "String", "Date", "Time",    "DateTime", "BitArray",
        "Int64",  "IPAddress", nullptr, nullptr,  "List", "Request", "Answer",   "Message",
    };
    const char* name = names[(tag >> 12) & 15];
    return name ? QString::fromLatin1(name) : QString();
}

QString tag2hex(unsigned int tag)
{
    return QStringLiteral("0x") +
           QString::number(tag, 16).toUpper().rightJustified(4, QLatin1Char('0'));
}

QString formatNumber(unsigned long long value, const DisplayMode& mode)
{
    QString prefix;
    QString digits;
    switch (mode.mode) {
    case DisplayMode::Hex:
        prefix = QStringLiteral("0x");
        digits = QString::number(value, 16).toUpper();
        break;
    case DisplayMode::Octal:
        prefix = QStringLiteral("0o");
        digits = QString::number(value, 8);
        break;
    case DisplayMode::Binary:
        prefix = QStringLiteral("0y");
        digits = QString::number(value, 2);
        break;
    case DisplayMode::UnsignedDecimal:
        digits = QString::number(value);
        break;
    case DisplayMode::SignedDecimal:
        digits = QString::number(qint64(value));
        break;
    default:
        break;
    }
    if (digits.isEmpty())
        digits = QString::number(qint64(value));
    // The sign is padded like any digit: -5 in four digits is "00-5".
    if (mode.digits != 0)
        digits = digits.rightJustified(mode.digits, QLatin1Char('0'));
    return prefix + digits;
}

bool isValidIdentifier(const QString& name, QString* error)
{
    auto fail = [error](const char* text) {
        if (error)
            *error = QString::fromLatin1(text);
        return false;
    };
    if (name.isEmpty())
        return fail("Empty name not allowed.");
    if (name.at(0).unicode() >= '0' && name.at(0).unicode() <= '9')
        return fail("Name must not start with a digit.");
    if (name == QLatin1String("Tag"))
        return fail("The name \"Tag\" is reserved.");
    for (QChar c : name) {
        const ushort u = c.unicode();
        const bool ok =
            u == '_' || (u >= '0' && u <= '9') || (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z');
        if (!ok)
            return fail("Invalid characters in name.");
    }
    if (error)
        *error = QString();
    return true;
}

int dateToDaysSince1990(const QDate& date)
{
    if (!date.isValid())
        return 0;
    const qint64 days = epoch1990.daysTo(date);
    return days < 0 ? 0 : int(days);
}

QDate daysSince1990ToDate(int days)
{
    if (days <= 0)
        return QDate();
    return epoch1990.addDays(days);
}

// Remembered per thread for the last day asked, and for the TZ variable as
// the C library reads it (a rule change twice in one day is not seen).
bool isSteadyLocalDay(const QDate& date, int* offset)
{
    thread_local qint64 lastDay = 0;
    thread_local bool lastSteady = false;
    thread_local int lastOffset = 0;
    thread_local std::string lastZone;
    const char* zone = std::getenv("TZ");
    const qint64 day = date.toJulianDay();
    if (day != lastDay || lastZone != (zone ? zone : "\x01")) {
        const QDateTime first(date, QTime(0, 0));
        const QDateTime last(date, QTime(23, 59, 59, 999));
        lastSteady = first.isValid() && last.isValid() && first.time() == QTime(0, 0) &&
                     first.offsetFromUtc() == last.offsetFromUtc();
        lastOffset = lastSteady ? first.offsetFromUtc() : 0;
        lastDay = day;
        lastZone = zone ? zone : "\x01";
    }
    if (offset)
        *offset = lastOffset;
    return lastSteady;
}

void pinTimeZone()
{
    // An empty TZ is the C library's UTC, not the local zone: kept.
    if (!qEnvironmentVariableIsSet("TZ"))
        qputenv("TZ", ":/etc/localtime");
}

} // namespace QRV16
