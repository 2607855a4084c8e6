// SPDX-License-Identifier: MIT
#include "editor/tagvalidator.h"

namespace QRV16 {

namespace {

bool isHexDigit(QChar c)
{
    const ushort u = c.unicode();
    return (u >= '0' && u <= '9') || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
}

} // namespace

TagValidator::TagValidator(const Item* item, QObject* parent) : ItemValidator(item, parent) {}

bool TagValidator::readTag(const QString& text, quint64* code)
{
    QStringView digits(text);
    if (digits.size() >= 2 && digits.at(0) == QLatin1Char('0') &&
        (digits.at(1) == QLatin1Char('x') || digits.at(1) == QLatin1Char('X')))
        digits = digits.mid(2);
    if (digits.isEmpty())
        return false;
    // toULongLong would take a sign or blanks; a tag code has neither.
    for (const QChar c : digits) {
        if (!isHexDigit(c))
            return false;
    }
    bool ok = false;
    const qulonglong value = digits.toULongLong(&ok, 16);
    if (ok)
        *code = value;
    return ok;
}

QValidator::State TagValidator::validate(QString& input, int&) const
{
    if (input.isEmpty())
        return report(Acceptable, QString());
    if (input.size() > 64)
        return report(Invalid, tr("Input too long"));
    for (const QChar c : input) {
        if (!isHexDigit(c) && c != QLatin1Char('x') && c != QLatin1Char('X'))
            return report(Invalid, tr("Non numeric input"));
    }
    if (input.size() > 10)
        return report(Intermediate, tr("Input too long"));
    quint64 code = 0;
    if (!readTag(input, &code))
        return report(Intermediate, tr("Not a hexadecimal number"));
    if (code > 0xFFFF)
        return report(Intermediate, tr("Tag code out of range"));
    if (siblingHas(unsigned(code)))
        return report(Acceptable, tr("Tag code already exists"));
    return report(Acceptable, QString());
}

} // namespace QRV16
