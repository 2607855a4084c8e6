// SPDX-License-Identifier: MIT
#pragma once

#include <QValidator>

namespace QRV16 {

class Item;

// Checks a tag code typed as hexadecimal (with or without "0x"). A code that
// another tag already uses is allowed and only reported through message().
class TagValidator : public QValidator
{
    Q_OBJECT
public:
    explicit TagValidator(const Item* item = nullptr, QObject* parent = nullptr);

    State validate(QString& input, int& pos) const override;
    void setItem(const Item* item) { m_item = item; }
    const Item* item() const { return m_item; }
    // The finding of the last validate(), empty when there was none.
    QString messageText() const { return m_message; }

    // Reads "1A", "0x1a" or "0X1A"; false for anything that is no
    // hexadecimal number. No range check.
    static bool readTag(const QString& text, quint64* code);

Q_SIGNALS:
    void message(const QString& text);

private:
    State report(State state, const QString& text) const;

    const Item* m_item; // not owned
    mutable QString m_message;
};

} // namespace QRV16
