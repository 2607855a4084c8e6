// SPDX-License-Identifier: MIT
#include "editor/numbervalidator.h"

#include "qrv16/item.h"

#include <limits>

namespace QRV16 {

NumberValidator::NumberValidator(qint64 lower, qint64 upper, const Item* item, QObject* parent)
    : ItemValidator(item, parent), m_lower(lower), m_upper(upper)
{
}

qint64 NumberValidator::lowerBound(int itemType)
{
    return itemType == int(ItemType::Bit) ? 0 : qint64(std::numeric_limits<qint32>::min());
}

qint64 NumberValidator::upperBound(int itemType)
{
    return itemType == int(ItemType::Bit) ? 63 : qint64(std::numeric_limits<quint32>::max());
}

NumberValidator::ReadResult NumberValidator::readNumber(const QString& text, qint64* value)
{
    QStringView t(text);
    bool negative = false;
    if (!t.isEmpty() && (t.at(0) == QLatin1Char('+') || t.at(0) == QLatin1Char('-'))) {
        negative = t.at(0) == QLatin1Char('-');
        t = t.mid(1);
    }
    int base = 10;
    if (t.size() > 2 && t.at(0) == QLatin1Char('0')) {
        switch (t.at(1).unicode()) {
        case 'x':
        case 'X': base = 16; break;
        case 'o': base = 8; break;
        case 'y':
        case 'b': base = 2; break;
        default: break;
        }
        if (base != 10)
            t = t.mid(2);
    }
    if (base == 10 && t.size() > 1 && t.at(0) == QLatin1Char('0'))
        base = 8;
    if (t.isEmpty())
        return NotANumber;
    quint64 magnitude = 0;
    bool tooLarge = false;
    for (const QChar c : t) {
        const ushort u = c.unicode();
        int d = -1;
        if (u >= '0' && u <= '9')
            d = u - '0';
        else if (u >= 'a' && u <= 'z')
            d = u - 'a' + 10;
        else if (u >= 'A' && u <= 'Z')
            d = u - 'A' + 10;
        if (d < 0 || d >= base)
            return NotANumber;
        if (magnitude > (std::numeric_limits<quint64>::max() - quint64(d)) / quint64(base))
            tooLarge = true;
        else
            magnitude = magnitude * quint64(base) + quint64(d);
    }
    const quint64 limit = negative ? quint64(std::numeric_limits<qint64>::max()) + 1
                                   : quint64(std::numeric_limits<qint64>::max());
    if (tooLarge || magnitude > limit)
        return TooLarge;
    *value = negative ? qint64(quint64(0) - magnitude) : qint64(magnitude);
    return Number;
}

QValidator::State NumberValidator::validate(QString& input, int&) const
{
    if (input.isEmpty())
        return report(Acceptable, QString());
    qint64 value = 0;
    switch (readNumber(input, &value)) {
    case NotANumber: return report(Intermediate, tr("Non numeric input"));
    case TooLarge: return report(Intermediate, tr("Number out of range"));
    case Number: break;
    }
    if (value < m_lower || value > m_upper)
        return report(Intermediate, tr("Number out of range"));
    // Ids are compared as the model stores them: 64 bits, two's complement.
    if (siblingHas(quint64(value)))
        return report(Acceptable, tr("This number already exists"));
    return report(Acceptable, QString());
}

} // namespace QRV16
