// SPDX-License-Identifier: MIT
#include "cli/linkoptions.h"

#include "cli/console.h"
#include "connection/remoteport.h"

#include <QCommandLineParser>
#include <QSettings>
#include <QSslSocket>

namespace {

enum Option {
    Tcp, Listen, Serial, Settings, Baud, Handshake, Framing, DataBits, Parity, StopBits, Bis, Src, Dst, Tries,
    BisTimeout, Tls, Key, Cert, Ca, Verify, OptionCount
};

bool number(const QString& text, int min, int max, int* value)
{
    bool ok = false;
    const int n = text.toInt(&ok, 0);
    if (!ok || n < min || n > max)
        return false;
    *value = n;
    return true;
}

// "host:port", "[v6]:port", or with `hostOptional` just "port".
bool hostPort(const QString& text, bool hostOptional, QString* host, int* port)
{
    const int colon = int(text.lastIndexOf(QLatin1Char(':')));
    if (colon < 0 && !hostOptional)
        return false;
    QString name = colon < 0 ? QString() : text.left(colon);
    if (name.startsWith(QLatin1Char('[')) && name.endsWith(QLatin1Char(']')))
        name = name.mid(1, name.size() - 2);
    if (colon >= 0 && name.isEmpty() && !hostOptional)
        return false;
    *host = name;
    return number(text.mid(colon + 1), hostOptional ? 0 : 1, 65535, port);
}

int indexIn(const QString& text, const QStringList& names)
{
    return int(names.indexOf(text.toLower()));
}

} // namespace

LinkOptions::LinkOptions()
{
    m_options = {
        QCommandLineOption(QStringLiteral("tcp"), QString(), QStringLiteral("HOST:PORT")),
        QCommandLineOption(QStringLiteral("listen"), QString(), QStringLiteral("[ADDR:]PORT")),
        QCommandLineOption(QStringLiteral("serial"), QString(), QStringLiteral("DEVICE")),
        QCommandLineOption(QStringLiteral("settings"), QString(), QStringLiteral("GROUP")),
        QCommandLineOption(QStringLiteral("baud"), QString(), QStringLiteral("N")),
        QCommandLineOption(QStringLiteral("handshake"), QString(), QStringLiteral("none|rts|xon")),
        QCommandLineOption(QStringLiteral("framing"), QString(), QStringLiteral("8N1")),
        QCommandLineOption(QStringLiteral("data-bits"), QString(), QStringLiteral("5|6|7|8")),
        QCommandLineOption(QStringLiteral("parity"), QString(), QStringLiteral("none|even|odd|mark|space")),
        QCommandLineOption(QStringLiteral("stop-bits"), QString(), QStringLiteral("1|2")),
        QCommandLineOption(QStringLiteral("bis"), QString(), QStringLiteral("master|slave|trace")),
        QCommandLineOption(QStringLiteral("src"), QString(), QStringLiteral("N")),
        QCommandLineOption(QStringLiteral("dst"), QString(), QStringLiteral("N")),
        QCommandLineOption(QStringLiteral("tries"), QString(), QStringLiteral("N")),
        QCommandLineOption(QStringLiteral("bis-timeout"), QString(), QStringLiteral("MS")),
        QCommandLineOption(QStringLiteral("tls")),
        QCommandLineOption(QStringLiteral("key"), QString(), QStringLiteral("FILE")),
        QCommandLineOption(QStringLiteral("cert"), QString(), QStringLiteral("FILE")),
        QCommandLineOption(QStringLiteral("ca"), QString(), QStringLiteral("DIR")),
        QCommandLineOption(QStringLiteral("verify"), QString(), QStringLiteral("none|optional|verify")),
    };
    Q_ASSERT(m_options.size() == OptionCount);
}

void LinkOptions::addTo(QCommandLineParser& parser) const
{
    parser.addOptions(m_options);
}

