// SPDX-License-Identifier: MIT
#pragma once

// The BiS bus framing: wraps outgoing blocks in checked, addressed frames
// and unwraps, checks and filters incoming ones, as a master (sends queries,
// waits for one answer each) or a slave (answers queries). It knows nothing
// of the transport: the owner overrides dataReceived, transmitFrame and
// trace, and feeds received bytes to receive(). Timers and retries belong to
// the owner.

#include <QtGlobal>

class BiSProtocol
{
public:
    enum Mode { Master = 0, Slave = 1 };

    enum RxState {
        Idle = 0,
        Control = 1,
        Sequence = 2,
        Destination0 = 3,
        Destination1 = 4,
        Destination2 = 5,
        Destination3 = 6,
        Source0 = 7,
        Source1 = 8,
        Source2 = 9,
        Source3 = 10,
        Data = 11,
        Delivering = 12
    };

    struct Packet
    {
        quint32 destination = 0;
        quint32 type = 0; // only the low 6 bits reach the wire
        const void* data = nullptr;
        unsigned len = 0;
    };

    static constexpr unsigned char QueryStart = 0x91;
    static constexpr unsigned char AnswerStart = 0x92;
    static constexpr unsigned char End = 0x93;
    static constexpr unsigned char Escape = 0x94;
    static constexpr unsigned BufferSize = 1312;
    static constexpr unsigned MaxPayload = BufferSize - 2;

    BiSProtocol();
    virtual ~BiSProtocol();

    void setMode(Mode mode);
    Mode mode() const { return m_mode; }
    // Set by the owner after setMode: 0 in a master, the bus address in a slave.
    void setOwnAddress(unsigned address) { m_ownaddress = address; }
    unsigned ownAddress() const { return m_ownaddress; }

    bool responsePending() const;
    void dropPending();
    bool send(const Packet& packet);
    bool retransmit();
    void receive(const void* data, unsigned len);
    void traceLastData();
    void memdump(const void* data, unsigned len);

protected:
    virtual void dataReceived(unsigned src, unsigned type, const void* data, unsigned len);
    virtual bool transmitFrame(const void* data, unsigned len);
    virtual void trace(const char* format, ...) const
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

    void txencode(unsigned byte);
    void enterRxState(RxState state) { m_rxstate = state; }
    void resyncReceive();

private:
    void receiveByte(unsigned char byte);
    void endOfFrame();

    quint32 m_peeraddress = 0;
    quint32 m_ownaddress = 0;
    Mode m_mode = Master;
    quint32 m_frametype = 0;
    quint32 m_sequence = 0;

    quint32 m_txcrc = 0;
    quint32 m_txlength = 0;
    bool m_txoverflow = false;
    unsigned char m_txbuffer[BufferSize] = {};
    bool m_responsepending = false;

    RxState m_rxstate = Idle;
    quint32 m_rxaddressmode = 0;
    quint32 m_escapecount = 0;
    quint16 m_rxcrc = 0;
    quint32 m_rxlength = 0;
    quint32 m_lastrxlength = 0;
    bool m_duplicate = false;
    quint32 m_rxdestination = 0;
    quint32 m_rxsource = 0;
    // Not cleared between frames: the duplicate test compares against the
    // previous block still held here.
    unsigned char m_rxbuffer[BufferSize] = {};
};
