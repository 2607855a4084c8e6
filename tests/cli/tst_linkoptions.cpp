// SPDX-License-Identifier: MIT
// The link options as the user types them, and the settings they make.

#include "cli/linkoptions.h"

#include <QCommandLineParser>
#include <QSettings>
#include <QSslSocket>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// "mode host:port" and the rest of what a link is, in one comparable line.
QString describe(const ConnectionSettings& s)
{
    QString where;
    switch (s.mode()) {
    case ConnectionSettings::ClientMode:
        where = QStringLiteral("client %1:%2").arg(s.clientAddress()).arg(s.clientPort());
        break;
    case ConnectionSettings::ServerMode:
        where = QStringLiteral("server %1:%2").arg(s.serverAddress()).arg(s.serverPort());
        break;
    case ConnectionSettings::SerialMode:
        where = QStringLiteral("serial %1 %2 hs%3").arg(s.serialPort()).arg(s.serialSpeed()).arg(s.serialHandshake());
        if (s.serialFraming() != SerFraming())
            where += QLatin1Char(' ') + s.serialFraming().text();
        if (s.bisEnabled())
            where += QStringLiteral(" bis%1 %2>%3 x%4 %5ms")
                         .arg(s.bisMode())
                         .arg(s.sourceAddress())
                         .arg(s.destinationAddress())
                         .arg(s.tries())
                         .arg(s.timeout());
        break;
    default:
        where = QStringLiteral("disabled");
    }
    if (s.sslEnabled())
        where += QStringLiteral(" tls key=%1 cert=%2 ca=%3 verify%4")
                     .arg(s.privateKeyFile(), s.localCertificateFile(), s.caCertificateDirectory())
                     .arg(s.peerVerifyMode());
    if (s.reconnect())
        where += QStringLiteral(" reconnect");
    return where;
}

} // namespace

class TestLinkOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void makesSettings_data();
    void makesSettings();

private:
    QTemporaryDir m_dir;
};

void TestLinkOptions::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // The window's store, where --settings looks.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_dir.path());
    ConnectionSettings stored;
    stored.setMode(ConnectionSettings::SerialMode);
    stored.setSerialPort(QStringLiteral("ttyUSB3"));
    stored.setSerialSpeed(57600);
    stored.setBisEnabled(true);
    stored.setBisMode(ConnectionSettings::BiSMasterMode);
    stored.setDestinationAddress(9);
    stored.setReconnect(true);
    QCoreApplication::setOrganizationName(QLatin1String(LinkOptions::Organization));
    QCoreApplication::setApplicationName(QLatin1String(LinkOptions::Application));
    stored.saveToSettings(QStringLiteral("Connection2"));
    ConnectionSettings disabled;
    disabled.saveToSettings(QStringLiteral("Connection1"));
    ConnectionSettings evenParity;
    evenParity.setMode(ConnectionSettings::SerialMode);
    evenParity.setSerialPort(QStringLiteral("rfc2217://rack4:7001"));
    evenParity.setSerialFraming(SerFraming(7, SerFraming::EvenParity, 1));
    evenParity.saveToSettings(QStringLiteral("Connection3"));
    QCoreApplication::setApplicationName(QStringLiteral("korv"));
}

