// SPDX-License-Identifier: MIT
#include "cli/extcap.h"

#include "cli/console.h"
#include "cli/linkoptions.h"
#include "cli/linkport.h"
#include "cli/receivelog.h"
#include "cli/signalwatcher.h"
#include "libserial/serportdeviceinfo.h"
#include "qrv16/pcapngwriter.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>

namespace {

struct Interface
{
    const char* name;
    const char* display;
    ConnectionSettings::Mode mode;
    const char* link; // the link option that chooses it
};

const Interface interfaces[] = {
    {"korv-serial", "QRV16 on a serial port (korv)", ConnectionSettings::SerialMode, "--serial"},
    {"korv-tcp", "QRV16 from a TCP server, korv connects (korv)", ConnectionSettings::ClientMode, "--tcp"},
    {"korv-listen", "QRV16 from a TCP client, korv listens (korv)", ConnectionSettings::ServerMode, "--listen"},
};

const Interface* findInterface(const QString& name)
{
    for (const Interface& i : interfaces) {
        if (name == QLatin1String(i.name))
            return &i;
    }
    return nullptr;
}

// The lines of --extcap-config: arguments and their values, numbered as
// Wireshark wants them. Calls are korv listen's own options, so that the
// capture reads them with LinkOptions.
class Config
{
public:
    int arg(const QString& call, const QString& display, const QString& type, const QString& more = QString())
    {
        m_text += QStringLiteral("arg {number=%1}{call=%2}{display=%3}{type=%4}%5\n")
                      .arg(m_count)
                      .arg(call, display, type, more);
        return m_count++;
    }
    void value(int arg, const QString& value, const QString& display, bool isDefault = false)
    {
        m_text += QStringLiteral("value {arg=%1}{value=%2}{display=%3}%4\n")
                      .arg(arg)
                      .arg(value, display, isDefault ? QStringLiteral("{default=true}") : QString());
    }
    QString text() const { return m_text; }

private:
    QString m_text;
    int m_count = 0;
};

QString configOf(const Interface& iface)
{
    Config c;
    if (iface.mode == ConnectionSettings::SerialMode) {
        // Wireshark 4.0 knows no selector that takes typed text: the port is
        // typed, with the devices found as its tip and the first as default.
        QStringList found;
        for (const SerPortDeviceInfo& device : SerPortDeviceInfo::devices())
            found << device.path();
        c.arg(QStringLiteral("--serial"), QStringLiteral("Serial port"), QStringLiteral("string"),
              QStringLiteral("{required=true}%1{tooltip=The device: ttyUSB0 or a full path%2}")
                  .arg(found.isEmpty() ? QString() : QStringLiteral("{default=%1}").arg(found.first()),
                       found.isEmpty() ? QString() : QStringLiteral("; found: ") + found.join(QStringLiteral(", "))));
        c.arg(QStringLiteral("--baud"), QStringLiteral("Speed"), QStringLiteral("unsigned"),
              QStringLiteral("{default=9600}{range=1,100000000}{tooltip=Bits per second}"));
        const int handshake = c.arg(QStringLiteral("--handshake"), QStringLiteral("Handshake"), QStringLiteral("selector"));
        c.value(handshake, QStringLiteral("none"), QStringLiteral("None"), true);
        c.value(handshake, QStringLiteral("rts"), QStringLiteral("RTS/CTS"));
        c.value(handshake, QStringLiteral("xon"), QStringLiteral("XON/XOFF"));
        // The long forms: a selector each reads better than typed "8E1".
        const int dataBits = c.arg(QStringLiteral("--data-bits"), QStringLiteral("Data bits"), QStringLiteral("selector"));
        for (const char* bits : {"8", "7", "6", "5"})
            c.value(dataBits, QString::fromLatin1(bits), QString::fromLatin1(bits), bits[0] == '8');
        const int parity = c.arg(QStringLiteral("--parity"), QStringLiteral("Parity"), QStringLiteral("selector"));
        c.value(parity, QStringLiteral("none"), QStringLiteral("None"), true);
        c.value(parity, QStringLiteral("even"), QStringLiteral("Even"));
        c.value(parity, QStringLiteral("odd"), QStringLiteral("Odd"));
        c.value(parity, QStringLiteral("mark"), QStringLiteral("Mark"));
        c.value(parity, QStringLiteral("space"), QStringLiteral("Space"));
        const int stopBits = c.arg(QStringLiteral("--stop-bits"), QStringLiteral("Stop bits"), QStringLiteral("selector"));
        c.value(stopBits, QStringLiteral("1"), QStringLiteral("1"), true);
        c.value(stopBits, QStringLiteral("2"), QStringLiteral("2"));
        // An empty value passes no option at all: no BiS framing.
        const int bis = c.arg(QStringLiteral("--bis"), QStringLiteral("BiS role"), QStringLiteral("selector"),
                              QStringLiteral("{group=BiS}"));
        c.value(bis, QString(), QStringLiteral("No BiS framing"), true);
        c.value(bis, QStringLiteral("master"), QStringLiteral("Master"));
        c.value(bis, QStringLiteral("slave"), QStringLiteral("Slave"));
        c.value(bis, QStringLiteral("trace"), QStringLiteral("Trace (listen to the bus)"));
        c.arg(QStringLiteral("--src"), QStringLiteral("Source address"), QStringLiteral("unsigned"),
              QStringLiteral("{range=0,268435455}{group=BiS}{tooltip=A slave's own address; in the trace "
                             "role, only frames from it}"));
        c.arg(QStringLiteral("--dst"), QStringLiteral("Destination address"), QStringLiteral("unsigned"),
              QStringLiteral("{range=0,268435455}{group=BiS}{tooltip=A master's slave; in the trace role, only "
                             "frames to it}"));
        c.arg(QStringLiteral("--tries"), QStringLiteral("Tries"), QStringLiteral("unsigned"),
              QStringLiteral("{range=1,100}{group=BiS}"));
        c.arg(QStringLiteral("--bis-timeout"), QStringLiteral("Answer time-out (ms)"), QStringLiteral("unsigned"),
              QStringLiteral("{range=10,3600000}{group=BiS}"));
    } else {
        const bool client = iface.mode == ConnectionSettings::ClientMode;
        c.arg(QString::fromLatin1(iface.link), client ? QStringLiteral("Server") : QStringLiteral("Listen on"),
              QStringLiteral("string"),
              client ? QStringLiteral("{required=true}{validation=^.+:[0-9]+$}{tooltip=HOST:PORT of the peer}")
                     : QStringLiteral("{required=true}{validation=^(.+:)?[0-9]+$}{tooltip=[ADDRESS:]PORT}"));
        c.arg(QStringLiteral("--tls"), QStringLiteral("TLS"), QStringLiteral("boolflag"), QStringLiteral("{group=TLS}"));
        c.arg(QStringLiteral("--key"), QStringLiteral("Private key (PEM)"), QStringLiteral("fileselect"),
              QStringLiteral("{mustexist=true}{group=TLS}{tooltip=Without key and certificate: the built-in test "
                             "ones}"));
        c.arg(QStringLiteral("--cert"), QStringLiteral("Certificate (PEM)"), QStringLiteral("fileselect"),
              QStringLiteral("{mustexist=true}{group=TLS}"));
        c.arg(QStringLiteral("--ca"), QStringLiteral("CA certificate folder"), QStringLiteral("string"),
              QStringLiteral("{group=TLS}"));
        const int verify = c.arg(QStringLiteral("--verify"), QStringLiteral("Peer verification"),
                                 QStringLiteral("selector"), QStringLiteral("{group=TLS}"));
        c.value(verify, QString(), QStringLiteral("None (the default)"), true);
        c.value(verify, QStringLiteral("optional"), QStringLiteral("Optional"));
        c.value(verify, QStringLiteral("verify"), QStringLiteral("Verify"));
    }
    const int channel = c.arg(QStringLiteral("--channel"), QStringLiteral("Channel in the packets"),
                              QStringLiteral("selector"));
    c.value(channel, QStringLiteral("1"), QStringLiteral("1"), true);
    c.value(channel, QStringLiteral("2"), QStringLiteral("2"));
    return c.text();
}

const QString noFilters = QStringLiteral(
    "korv captures every message: capture filters are not supported. Use a display filter, "
    "such as qrv16.tag == 0x1002.");

int capture(const QCommandLineParser& p, const Interface& iface, const LinkOptions& link,
            const QCommandLineOption& fifoOption, const QCommandLineOption& channelOption)
{
    const QString usage = QStringLiteral("Wireshark runs: korv --capture --extcap-interface %1 --fifo PATH %2 ...\n")
                              .arg(QLatin1String(iface.name), QLatin1String(iface.link));
    if (!p.isSet(fifoOption))
        return Console::usageError(QStringLiteral("--capture needs --fifo"), usage);
    ConnectionSettings settings;
    QString error;
    if (!link.read(p, &settings, &error))
        return Console::usageError(error, usage);
    if (settings.mode() != iface.mode)
        return Console::usageError(QStringLiteral("%1 captures from %2").arg(QLatin1String(iface.name), QLatin1String(iface.link)),
                                   usage);
    int channel = 1;
    if (p.isSet(channelOption)) {
        bool ok = false;
        channel = p.value(channelOption).toInt(&ok);
        if (!ok || channel < 1 || channel > 2)
            return Console::usageError(QStringLiteral("--channel wants 1 or 2"), usage);
    }

    Console::setNotesShown(false);
    QFile fifo(p.value(fifoOption));
    if (!fifo.open(QIODevice::WriteOnly)) {
        Console::errorLine(fifo.fileName(), fifo.errorString());
        return Console::Failed;
    }
    QRV16::PcapngWriter writer;
    const QString application =
        QCoreApplication::applicationName() + QLatin1Char(' ') + QCoreApplication::applicationVersion();
    if (!writer.begin(&fifo, application.trimmed()) || !fifo.flush()) {
        Console::errorLine(fifo.fileName(), fifo.errorString());
        return Console::Failed;
    }

    QEventLoop loop;
    LinkPort port(channel, settings, nullptr);
    port.setPrintReceived(false);
    SignalWatcher signals;
    int code = -1;
    const auto finish = [&](int status) {
        if (code >= 0)
            return;
        code = status;
        loop.exit(status);
    };
    QObject::connect(&port, &LinkPort::failed, &loop, [&](const QString& reason) {
        Console::errorLine(QStringLiteral("korv"), QStringLiteral("cannot open the link: %1").arg(reason));
        finish(Console::LinkFailed);
    });
    // Wireshark stops a capture with SIGTERM, or by closing the FIFO.
    QObject::connect(&signals, &SignalWatcher::signalled, &loop, [&] { finish(Console::Success); });
    QObject::connect(&port, &LinkPort::lost, &loop, [&] { finish(Console::Success); });
    QObject::connect(&port, &LinkPort::arrived, &loop,
                     [&](const QRV16::Message& message, const QDateTime& time, int src, int dst) {
                         if (code >= 0)
                             return;
                         // Flushed at once: Wireshark shows the packet as it comes.
                         if (!writer.write(ReceiveLog::pcapngPacket(message, time, channel, src, dst)) ||
                             !fifo.flush())
                             finish(Console::Success);
                     });
    port.open();
    if (code < 0)
        loop.exec();
    port.close();
    fifo.close();
    return code;
}

} // namespace

