// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/message.h"
#include "trace/traceoptions.h"

#include <QList>
#include <QPersistentModelIndex>
#include <QTreeView>

class QAction;
class QMenu;
class TraceDelegate;
class TraceFilter;
class TraceModel;
class TraceUndo;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// The trace as a list of lines. It follows new lines like a terminal while
// it is at the bottom; scrolling up, clicking or selecting stops that, and
// the bottom or End follows again. It shows the trace model itself, or the
// filter only while one is set, keeping the current line, the selection,
// the open lines and the column widths across the switch. It owns the
// trace's actions: copy, delete line, add separator, clear all, undo,
// expand and collapse all, and its context menu.
class TraceView : public QTreeView
{
    Q_OBJECT

public:
    // The model is not owned and must outlive the view.
    explicit TraceView(TraceModel* model, QWidget* parent = nullptr);

    TraceModel* traceModel() const { return m_model; }
    // Owned (child); shown only while it is active.
    TraceFilter* filter() const { return m_filter; }

    QAction* copyAction() const { return m_act_copy; }
    QAction* deleteAction() const { return m_act_delete_line; }
    QAction* separatorAction() const { return m_act_add_separator; }
    QAction* clearAction() const { return m_act_clear_all; }
    QAction* undoAction() const;
    QAction* expandAllAction() const { return m_act_expand_all; }
    QAction* collapseAllAction() const { return m_act_collapse_all; }

    bool isFollowing() const { return m_following; }
    // A line of the view as a line of the trace model.
    QModelIndex traceIndex(const QModelIndex& viewIndex) const;
    // The current line's message; an empty one when it is no message line.
    QRV16::Message currentMessage() const;
    // The trace's actions and "Plot TAG" on an element that can be
    // plotted; the caller owns the menu.
    QMenu* createContextMenu(const QModelIndex& index);

public Q_SLOTS:
    // Auto scroll off: the view never follows.
    void setOptions(const TraceOptions& options);
    // Not owned; the names of the context menu.
    void setTags(const QRV16::TagDataLut* tags);
    // The filter while `filtered`, else the trace itself.
    void showFiltered(bool filtered);
    // Around a change of the filter's conditions: the current line stays
    // in sight, or without one the line at the top.
    void beforeFilterChange();
    void afterFilterChange();
    // The selected lines as text, for a report or a mail.
    void copy();
    // The top-level line of the current one, with its element lines.
    void deleteLine();
    void clearAll();

Q_SIGNALS:
    void plotRequested(int tag);
    // A double click on a message line: its text, to change and send again.
    void messageActivated(const QString& text);
    // Clear all took every line.
    void cleared();

protected:
    void rowsInserted(const QModelIndex& parent, int start, int end) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    QAction* makeAction(const char* name, const QString& text, const char* icon, const QKeySequence& key);
    void watchSelection();
    void collectExpanded(const QModelIndex& parent, QList<QPersistentModelIndex>* out) const;

    TraceModel* m_model;       // Not owned.
    TraceFilter* m_filter;     // Owned (child).
    TraceDelegate* m_delegate; // Owned (child).
    TraceUndo* m_undo;         // Owned (child).
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    QAction* m_act_copy;       // Owned (children).
    QAction* m_act_delete_line;
    QAction* m_act_add_separator;
    QAction* m_act_clear_all;
    QAction* m_act_expand_all;
    QAction* m_act_collapse_all;
    // The line at the top of the view when the filter last changed.
    QPersistentModelIndex m_filterTop;
    bool m_autoScroll = true;
    bool m_following = true;
};
