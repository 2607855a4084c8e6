// SPDX-License-Identifier: MIT
#include "app/autoanswer.h"

#include "app/messageport.h"

#include "qrv16/messageparser.h"

#include <QTimer>

namespace {

// Past this many unreceived answers the peer is not us: forget them.
constexpr int MaxInFlight = 256;

} // namespace

AutoAnswer::AutoAnswer(QObject* parent) : QObject(parent) {}

AutoAnswer::~AutoAnswer() = default;

void AutoAnswer::setPorts(MessagePort* one, MessagePort* two)
{
    MessagePort* channels[2] = {one, two};
    for (int i = 0; i < 2; ++i) {
        if (m_channels[i])
            disconnect(m_channels[i], nullptr, this, nullptr);
        m_channels[i] = channels[i];
        if (MessagePort* channel = channels[i]) {
            connect(channel, &MessagePort::received, this,
                    [this, channel](const QRV16::Message& message) { onReceived(channel, message); });
        }
    }
}

void AutoAnswer::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    compile();
}

void AutoAnswer::setRules(const QVector<AnswerRule>& rules)
{
    m_rules = rules;
    ++m_generation;
    for (State& state : m_states)
        delete state.timer;
    m_states = QVector<State>(rules.size());
    compile();
    restartTimers();
}

int AutoAnswer::fired(int row) const
{
    return row >= 0 && row < m_states.size() ? m_states.at(row).fired : 0;
}

void AutoAnswer::setEnabled(bool on)
{
    m_enabled = on;
    restartTimers();
}

QString AutoAnswer::note(const AnswerRule& rule, int row)
{
    const QString name = rule.name.isEmpty() ? QString::number(row + 1) : rule.name;
    return tr("Sent automatically by answer rule \"%1\"").arg(name);
}

void AutoAnswer::compile()
{
    for (int row = 0; row < m_rules.size(); ++row) {
        const AnswerRule& rule = m_rules.at(row);
        State& state = m_states[row];
        if (rule.isPeriodic() || !rule.enabled) {
            state.pattern = QRV16::MessagePattern();
            continue;
        }
        if (!state.pattern.parse(rule.when, m_tags)) {
            Q_EMIT message(tr("Answer rule %1: %2 at column %3 of \"%4\"")
                               .arg(row + 1)
                               .arg(state.pattern.errorMessage())
                               .arg(state.pattern.errorStart() + 1)
                               .arg(rule.when));
        }
    }
}

void AutoAnswer::restartTimers()
{
    for (int row = 0; row < m_rules.size(); ++row) {
        const AnswerRule& rule = m_rules.at(row);
        State& state = m_states[row];
        if (!rule.isPeriodic())
            continue;
        if (!state.timer) {
            state.timer = new QTimer(this);
            connect(state.timer, &QTimer::timeout, this, [this, row] { sendPeriodic(row); });
        }
        if (m_enabled && rule.enabled)
            state.timer->start(rule.every);
        else
            state.timer->stop();
    }
}

MessagePort* AutoAnswer::other(MessagePort* channel) const
{
    return channel == m_channels[0] ? m_channels[1] : m_channels[0];
}

bool AutoAnswer::spend(int row)
{
    const AnswerRule& rule = m_rules.at(row);
    State& state = m_states[row];
    if (rule.limit > 0 && state.fired >= rule.limit)
        return false;
    ++state.fired;
    return true;
}

void AutoAnswer::onReceived(MessagePort* channel, const QRV16::Message& message)
{
    const int index = channel == m_channels[0] ? 0 : 1;
    QHash<QByteArray, int>& echoes = m_inFlight[index == 0 ? 1 : 0];
    const auto echo = echoes.find(message.bytes());
    if (echo != echoes.end()) {
        if (--echo.value() <= 0)
            echoes.erase(echo);
        return;
    }
    if (!m_enabled)
        return;
    for (int row = 0; row < m_rules.size(); ++row) {
        const AnswerRule& rule = m_rules.at(row);
        if (!rule.enabled || rule.isPeriodic() ||
            (rule.channel != AnswerRule::AnyChannel && rule.channel != channel->number()))
            continue;
        if (!m_states.at(row).pattern.matches(message) || !spend(row))
            continue;
        QString error;
        const QString text = QRV16::MessagePattern::substitute(rule.answer, message, m_tags, &error);
        if (text.isNull()) {
            Q_EMIT this->message(tr("Answer rule %1: %2").arg(row + 1).arg(error));
            return;
        }
        QPointer<MessagePort> target(channel);
        const int generation = m_generation;
        QTimer::singleShot(rule.delay, this, [this, row, target, text, generation] {
            if (target && m_enabled && generation == m_generation)
                send(row, target, text);
        });
        // The first rule that answers wins: special cases go first.
        return;
    }
}

void AutoAnswer::sendPeriodic(int row)
{
    if (row >= m_rules.size())
        return;
    const AnswerRule& rule = m_rules.at(row);
    for (MessagePort* channel : {m_channels[0].data(), m_channels[1].data()}) {
        // An idle link is not an error every few seconds.
        if (!channel || !channel->isConnected())
            continue;
        if (rule.channel != AnswerRule::AnyChannel && rule.channel != channel->number())
            continue;
        if (!spend(row))
            return;
        send(row, channel, rule.answer);
    }
}

void AutoAnswer::send(int row, MessagePort* channel, const QString& text)
{
    if (row >= m_rules.size())
        return;
    QRV16::MessageParser parser(m_tags);
    const QList<QRV16::Message> messages = parser.parseList(text);
    if (parser.hasError()) {
        Q_EMIT message(tr("Answer rule %1: %2 at column %3 of \"%4\"")
                           .arg(row + 1)
                           .arg(parser.errorMessage())
                           .arg(parser.errorStart() + 1)
                           .arg(text));
        return;
    }
    const int index = channel == m_channels[0] ? 0 : 1;
    QHash<QByteArray, int>& sent = m_inFlight[index];
    if (sent.size() > MaxInFlight)
        sent.clear();
    const QString note = AutoAnswer::note(m_rules.at(row), row);
    for (const QRV16::Message& message : messages) {
        if (other(channel) && other(channel)->isConnected())
            ++sent[message.bytes()];
        channel->sendMessage(message, note);
    }
}
