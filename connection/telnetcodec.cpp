// SPDX-License-Identifier: MIT
#include "connection/telnetcodec.h"

namespace {

constexpr unsigned char Cr = '\r';

bool known(unsigned char option)
{
    return option == TelnetCodec::Binary || option == TelnetCodec::Echo || option == TelnetCodec::SuppressGoAhead
           || option == TelnetCodec::ComPortOption;
}

// What this side offers to do.
bool doesLocally(unsigned char option)
{
    return option == TelnetCodec::Binary || option == TelnetCodec::SuppressGoAhead
           || option == TelnetCodec::ComPortOption;
}

// What this side lets the far end do; its echo would only double the data.
bool letsRemote(unsigned char option)
{
    return option == TelnetCodec::Binary || option == TelnetCodec::SuppressGoAhead;
}

// Length of the value of each answer, -1 for any.
int answerLength(unsigned char command)
{
    switch (command) {
    case TelnetCodec::Signature:
        return -1;
    case TelnetCodec::SetBaudRate:
        return 4;
    case TelnetCodec::FlowControlSuspend:
    case TelnetCodec::FlowControlResume:
        return 0;
    default:
        return command <= TelnetCodec::PurgeData ? 1 : -2;
    }
}

void appendCommand(QByteArray* out, unsigned char verb, unsigned char option)
{
    out->append(char(TelnetCodec::IAC));
    out->append(char(verb));
    out->append(char(option));
}

} // namespace

TelnetCodec::TelnetCodec()
{
    reset();
}

void TelnetCodec::reset()
{
    m_state = State::Data;
    m_verb = 0;
    m_sub.clear();
    m_afterCr = false;
    m_local.fill(Side());
    m_remote.fill(Side());
}

QByteArray TelnetCodec::start()
{
    QByteArray out;
    for (unsigned char option : {Binary, SuppressGoAhead, ComPortOption}) {
        if (!m_local[option].on && !m_local[option].asked) {
            m_local[option].asked = true;
            appendCommand(&out, WILL, option);
        }
    }
    for (unsigned char option : {Binary, SuppressGoAhead}) {
        if (!m_remote[option].on && !m_remote[option].asked) {
            m_remote[option].asked = true;
            appendCommand(&out, DO, option);
        }
    }
    return out;
}

bool TelnetCodec::comPortAccepted() const
{
    return m_local[ComPortOption].on;
}

bool TelnetCodec::comPortRefused() const
{
    return m_local[ComPortOption].refused;
}

bool TelnetCodec::sendsBinary() const
{
    return m_local[Binary].on;
}

bool TelnetCodec::receivesBinary() const
{
    return m_remote[Binary].on;
}

void TelnetCodec::report(Output* out, Problem problem, int detail)
{
    out->reports.append({problem, detail});
}

void TelnetCodec::decode(QByteArrayView input, Output* out)
{
    // Runs of plain data are copied in one piece.
    out->data.reserve(out->data.size() + input.size());
    const auto* p = reinterpret_cast<const unsigned char*>(input.data());
    const qsizetype n = input.size();
    qsizetype i = 0;
    while (i < n) {
        const unsigned char byte = p[i];
        switch (m_state) {
        case State::Data: {
            if (receivesBinary()) {
                qsizetype end = i;
                while (end < n && p[end] != IAC)
                    ++end;
                out->data.append(reinterpret_cast<const char*>(p + i), end - i);
                i = end;
                if (i < n) {
                    m_state = State::Iac;
                    ++i;
                }
                continue;
            }
            if (byte == IAC) {
                m_state = State::Iac;
            } else {
                // NVT text: the NUL that pads a CR is no data.
                if (!(m_afterCr && byte == 0))
                    out->data.append(char(byte));
                m_afterCr = byte == Cr;
            }
            ++i;
            continue;
        }
        case State::Iac:
            ++i;
            if (byte == IAC) {
                out->data.append(char(IAC));
                m_afterCr = false;
                m_state = State::Data;
            } else if (byte == SB) {
                m_sub.clear();
                m_state = State::Sub;
            } else if (byte >= WILL) {
                m_verb = byte;
                m_state = State::Verb;
            } else if (byte == SE) {
                report(out, MalformedSequence, byte);
                m_state = State::Data;
            } else if (byte > SE) {
                // NOP, data mark, break, interrupt, go-ahead and the
                // like: nothing a serial line carries.
                m_state = State::Data;
            } else {
                // A far end that forgot to double 0xFF: the byte was data.
                report(out, MalformedSequence, byte);
                out->data.append(char(IAC));
                m_afterCr = false;
                m_state = State::Data;
                --i;
            }
            continue;
        case State::Verb:
            ++i;
            m_state = State::Data;
            negotiate(m_verb, byte, out);
            continue;
        case State::Sub:
            ++i;
            if (byte == IAC) {
                m_state = State::SubIac;
            } else if (m_sub.size() >= MaxSubnegotiation) {
                // No end in sight: what follows is taken as data again
                // rather than swallowed.
                report(out, MalformedSequence, SB);
                m_sub.clear();
                m_state = State::Data;
                --i;
            } else {
                m_sub.append(char(byte));
            }
            continue;
        case State::SubIac:
            ++i;
            if (byte == SE) {
                m_state = State::Data;
                endSubnegotiation(out);
            } else if (byte == IAC) {
                m_sub.append(char(IAC));
                m_state = State::Sub;
            } else {
                // A command inside a subnegotiation ends it unfinished.
                report(out, MalformedSequence, byte);
                m_sub.clear();
                m_state = State::Iac;
                --i;
            }
            continue;
        }
    }
}

