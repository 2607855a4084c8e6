// SPDX-License-Identifier: MIT
#include "editor/editortagedit.h"

#include "editor/editortagmodel.h"
#include "editor/tagvalidator.h"
#include "qrv16/types.h"

#include <QLineEdit>
#include <QScopedValueRollback>

namespace QRV16 {

EditorTagEdit::EditorTagEdit(QWidget* parent)
    : QComboBox(parent),
      m_model(new EditorTagModel(this)),
      m_validator(new TagValidator(nullptr, this))
{
    setEditable(true);
    setModel(m_model);
    // Typed codes are not list entries, and completing "3" to "3 - String"
    // would destroy the code being typed.
    setInsertPolicy(QComboBox::NoInsert);
    setCompleter(nullptr);
    setMaxVisibleItems(m_model->rowCount());
    setValidator(m_validator);
    setCurrentIndex(-1);
    connect(m_validator, &TagValidator::message, this, &EditorTagEdit::message);
    connect(this, &QComboBox::editTextChanged, this, &EditorTagEdit::onEditTextChanged);
    connect(this, &QComboBox::currentIndexChanged, this, &EditorTagEdit::onCurrentIndexChanged);
}

void EditorTagEdit::setItem(const Item* item)
{
    m_validator->setItem(item);
}

void EditorTagEdit::setTag(const QString& text)
{
    {
        QScopedValueRollback<bool> guard(m_updating, true);
        lineEdit()->setText(text);
    }
    onEditTextChanged(text);
}

QString EditorTagEdit::tag() const
{
    const QString text = lineEdit()->text();
    quint64 code = 0;
    if (TagValidator::readTag(text, &code) && code <= 0xFFFF)
        return tag2hex(unsigned(code));
    return text;
}

bool EditorTagEdit::hasAcceptableInput() const
{
    return lineEdit()->hasAcceptableInput();
}

void EditorTagEdit::showTypeOf(const QString& text)
{
    quint64 code = 0;
    if (!TagValidator::readTag(text, &code) || code > 0xFFFF)
        return;
    const int row = EditorTagModel::rowOfType(int(dataType(unsigned(code))));
    if (row < 0 || row == currentIndex())
        return;
    // Making an entry current puts its text into the line; the code stays.
    QScopedValueRollback<bool> guard(m_updating, true);
    const int cursor = lineEdit()->cursorPosition();
    setCurrentIndex(row);
    lineEdit()->setText(text);
    lineEdit()->setCursorPosition(cursor);
}

void EditorTagEdit::onEditTextChanged(const QString& text)
{
    if (m_updating)
        return;
    quint64 code = 0;
    if (text.isEmpty() || TagValidator::readTag(text, &code))
        m_code = text;
    showTypeOf(text);
}

void EditorTagEdit::onCurrentIndexChanged(int row)
{
    if (m_updating || row < 0)
        return;
    quint64 code = 0;
    if (!TagValidator::readTag(m_code, &code) || code > 0xFFFF)
        code = 0;
    const unsigned typed = setDataType(unsigned(code), DataType(EditorTagModel::typeOfRow(row)));
    QScopedValueRollback<bool> guard(m_updating, true);
    m_code = tag2hex(typed & 0xFFFF);
    lineEdit()->setText(m_code);
    lineEdit()->selectAll();
}

} // namespace QRV16
