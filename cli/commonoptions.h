// SPDX-License-Identifier: MIT
#pragma once

#include <QCommandLineOption>
#include <QString>

#include <initializer_list>

class QCommandLineParser;

// The options that several korv commands take, each with its one line of
// help: described here once, so that every command's --help says the
// same of them. The link options have theirs in LinkOptions.
class CommonOptions
{
public:
    enum Option { Definitions, Quiet, Time, Channel, Help };

    static const QCommandLineOption& option(Option option);
    // Help is added by Console::addCommonOptions.
    static void addTo(QCommandLineParser& parser, std::initializer_list<Option> options);
    // Their lines of a usage text, in the order given.
    static QString help(std::initializer_list<Option> options);
};
