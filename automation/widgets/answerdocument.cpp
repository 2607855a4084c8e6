// SPDX-License-Identifier: MIT
#include "automation/widgets/answerdocument.h"

#include "automation/answerparser.h"
#include "automation/answerwriter.h"
#include "automation/autoanswer.h"

#include <QDir>

AnswerDocument::AnswerDocument(AutoAnswer* answers, QObject* parent) : Document(parent), m_answers(answers)
{
}

bool AnswerDocument::load(const QString& path)
{
    AnswerParser parser;
    const bool ok = parser.parse(path);
    if (!parser.warnings().isEmpty())
        Q_EMIT message(parser.warnings().trimmed(), false);
    if (!ok) {
        Q_EMIT message(parser.formatError(), true);
        return false;
    }
    setPath(path);
    setModified(false);
    Q_EMIT message(tr("Loaded %n answer rule(s) from %1", nullptr, int(parser.rules().size()))
                       .arg(QDir::toNativeSeparators(path)),
                   false);
    // After the report of the load: the rules' own complaints follow it.
    m_answers->setRules(parser.rules());
    return true;
}

bool AnswerDocument::save(const QString& path, QString* error)
{
    AnswerWriter writer;
    if (!writer.save(m_answers->rules(), path)) {
        *error = writer.errorString();
        return false;
    }
    setPath(path);
    setModified(false);
    return true;
}

void AnswerDocument::setRules(const QVector<AnswerRule>& rules)
{
    if (rules == m_answers->rules())
        return;
    m_answers->setRules(rules);
    setModified(true);
}

QString AnswerDocument::fileFilter() const
{
    return tr("Answer rules") + QStringLiteral(" (*.qrvans)");
}

QString AnswerDocument::lastPathKey() const
{
    return QStringLiteral("MainWindow/LastAnswersPath");
}

void AnswerDocument::setModified(bool on)
{
    if (on == m_modified)
        return;
    m_modified = on;
    Q_EMIT modifiedChanged(on);
}
