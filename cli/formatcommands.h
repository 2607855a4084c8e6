// SPDX-License-Identifier: MIT
#pragma once

// The commands that work on the message format alone, with no link:
// encode, decode, check, generate and trace. Each takes its arguments with
// the command's name first and returns the exit status.

#include <QStringList>

class FormatCommands
{
public:
    static int encode(const QStringList& args);
    static int decode(const QStringList& args);
    static int check(const QStringList& args);
    static int generate(const QStringList& args);
    static int trace(const QStringList& args);
};
