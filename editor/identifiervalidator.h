// SPDX-License-Identifier: MIT
#pragma once

#include <QValidator>

namespace QRV16 {

class Item;

// Checks the name of a definition: letters, digits and '_', no leading digit.
// A name that a sibling already has is allowed and only reported.
class IdentifierValidator : public QValidator
{
    Q_OBJECT
public:
    explicit IdentifierValidator(const Item* item = nullptr, QObject* parent = nullptr);

    State validate(QString& input, int& pos) const override;
    void setItem(const Item* item) { m_item = item; }
    QString messageText() const { return m_message; }

Q_SIGNALS:
    void message(const QString& text);

private:
    State report(State state, const QString& text) const;

    const Item* m_item; // not owned
    mutable QString m_message;
};

} // namespace QRV16
