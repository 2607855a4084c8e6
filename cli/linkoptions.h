// SPDX-License-Identifier: MIT
#pragma once

// The options that choose and set up a link, shared by send, listen,
// answer and run:
//   --tcp HOST:PORT | --listen [ADDR:]PORT | --serial DEVICE|rfc2217://HOST:PORT | --settings GROUP
//   --baud N --handshake none|rts|xon --framing 8N1 (or --data-bits N --parity P --stop-bits N)
//   --bis master|slave|trace --src N --dst N --tries N --bis-timeout MS
//   --tls --key F --cert F --ca DIR --verify none|optional|verify
// --settings takes a channel's stored settings from the window; the other
// options given with it change them for this run only.

#include "connection/connectionsettings.h"

#include <QCommandLineOption>
#include <QList>
#include <QString>

class QCommandLineParser;

class LinkOptions
{
public:
    LinkOptions();

    void addTo(QCommandLineParser& parser) const;
    // False with a message for the user in `error`.
    bool read(const QCommandLineParser& parser, ConnectionSettings* settings, QString* error) const;

    // The usage text of these options.
    static QString help();

    // Where the window keeps its settings.
    static constexpr const char* Organization = "Norvane";
    static constexpr const char* Application = "korvgui";

private:
    QList<QCommandLineOption> m_options;
};
