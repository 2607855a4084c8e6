// SPDX-License-Identifier: MIT
#include "libserial/serframing.h"

#include <array>

namespace {

const std::array<QLatin1String, 5> parityNames = {QLatin1String("none"), QLatin1String("even"), QLatin1String("odd"),
                                                  QLatin1String("mark"), QLatin1String("space")};
constexpr char parityLetters[] = "NEOMS";

} // namespace

SerFraming::SerFraming(int dataBits, int parity, int stopBits)
    : m_dataBits(dataBits)
    , m_parity(parity)
    , m_stopBits(stopBits)
{
}

bool SerFraming::isValid() const
{
    return m_dataBits >= 5 && m_dataBits <= 8 && m_parity >= NoParity && m_parity <= SpaceParity
           && (m_stopBits == 1 || m_stopBits == 2);
}

QString SerFraming::text() const
{
    QString text;
    text += m_dataBits >= 5 && m_dataBits <= 8 ? QChar(QLatin1Char(char('0' + m_dataBits))) : QChar(QLatin1Char('?'));
    text += m_parity >= NoParity && m_parity <= SpaceParity ? QChar(QLatin1Char(parityLetters[m_parity]))
                                                            : QChar(QLatin1Char('?'));
    text += m_stopBits == 1 || m_stopBits == 2 ? QChar(QLatin1Char(char('0' + m_stopBits))) : QChar(QLatin1Char('?'));
    return text;
}

SerFraming SerFraming::fromText(const QString& text, bool* ok)
{
    QString compact = text.trimmed().toUpper();
    // Labels write the parts apart as often as together.
    for (QChar separator : {QLatin1Char('-'), QLatin1Char('/'), QLatin1Char(','), QLatin1Char(' ')})
        compact.remove(separator);
    SerFraming framing;
    bool valid = compact.size() == 3 && compact.at(0).isDigit() && compact.at(2).isDigit();
    if (valid) {
        framing.m_dataBits = compact.at(0).digitValue();
        framing.m_parity = parityFromName(compact.mid(1, 1));
        framing.m_stopBits = compact.at(2).digitValue();
        valid = framing.isValid();
    }
    if (ok)
        *ok = valid;
    return valid ? framing : SerFraming();
}

QString SerFraming::parityName(int parity)
{
    if (parity < NoParity || parity > SpaceParity)
        return QString();
    return parityNames[std::size_t(parity)];
}

int SerFraming::parityFromName(const QString& name)
{
    const QString lower = name.trimmed().toLower();
    for (std::size_t i = 0; i < parityNames.size(); ++i) {
        if (lower == parityNames[i] || (lower.size() == 1 && lower.at(0) == QLatin1Char(parityNames[i].at(0))))
            return int(i);
    }
    return -1;
}
