// SPDX-License-Identifier: MIT
#include "automation/widgets/sequencestepdialog.h"

#include "automation/sequenceparser.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>

SequenceStepDialog::SequenceStepDialog(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("SequenceStepDialog"));
    setWindowTitle(tr("Sequence Step"));
    m_cb_kind = new QComboBox(this);
    m_cb_kind->setObjectName(QStringLiteral("m_cb_kind"));
    m_cb_kind->addItem(tr("Send"), SequenceStep::Send);
    m_cb_kind->addItem(tr("Wait"), SequenceStep::Wait);
    m_cb_kind->addItem(tr("Expect"), SequenceStep::Expect);
    m_cb_kind->addItem(tr("Repeat"), SequenceStep::Repeat);
    m_cb_kind->addItem(tr("End of repeat"), SequenceStep::End);
    m_cb_kind->addItem(tr("Stop"), SequenceStep::Stop);
    m_cb_channel = new QComboBox(this);
    m_cb_channel->setObjectName(QStringLiteral("m_cb_channel"));
    m_cb_channel->addItem(QStringLiteral("1"), 1);
    m_cb_channel->addItem(QStringLiteral("2"), 2);
    m_le_text = new QLineEdit(this);
    m_le_text->setObjectName(QStringLiteral("m_le_text"));
    m_le_text->setMinimumWidth(420);
    m_sb_ms = new QSpinBox(this);
    m_sb_ms->setObjectName(QStringLiteral("m_sb_ms"));
    m_sb_ms->setRange(0, SequenceParser::MaxMilliseconds);
    m_sb_ms->setSuffix(tr(" ms"));
    m_sb_times = new QSpinBox(this);
    m_sb_times->setObjectName(QStringLiteral("m_sb_times"));
    m_sb_times->setRange(0, SequenceParser::MaxTimes);
    m_lbl_text = new QLabel(tr("Message"), this);
    m_lbl_ms = new QLabel(tr("Time"), this);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* form = new QFormLayout(this);
    form->addRow(tr("Step"), m_cb_kind);
    form->addRow(tr("Channel"), m_cb_channel);
    form->addRow(m_lbl_text, m_le_text);
    form->addRow(m_lbl_ms, m_sb_ms);
    form->addRow(tr("Times"), m_sb_times);
    form->addRow(buttons);
    connect(m_cb_kind, &QComboBox::currentIndexChanged, this, &SequenceStepDialog::updateFields);
    updateFields();
}

void SequenceStepDialog::setStep(const SequenceStep& step)
{
    m_cb_kind->setCurrentIndex(m_cb_kind->findData(step.kind));
    m_cb_channel->setCurrentIndex(step.channel == 2 ? 1 : 0);
    m_le_text->setText(step.text);
    m_sb_ms->setValue(step.ms);
    m_sb_times->setValue(step.times);
    updateFields();
}

SequenceStep SequenceStepDialog::step() const
{
    SequenceStep step;
    step.kind = SequenceStep::Kind(m_cb_kind->currentData().toInt());
    // Fields the kind does not use keep their defaults, so that steps
    // compare equal to what the file gives back.
    if (step.kind == SequenceStep::Send || step.kind == SequenceStep::Expect) {
        step.channel = m_cb_channel->currentData().toInt();
        step.text = m_le_text->text().trimmed();
    }
    if (step.kind == SequenceStep::Wait || step.kind == SequenceStep::Expect)
        step.ms = m_sb_ms->value();
    if (step.kind == SequenceStep::Repeat)
        step.times = m_sb_times->value();
    return step;
}

void SequenceStepDialog::updateFields()
{
    const auto kind = SequenceStep::Kind(m_cb_kind->currentData().toInt());
    const bool message = kind == SequenceStep::Send || kind == SequenceStep::Expect;
    m_cb_channel->setEnabled(message);
    m_le_text->setEnabled(message);
    m_lbl_text->setText(kind == SequenceStep::Expect ? tr("Pattern") : tr("Message"));
    m_sb_ms->setEnabled(kind == SequenceStep::Wait || kind == SequenceStep::Expect);
    m_lbl_ms->setText(kind == SequenceStep::Expect ? tr("Within") : tr("Wait"));
    m_sb_times->setEnabled(kind == SequenceStep::Repeat);
}
