// SPDX-License-Identifier: MIT
#pragma once

#include "trace/tracemodel.h"

#include <QList>
#include <QObject>

#include <memory>
#include <vector>

class QAction;
class QModelIndex;
class QAbstractItemView;

// Takes back Clear all and Delete line. The lines they remove are kept,
// with which of them were open in the view and where the view stood, until
// Undo puts them back where they were; lines that came since stay below
// them. The last few removals can be taken back, newest first.
class TraceUndo : public QObject
{
    Q_OBJECT

public:
    // Removals kept; the oldest go first, also once they hold more lines
    // than the trace itself may.
    static constexpr int Depth = 20;

    // Neither is owned. The view may show the model through a proxy.
    TraceUndo(TraceModel* model, QAbstractItemView* view, QObject* parent = nullptr);
    ~TraceUndo() override;

    // "Undo", Ctrl+Z; enabled while there is something to take back.
    QAction* action() const { return m_action; }
    bool canUndo() const { return !m_entries.empty(); }

public Q_SLOTS:
    void clearAll();
    // The top-level line of the trace model that `index` belongs to.
    void removeLine(const QModelIndex& index);
    void undo();

private:
    struct Entry
    {
        TraceModel::Lines lines;
        bool all = false;
        // Delete line: the line it followed, null when it was the first.
        const TraceItem* after = nullptr;
        QList<const TraceItem*> expanded;
        // Clear all: the line at the top of the view.
        const TraceItem* top = nullptr;
    };

    QModelIndex toView(const QModelIndex& index) const;
    QModelIndex fromView(const QModelIndex& index) const;
    void collectExpanded(const QModelIndex& viewParent, QList<const TraceItem*>* out) const;
    void push(Entry entry);
    void forgetRows(int first, int last);
    void update();

    TraceModel* m_model; // Not owned.
    QAbstractItemView* m_view;   // Not owned.
    QAction* m_action;   // Owned (child).
    std::vector<Entry> m_entries;
    bool m_taking = false;
};
