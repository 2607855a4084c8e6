// SPDX-License-Identifier: MIT
#include "app/preferences.h"

#include "app/preferencesdialog.h"
#include "trace/tracemodel.h"

#include <QAction>
#include <QSettings>

Preferences::Preferences(TraceModel* model, QWidget* parent)
    : QObject(parent),
      m_model(model),
      m_parent(parent),
      m_action(new QAction(tr("Preferences..."), this)),
      m_traceLimit(TraceModel::DefaultLimit)
{
    m_action->setObjectName(QStringLiteral("m_act_preferences"));
    m_action->setMenuRole(QAction::PreferencesRole);
    connect(m_action, &QAction::triggered, this, &Preferences::edit);

    const QString key = QLatin1String(TraceLimitKey);
    const QVariant stored = QSettings().value(key);
    if (stored.isValid()) {
        bool ok = false;
        const qlonglong lines = stored.toString().trimmed().toLongLong(&ok);
        const int used = ok ? int(qBound(qlonglong(MinTraceLimit), lines, qlonglong(MaxTraceLimit)))
                            : TraceModel::DefaultLimit;
        if (!ok || used != lines) {
            m_warnings << tr("Settings %1: \"%2\" is out of range, using %3")
                              .arg(key, stored.toString())
                              .arg(used);
        }
        m_traceLimit = used;
    }
    if (m_model)
        m_model->setLimit(m_traceLimit);
}

void Preferences::setTraceLimit(int lines)
{
    m_traceLimit = qBound(int(MinTraceLimit), lines, int(MaxTraceLimit));
    QSettings().setValue(QLatin1String(TraceLimitKey), m_traceLimit);
    if (m_model)
        m_model->setLimit(m_traceLimit);
}

void Preferences::edit()
{
    PreferencesDialog dialog(m_parent);
    dialog.setTraceLimit(m_traceLimit);
    if (dialog.exec() == QDialog::Accepted && dialog.traceLimit() != m_traceLimit)
        setTraceLimit(dialog.traceLimit());
}
