// SPDX-License-Identifier: MIT
#pragma once

#include <QComboBox>

namespace QRV16 {

class EditorTagModel;
class Item;
class TagValidator;

// Entry of a tag code: the code is typed in hexadecimal, and the list below
// it offers the data types. The type of the typed code is shown as the
// current entry; choosing an entry puts that type into the code.
class EditorTagEdit : public QComboBox
{
    Q_OBJECT
public:
    explicit EditorTagEdit(QWidget* parent = nullptr);

    void setItem(const Item* item);
    void setTag(const QString& text);
    // The code as "0x1A2B" when it reads as one, else the text as typed.
    QString tag() const;
    bool hasAcceptableInput() const;
    TagValidator* validator() const { return m_validator; }

Q_SIGNALS:
    void message(const QString& text);

private Q_SLOTS:
    void onEditTextChanged(const QString& text);
    void onCurrentIndexChanged(int row);

private:
    void showTypeOf(const QString& text);

    EditorTagModel* m_model;
    TagValidator* m_validator;
    QString m_code; // the last code typed, to which a chosen type is applied
    bool m_updating = false;
};

} // namespace QRV16