void TelnetCodec::negotiate(unsigned char verb, unsigned char option, Output* out)
{
    const bool theyWill = verb == WILL || verb == WONT;
    Side& side = theyWill ? m_remote[option] : m_local[option];
    const bool on = verb == WILL || verb == DO;
    if (on) {
        if (side.on)
            return;
        if (side.asked) {
            side.asked = false;
            side.on = true;
            return;
        }
        const bool agree = theyWill ? letsRemote(option) : doesLocally(option);
        if (!known(option))
            report(out, UnknownOption, option);
        side.on = agree;
        appendCommand(&out->reply, theyWill ? (agree ? DO : DONT) : (agree ? WILL : WONT), option);
        return;
    }
    if (side.asked) {
        side.asked = false;
        side.on = false;
        side.refused = true;
        return;
    }
    if (side.on) {
        side.on = false;
        appendCommand(&out->reply, theyWill ? DONT : WONT, option);
    }
}

void TelnetCodec::endSubnegotiation(Output* out)
{
    const QByteArray sub = m_sub;
    m_sub.clear();
    if (sub.isEmpty()) {
        report(out, MalformedSequence, SE);
        return;
    }
    const auto option = static_cast<unsigned char>(sub.at(0));
    if (option != ComPortOption) {
        report(out, UnknownOption, option);
        return;
    }
    if (sub.size() < 2) {
        report(out, BadComPortAnswer, -1);
        return;
    }
    const auto number = static_cast<unsigned char>(sub.at(1));
    const int expected = number >= AnswerOffset ? answerLength(number - AnswerOffset) : -2;
    const QByteArray value = sub.mid(2);
    if (expected == -2 || (expected >= 0 && value.size() != expected)) {
        report(out, BadComPortAnswer, number);
        return;
    }
    Answer answer;
    answer.command = ComPortCommand(number - AnswerOffset);
    if (answer.command == Signature) {
        // An empty signature asks for ours.
        if (value.isEmpty())
            out->reply += comPort(Signature, QByteArrayView("korvgui"));
        answer.text = value;
    } else {
        for (char c : value)
            answer.value = (answer.value << 8) | static_cast<unsigned char>(c);
    }
    out->answers.append(answer);
}

QByteArray TelnetCodec::encode(QByteArrayView data) const
{
    const bool binary = sendsBinary();
    QByteArray out;
    out.reserve(data.size() + data.size() / 64 + 2);
    const char* p = data.data();
    const qsizetype n = data.size();
    qsizetype start = 0;
    for (qsizetype i = 0; i < n; ++i) {
        const auto byte = static_cast<unsigned char>(p[i]);
        if (byte == IAC) {
            out.append(p + start, i + 1 - start);
            out.append(char(IAC));
            start = i + 1;
        } else if (byte == Cr && !binary) {
            out.append(p + start, i + 1 - start);
            out.append('\0');
            start = i + 1;
        }
    }
    out.append(p + start, n - start);
    return out;
}

QByteArray TelnetCodec::comPort(ComPortCommand command, QByteArrayView value)
{
    QByteArray out;
    out.reserve(6 + 2 * value.size());
    out.append(char(IAC));
    out.append(char(SB));
    out.append(char(ComPortOption));
    out.append(char(command));
    for (char c : value) {
        out.append(c);
        if (static_cast<unsigned char>(c) == IAC)
            out.append(c);
    }
    out.append(char(IAC));
    out.append(char(SE));
    return out;
}

QByteArray TelnetCodec::comPort(ComPortCommand command, unsigned char value)
{
    const char byte = char(value);
    return comPort(command, QByteArrayView(&byte, 1));
}

QByteArray TelnetCodec::baudRate(quint32 speed)
{
    const char bytes[4] = {char(speed >> 24), char(speed >> 16), char(speed >> 8), char(speed)};
    return comPort(SetBaudRate, QByteArrayView(bytes, 4));
}
