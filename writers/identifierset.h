// SPDX-License-Identifier: MIT
#pragma once

// Hands out the identifiers of generated code: valid in the target language
// and made from the entry's own name only, so that adding, removing or
// reordering other entries never changes them. Two entries that end up with
// one identifier are not renamed: the set records the clash and the caller
// reports it.

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

namespace QRV16 {

class Item;

class IdentifierSet
{
public:
    // One identifier asked for twice. `first` is null when the generated
    // code itself uses the name (an include guard, a helper).
    struct Clash
    {
        QString name;
        const Item* first = nullptr;
        const Item* second = nullptr;
    };

    IdentifierSet() = default;
    // `reserved`: the language's keywords and names it already uses there; a
    // name equal to one of them gets a '_' behind.
    explicit IdentifierSet(const QStringList& reserved);

    // `wanted` made valid by sanitized(), then kept from the reserved words.
    // The result is in use from now on; when it already was, a clash
    // between `owner` and the earlier owner is recorded.
    QString add(const QString& wanted, const Item* owner = nullptr);
    // Takes `name` out of use without handing it out (an include guard).
    void block(const QString& name) { m_used.insert(name, nullptr); }
    bool contains(const QString& name) const { return m_used.contains(name); }
    const QList<Clash>& clashes() const { return m_clashes; }

    // ASCII letters, digits and '_' stay, accents are dropped, every other run
    // of characters becomes one '_'; a leading digit gets a '_' in front. A
    // valid identifier comes back unchanged; an empty name becomes "_".
    static QString sanitized(const QString& name);

private:
    QSet<QString> m_reserved;
    QHash<QString, const Item*> m_used;
    QList<Clash> m_clashes;
};

} // namespace QRV16
