// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QObject>

class FilterBar;
class FindBar;
class QAction;
class QWidget;
class TraceView;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// Find and filter in a trace view: the two bars (which the window places
// under the view), their actions ("Find...", "Find next", "Find previous",
// "Filter") and the find options kept in the settings.
class TraceSearch : public QObject
{
    Q_OBJECT

public:
    // The view is not owned; `parent` parents the bars.
    TraceSearch(TraceView* view, QWidget* parent);

    FindBar* findBar() const { return m_findbar; }
    FilterBar* filterBar() const { return m_filterbar; }
    QAction* findAction() const { return m_act_find; }
    QAction* filterAction() const { return m_act_filter; }
    // In menu order.
    QList<QAction*> actions() const;

public Q_SLOTS:
    // Not owned; the filter's expression is read again with them.
    void setTags(const QRV16::TagDataLut* tags);

private:
    FindBar* m_findbar;     // Owned by the parent widget.
    FilterBar* m_filterbar;
    QAction* m_act_find;    // Owned (children).
    QAction* m_act_find_next;
    QAction* m_act_find_previous;
    QAction* m_act_filter;
};
