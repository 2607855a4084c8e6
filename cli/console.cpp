// SPDX-License-Identifier: MIT
#include "cli/console.h"

#include "automation/definitions.h"
#include "qrv16/messageparser.h"

#include <QCommandLineParser>
#include <QStringList>

#include <cstdio>
#include <unistd.h>

namespace {

bool notesShown = true;

bool colour()
{
    static const bool tty = isatty(STDERR_FILENO) && qEnvironmentVariableIsEmpty("NO_COLOR");
    return tty;
}

QString paint(const QString& text, const char* code)
{
    return colour() ? QStringLiteral("\x1b[%1m%2\x1b[0m").arg(QLatin1String(code), text) : text;
}

} // namespace

void Console::err(const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
}

void Console::out(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

void Console::errorLine(const QString& where, const QString& message)
{
    err(QStringLiteral("%1: %2 %3\n").arg(where, paint(QStringLiteral("error:"), "1;31"), message));
}

void Console::note(const QString& message)
{
    if (notesShown)
        err(QStringLiteral("korv: %1\n").arg(message));
}

void Console::setNotesShown(bool on)
{
    notesShown = on;
}

void Console::reportParseError(const QString& source, int firstLine, const QString& text,
                               const QRV16::MessageParser& parser)
{
    const int line = parser.errorLineStart();
    const int column = parser.errorColumnStart();
    const QString hint = parser.errorHint();
    errorLine(QStringLiteral("%1:%2:%3").arg(source).arg(firstLine + line - 1).arg(column),
              hint.isEmpty() ? parser.errorMessage() : parser.errorMessage() + QLatin1String("; ") + hint);
    const QString faulty = text.split(QLatin1Char('\n')).value(line - 1);
    const int width = parser.errorLineEnd() == line
                          ? qMax(1, parser.errorColumnEnd() - column + 1)
                          : qMax(1, int(faulty.size()) - column + 1);
    QString marker(column - 1, QLatin1Char(' '));
    // Keep tabs so the marker lines up under the text.
    for (int i = 0; i < column - 1 && i < faulty.size(); ++i) {
        if (faulty.at(i) == QLatin1Char('\t'))
            marker[i] = QLatin1Char('\t');
    }
    err(QStringLiteral("  %1\n  %2\n")
            .arg(faulty, marker + paint(QLatin1Char('^') + QString(width - 1, QLatin1Char('~')),
                                        "1;32")));
}

bool Console::loadDefinitions(Definitions* definitions, const QString& path, bool showWarnings)
{
    const bool ok = definitions->load(path);
    if (showWarnings && !definitions->warnings().isEmpty())
        err(definitions->warnings());
    if (!ok)
        err(definitions->errorString() + QLatin1Char('\n'));
    return ok;
}

void Console::addCommonOptions(QCommandLineParser& p)
{
    p.setApplicationDescription(QString());
    p.addHelpOption();
    p.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
}

int Console::parseArguments(QCommandLineParser& p, const QStringList& args, const QString& usage)
{
    if (!p.parse(args)) {
        errorLine(QStringLiteral("korv"), p.errorText());
        err(usage);
        return UsageError;
    }
    if (p.isSet(QStringLiteral("help"))) {
        out(usage);
        return Success;
    }
    return -1;
}

int Console::usageError(const QString& message, const QString& usage)
{
    errorLine(QStringLiteral("korv"), message);
    err(usage);
    return UsageError;
}
