// SPDX-License-Identifier: MIT
#include "editor/codehighlighter.h"

CodeHighlighter::CodeHighlighter(const QStringList& keywords, const QStringList& lineComments,
                                 QTextDocument* parent)
    : QSyntaxHighlighter(parent),
      m_commentStart(QStringLiteral("/\\*")),
      m_commentEnd(QStringLiteral("\\*/"))
{
    m_keywordFormat.setForeground(QColor(0x00, 0x00, 0x80));
    m_keywordFormat.setFontWeight(QFont::Bold);
    for (const QString& word : keywords)
        m_rules.append({QRegularExpression(QStringLiteral("\\b") + word + QStringLiteral("\\b")),
                        m_keywordFormat});

    m_singleLineCommentFormat.setForeground(QColor(0x30, 0x80, 0x30));
    m_singleLineCommentFormat.setFontItalic(true);
    for (const QString& pattern : lineComments)
        m_rules.append({QRegularExpression(pattern), m_singleLineCommentFormat});

    m_multiLineCommentFormat.setForeground(QColor(0x20, 0x70, 0x70));
    m_multiLineCommentFormat.setFontItalic(true);
}

void CodeHighlighter::highlightBlock(const QString& text)
{
    for (const HighlightingRule& rule : std::as_const(m_rules)) {
        auto matches = rule.pattern.globalMatch(text);
        while (matches.hasNext()) {
            const QRegularExpressionMatch m = matches.next();
            setFormat(int(m.capturedStart()), int(m.capturedLength()), rule.format);
        }
    }

    // Block state 1: the line ends inside a block comment.
    setCurrentBlockState(0);
    qsizetype start = 0;
    if (previousBlockState() != 1)
        start = text.indexOf(m_commentStart);
    while (start >= 0) {
        const QRegularExpressionMatch end = m_commentEnd.match(text, start);
        qsizetype length;
        if (!end.hasMatch()) {
            setCurrentBlockState(1);
            length = text.size() - start;
        } else {
            length = end.capturedEnd() - start;
        }
        setFormat(int(start), int(length), m_multiLineCommentFormat);
        start = text.indexOf(m_commentStart, start + length);
    }
}