QString LinkOptions::help()
{
    return QStringLiteral(
        "Link (one of):\n"
        "  --tcp HOST:PORT         connect to a TCP server\n"
        "  --listen [ADDR:]PORT    be the TCP server; port 0 picks a free one\n"
        "  --serial DEVICE         a serial port (/dev/ttyUSB0 or ttyUSB0), or one on a\n"
        "                          device server: rfc2217://HOST:PORT\n"
        "  --settings GROUP        the stored settings of Connection1 or Connection2;\n"
        "                          the options below change them for this run\n"
        "  --baud N                serial speed (9600)\n"
        "  --handshake none|rts|xon  serial flow control (none)\n"
        "  --framing 8N1           data bits, parity (N, E, O, M, S) and stop bits (8N1)\n"
        "  --data-bits N, --parity none|even|odd|mark|space, --stop-bits N\n"
        "                          the same one at a time\n"
        "  --bis master|slave|trace  BiS framing on the serial link\n"
        "  --src N, --dst N        BiS source and destination addresses\n"
        "  --tries N               BiS transmissions of a frame (5)\n"
        "  --bis-timeout MS        BiS answer time-out (1000)\n"
        "  --tls                   TLS on the TCP link; without --key and --cert the\n"
        "                          built-in test key and certificate\n"
        "  --key FILE, --cert FILE our private key and certificate (PEM)\n"
        "  --ca DIR                directory of CA certificates\n"
        "  --verify none|optional|verify  how the peer's certificate is checked (none)\n");
}

