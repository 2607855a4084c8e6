// SPDX-License-Identifier: MIT
#pragma once

#include "trace/tracemodel.h"

#include "qrv16/messageexpression.h"

#include <QSortFilterProxyModel>

#include <deque>

class TraceModel;
class TraceScan;

// The trace as the view shows it: only the lines that pass every condition
// set (AND). Keeps row numbers only, never a copy of a line; element lines
// of a line that passes always pass. With no condition it passes all.
class TraceFilter : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    enum Direction { AnyDirection = 0, Sent, Received };
    enum Kind { AnyKind = 0, StatusKind, RawKind, HexKind, MessageKind, ErrorKind };

    explicit TraceFilter(TraceModel* source, QObject* parent = nullptr);

    // What a line must pass; the defaults pass everything.
    struct Conditions
    {
        int channel = 0; // 0 for both
        Direction direction = AnyDirection;
        Kind kind = AnyKind;
        QString source; // part of the source label, any case
        // An empty or invalid expression passes every line.
        QRV16::MessageExpression expression;
    };

    // Filters the whole trace again, once.
    void setConditions(const Conditions& conditions);
    // The same without holding the event loop: every line is judged in
    // slices (progress() meanwhile), then prepared() says that commit()
    // applies them at once. A short trace is judged before this returns.
    void prepare(const Conditions& conditions);
    void commit();
    // The conditions stay as they were.
    void cancelPrepare();
    bool isPreparing() const;
    const Conditions& conditions() const { return m_conditions; }
    void clear() { setConditions(Conditions()); }

    bool isActive() const;

    // A suspended filter follows no model and shows no line; conditions
    // set meanwhile apply when it resumes. The window suspends it while
    // its view shows the trace itself, so lines cost nothing here then.
    void setSuspended(bool suspended);
    bool isSuspended() const { return sourceModel() == nullptr; }
    bool accepts(const TraceModel::Line& line) const;
    static bool passes(const Conditions& conditions, const TraceModel::Line& line);

    // Element lines all pass: answered by the trace without building them.
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;

Q_SIGNALS:
    void progress(int percent);
    void prepared();

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    void onSourceRowsRemoved(const QModelIndex& parent, int first, int last);
    void onSourceRowsInserted(const QModelIndex& parent, int first, int last);

    TraceModel* m_source; // Not owned.
    Conditions m_conditions;
    Conditions m_pending;
    TraceScan* m_scan; // Owned (child).
    // The pending conditions' verdict on each line from the first on, -1
    // for lines that came since the scan passed them.
    std::deque<qint8> m_verdicts;
    // The verdicts stand in for the conditions only while they are applied.
    bool m_committing = false;
};
