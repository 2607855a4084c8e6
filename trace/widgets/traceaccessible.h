// SPDX-License-Identifier: MIT
#pragma once

#include <QAccessibleWidget>
#include <QHash>

class TraceView;

// What a screen reader finds in the trace view: a tree whose children are
// the cells of its rows, row by row, each read as the model's accessible
// text or else its text. Cells are made when asked for; a few are kept.
class TraceAccessible : public QAccessibleWidget
{
public:
    explicit TraceAccessible(TraceView* view);
    ~TraceAccessible() override;

    // For QAccessible::installFactory().
    static QAccessibleInterface* create(const QString& key, QObject* object);

    QAccessibleInterface* child(int index) const override;
    int childCount() const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QAccessibleInterface* childAt(int x, int y) const override;
    QAccessibleInterface* focusChild() const override;

private:
    TraceView* view() const;
    void forget() const;

    // By child number; checked against the row shown there on each use.
    mutable QHash<int, QAccessible::Id> m_cells;
};