bool LinkOptions::read(const QCommandLineParser& p, ConnectionSettings* settings, QString* error) const
{
    const auto is = [&](Option o) { return p.isSet(m_options.at(o)); };
    const auto value = [&](Option o) { return p.value(m_options.at(o)); };
    const auto fail = [&](const QString& text) {
        *error = text;
        return false;
    };
    const int kinds = int(is(Tcp)) + int(is(Listen)) + int(is(Serial)) + int(is(Settings));
    if (kinds == 0)
        return fail(QStringLiteral("choose a link: --tcp, --listen, --serial or --settings"));
    if (kinds > 1)
        return fail(QStringLiteral("choose one link of --tcp, --listen, --serial and --settings"));

    ConnectionSettings s;
    if (is(Settings)) {
        // The window's store, whatever this program calls itself.
        QSettings stored(QString::fromLatin1(Organization), QString::fromLatin1(Application));
        if (!stored.childGroups().contains(value(Settings)))
            return fail(QStringLiteral("no stored settings \"%1\" in %2")
                            .arg(value(Settings), stored.fileName()));
        QStringList warnings;
        s.restoreFromSettings(stored, value(Settings), &warnings);
        // Out-of-range values fell back to their defaults: worth a word, not a stop.
        for (const QString& warning : std::as_const(warnings))
            Console::note(warning);
        if (s.mode() == ConnectionSettings::DisabledMode)
            return fail(QStringLiteral("the link of \"%1\" is disabled").arg(value(Settings)));
    } else if (is(Tcp)) {
        QString host;
        int port = 0;
        if (!hostPort(value(Tcp), false, &host, &port))
            return fail(QStringLiteral("--tcp wants HOST:PORT, not \"%1\"").arg(value(Tcp)));
        s.setMode(ConnectionSettings::ClientMode);
        s.setClientAddress(host);
        s.setClientPort(port);
    } else if (is(Listen)) {
        QString address;
        int port = 0;
        if (!hostPort(value(Listen), true, &address, &port))
            return fail(QStringLiteral("--listen wants [ADDR:]PORT, not \"%1\"").arg(value(Listen)));
        s.setMode(ConnectionSettings::ServerMode);
        s.setServerAddress(address);
        s.setServerPort(port);
    } else {
        if (value(Serial).isEmpty())
            return fail(QStringLiteral("--serial wants a device"));
        bool remote = true;
        if (RemotePort::isRemote(value(Serial)))
            RemotePort::fromName(value(Serial), &remote);
        if (!remote)
            return fail(QStringLiteral("--serial wants rfc2217://HOST:PORT for a remote port, not \"%1\"")
                            .arg(value(Serial)));
        s.setMode(ConnectionSettings::SerialMode);
        s.setSerialPort(value(Serial));
    }
    // A stored channel may reconnect in the window; a command reports a
    // lost link instead of waiting for it.
    s.setReconnect(false);

    const bool serial = s.mode() == ConnectionSettings::SerialMode;
    const bool network = !serial;
    if (!serial && (is(Baud) || is(Handshake) || is(Bis) || is(Framing) || is(DataBits) || is(Parity) || is(StopBits)))
        return fail(QStringLiteral("--baud, --handshake, the framing and --bis need a serial link"));
    if (!network && (is(Tls) || is(Key) || is(Cert) || is(Ca) || is(Verify)))
        return fail(QStringLiteral("TLS needs a TCP link"));

    int n = 0;
    if (is(Baud)) {
        if (!number(value(Baud), 1, 100000000, &n))
            return fail(QStringLiteral("--baud wants a speed, not \"%1\"").arg(value(Baud)));
        s.setSerialSpeed(n);
    }
    if (is(Handshake)) {
        const int h = indexIn(value(Handshake), {QStringLiteral("none"), QStringLiteral("rts"), QStringLiteral("xon")});
        if (h < 0)
            return fail(QStringLiteral("--handshake wants none, rts or xon, not \"%1\"").arg(value(Handshake)));
        s.setSerialHandshake(h);
    }
    // The label's notation first; the long forms change one part of it.
    SerFraming framing = s.serialFraming();
    if (is(Framing)) {
        bool ok = false;
        framing = SerFraming::fromText(value(Framing), &ok);
        if (!ok)
            return fail(QStringLiteral("--framing wants data bits, parity and stop bits such as 8N1 or 7E2, not \"%1\"")
                            .arg(value(Framing)));
    }
    if (is(DataBits)) {
        if (!number(value(DataBits), 5, 8, &n))
            return fail(QStringLiteral("--data-bits wants 5 to 8, not \"%1\"").arg(value(DataBits)));
        framing.setDataBits(n);
    }
    if (is(Parity)) {
        // Only the long forms here: a single letter is --framing's.
        const int p = value(Parity).size() > 1 ? SerFraming::parityFromName(value(Parity)) : -1;
        if (p < 0)
            return fail(QStringLiteral("--parity wants none, even, odd, mark or space, not \"%1\"").arg(value(Parity)));
        framing.setParity(p);
    }
    if (is(StopBits)) {
        if (!number(value(StopBits), 1, 2, &n))
            return fail(QStringLiteral("--stop-bits wants 1 or 2, not \"%1\"").arg(value(StopBits)));
        framing.setStopBits(n);
    }
    s.setSerialFraming(framing);
    if (is(Bis)) {
        const int m = indexIn(value(Bis), {QStringLiteral("master"), QStringLiteral("slave"), QStringLiteral("trace")});
        if (m < 0)
            return fail(QStringLiteral("--bis wants master, slave or trace, not \"%1\"").arg(value(Bis)));
        s.setBisEnabled(true);
        s.setBisMode(ConnectionSettings::BiSMasterMode + m);
    }
    if ((is(Src) || is(Dst) || is(Tries) || is(BisTimeout)) && !s.bisEnabled())
        return fail(QStringLiteral("--src, --dst, --tries and --bis-timeout need --bis"));
    if (is(Src)) {
        if (!number(value(Src), 0, 0xFFFFFFF, &n))
            return fail(QStringLiteral("--src wants an address, not \"%1\"").arg(value(Src)));
        s.setSourceAddress(n);
    }
    if (is(Dst)) {
        if (!number(value(Dst), 0, 0xFFFFFFF, &n))
            return fail(QStringLiteral("--dst wants an address, not \"%1\"").arg(value(Dst)));
        s.setDestinationAddress(n);
    }
    if (is(Tries)) {
        if (!number(value(Tries), 1, ConnectionSettings::MaximumTries, &n))
            return fail(QStringLiteral("--tries wants 1 to %1, not \"%2\"")
                            .arg(ConnectionSettings::MaximumTries).arg(value(Tries)));
        s.setTries(n);
    }
    if (is(BisTimeout)) {
        if (!number(value(BisTimeout), ConnectionSettings::MinimumTimeout, 3600000, &n))
            return fail(QStringLiteral("--bis-timeout wants %1 ms or more, not \"%2\"")
                            .arg(ConnectionSettings::MinimumTimeout).arg(value(BisTimeout)));
        s.setTimeout(n);
    }
    if ((is(Key) || is(Cert) || is(Ca) || is(Verify)) && !is(Tls) && !s.sslEnabled())
        return fail(QStringLiteral("--key, --cert, --ca and --verify need --tls"));
    if (is(Tls))
        s.setSslEnabled(true);
    if (is(Key))
        s.setPrivateKeyFile(value(Key));
    if (is(Cert))
        s.setLocalCertificateFile(value(Cert));
    if (is(Ca))
        s.setCaCertificateDirectory(value(Ca));
    if (is(Verify)) {
        const int v = indexIn(value(Verify), {QStringLiteral("none"), QStringLiteral("optional"), QStringLiteral("verify")});
        if (v < 0)
            return fail(QStringLiteral("--verify wants none, optional or verify, not \"%1\"").arg(value(Verify)));
        const QSslSocket::PeerVerifyMode modes[] = {QSslSocket::VerifyNone, QSslSocket::QueryPeer,
                                                    QSslSocket::VerifyPeer};
        s.setPeerVerifyMode(modes[v]);
    }
    *settings = s;
    return true;
}
