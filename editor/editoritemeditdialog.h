// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/item.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QSpinBox;
class QStackedWidget;

namespace QRV16 {

class EditorTagEdit;
class IdentifierValidator;
class NumberValidator;

// Edits one item's name, code, display mode, digits and secure flag. Apply
// and OK hand the new record to the window as one undoable change.
class EditorItemEditDialog : public QDialog
{
    Q_OBJECT
public:
    explicit EditorItemEditDialog(QWidget* parent = nullptr);

    void setData(const Item* item);
    const Item* item() const { return m_item; }
    ItemData applyData() const;

public Q_SLOTS:
    void accept() override;
    void onApply();
    void onDisplayModeChanged(int mode);
    void popupMessage(const QString& text);

Q_SIGNALS:
    void apply(const QRV16::Item* item, const QRV16::ItemData& data);

private:
    bool checkInputs();
    void invalidInput(QWidget* field);
    bool isTag() const;

    const Item* m_item = nullptr; // not owned
    QString m_idText;              // the value as filled in
    bool m_applied = false;

    QLineEdit* m_le_name;
    QStackedWidget* m_stk_id;
    QWidget* m_pg_tag;
    EditorTagEdit* m_te_id;
    QWidget* m_pg_numeric;
    QLineEdit* m_le_id;
    QComboBox* m_cb_display_mode;
    QSpinBox* m_sb_digits;
    QCheckBox* m_ck_secure;
    QLabel* m_lbl_message;
    QDialogButtonBox* m_buttunz;
    IdentifierValidator* m_nameValidator;
    NumberValidator* m_numberValidator;
};

} // namespace QRV16
