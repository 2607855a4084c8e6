// SPDX-License-Identifier: MIT
#pragma once

#include "automation/answerrule.h"

#include "qrv16/message.h"
#include "qrv16/messagepattern.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QVector>

class MessagePort;
class QTimer;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// Plays a controller: answers what the channels receive by the first rule
// that matches and has not reached its limit, and
// sends the periodic rules' messages. Delays are event-loop timers, so a
// rule never blocks the window. What goes wrong in a rule reaches the user
// through message(), once: the rules are checked when they or the tag
// tables are set, and a rule that does not read is named then and keeps
// quiet afterwards.
class AutoAnswer : public QObject
{
    Q_OBJECT

public:
    explicit AutoAnswer(QObject* parent = nullptr);
    ~AutoAnswer() override;

    // Not owned.
    void setPorts(MessagePort* one, MessagePort* two);
    // Used for patterns and answers; call again when the table changes.
    void setTags(const QRV16::TagDataLut* tags);

    void setRules(const QVector<AnswerRule>& rules);
    const QVector<AnswerRule>& rules() const { return m_rules; }
    // How often rule `row` fired since the rules were set.
    int fired(int row) const;

    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool on);

    // Note put at the head of the tool tip of every line sent here.
    static QString note(const AnswerRule& rule, int row);
    // "Pump asked" with its quotes, or the rule's number without a name.
    static QString label(const AnswerRule& rule, int row);
    // Channels the enabled rules are for; AnswerRule::AnyChannel among them
    // when some rule is for any.
    static QList<int> channels(const QVector<AnswerRule>& rules);

Q_SIGNALS:
    void message(const QString& text);

private:
    struct State
    {
        QRV16::MessagePattern pattern;
        bool patternOk = false;
        // What keeps the rule from answering, already reported.
        QString problem;
        // An answer that failed for one request has been reported.
        bool failureReported = false;
        int fired = 0;
        QTimer* timer = nullptr; // periodic rules; owned (child)
    };

    void onReceived(MessagePort* channel, const QRV16::Message& message);
    void compile();
    QString answerProblem(const QString& answer) const;
    void reportFailure(int row, const QString& problem);
    void restartTimers();
    bool spend(int row);
    void send(int row, MessagePort* channel, const QString& text);
    void sendPeriodic(int row);
    MessagePort* other(MessagePort* channel) const;

    QPointer<MessagePort> m_channels[2];
    const QRV16::TagDataLut* m_tags = nullptr;
    QVector<AnswerRule> m_rules;
    QVector<State> m_states;
    bool m_enabled = true;
    // Answers still waiting for their delay belong to the rules of their time.
    int m_generation = 0;
    // Answers sent on a channel, by bytes, until the other channel receives
    // them: on a loopback pair they must not be answered in turn.
    QHash<QByteArray, int> m_inFlight[2];
};
