// SPDX-License-Identifier: MIT
#pragma once

#include <QRegularExpression>
#include <QSyntaxHighlighter>
#include <QTextCharFormat>

// What the highlighters of generated code share: whole-word keywords, line
// comments and block comments that may run over several lines.
class CodeHighlighter : public QSyntaxHighlighter
{
    Q_OBJECT
public:
    struct HighlightingRule
    {
        QRegularExpression pattern;
        QTextCharFormat format;
    };

    QTextCharFormat keywordFormat() const { return m_keywordFormat; }
    QTextCharFormat singleLineCommentFormat() const { return m_singleLineCommentFormat; }
    QTextCharFormat multiLineCommentFormat() const { return m_multiLineCommentFormat; }

protected:
    CodeHighlighter(const QStringList& keywords, const QStringList& lineComments,
                    QTextDocument* parent);

    void highlightBlock(const QString& text) override;

private:
    QList<HighlightingRule> m_rules;
    QTextCharFormat m_keywordFormat;
    QTextCharFormat m_singleLineCommentFormat;
    QTextCharFormat m_multiLineCommentFormat;
    QRegularExpression m_commentStart;
    QRegularExpression m_commentEnd;
};
