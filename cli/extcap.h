// SPDX-License-Identifier: MIT
#pragma once

// korv as a Wireshark capture program (extcap): it offers a serial, a TCP
// client and a TCP server interface, describes their options for
// Wireshark's dialog (the link options korv listen takes, under the same
// names), and captures: each message received on the link goes into
// Wireshark's FIFO as the pcapng packet `korv listen --pcapng` writes, at
// once. Wireshark stops a capture with SIGTERM or by closing the FIFO;
// either ends korv with status 0.

#include <QStringList>

class Extcap
{
public:
    // Whether Wireshark is calling: its options come first, no command.
    static bool isExtcapCall(const QStringList& args);
    // Answers the call; returns the exit status.
    static int run(const QStringList& args);
};
