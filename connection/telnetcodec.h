// SPDX-License-Identifier: MIT
#pragma once

// The Telnet layer of a remote serial port (RFC 2217): the client's side of
// the option negotiation, the escaping of 0xFF in both directions, and the
// COM-PORT-OPTION commands and answers. Pure bytes in, bytes out: the
// transport owns the socket. Input may be split anywhere; whatever the far
// end sends, data bytes come out in order and Telnet commands never do.

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <array>

class TelnetCodec
{
public:
    enum Command : unsigned char {
        SE = 240,
        NOP = 241,
        DM = 242,
        BRK = 243,
        IP = 244,
        AO = 245,
        AYT = 246,
        EC = 247,
        EL = 248,
        GA = 249,
        SB = 250,
        WILL = 251,
        WONT = 252,
        DO = 253,
        DONT = 254,
        IAC = 255
    };
    enum Option : unsigned char { Binary = 0, Echo = 1, SuppressGoAhead = 3, ComPortOption = 44 };
    // What the client asks; the server answers with the same number + 100.
    enum ComPortCommand : unsigned char {
        Signature = 0,
        SetBaudRate = 1,
        SetDataSize = 2,
        SetParity = 3,
        SetStopSize = 4,
        SetControl = 5,
        NotifyLineState = 6,
        NotifyModemState = 7,
        FlowControlSuspend = 8,
        FlowControlResume = 9,
        SetLineStateMask = 10,
        SetModemStateMask = 11,
        PurgeData = 12
    };
    static constexpr unsigned char AnswerOffset = 100;
    // Values of SET-PARITY.
    enum ComPortParity : unsigned char { ParityNone = 1, ParityOdd = 2, ParityEven = 3, ParityMark = 4, ParitySpace = 5 };
    // Values of SET-CONTROL, grouped by what they set.
    enum ComPortControl : unsigned char {
        FlowRequest = 0,
        FlowNone = 1,
        FlowXonXoff = 2,
        FlowHardware = 3,
        BreakRequest = 4,
        BreakOn = 5,
        BreakOff = 6,
        DtrRequest = 7,
        DtrOn = 8,
        DtrOff = 9,
        RtsRequest = 10,
        RtsOn = 11,
        RtsOff = 12
    };
    // Bits of NOTIFY-MODEMSTATE.
    enum ModemState : unsigned char { ModemCts = 0x10, ModemDsr = 0x20, ModemRi = 0x40, ModemCd = 0x80 };

    enum Problem {
        // IAC followed by a byte that is no command, SE outside a
        // subnegotiation, a subnegotiation cut short or far too long.
        MalformedSequence,
        // An option this side does not know, offered or asked for.
        UnknownOption,
        // A COM-PORT-OPTION answer of the wrong length or an unknown number.
        BadComPortAnswer,
        ProblemCount
    };

    struct Answer
    {
        ComPortCommand command; // without the offset
        quint32 value = 0;      // the number; 0 for a signature
        QByteArray text;        // a signature's text
    };

    struct Report
    {
        Problem problem;
        int detail; // the offending byte, option or answer number
    };

    // What one call of decode() found.
    struct Output
    {
        QByteArray data;      // for the application
        QByteArray reply;     // for the far end, at once
        QList<Answer> answers;
        QList<Report> reports;
    };

    // Longest subnegotiation kept; a signature is the only long one.
    static constexpr int MaxSubnegotiation = 512;

    TelnetCodec();

    // Forgets everything negotiated, as for a new connection.
    void reset();
    // The offers a client makes on connecting: binary both ways, no
    // go-aheads, and COM-PORT-OPTION.
    QByteArray start();

    void decode(QByteArrayView input, Output* out);
    // Data bytes as they go on the wire: 0xFF doubled, and CR followed by
    // NUL while the far end has not agreed to binary.
    QByteArray encode(QByteArrayView data) const;

    // IAC SB COM-PORT-OPTION command value IAC SE, 0xFF in value doubled.
    static QByteArray comPort(ComPortCommand command, QByteArrayView value);
    static QByteArray comPort(ComPortCommand command, unsigned char value);
    static QByteArray baudRate(quint32 speed);

    // The far end said DO or DONT to COM-PORT-OPTION.
    bool comPortAccepted() const;
    bool comPortRefused() const;
    bool comPortAnswered() const { return comPortAccepted() || comPortRefused(); }
    bool sendsBinary() const;
    bool receivesBinary() const;

private:
    enum class State { Data, Iac, Verb, Sub, SubIac };
    // One side of an option: on, or asked for and not yet answered.
    struct Side
    {
        bool on = false;
        bool asked = false;
        bool refused = false;
    };

    void negotiate(unsigned char verb, unsigned char option, Output* out);
    void endSubnegotiation(Output* out);
    void report(Output* out, Problem problem, int detail);

    State m_state = State::Data;
    unsigned char m_verb = 0;
    QByteArray m_sub;
    // CR seen from a far end that sends NVT text: a NUL after it is padding.
    bool m_afterCr = false;
    std::array<Side, 256> m_local{};  // what this side does (WILL)
    std::array<Side, 256> m_remote{}; // what the far end does (DO)
};
