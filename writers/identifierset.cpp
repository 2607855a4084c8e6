// SPDX-License-Identifier: MIT
#include "writers/identifierset.h"

namespace QRV16 {

namespace {

bool isAsciiWordChar(char16_t c)
{
    return c == u'_' || (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') ||
           (c >= u'a' && c <= u'z');
}

bool isMark(QChar c)
{
    const QChar::Category category = c.category();
    return category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining ||
           category == QChar::Mark_Enclosing;
}

} // namespace

IdentifierSet::IdentifierSet(const QStringList& reserved)
    : m_reserved(reserved.cbegin(), reserved.cend())
{
}

QString IdentifierSet::sanitized(const QString& name)
{
    // Decomposed, "Größe" keeps its "o" and "ﬁ" becomes "fi".
    const QString decomposed = name.normalized(QString::NormalizationForm_KD);
    QString out;
    out.reserve(decomposed.size() + 1);
    bool inRun = false;
    for (const QChar c : decomposed) {
        if (isAsciiWordChar(c.unicode())) {
            out += c;
            inRun = false;
        } else if (!isMark(c) && !inRun) {
            out += QLatin1Char('_');
            inRun = true;
        }
    }
    if (out.isEmpty() || (out.at(0) >= QLatin1Char('0') && out.at(0) <= QLatin1Char('9')))
        out.prepend(QLatin1Char('_'));
    return out;
}

QString IdentifierSet::add(const QString& wanted, const Item* owner)
{
    QString name = sanitized(wanted);
    if (m_reserved.contains(name))
        name += QLatin1Char('_');
    const auto found = m_used.constFind(name);
    if (found != m_used.cend())
        m_clashes.append({name, found.value(), owner});
    else
        m_used.insert(name, owner);
    return name;
}

} // namespace QRV16
