// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/message.h"
#include "trace/traceoptions.h"

#include <QAbstractItemView>
#include <QList>
#include <QPersistentModelIndex>

#include <vector>

class QAction;
class QHeaderView;
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
//
// Rows are all one height and the view keeps nothing per row: a row of the
// view is found from the few open lines, so a batch of new lines or lines
// dropped at the top cost the same at any size of the trace.
class TraceView : public QAbstractItemView
{
    Q_OBJECT

public:
    // The model is not owned and must outlive the view.
    explicit TraceView(TraceModel* model, QWidget* parent = nullptr);
    ~TraceView() override;

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

    // The column header; owned (child).
    QHeaderView* header() const { return m_header; }
    int columnWidth(int column) const;
    void setColumnWidth(int column, int width);

    bool isExpanded(const QModelIndex& index) const;
    void setExpanded(const QModelIndex& index, bool expanded);
    // Rows of the view: every line plus the element lines of open ones.
    int visualRowCount() const;
    // The line at a row of the view, column 0; invalid past the end.
    QModelIndex indexAtRow(int row) const;
    // The row of the view that shows `index`; -1 when it is hidden in a
    // closed line.
    int rowOf(const QModelIndex& index) const;

    void setModel(QAbstractItemModel* model) override;
    QRect visualRect(const QModelIndex& index) const override;
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;
    QModelIndex indexAt(const QPoint& point) const override;

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
    void expand(const QModelIndex& index);
    void collapse(const QModelIndex& index);
    void expandAll();
    void collapseAll();
    void reset() override;

Q_SIGNALS:
    void plotRequested(int tag);
    // A double click on a message line: its text, to change and send again.
    void messageActivated(const QString& text);
    // Clear all took every line.
    void cleared();

protected:
    QModelIndex moveCursor(CursorAction cursorAction, Qt::KeyboardModifiers modifiers) override;
    int horizontalOffset() const override;
    int verticalOffset() const override;
    bool isIndexHidden(const QModelIndex& index) const override;
    void setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command) override;
    QRegion visualRegionForSelection(const QItemSelection& selection) const override;
    QModelIndexList selectedIndexes() const override;
    void updateGeometries() override;
    void scrollContentsBy(int dx, int dy) override;
    void rowsInserted(const QModelIndex& parent, int start, int end) override;
    void rowsAboutToBeRemoved(const QModelIndex& parent, int start, int end) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool viewportEvent(QEvent* event) override;

private:
    // An open top-level line, or one whose element lines are open while it
    // is closed; with the rows it adds to the view.
    struct Open
    {
        QPersistentModelIndex line;
        bool self = false;
        // Open element lines under it, at any depth.
        std::vector<QPersistentModelIndex> inner;
        int below = 0;
    };

    QAction* makeAction(const char* name, const QString& text, const char* icon, const QKeySequence& key);
    void watchSelection();
    // Open lines in the trace model's terms.
    QList<QPersistentModelIndex> expandedLines() const;

    // The entry of top-level row `row`, or the first one after it.
    std::vector<Open>::const_iterator openAt(int row) const;
    Open* findOpen(int row);
    bool innerOpen(const Open& open, const QModelIndex& index) const;
    int countBelow(const QModelIndex& parent, const Open& open) const;
    QModelIndex nthBelow(const QModelIndex& parent, const Open& open, int* n) const;
    bool offsetBelow(const QModelIndex& parent, const Open& open, const QModelIndex& target, int* n) const;
    // After open lines changed: their row counts and the running sums.
    void recount();
    void dropInvalid();
    void onRowsRemoved(const QModelIndex& parent, int start, int end);
    void onLayoutChanged();
    void expandRecursively(const QModelIndex& index);
    void toggle(const QModelIndex& index);

    int depthOf(const QModelIndex& index) const;
    int rowHeight() const;
    int rowsPerPage() const;
    // The part of column 0 given to the indent and the branch mark.
    int indentOf(const QModelIndex& index) const;
    bool onBranch(const QPoint& point, const QModelIndex& index) const;
    void paintRow(QPainter* painter, const QModelIndex& line, int y, int width);

    TraceModel* m_model;       // Not owned.
    TraceFilter* m_filter;     // Owned (child).
    TraceDelegate* m_delegate; // Owned (child).
    TraceUndo* m_undo;         // Owned (child).
    QHeaderView* m_header;     // Owned (child).
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    QAction* m_act_copy;       // Owned (children).
    QAction* m_act_delete_line;
    QAction* m_act_add_separator;
    QAction* m_act_clear_all;
    QAction* m_act_expand_all;
    QAction* m_act_collapse_all;
    // Sorted by row; few unless the user expands everything.
    std::vector<Open> m_open;
    // m_before[i]: rows the entries before m_open[i] add.
    std::vector<int> m_before;
    int m_extraRows = 0;
    mutable int m_rowHeight = 0;
    int m_indentation = 20;
    // The line at the top of the view when the filter last changed.
    QPersistentModelIndex m_filterTop;
    QPersistentModelIndex m_doubleClicked;
    bool m_autoScroll = true;
    bool m_following = true;
};
