// SPDX-License-Identifier: MIT
#include "connection/connectionsettings.h"

#include "connection/remoteport.h"

#include <QCoreApplication>
#include <QFile>
#include <QSettings>

#include <array>
#include <climits>

namespace {

const std::array<QLatin1String, 4> modeNames = {QLatin1String("Disabled"), QLatin1String("Serial"),
                                                QLatin1String("Client"), QLatin1String("Server")};
// Index 0 is unused: BiS modes count from 1.
const std::array<QLatin1String, 4> bisModeNames = {QLatin1String(), QLatin1String("Master"),
                                                   QLatin1String("Slave"), QLatin1String("Trace")};
// SerFraming's parities, capitalised as the other texts of the store.
const std::array<QLatin1String, 5> parityNames = {QLatin1String("None"), QLatin1String("Even"), QLatin1String("Odd"),
                                                  QLatin1String("Mark"), QLatin1String("Space")};
const std::array<QLatin1String, 4> rawPrinterNames = {QLatin1String("Hex"), QLatin1String("BiS"),
                                                      QLatin1String("LTD"), QLatin1String("LTD16")};

template <std::size_t N>
int indexOf(const std::array<QLatin1String, N>& names, const QString& text, int fallback)
{
    for (std::size_t i = 0; i < N; ++i) {
        if (!names[i].isEmpty() && text == names[i])
            return int(i);
    }
    return fallback;
}

template <std::size_t N>
QString nameOf(const std::array<QLatin1String, N>& names, int value)
{
    if (value < 0 || std::size_t(value) >= N)
        return QString();
    return names[std::size_t(value)];
}

// Key and certificate files are small; a cap keeps a wrongly chosen huge
// file from being read whole.
QByteArray readCapped(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.read(0x400000);
}

// The number stored under key when it lies in min..max; otherwise fallback,
// with a warning unless the key is absent.
int checkedNumber(const QSettings& settings, const QString& key, int min, int max, int fallback,
                  QStringList* warnings)
{
    const QVariant value = settings.value(key);
    if (!value.isValid())
        return fallback;
    bool ok = false;
    const qlonglong number = value.toString().trimmed().toLongLong(&ok);
    if (ok && number >= min && number <= max)
        return int(number);
    if (warnings) {
        *warnings << QCoreApplication::translate("ConnectionSettings",
                                                 "Settings %1/%2: \"%3\" is out of range, using %4")
                         .arg(settings.group(), key, value.toString())
                         .arg(fallback);
    }
    return fallback;
}

} // namespace

void ConnectionSettings::saveToSettings(const QString& group) const
{
    QSettings settings;
    settings.beginGroup(group);
    const QString mode = nameOf(modeNames, m_mode);
    if (!mode.isEmpty())
        settings.setValue(QStringLiteral("Mode"), mode);
    const QString bisMode = nameOf(bisModeNames, m_bismode);
    if (!bisMode.isEmpty())
        settings.setValue(QStringLiteral("BiSMode"), bisMode);
    settings.setValue(QStringLiteral("BiSEnabled"), m_bisenabled);
    // -1 ("any") is kept as its unsigned image and comes back as -1.
    settings.setValue(QStringLiteral("BiSSourceAddress"), uint(m_sourceaddress));
    settings.setValue(QStringLiteral("BiSDestinationAddress"), uint(m_destinationaddress));
    settings.setValue(QStringLiteral("BiSTries"), uint(m_tries));
    settings.setValue(QStringLiteral("BiSTimeout"), uint(m_timeout));
    settings.setValue(QStringLiteral("SerialPort"), m_serialport);
    settings.setValue(QStringLiteral("SerialSpeed"), uint(m_serialspeed));
    settings.setValue(QStringLiteral("SerialHandshake"), uint(m_serialhandshake));
    settings.setValue(QStringLiteral("SerialDataBits"), uint(m_serialframing.dataBits()));
    settings.setValue(QStringLiteral("SerialParity"), nameOf(parityNames, m_serialframing.parity()));
    settings.setValue(QStringLiteral("SerialStopBits"), uint(m_serialframing.stopBits()));
    settings.setValue(QStringLiteral("ClientAddress"), m_clientaddress);
    settings.setValue(QStringLiteral("ClientPort"), uint(m_clientport));
    settings.setValue(QStringLiteral("ServerAddress"), m_serveraddress);
    settings.setValue(QStringLiteral("ServerPort"), uint(m_serverport));
    settings.setValue(QStringLiteral("Reconnect"), m_reconnect);
    settings.setValue(QStringLiteral("RawPrinter"), nameOf(rawPrinterNames, m_rawprinter));
    settings.beginGroup(QStringLiteral("SSL"));
    settings.setValue(QStringLiteral("Enabled"), m_sslenabled);
    settings.setValue(QStringLiteral("PrivateKeyFile"), m_privatekeyfile);
    settings.setValue(QStringLiteral("LocalCertFile"), m_localcertificatefile);
    settings.setValue(QStringLiteral("CACertDir"), m_cacertificatedirectory);
    settings.setValue(QStringLiteral("PeerVerifyMode"), m_peerverifymode);
    settings.endGroup();
    // Older versions kept one address for both roles.
    settings.remove(QStringLiteral("BiSAddress"));
    settings.endGroup();
}

void ConnectionSettings::restoreFromSettings(const QString& group, QStringList* warnings)
{
    QSettings settings;
    restoreFromSettings(settings, group, warnings);
}

