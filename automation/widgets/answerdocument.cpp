// SPDX-License-Identifier: MIT
#include "automation/widgets/answerdocument.h"

#include "automation/answerparser.h"
#include "automation/answerwriter.h"
#include "automation/autoanswer.h"

#include <QDir>

AnswerDocument::AnswerDocument(AutoAnswer* answers, QWidget* window)
    : QObject(answers),
      m_answers(answers),
      m_window(window),
      m_flow("MainWindow/LastAnswersPath", tr("Answer rules") + QStringLiteral(" (*.qrvans)"))
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
    m_path = path;
    setModified(false);
    Q_EMIT message(tr("Loaded %n answer rule(s) from %1", nullptr, int(parser.rules().size()))
                       .arg(QDir::toNativeSeparators(path)),
                   false);
    // After the report of the load: the rules' own complaints follow it.
    m_answers->setRules(parser.rules());
    return true;
}

bool AnswerDocument::save(const QString& path)
{
    AnswerWriter writer;
    if (!writer.save(m_answers->rules(), path)) {
        Q_EMIT message(writer.errorString(), true);
        return false;
    }
    m_path = path;
    setModified(false);
    Q_EMIT message(tr("Saved to %1").arg(QDir::toNativeSeparators(path)), false);
    return true;
}

void AnswerDocument::setRules(const QVector<AnswerRule>& rules)
{
    if (rules == m_answers->rules())
        return;
    m_answers->setRules(rules);
    setModified(true);
}

bool AnswerDocument::canClose()
{
    if (!m_modified)
        return true;
    switch (DocumentFlow::askToSave(m_window, tr("Answers"),
                                    tr("There are unsaved answer rules. What do you want to do?"))) {
    case DocumentFlow::Save: return onSave();
    case DocumentFlow::Discard: return true;
    case DocumentFlow::Cancel: break;
    }
    return false;
}

void AnswerDocument::onOpen()
{
    if (!canClose())
        return;
    const QString path = m_flow.openFileName(m_window, tr("Open Answers"));
    if (!path.isEmpty() && load(path))
        m_flow.remember(path);
}

bool AnswerDocument::onSave()
{
    return m_path.isEmpty() ? onSaveAs() : save(m_path);
}

bool AnswerDocument::onSaveAs()
{
    const QString path = m_flow.saveFileName(m_window, tr("Save Answers"), m_path);
    if (path.isEmpty() || !save(path))
        return false;
    m_flow.remember(path);
    return true;
}

void AnswerDocument::setModified(bool on)
{
    if (on == m_modified)
        return;
    m_modified = on;
    Q_EMIT modifiedChanged(on);
}
