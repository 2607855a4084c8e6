// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QStringList>

class QAction;
class QWidget;
class TraceModel;

// The program's own preferences, behind one "Preferences..." action: for now
// the trace limit. Each value is read from the settings once, applied at
// once when the user changes it, and kept.
class Preferences : public QObject
{
    Q_OBJECT

public:
    static constexpr int MinTraceLimit = 1000;
    static constexpr int MaxTraceLimit = 10000000;
    static constexpr const char* TraceLimitKey = "MainWindow/TraceLimit";

    // Reads the settings and applies them to `model` (not owned); a stored
    // value out of range is clamped and said in warnings().
    Preferences(TraceModel* model, QWidget* parent);

    QAction* action() const { return m_action; }
    int traceLimit() const { return m_traceLimit; }
    // Clamped to its range, kept and applied: lowering it drops the oldest
    // lines in one removal.
    void setTraceLimit(int lines);
    // What reading the settings had to correct, one line each.
    QStringList warnings() const { return m_warnings; }

    // The dialog, modal; its values apply when it is accepted.
    void edit();

private:
    TraceModel* m_model; // Not owned.
    QWidget* m_parent;   // Not owned: the dialog's parent.
    QAction* m_action;   // Owned (child).
    int m_traceLimit;
    QStringList m_warnings;
};
