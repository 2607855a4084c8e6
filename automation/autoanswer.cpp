// SPDX-License-Identifier: MIT
#include "automation/autoanswer.h"

#include "automation/messageport.h"

#include "qrv16/messageparser.h"

#include <QTimer>

#include <algorithm>

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

QString AutoAnswer::label(const AnswerRule& rule, int row)
{
    return rule.name.isEmpty() ? QString::number(row + 1) : QLatin1Char('"') + rule.name + QLatin1Char('"');
}

QList<int> AutoAnswer::channels(const QVector<AnswerRule>& rules)
{
    QList<int> out;
    for (const AnswerRule& rule : rules) {
        if (rule.enabled && !out.contains(rule.channel))
            out.append(rule.channel);
    }
    std::sort(out.begin(), out.end());
    return out;
}

QString AutoAnswer::answerProblem(const QString& answer) const
{
    // What a request fills in is known only when it comes: of such an
    // answer the names in ${} are checked now, the rest when it is sent.
    if (answer.contains(QLatin1String("${"))) {
        QString error;
        for (qsizetype open = answer.indexOf(QLatin1String("${")); open >= 0;
             open = answer.indexOf(QLatin1String("${"), open + 2)) {
            const qsizetype close = answer.indexOf(QLatin1Char('}'), open + 2);
            if (close < 0)
                return tr("Unterminated ${ at %1").arg(open + 1);
            const QString name = answer.mid(open + 2, close - open - 2).trimmed();
            QRV16::MessageParser parser(m_tags);
            if (name.isEmpty() || parser.parse(name).tag() < 0 || parser.hasError())
                return tr("Unknown tag \"%1\" in ${} at %2").arg(name).arg(open + 1);
        }
        return QString();
    }
    QRV16::MessageParser parser(m_tags);
    parser.parseList(answer);
    if (!parser.hasError())
        return QString();
    return tr("%1 at column %2 of \"%3\"").arg(parser.errorMessage()).arg(parser.errorStart() + 1).arg(answer);
}

void AutoAnswer::compile()
{
    for (int row = 0; row < m_rules.size(); ++row) {
        const AnswerRule& rule = m_rules.at(row);
        State& state = m_states[row];
        state.pattern = QRV16::MessagePattern();
        state.patternOk = false;
        state.problem.clear();
        state.failureReported = false;
        if (!rule.enabled)
            continue;
        if (!rule.isPeriodic()) {
            state.patternOk = state.pattern.parse(rule.when, m_tags);
            if (!state.patternOk) {
                state.problem = tr("%1 at column %2 of \"%3\"")
                                    .arg(state.pattern.errorMessage())
                                    .arg(state.pattern.errorStart() + 1)
                                    .arg(rule.when);
            }
        }
        if (state.problem.isEmpty())
            state.problem = answerProblem(rule.answer);
        if (!state.problem.isEmpty())
            Q_EMIT message(tr("Answer rule %1: %2").arg(label(rule, row), state.problem));
    }
}

void AutoAnswer::reportFailure(int row, const QString& problem)
{
    State& state = m_states[row];
    if (state.failureReported)
        return;
    state.failureReported = true;
    Q_EMIT message(tr("Answer rule %1: %2").arg(label(m_rules.at(row), row), problem));
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
        const State& state = m_states.at(row);
        if (!state.patternOk || !state.pattern.matches(message))
            continue;
        // A rule whose answer does not read still takes its turn, quietly:
        // it was named when it was checked.
        if (!state.problem.isEmpty())
            return;
        if (!spend(row))
            continue;
        QString error;
        const QString text = QRV16::MessagePattern::substitute(rule.answer, message, m_tags, &error);
        if (text.isNull()) {
            reportFailure(row, error);
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
    if (!m_states.at(row).problem.isEmpty())
        return;
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
        reportFailure(row, tr("%1 at column %2 of \"%3\"")
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
