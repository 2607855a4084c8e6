// SPDX-License-Identifier: MIT
#pragma once

// Names found by a view of any text, with no string built and a hash that
// reads eight characters at most: the parser looks up every tag name and
// enum name it reads. The index does not own the names it views.

#include <QStringView>

#include <cstring>
#include <vector>

namespace QRV16 {

template<typename T>
class NameIndex
{
public:
    // A later value of an equal name replaces the earlier one.
    void insert(QStringView name, const T* value)
    {
        if (2 * (m_count + 1) > m_slots.size())
            grow();
        const quint32 hash = hashOf(name);
        Slot* slot = place(name, hash);
        if (!slot->value)
            ++m_count;
        *slot = Slot{name, value, hash};
    }

    const T* find(QStringView name) const
    {
        if (m_slots.empty())
            return nullptr;
        const quint32 hash = hashOf(name);
        const size_t mask = m_slots.size() - 1;
        for (size_t i = hash & mask;; i = (i + 1) & mask) {
            const Slot& s = m_slots[i];
            if (!s.value)
                return nullptr;
            if (s.hash == hash && same(s.name, name))
                return s.value;
        }
    }

private:
    struct Slot
    {
        QStringView name;
        const T* value = nullptr;
        quint32 hash = 0;
    };

    static bool same(QStringView a, QStringView b)
    {
        if (a.size() != b.size())
            return false;
        // Names are short: four characters at a time beats calling memcmp.
        const char16_t* p = a.utf16();
        const char16_t* q = b.utf16();
        const qsizetype n = a.size();
        qsizetype i = 0;
        for (; i + 4 <= n; i += 4) {
            quint64 x, y;
            std::memcpy(&x, p + i, sizeof x);
            std::memcpy(&y, q + i, sizeof y);
            if (x != y)
                return false;
        }
        for (; i < n; ++i) {
            if (p[i] != q[i])
                return false;
        }
        return true;
    }

    // The length and the first and last four characters: names that
    // share those only cost a longer comparison.
    static quint32 hashOf(QStringView name)
    {
        const char16_t* p = name.utf16();
        const qsizetype n = name.size();
        quint64 h = quint64(n) * 0x9E3779B97F4A7C15ull;
        if (n >= 4) {
            quint64 head, tail;
            std::memcpy(&head, p, sizeof head);
            std::memcpy(&tail, p + n - 4, sizeof tail);
            h = (h ^ head) * 0xFF51AFD7ED558CCDull;
            h = (h ^ (h >> 29) ^ tail) * 0xC4CEB9FE1A85EC53ull;
        } else {
            for (qsizetype i = 0; i < n; ++i)
                h = (h ^ p[i]) * 0xC4CEB9FE1A85EC53ull;
        }
        h ^= h >> 32;
        return quint32(h);
    }

    Slot* place(QStringView name, quint32 hash)
    {
        const size_t mask = m_slots.size() - 1;
        for (size_t i = hash & mask;; i = (i + 1) & mask) {
            Slot& s = m_slots[i];
            if (!s.value || (s.hash == hash && same(s.name, name)))
                return &s;
        }
    }

    void grow()
    {
        std::vector<Slot> old;
        old.swap(m_slots);
        m_slots.resize(old.empty() ? 16 : 2 * old.size());
        for (const Slot& s : old) {
            if (s.value)
                *place(s.name, s.hash) = s;
        }
    }

    std::vector<Slot> m_slots; // a power of two, at most half full
    size_t m_count = 0;
};

} // namespace QRV16
