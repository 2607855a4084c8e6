// SPDX-License-Identifier: MIT
#pragma once

#include "trace/traceoptions.h"

#include <QObject>

class QAction;

// The window's display toggles: one checkable action per trace option, its
// settings key and its start value from the settings (Pause is never kept:
// every start shows live output). A toggle announces the new options;
// whatever shows the trace keeps them.
class DisplayOptions : public QObject
{
    Q_OBJECT

public:
    // The actions are checked as the settings say; nothing is announced yet.
    explicit DisplayOptions(QObject* parent = nullptr);

    QAction* action(TraceOptions::Flag flag) const { return m_actions[flag]; }
    TraceOptions options() const { return m_options; }

    // Writes every kept toggle to the settings.
    void save() const;

Q_SIGNALS:
    // After any toggle changed, with all nine options.
    void optionsChanged(const TraceOptions& options);

private:
    void onToggled(TraceOptions::Flag flag, bool on);

    QAction* m_actions[TraceOptions::FlagCount] = {}; // Owned (children).
    TraceOptions m_options;
};