bool Extcap::isExtcapCall(const QStringList& args)
{
    return args.size() >= 2 &&
           (args.at(1).startsWith(QLatin1String("--extcap-")) || args.at(1) == QLatin1String("--capture"));
}

int Extcap::run(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage (Wireshark's calls, see man korv):\n"
        "  korv --extcap-interfaces\n"
        "  korv --extcap-interface IFACE --extcap-dlts | --extcap-config\n"
        "  korv --capture --extcap-interface IFACE --fifo PATH LINK [--channel 1|2]\n"
        "Interfaces: korv-serial (--serial), korv-tcp (--tcp), korv-listen (--listen).\n");
    QCommandLineParser p;
    p.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const LinkOptions link;
    link.addTo(p);
    const QCommandLineOption interfacesOption(QStringLiteral("extcap-interfaces"));
    const QCommandLineOption versionOption(QStringLiteral("extcap-version"), QString(), QStringLiteral("VERSION"));
    const QCommandLineOption interfaceOption(QStringLiteral("extcap-interface"), QString(), QStringLiteral("IFACE"));
    const QCommandLineOption dltsOption(QStringLiteral("extcap-dlts"));
    const QCommandLineOption configOption(QStringLiteral("extcap-config"));
    const QCommandLineOption captureOption(QStringLiteral("capture"));
    const QCommandLineOption fifoOption(QStringLiteral("fifo"), QString(), QStringLiteral("PATH"));
    const QCommandLineOption filterOption(QStringLiteral("extcap-capture-filter"), QString(), QStringLiteral("FILTER"));
    const QCommandLineOption controlInOption(QStringLiteral("extcap-control-in"), QString(), QStringLiteral("PATH"));
    const QCommandLineOption controlOutOption(QStringLiteral("extcap-control-out"), QString(), QStringLiteral("PATH"));
    const QCommandLineOption channelOption(QStringLiteral("channel"), QString(), QStringLiteral("N"));
    p.addOptions({interfacesOption, versionOption, interfaceOption, dltsOption, configOption, captureOption, fifoOption,
                  filterOption, controlInOption, controlOutOption, channelOption});
    if (!p.parse(args))
        return Console::usageError(p.errorText(), usage);
    if (!p.positionalArguments().isEmpty())
        return Console::usageError(QStringLiteral("unexpected \"%1\"").arg(p.positionalArguments().constFirst()), usage);

    if (p.isSet(interfacesOption)) {
        QString text = QStringLiteral("extcap {version=%1}{help=https://norvane.com/korvgui}\n")
                           .arg(QCoreApplication::applicationVersion());
        for (const Interface& i : interfaces)
            text += QStringLiteral("interface {value=%1}{display=%2}\n").arg(QLatin1String(i.name), QLatin1String(i.display));
        Console::out(text);
        return Console::Success;
    }
    if (!p.isSet(interfaceOption))
        return Console::usageError(QStringLiteral("--extcap-interface is missing"), usage);
    const Interface* iface = findInterface(p.value(interfaceOption));
    if (!iface)
        return Console::usageError(QStringLiteral("no interface \"%1\": korv offers korv-serial, korv-tcp and korv-listen")
                                       .arg(p.value(interfaceOption)),
                                   usage);
    if (p.isSet(dltsOption)) {
        Console::out(QStringLiteral("dlt {number=%1}{name=USER0}{display=QRV16 messages}\n")
                         .arg(QRV16::PcapngWriter::LinkType));
        return Console::Success;
    }
    if (p.isSet(configOption)) {
        Console::out(configOf(*iface));
        return Console::Success;
    }
    const bool filtered = p.isSet(filterOption) && !p.value(filterOption).trimmed().isEmpty();
    if (p.isSet(captureOption)) {
        if (filtered) {
            Console::errorLine(QStringLiteral("korv"), noFilters);
            return Console::UsageError;
        }
        return capture(p, *iface, link, fifoOption, channelOption);
    }
    if (p.isSet(filterOption)) {
        // Wireshark checks a filter this way: no output means valid, text
        // is the reason it is not.
        if (filtered)
            Console::out(noFilters + QLatin1Char('\n'));
        return Console::Success;
    }
    return Console::usageError(QStringLiteral("nothing asked: --extcap-dlts, --extcap-config or --capture"), usage);
}
