// SPDX-License-Identifier: MIT
#include "editor/editoritemeditdialog.h"

#include "editor/editoritemlook.h"
#include "editor/editormodel.h"
#include "editor/editortagedit.h"
#include "editor/identifiervalidator.h"
#include "editor/numbervalidator.h"
#include "editor/tagvalidator.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QStackedWidget>
#include <QToolTip>
#include <QVBoxLayout>

namespace QRV16 {

EditorItemEditDialog::EditorItemEditDialog(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("QRV16EditorItemEditDialog"));
    setWindowTitle(tr("Edit item"));
    setMinimumWidth(380);

    m_le_name = new QLineEdit(this);
    m_le_name->setObjectName(QStringLiteral("m_le_name"));
    m_nameValidator = new IdentifierValidator(nullptr, this);
    m_le_name->setValidator(m_nameValidator);

    m_stk_id = new QStackedWidget(this);
    m_stk_id->setObjectName(QStringLiteral("m_stk_id"));
    m_pg_tag = new QWidget;
    m_pg_tag->setObjectName(QStringLiteral("m_pg_tag"));
    m_te_id = new EditorTagEdit(m_pg_tag);
    m_te_id->setObjectName(QStringLiteral("m_te_id"));
    auto* tagLayout = new QVBoxLayout(m_pg_tag);
    tagLayout->setContentsMargins(0, 0, 0, 0);
    tagLayout->addWidget(m_te_id);
    m_pg_numeric = new QWidget;
    m_pg_numeric->setObjectName(QStringLiteral("m_pg_numeric"));
    m_le_id = new QLineEdit(m_pg_numeric);
    m_le_id->setObjectName(QStringLiteral("m_le_id"));
    m_numberValidator = new NumberValidator(NumberValidator::lowerBound(int(ItemType::Enum)),
                                            NumberValidator::upperBound(int(ItemType::Enum)),
                                            nullptr, this);
    m_le_id->setValidator(m_numberValidator);
    auto* numericLayout = new QVBoxLayout(m_pg_numeric);
    numericLayout->setContentsMargins(0, 0, 0, 0);
    numericLayout->addWidget(m_le_id);
    m_stk_id->addWidget(m_pg_tag);
    m_stk_id->addWidget(m_pg_numeric);

    m_cb_display_mode = new QComboBox(this);
    m_cb_display_mode->setObjectName(QStringLiteral("m_cb_display_mode"));
    m_cb_display_mode->addItems({tr("Default"), tr("Signed decimal"), tr("Unsigned decimal"),
                                 tr("Hex"), tr("Octal"), tr("Binary")});
    m_sb_digits = new QSpinBox(this);
    m_sb_digits->setObjectName(QStringLiteral("m_sb_digits"));
    m_sb_digits->setRange(0, 64);
    m_ck_secure = new QCheckBox(tr("Hide values when debugging"), this);
    m_ck_secure->setObjectName(QStringLiteral("m_ck_secure"));

    auto* form = new QFormLayout;
    form->addRow(tr("&Name:"), m_le_name);
    form->addRow(tr("&Value:"), m_stk_id);
    form->addRow(tr("Display &mode:"), m_cb_display_mode);
    form->addRow(tr("&Digits:"), m_sb_digits);
    form->addRow(tr("&Secure:"), m_ck_secure);

    m_lbl_message = new QLabel(this);
    m_lbl_message->setObjectName(QStringLiteral("m_lbl_message"));
    m_lbl_message->setWordWrap(true);
    QPalette warn = m_lbl_message->palette();
    warn.setColor(QPalette::WindowText, QColor(170, 40, 20));
    m_lbl_message->setPalette(warn);

    m_buttunz = new QDialogButtonBox(
        QDialogButtonBox::Ok | QDialogButtonBox::Apply | QDialogButtonBox::Cancel, this);
    m_buttunz->setObjectName(QStringLiteral("m_buttunz"));

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_lbl_message);
    layout->addWidget(m_buttunz);

    connect(m_buttunz, &QDialogButtonBox::accepted, this, &EditorItemEditDialog::accept);
    connect(m_buttunz, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_buttunz->button(QDialogButtonBox::Apply), &QPushButton::clicked, this,
            &EditorItemEditDialog::onApply);
    connect(m_cb_display_mode, &QComboBox::currentIndexChanged, this,
            &EditorItemEditDialog::onDisplayModeChanged);
    connect(m_nameValidator, &IdentifierValidator::message, this, &EditorItemEditDialog::popupMessage);
    connect(m_numberValidator, &NumberValidator::message, this, &EditorItemEditDialog::popupMessage);
    connect(m_te_id, &EditorTagEdit::message, this, &EditorItemEditDialog::popupMessage);
    onDisplayModeChanged(0);
}

