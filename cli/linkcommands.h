// SPDX-License-Identifier: MIT
#pragma once

// The commands that work on a link: send, listen, answer and run. Each takes
// its arguments with the command's name first, runs an event loop until
// it is done or SIGINT/SIGTERM arrives, closes the link and returns the
// exit status.

#include <QStringList>

class LinkCommands
{
public:
    static int send(const QStringList& args);
    static int listen(const QStringList& args);
    static int answer(const QStringList& args);
    static int run(const QStringList& args);
};
