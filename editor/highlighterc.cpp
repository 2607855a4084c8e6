// SPDX-License-Identifier: MIT
#include "editor/highlighterc.h"

HighlighterC::HighlighterC(QTextDocument* parent)
    : CodeHighlighter(
          {QStringLiteral("char"),     QStringLiteral("class"),     QStringLiteral("const"),
           QStringLiteral("double"),   QStringLiteral("enum"),      QStringLiteral("explicit"),
           QStringLiteral("friend"),   QStringLiteral("inline"),    QStringLiteral("int"),
           QStringLiteral("long"),     QStringLiteral("namespace"), QStringLiteral("operator"),
           QStringLiteral("private"),  QStringLiteral("protected"), QStringLiteral("public"),
           QStringLiteral("short"),    QStringLiteral("signals"),   QStringLiteral("signed"),
           QStringLiteral("slots"),    QStringLiteral("static"),    QStringLiteral("struct"),
           QStringLiteral("template"), QStringLiteral("typedef"),   QStringLiteral("typename"),
           QStringLiteral("union"),    QStringLiteral("unsigned"),  QStringLiteral("virtual"),
           QStringLiteral("void"),     QStringLiteral("volatile")},
          {QStringLiteral("//[^\n]*")}, parent)
{
}