bool EditorItemEditDialog::isTag() const
{
    return m_item && m_item->data().type == ItemType::Tag;
}

void EditorItemEditDialog::setData(const Item* item)
{
    m_item = item;
    if (!item)
        return;
    const ItemData& d = item->data();
    m_nameValidator->setItem(item);
    m_le_name->setText(d.name);
    m_idText = EditorItemLook::editText(item);
    if (isTag()) {
        m_te_id->setItem(item);
        m_te_id->setTag(m_idText);
        m_stk_id->setCurrentWidget(m_pg_tag);
    } else {
        const int type = int(d.type);
        // Bounds as for in-place editing; the validator is rebuilt for them.
        delete m_numberValidator;
        m_numberValidator = new NumberValidator(NumberValidator::lowerBound(type),
                                                NumberValidator::upperBound(type), item, this);
        connect(m_numberValidator, &NumberValidator::message, this,
                &EditorItemEditDialog::popupMessage);
        m_le_id->setValidator(m_numberValidator);
        m_le_id->setText(m_idText);
        m_stk_id->setCurrentWidget(m_pg_numeric);
    }
    m_cb_display_mode->setCurrentIndex(qBound(0, d.display.mode, 5));
    m_sb_digits->setValue(d.display.digits);
    onDisplayModeChanged(m_cb_display_mode->currentIndex());
    m_ck_secure->setChecked(d.secure);
    m_ck_secure->setEnabled(isTag());
    m_lbl_message->clear();
}

void EditorItemEditDialog::onDisplayModeChanged(int mode)
{
    m_sb_digits->setEnabled(mode != DisplayMode::Default);
}

ItemData EditorItemEditDialog::applyData() const
{
    ItemData d = m_item ? m_item->data() : ItemData();
    d.name = m_le_name->text();
    const QString idText = isTag() ? m_te_id->tag() : m_le_id->text();
    if (idText.isEmpty()) {
        d.hasId = false;
        d.id = 0;
    } else if (idText != m_idText || !d.hasId) {
        if (isTag()) {
            quint64 code = 0;
            if (TagValidator::readTag(idText, &code))
                d.id = code;
        } else {
            qint64 value = 0;
            if (NumberValidator::readNumber(idText, &value) == NumberValidator::Number)
                d.id = quint64(value); // negative values as the file reader keeps them
        }
        d.hasId = true;
    }
    // An id left as filled in keeps its exact 64-bit value.
    d.display.mode = m_cb_display_mode->currentIndex();
    // Digits without a mode do nothing; keep whatever the file had.
    if (d.display.mode != DisplayMode::Default)
        d.display.digits = m_sb_digits->value();
    // The box edits a tag's flag only; a value's or bit's stays as read.
    if (isTag())
        d.secure = m_ck_secure->isChecked();
    return d;
}

void EditorItemEditDialog::popupMessage(const QString& text)
{
    m_lbl_message->setText(text);
    QWidget* field = focusWidget();
    if (!text.isEmpty() && field && isVisible())
        QToolTip::showText(field->mapToGlobal(QPoint(0, field->height())), text, field);
}

void EditorItemEditDialog::invalidInput(QWidget* field)
{
    field->setFocus(Qt::OtherFocusReason);
    popupMessage(tr("Invalid input"));
}

bool EditorItemEditDialog::checkInputs()
{
    if (!m_item)
        return false;
    if (!m_le_name->hasAcceptableInput()) {
        invalidInput(m_le_name);
        return false;
    }
    if (isTag()) {
        if (m_te_id->tag() != m_idText && !m_te_id->hasAcceptableInput()) {
            invalidInput(m_te_id);
            return false;
        }
    } else if (m_le_id->text() != m_idText && !m_le_id->hasAcceptableInput()) {
        invalidInput(m_le_id);
        return false;
    }
    return true;
}

void EditorItemEditDialog::onApply()
{
    if (!checkInputs())
        return;
    Q_EMIT apply(m_item, applyData());
    if (!m_applied) {
        m_applied = true;
        // What was applied stays applied: nothing left to cancel.
        if (QPushButton* cancel = m_buttunz->button(QDialogButtonBox::Cancel)) {
            m_buttunz->removeButton(cancel);
            delete cancel;
        }
        m_buttunz->addButton(QDialogButtonBox::Close);
    }
    // The filled-in id is now the item's own.
    m_idText = isTag() ? m_te_id->tag() : m_le_id->text();
}

void EditorItemEditDialog::accept()
{
    if (!checkInputs())
        return;
    Q_EMIT apply(m_item, applyData());
    QDialog::accept();
}

} // namespace QRV16
