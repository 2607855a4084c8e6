// SPDX-License-Identifier: MIT
// korv's link options as Wireshark's capture dialog or a script passes
// them: any arguments end in settings or a message. What is taken is a
// link that can be made: a known mode, a valid framing, a remote port's
// name that reads back the same. A mismatch aborts.

#include "cli/linkoptions.h"
#include "connection/remoteport.h"
#include "libserial/serframing.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    // --settings reads the window's store: an empty one of our own.
    static QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    static QCoreApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // One argument a line, after the program's name.
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    QStringList args = text.split(QLatin1Char('\n'));
    args.prepend(QStringLiteral("korv"));

    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const LinkOptions options;
    options.addTo(parser);
    if (!parser.parse(args))
        return 0;
    ConnectionSettings settings;
    QString error;
    if (!options.read(parser, &settings, &error)) {
        if (error.isEmpty())
            std::abort();
        return 0;
    }
    switch (settings.mode()) {
    case ConnectionSettings::SerialMode:
        if (!settings.serialFraming().isValid())
            std::abort();
        if (RemotePort::isRemote(settings.serialPort())) {
            bool ok = false;
            const RemotePort port = RemotePort::fromName(settings.serialPort(), &ok);
            bool again = false;
            if (!ok || !port.isValid() || RemotePort::fromName(port.name(), &again).name() != port.name() || !again) {
                std::fprintf(stderr, "%s\n", qPrintable(settings.serialPort()));
                std::abort();
            }
        }
        break;
    case ConnectionSettings::ClientMode:
        if (settings.clientPort() < 1 || settings.clientPort() > 65535)
            std::abort();
        break;
    case ConnectionSettings::ServerMode:
        if (settings.serverPort() < 0 || settings.serverPort() > 65535)
            std::abort();
        break;
    default:
        std::abort();
    }
    for (const QString& arg : std::as_const(args)) {
        bool ok = false;
        const SerFraming framing = SerFraming::fromText(arg, &ok);
        bool again = false;
        if (ok && (!framing.isValid() || SerFraming::fromText(framing.text(), &again) != framing || !again))
            std::abort();
    }
    return 0;
}
