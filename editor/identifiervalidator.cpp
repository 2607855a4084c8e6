// SPDX-License-Identifier: MIT
#include "editor/identifiervalidator.h"

#include "qrv16/types.h"

namespace QRV16 {

IdentifierValidator::IdentifierValidator(const Item* item, QObject* parent)
    : ItemValidator(item, parent)
{
}

QValidator::State IdentifierValidator::validate(QString& input, int&) const
{
    if (input.isEmpty())
        return report(Acceptable, QString());
    if (input.size() > 1024)
        return report(Invalid, tr("Input too long"));
    const QChar first = input.at(0);
    if (first >= QLatin1Char('0') && first <= QLatin1Char('9'))
        return report(Intermediate, tr("Identifier must not start with a digit"));
    for (const QChar c : input) {
        const bool ok = (c >= QLatin1Char('a') && c <= QLatin1Char('z')) ||
                        (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) ||
                        (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c == QLatin1Char('_');
        if (!ok)
            return report(Intermediate, tr("Only a-z, A-Z, 0-9 and _ allowed in identifier"));
    }
    // The file reader refuses this name, so a file saved with it would not load.
    QString reserved;
    if (!isValidIdentifier(input, &reserved))
        return report(Intermediate, reserved);
    if (siblingHas(input))
        return report(Acceptable, tr("Identifier already exists"));
    return report(Acceptable, QString());
}

} // namespace QRV16
