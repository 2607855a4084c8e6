// SPDX-License-Identifier: MIT
#pragma once

#include <QValidator>

namespace QRV16 {

class Item;

// The check of one field of a definition. A field is checked at every key,
// so its finding is announced through message() only when it changes; a
// value that a sibling already has is allowed and only reported.
class ItemValidator : public QValidator
{
    Q_OBJECT
public:
    void setItem(const Item* item) { m_item = item; }
    const Item* item() const { return m_item; }
    // The finding of the last validate(), empty when there was none.
    QString messageText() const { return m_message; }

Q_SIGNALS:
    void message(const QString& text);

protected:
    ItemValidator(const Item* item, QObject* parent);

    State report(State state, const QString& text) const;
    // Whether a sibling of the item has this id or name.
    bool siblingHas(quint64 id) const;
    bool siblingHas(const QString& name) const;

private:
    const Item* m_item; // not owned
    mutable QString m_message;
};

} // namespace QRV16
