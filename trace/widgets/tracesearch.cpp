// SPDX-License-Identifier: MIT
#include "trace/widgets/tracesearch.h"

#include "trace/tracemodel.h"
#include "trace/widgets/filterbar.h"
#include "trace/widgets/findbar.h"
#include "trace/widgets/traceview.h"

#include <QAction>
#include <QSettings>

namespace {

const QString MatchCaseKey = QStringLiteral("MainWindow/FindMatchCase");
const QString RegExpKey = QStringLiteral("MainWindow/FindRegExp");

QAction* makeAction(QObject* parent, const char* name, const QString& text, const QKeySequence& key)
{
    auto* action = new QAction(text, parent);
    action->setObjectName(QLatin1String(name));
    action->setShortcut(key);
    return action;
}

} // namespace

TraceSearch::TraceSearch(TraceView* view, QWidget* parent)
    : QObject(parent),
      m_findbar(new FindBar(view, TraceModel::TextColumn, parent)),
      m_filterbar(new FilterBar(view->filter(), parent)),
      m_act_find(makeAction(this, "m_act_find", tr("Find..."), QKeySequence::Find)),
      m_act_find_next(makeAction(this, "m_act_find_next", tr("Find next"), Qt::Key_F3)),
      m_act_find_previous(makeAction(this, "m_act_find_previous", tr("Find previous"), Qt::SHIFT | Qt::Key_F3)),
      m_act_filter(makeAction(this, "m_act_filter", tr("Filter"), QKeySequence(QStringLiteral("Ctrl+Shift+F"))))
{
    QSettings settings;
    m_findbar->setCaseSensitive(settings.value(MatchCaseKey, false).toBool());
    m_findbar->setRegularExpression(settings.value(RegExpKey, false).toBool());
    m_findbar->hide();
    connect(m_findbar, &FindBar::optionsChanged, this, [this] {
        QSettings s;
        s.setValue(MatchCaseKey, m_findbar->isCaseSensitive());
        s.setValue(RegExpKey, m_findbar->isRegularExpression());
    });
    connect(m_act_find, &QAction::triggered, m_findbar, &FindBar::activate);
    connect(m_act_find_next, &QAction::triggered, m_findbar, &FindBar::findNext);
    connect(m_act_find_previous, &QAction::triggered, m_findbar, &FindBar::findPrevious);

    m_filterbar->hide();
    m_act_filter->setToolTip(tr("Show only the lines that match"));
    m_act_filter->setCheckable(true);
    connect(m_act_filter, &QAction::toggled, m_filterbar, [this](bool on) {
        if (on)
            m_filterbar->activate();
        else if (m_filterbar->isVisible())
            m_filterbar->clear();
        m_filterbar->setVisible(on);
    });
    connect(m_filterbar, &FilterBar::closed, m_act_filter, [this] { m_act_filter->setChecked(false); });
    connect(m_filterbar, &FilterBar::aboutToApply, view, &TraceView::beforeFilterChange);
    connect(m_filterbar, &FilterBar::applied, view, &TraceView::afterFilterChange);
}

QList<QAction*> TraceSearch::actions() const
{
    return {m_act_find, m_act_find_next, m_act_find_previous, m_act_filter};
}

void TraceSearch::setTags(const QRV16::TagDataLut* tags)
{
    m_filterbar->setTags(tags);
}
