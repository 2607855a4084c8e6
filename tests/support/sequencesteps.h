// SPDX-License-Identifier: MIT
#pragma once

// The steps of the sequence a dock shows, as their texts, and the dock's
// actions by name.

#include "automation/widgets/sequencedock.h"

#include <QAction>
#include <QStringList>

inline QStringList stepTexts(const SequenceDock& dock)
{
    QStringList out;
    for (const SequenceStep& step : dock.sequences().value(dock.currentSequence()).steps)
        out << step.toText();
    return out;
}

inline QAction* action(const QObject* owner, const char* name)
{
    return owner->findChild<QAction*>(QLatin1String(name));
}
