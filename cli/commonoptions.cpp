// SPDX-License-Identifier: MIT
#include "cli/commonoptions.h"

#include <QCommandLineParser>

namespace {

struct Entry
{
    QCommandLineOption option;
    const char* help;
};

const Entry& entry(CommonOptions::Option option)
{
    static const Entry table[] = {
        {QCommandLineOption({QStringLiteral("d"), QStringLiteral("definitions")}, QString(),
                            QStringLiteral("FILE.qrvdef")),
         "  -d, --definitions FILE  tag definitions: names, enum values, bit names\n"},
        {QCommandLineOption(QStringList{QStringLiteral("q"), QStringLiteral("quiet")}),
         "  -q, --quiet             do not print the warnings of the files read\n"},
        {QCommandLineOption(QStringLiteral("time")),
         "  --time                  put the time before every printed message\n"},
        {QCommandLineOption(QStringLiteral("channel"), QString(), QStringLiteral("N")),
         "  --channel 1|2           which of the window's two channels this link stands\n"
         "                          for, to the rules, the sequences and the files (1)\n"},
        {QCommandLineOption(QStringList{QStringLiteral("h"), QStringLiteral("help")}),
         "  -h, --help              show this help\n"},
    };
    return table[option];
}

} // namespace

const QCommandLineOption& CommonOptions::option(Option option)
{
    return entry(option).option;
}

void CommonOptions::addTo(QCommandLineParser& parser, std::initializer_list<Option> options)
{
    for (Option option : options) {
        if (option != Help)
            parser.addOption(entry(option).option);
    }
}

QString CommonOptions::help(std::initializer_list<Option> options)
{
    QString text;
    for (Option option : options)
        text += QLatin1String(entry(option).help);
    return text;
}
