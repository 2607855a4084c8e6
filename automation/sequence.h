// SPDX-License-Identifier: MIT
#pragma once

#include "automation/sequencestep.h"

#include <QString>
#include <QVector>

// A named list of steps, run from the top by SequenceRunner. A failed
// expect ends the run unless `continueOnFail` is set.
struct Sequence
{
    QString name;
    bool continueOnFail = false;
    QVector<SequenceStep> steps;

    bool operator==(const Sequence& o) const
    {
        return name == o.name && continueOnFail == o.continueOnFail && steps == o.steps;
    }
    bool operator!=(const Sequence& o) const { return !(*this == o); }
};
