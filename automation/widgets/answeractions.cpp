// SPDX-License-Identifier: MIT
#include "automation/widgets/answeractions.h"

#include "automation/autoanswer.h"
#include "automation/widgets/answerdialog.h"
#include "automation/widgets/answerdocument.h"
#include "widgets/documentactions.h"

#include <QAction>
#include <QMenu>

AnswerActions::AnswerActions(AutoAnswer* answers, QWidget* window)
    : QObject(window),
      m_answers(answers),
      m_window(window),
      m_document(new AnswerDocument(answers, this)),
      m_actions(new DocumentActions(m_document, window,
                                    {tr("Open Answers"), tr("Save Answers"), tr("Save Answers As"),
                                     tr("There are unsaved answer rules. What do you want to do?"),
                                     tr("Answers")})),
      m_mnu_answers(new QMenu(tr("Answers"), window)),
      m_act_edit(new QAction(tr("Edit Answers"), this)),
      m_act_on(new QAction(tr("Answer Automatically"), this))
{
    m_actions->openAction()->setObjectName(QStringLiteral("m_act_open_answers"));
    m_actions->openAction()->setToolTip(tr("Open a file of automatic answer rules"));
    m_actions->saveAction()->setObjectName(QStringLiteral("m_act_save_answers"));
    m_actions->saveAsAction()->setObjectName(QStringLiteral("m_act_save_answers_as"));
    m_act_edit->setObjectName(QStringLiteral("m_act_edit_answers"));
    m_act_edit->setToolTip(tr("Edit the answer rules"));
    m_act_on->setObjectName(QStringLiteral("m_act_answers_on"));
    m_act_on->setToolTip(tr("Answer received messages by the rules"));
    m_act_on->setCheckable(true);
    m_act_on->setChecked(answers->isEnabled());

    m_mnu_answers->setObjectName(QStringLiteral("m_mnu_answers"));
    m_mnu_answers->addActions({m_actions->openAction(), m_actions->saveAction(), m_actions->saveAsAction(),
                               m_act_edit});
    m_mnu_answers->addSeparator();
    m_mnu_answers->addAction(m_act_on);

    connect(m_actions, &DocumentActions::message, this, &AnswerActions::message);
    connect(answers, &AutoAnswer::message, this, [this](const QString& text) { Q_EMIT message(text, true); });
    connect(m_act_edit, &QAction::triggered, this, &AnswerActions::edit);
    connect(m_act_on, &QAction::toggled, answers, &AutoAnswer::setEnabled);
}

bool AnswerActions::canClose()
{
    return m_actions->canClose();
}

void AnswerActions::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    m_answers->setTags(tags);
}

void AnswerActions::edit()
{
    AnswerDialog dialog(m_window);
    dialog.setTags(m_tags);
    dialog.setRules(m_answers->rules());
    if (m_sample)
        dialog.setTestMessage(m_sample());
    if (dialog.exec() == QDialog::Accepted)
        m_document->setRules(dialog.rules());
}
