// SPDX-License-Identifier: MIT
// korv: the message format on the command line, for scripts and firmware CI.

#include "cli/console.h"
#include "cli/extcap.h"
#include "cli/formatcommands.h"
#include "cli/linkcommands.h"
#include "qrv16/types.h"

#include <QCoreApplication>

namespace {

const char* const version = "0.1.0";

const char* const mainUsage =
    "Usage: korv COMMAND [OPTIONS] [ARGUMENTS]\n"
    "The QRV16 message format on the command line.\n\n"
    "Commands:\n"
    "  encode    text notation to message bytes\n"
    "  decode    message bytes to text notation\n"
    "  check     read a tag definitions file and report its problems\n"
    "  generate  C, C++, Lua or C# source from a tag definitions file\n"
    "  trace     captured BiS or element bytes as annotated lines\n"
    "  send      send messages on a link and wait for the expected answers\n"
    "  listen    print (and log) the messages that arrive on a link\n"
    "  answer    play a controller on a link by the rules of an answer file\n"
    "  run       run the sequences of a file on a link, with a JUnit report\n\n"
    "  korv COMMAND --help   help on one command, links included\n"
    "  korv --version        the program's version\n"
    "  korv --extcap-...     Wireshark's calls: korv is a capture interface of it\n\n"
    "Exit status: 0 success, 1 an input or an expectation failed, 2 usage error,\n"
    "3 the link could not be opened.\n";

using Command = int (*)(const QStringList&);

struct Entry
{
    const char* name;
    Command run;
};

const Entry commands[] = {
    {"encode", &FormatCommands::encode}, {"decode", &FormatCommands::decode},
    {"check", &FormatCommands::check},   {"generate", &FormatCommands::generate},
    {"trace", &FormatCommands::trace},   {"send", &LinkCommands::send},
    {"listen", &LinkCommands::listen},   {"answer", &LinkCommands::answer},
    {"run", &LinkCommands::run},
};

} // namespace

int main(int argc, char** argv)
{
    QRV16::pinTimeZone();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("korv"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(version));
    QStringList args = QCoreApplication::arguments();
    if (args.size() < 2) {
        Console::err(QString::fromLatin1(mainUsage));
        return Console::UsageError;
    }
    if (Extcap::isExtcapCall(args))
        return Extcap::run(args);
    const QString command = args.at(1);
    if (command == QLatin1String("--help") || command == QLatin1String("-h") ||
        command == QLatin1String("help")) {
        Console::out(QString::fromLatin1(mainUsage));
        return Console::Success;
    }
    if (command == QLatin1String("--version") || command == QLatin1String("-v")) {
        Console::out(QStringLiteral("korv %1\n").arg(QLatin1String(version)));
        return Console::Success;
    }
    args.removeAt(1);
    args[0] = QStringLiteral("korv ") + command;
    for (const Entry& entry : commands) {
        if (command == QLatin1String(entry.name))
            return entry.run(args);
    }
    Console::errorLine(QStringLiteral("korv"), QStringLiteral("unknown command \"%1\"").arg(command));
    Console::err(QString::fromLatin1(mainUsage));
    return Console::UsageError;
}
