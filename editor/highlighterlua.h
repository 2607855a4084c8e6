// SPDX-License-Identifier: MIT
#pragma once

#include "editor/codehighlighter.h"

// Colours the generated Lua table: keywords, -- and // line comments, /* */.
class HighlighterLua : public CodeHighlighter
{
    Q_OBJECT
public:
    explicit HighlighterLua(QTextDocument* parent = nullptr);
};