void ConnectionSettings::restoreFromSettings(QSettings& settings, const QString& group, QStringList* warnings)
{
    settings.beginGroup(group);
    m_mode = indexOf(modeNames, settings.value(QStringLiteral("Mode")).toString(), m_mode);
    m_bismode = indexOf(bisModeNames, settings.value(QStringLiteral("BiSMode")).toString(), m_bismode);
    m_bisenabled = settings.value(QStringLiteral("BiSEnabled"), false).toBool();
    m_sourceaddress = int(settings.value(QStringLiteral("BiSSourceAddress"), -1).toUInt());
    m_destinationaddress = int(settings.value(QStringLiteral("BiSDestinationAddress"), -1).toUInt());
    m_tries = checkedNumber(settings, QStringLiteral("BiSTries"), 1, MaximumTries, DefaultTries, warnings);
    m_timeout = checkedNumber(settings, QStringLiteral("BiSTimeout"), MinimumTimeout, INT_MAX, DefaultTimeout,
                              warnings);
    m_serialport = settings.value(QStringLiteral("SerialPort"), m_serialport).toString();
    if (settings.contains(QStringLiteral("SerialSpeed")))
        m_serialspeed = checkedNumber(settings, QStringLiteral("SerialSpeed"), 1, INT_MAX, DefaultSpeed, warnings);
    m_serialhandshake = int(settings.value(QStringLiteral("SerialHandshake"), m_serialhandshake).toUInt());
    // Channels stored before framing was set read as 8N1.
    const SerFraming plain;
    m_serialframing.setDataBits(
        checkedNumber(settings, QStringLiteral("SerialDataBits"), 5, 8, plain.dataBits(), warnings));
    const QString parity = settings.value(QStringLiteral("SerialParity")).toString();
    m_serialframing.setParity(indexOf(parityNames, parity, plain.parity()));
    if (!parity.isEmpty() && indexOf(parityNames, parity, -1) < 0 && warnings) {
        *warnings << QCoreApplication::translate("ConnectionSettings",
                                                 "Settings %1/%2: \"%3\" is no parity, using %4")
                         .arg(settings.group(), QStringLiteral("SerialParity"), parity, parityNames[0]);
    }
    m_serialframing.setStopBits(
        checkedNumber(settings, QStringLiteral("SerialStopBits"), 1, 2, plain.stopBits(), warnings));
    m_clientaddress = settings.value(QStringLiteral("ClientAddress"), m_clientaddress).toString();
    m_clientport = int(settings.value(QStringLiteral("ClientPort"), m_clientport).toUInt());
    m_serveraddress = settings.value(QStringLiteral("ServerAddress"), m_serveraddress).toString();
    m_serverport = int(settings.value(QStringLiteral("ServerPort"), m_serverport).toUInt());
    m_reconnect = settings.value(QStringLiteral("Reconnect"), false).toBool();
    m_rawprinter = indexOf(rawPrinterNames, settings.value(QStringLiteral("RawPrinter")).toString(), HexPrinter);
    settings.beginGroup(QStringLiteral("SSL"));
    m_sslenabled = settings.value(QStringLiteral("Enabled"), false).toBool();
    m_privatekeyfile = settings.value(QStringLiteral("PrivateKeyFile"), m_privatekeyfile).toString();
    m_localcertificatefile = settings.value(QStringLiteral("LocalCertFile"), m_localcertificatefile).toString();
    m_cacertificatedirectory = settings.value(QStringLiteral("CACertDir"), m_cacertificatedirectory).toString();
    m_peerverifymode = settings.value(QStringLiteral("PeerVerifyMode"), 0).toInt();
    settings.endGroup();
    settings.endGroup();
}

bool ConnectionSettings::isRemoteSerialPort() const
{
    return RemotePort::isRemote(m_serialport);
}

QSslKey ConnectionSettings::loadPrivateKey(const QString& path)
{
    const QByteArray data = readCapped(path);
    if (data.isEmpty())
        return QSslKey();
    QSslKey key(data, QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey);
    if (key.isNull())
        key = QSslKey(data, QSsl::Rsa, QSsl::Der, QSsl::PrivateKey);
    return key;
}

QSslCertificate ConnectionSettings::loadCertificate(const QString& path)
{
    const QByteArray data = readCapped(path);
    if (data.isEmpty())
        return QSslCertificate();
    QSslCertificate certificate(data, QSsl::Pem);
    if (certificate.isNull())
        certificate = QSslCertificate(data, QSsl::Der);
    return certificate;
}

QList<QSslCertificate> ConnectionSettings::loadCertificates(const QString& dir)
{
    // A directory picked in a dialog comes without the trailing separator
    // that the patterns need.
    QString base = dir;
    if (!base.isEmpty() && !base.endsWith(QLatin1Char('/')))
        base += QLatin1Char('/');
    const auto wildcard = QSslCertificate::PatternSyntax::Wildcard;
    QList<QSslCertificate> certificates;
    certificates += QSslCertificate::fromPath(base + QLatin1String("*.crt"), QSsl::Pem, wildcard);
    certificates += QSslCertificate::fromPath(base + QLatin1String("*.crt"), QSsl::Der, wildcard);
    certificates += QSslCertificate::fromPath(base + QLatin1String("*.pem"), QSsl::Pem, wildcard);
    certificates += QSslCertificate::fromPath(base + QLatin1String("*.der"), QSsl::Der, wildcard);
    return certificates;
}

QSslKey ConnectionSettings::loadPrivateKey() const
{
    return loadPrivateKey(m_privatekeyfile.isEmpty() ? QStringLiteral(":/cert/testcert.key") : m_privatekeyfile);
}

QSslCertificate ConnectionSettings::loadLocalCertificate() const
{
    return loadCertificate(m_localcertificatefile.isEmpty() ? QStringLiteral(":/cert/testcert.crt")
                                                            : m_localcertificatefile);
}

QList<QSslCertificate> ConnectionSettings::loadCACertificates() const
{
    if (m_cacertificatedirectory.isEmpty())
        return {};
    return loadCertificates(m_cacertificatedirectory);
}
