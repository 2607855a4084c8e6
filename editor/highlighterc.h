// SPDX-License-Identifier: MIT
#pragma once

#include "editor/codehighlighter.h"

// Colours the generated C header: keywords, // and /* */ comments.
class HighlighterC : public CodeHighlighter
{
    Q_OBJECT
public:
    explicit HighlighterC(QTextDocument* parent = nullptr);
};
