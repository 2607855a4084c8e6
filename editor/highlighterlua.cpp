// SPDX-License-Identifier: MIT
#include "editor/highlighterlua.h"

HighlighterLua::HighlighterLua(QTextDocument* parent)
    : CodeHighlighter(
          {QStringLiteral("and"),      QStringLiteral("break"),  QStringLiteral("continue"),
           QStringLiteral("do"),       QStringLiteral("else"),   QStringLiteral("elseif"),
           QStringLiteral("end"),      QStringLiteral("false"),  QStringLiteral("for"),
           QStringLiteral("function"), QStringLiteral("if"),     QStringLiteral("in"),
           QStringLiteral("local"),    QStringLiteral("nil"),    QStringLiteral("not"),
           QStringLiteral("or"),       QStringLiteral("repeat"), QStringLiteral("return"),
           QStringLiteral("then"),     QStringLiteral("true"),   QStringLiteral("until"),
           QStringLiteral("while")},
          {QStringLiteral("//[^\n]*"), QStringLiteral("--[^\n]*")}, parent)
{
}
