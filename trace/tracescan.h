// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>

class QAbstractItemModel;

// Visits the top-level rows of a model a slice of time at a time, so that
// the event loop runs between slices however long the model is. Follows
// rows that are removed or added meanwhile; a reset or a new layout of the
// model aborts it.
class TraceScan : public QObject
{
    Q_OBJECT

public:
    static constexpr int SliceMilliseconds = 20;
    // Returns true to stop at that row.
    using Visitor = std::function<bool(int row)>;

    explicit TraceScan(QObject* parent = nullptr);

    // From row `from` on, down (`step` 1) or up (-1). With `wrap` it goes
    // on from the other end and visits each row once; without, it runs to
    // the end, lines added meanwhile included. The first slice runs before
    // this returns: a short model is done by then.
    void start(const QAbstractItemModel* model, int from, int step, bool wrap, Visitor visit);
    // Stops without a word.
    void cancel();
    bool isRunning() const { return m_model != nullptr; }
    int percent() const;

Q_SIGNALS:
    void progress(int percent);
    // `row` where the visitor stopped, -1 when it did not; `wrapped` when
    // the scan had gone past the end by then.
    void finished(int row, bool wrapped);
    void aborted();

private:
    void slice();
    void finish(int row);
    void onRowsRemoved(const QModelIndex& parent, int first, int last);
    void onRowsInserted(const QModelIndex& parent, int first, int last);
    void onAbort();

    QPointer<const QAbstractItemModel> m_model;
    QList<QMetaObject::Connection> m_connections;
    Visitor m_visit;
    QTimer m_timer;
    int m_next = 0;
    int m_step = 1;
    bool m_wrap = false;
    bool m_wrapped = false;
    // With wrap: rows still to visit.
    int m_left = 0;
    int m_done = 0;
};
