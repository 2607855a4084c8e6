// SPDX-License-Identifier: MIT
#include "app/preferencesdialog.h"

#include "app/preferences.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QSpinBox>

PreferencesDialog::PreferencesDialog(QWidget* parent)
    : QDialog(parent),
      m_traceLimit(new QSpinBox(this))
{
    setWindowTitle(tr("Preferences"));
    m_traceLimit->setObjectName(QStringLiteral("traceLimit"));
    m_traceLimit->setRange(Preferences::MinTraceLimit, Preferences::MaxTraceLimit);
    m_traceLimit->setSingleStep(10000);
    m_traceLimit->setGroupSeparatorShown(true);
    m_traceLimit->setSuffix(tr(" lines"));
    m_traceLimit->setToolTip(tr("The trace keeps at most this many lines; the oldest go first"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* form = new QFormLayout(this);
    form->addRow(tr("Trace limit"), m_traceLimit);
    form->addRow(buttons);
}

int PreferencesDialog::traceLimit() const
{
    return m_traceLimit->value();
}

void PreferencesDialog::setTraceLimit(int lines)
{
    m_traceLimit->setValue(lines);
}
