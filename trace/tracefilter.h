// SPDX-License-Identifier: MIT
#pragma once

#include "qrv16/messageexpression.h"

#include <QSortFilterProxyModel>

class TraceModel;
class TraceItem;

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
    const Conditions& conditions() const { return m_conditions; }
    void clear() { setConditions(Conditions()); }

    bool isActive() const;

    // A suspended filter follows no model and shows no line; conditions
    // set meanwhile apply when it resumes. The window suspends it while
    // its view shows the trace itself, so lines cost nothing here then.
    void setSuspended(bool suspended);
    bool isSuspended() const { return sourceModel() == nullptr; }
    bool accepts(const TraceItem* line) const;

    // Element lines all pass: answered by the trace without building them.
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    TraceModel* m_source; // Not owned.
    Conditions m_conditions;
};
