// SPDX-License-Identifier: MIT
#include "editor/itemvalidator.h"

#include "qrv16/item.h"

namespace QRV16 {

ItemValidator::ItemValidator(const Item* item, QObject* parent) : QValidator(parent), m_item(item)
{
}

QValidator::State ItemValidator::report(State state, const QString& text) const
{
    if (text != m_message) {
        m_message = text;
        // validate() is const by the validator interface; the finding is news.
        Q_EMIT const_cast<ItemValidator*>(this)->message(text);
    }
    return state;
}

bool ItemValidator::siblingHas(quint64 id) const
{
    return m_item && m_item->parent() && m_item->parent()->findBut(id, m_item) >= 0;
}

bool ItemValidator::siblingHas(const QString& name) const
{
    return m_item && m_item->parent() && m_item->parent()->findBut(name, m_item) >= 0;
}

} // namespace QRV16