void TestLinkOptions::makesSettings_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("expected");

    const auto row = [](const char* name, const char* args, const char* expected) {
        QTest::newRow(name) << QString::fromLatin1(args).split(QLatin1Char(' '))
                            << QString::fromLatin1(expected);
    };
    row("tcp by name", "--tcp plc.local:10001", "client plc.local:10001");
    row("tcp to IPv6 in brackets", "--tcp [::1]:80", "client ::1:80");
    row("listen on every address", "--listen 7000", "server :7000");
    row("listen on one address, any port", "--listen 127.0.0.1:0", "server 127.0.0.1:0");
    row("serial defaults", "--serial ttyUSB0", "serial ttyUSB0 9600 hs0");
    row("serial speed and handshake", "--serial /dev/ttyS1 --baud 115200 --handshake XON",
        "serial /dev/ttyS1 115200 hs2");
    row("bis slave", "--serial ttyUSB0 --bis slave --src 0x10",
        "serial ttyUSB0 9600 hs0 bis2 16>-1 x5 1000ms");
    row("bis master with tries and time-out",
        "--serial ttyUSB0 --bis master --dst 5 --tries 3 --bis-timeout 250",
        "serial ttyUSB0 9600 hs0 bis1 -1>5 x3 250ms");
    row("tls with the test certificate", "--tcp h:1 --tls",
        "client h:1 tls key= cert= ca= verify0");
    row("tls with files and verification",
        "--listen 443 --tls --key k.pem --cert c.pem --ca cas --verify verify",
        "server :443 tls key=k.pem cert=c.pem ca=cas verify2");
    row("tls, peer asked for", "--tcp h:1 --tls --verify optional",
        "client h:1 tls key= cert= ca= verify1");
    row("listen with tls, peer asked for", "--listen 7000 --tls --verify optional",
        "server :7000 tls key= cert= ca= verify1");
    row("bis trace at the least time-out", "--serial ttyUSB0 --bis trace --bis-timeout 10",
        "serial ttyUSB0 9600 hs0 bis3 -1>-1 x5 10ms");
    row("handshake in lower case, a free rate", "--serial ttyUSB0 --handshake xon --baud 921600",
        "serial ttyUSB0 921600 hs2");
    // A command reports a lost link instead of reconnecting as the window does.
    row("stored channel", "--settings Connection2", "serial ttyUSB3 57600 hs0 bis1 -1>9 x5 1000ms");
    row("stored channel, changed for this run", "--settings Connection2 --baud 9600 --dst 4",
        "serial ttyUSB3 9600 hs0 bis1 -1>4 x5 1000ms");
    row("stored channel disabled", "--settings Connection1",
        "error: the link of \"Connection1\" is disabled");
    row("no such stored channel", "--settings Connection7",
        "error: no stored settings \"Connection7\"");
    row("tcp port zero", "--tcp h:0", "error: --tcp wants HOST:PORT, not \"h:0\"");
    row("tcp without host", "--tcp :80", "error: --tcp wants HOST:PORT, not \":80\"");
    row("speed not a number", "--serial x --baud fast",
        "error: --baud wants a speed, not \"fast\"");
    row("too many tries", "--serial x --bis master --tries 101",
        "error: --tries wants 1 to 100, not \"101\"");
    row("time-out below the least", "--serial x --bis master --bis-timeout 5",
        "error: --bis-timeout wants 10 ms or more, not \"5\"");
    row("key without tls", "--tcp h:1 --key k.pem",
        "error: --key, --cert, --ca and --verify need --tls");
    row("framing as on the label", "--serial ttyUSB0 --framing 7E1", "serial ttyUSB0 9600 hs0 7E1");
    row("framing in lower case with dashes", "--serial ttyUSB0 --framing 8-o-2",
        "serial ttyUSB0 9600 hs0 8O2");
    row("framing in long forms", "--serial x --data-bits 7 --parity even --stop-bits 2",
        "serial x 9600 hs0 7E2");
    row("a long form changes one part", "--serial x --framing 7E1 --parity mark",
        "serial x 9600 hs0 7M1");
    row("remote port", "--serial rfc2217://rack4:7001 --baud 115200 --framing 8E1",
        "serial rfc2217://rack4:7001 115200 hs0 8E1");
    row("stored remote port with its framing", "--settings Connection3",
        "serial rfc2217://rack4:7001 9600 hs0 7E1");
    row("stored framing changed for this run", "--settings Connection3 --stop-bits 2",
        "serial rfc2217://rack4:7001 9600 hs0 7E2");
    row("framing out of range", "--serial x --framing 9N1",
        "error: --framing wants data bits, parity and stop bits such as 8N1 or 7E2, not \"9N1\"");
    row("parity by letter is the label's", "--serial x --parity e",
        "error: --parity wants none, even, odd, mark or space, not \"e\"");
    row("four data bits", "--serial x --data-bits 4", "error: --data-bits wants 5 to 8, not \"4\"");
    row("three stop bits", "--serial x --stop-bits 3",
        "error: --stop-bits wants 1 or 2, not \"3\"");
    row("framing on a TCP link", "--tcp h:1 --framing 8E1",
        "error: --baud, --handshake, the framing and --bis need a serial link");
    row("remote port without its number", "--serial rfc2217://rack4",
        "error: --serial wants rfc2217://HOST:PORT for a remote port, not \"rfc2217://rack4\"");
}

void TestLinkOptions::makesSettings()
{
    QFETCH(QStringList, args);
    QFETCH(QString, expected);
    QCommandLineParser parser;
    const LinkOptions options;
    options.addTo(parser);
    QVERIFY2(parser.parse(QStringList{QStringLiteral("korv")} + args), qPrintable(parser.errorText()));
    ConnectionSettings settings;
    QString error;
    const QString got = options.read(parser, &settings, &error) ? describe(settings) : QStringLiteral("error: ") + error;
    // Error texts may name the store's path after the part compared.
    QCOMPARE(got.left(expected.size()), expected);
    QCOMPARE(got.size() == expected.size(), !expected.startsWith(QLatin1String("error: no stored")));
}

QTEST_GUILESS_MAIN(TestLinkOptions)
#include "tst_linkoptions.moc"
