// SPDX-License-Identifier: MIT
#pragma once

// What every korv command shares: its exit codes, its output to standard
// output and standard error, and the handling of its arguments.

#include <QString>

#include <QStringList>

class Definitions;
class QCommandLineParser;

namespace QRV16 {
class MessageParser;
} // namespace QRV16

class Console
{
public:
    enum ExitCode { Success = 0, Failed = 1, UsageError = 2, LinkFailed = 3 };

    static void out(const QString& text);
    static void err(const QString& text);
    // "where: error: message", the "error:" red on a terminal.
    static void errorLine(const QString& where, const QString& message);
    // "korv: message", for what the link reports.
    static void note(const QString& message);
    // Notes off: under Wireshark anything on standard error reads as an
    // error, so only errors may go there.
    static void setNotesShown(bool on);

    // The parser's error under the faulty line, its span marked like a
    // compiler does. `firstLine` is the number of the text's first line.
    static void reportParseError(const QString& source, int firstLine, const QString& text,
                                 const QRV16::MessageParser& parser);

    // Reads a definitions file for a command: its error on standard error
    // and false when it cannot, its warnings there only when asked for.
    static bool loadDefinitions(Definitions* definitions, const QString& path, bool showWarnings);

    static void addCommonOptions(QCommandLineParser& p);
    // Parses a command's arguments: -1 to go on, else the exit code.
    static int parseArguments(QCommandLineParser& p, const QStringList& args, const QString& usage);
    // Reports a usage error with the command's usage; returns UsageError.
    static int usageError(const QString& message, const QString& usage);
};
