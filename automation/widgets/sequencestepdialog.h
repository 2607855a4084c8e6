// SPDX-License-Identifier: MIT
#pragma once

#include "automation/sequencestep.h"

#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;

// Edits one sequence step: its kind and the fields that kind uses.
class SequenceStepDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SequenceStepDialog(QWidget* parent = nullptr);

    void setStep(const SequenceStep& step);
    SequenceStep step() const;

private:
    void updateFields();

    QComboBox* m_cb_kind = nullptr;
    QComboBox* m_cb_channel = nullptr;
    QLineEdit* m_le_text = nullptr;
    QLabel* m_lbl_text = nullptr;
    QSpinBox* m_sb_ms = nullptr;
    QLabel* m_lbl_ms = nullptr;
    QSpinBox* m_sb_times = nullptr;
};
