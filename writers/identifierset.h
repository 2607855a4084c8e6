#pragma once

// Hands out the identifiers of generated code: valid in the target language
// and unique within one scope. Names are decided in the order they are asked
// for, so the same definitions always give the same identifiers.

#include <QSet>
#include <QString>
#include <QStringList>

namespace QRV16 {

class IdentifierSet
{
public:
    IdentifierSet() = default;
    // `reserved`: the language's keywords and names it already uses there; a
    // name equal to one of them gets a '_' behind.
    explicit IdentifierSet(const QStringList& reserved);

    // `wanted` made valid by sanitized(), then kept from the reserved words,
    // then made unique with "_2", "_3", ... ("2", "3" behind a '_'). The
    // result is in use from now on.
    QString add(const QString& wanted);
    // Takes `name` out of use without handing it out (an include guard).
    void block(const QString& name) { m_used.insert(name); }
    bool contains(const QString& name) const { return m_used.contains(name); }

    // ASCII letters, digits and '_' stay, accents are dropped, every other run
    // of characters becomes one '_'; a leading digit gets a '_' in front. A
    // valid identifier comes back unchanged; an empty name becomes "_".
    static QString sanitized(const QString& name);

private:
    QSet<QString> m_reserved;
    QSet<QString> m_used;
};

} // namespace QRV16
