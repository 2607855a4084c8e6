// SPDX-License-Identifier: MIT
// Connection settings in a temporary settings store, and the loading of TLS
// keys and certificates from files, directories and the built-in resources.

#include "connection/connectionsettings.h"
#include "tests/connection/testsupport.h"
#include "tests/support/files.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QtTest>

using korvtest::compareSettings;
using korvtest::everythingChanged;

class TestConnectionSettings : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void saveAndRestoreRoundTrip();
    void modeTexts_data();
    void modeTexts();
    void emptyGroupGivesDefaults();
    void obsoleteAddressKeyIsRemoved();
    void corruptValuesFallBackWithAWarning_data();
    void corruptValuesFallBackWithAWarning();
    void framingKeys_data();
    void framingKeys();
    void keyAndCertificateFiles_data();
    void keyAndCertificateFiles();
    void certificateDirectory_data();
    void certificateDirectory();

private:
    QTemporaryDir m_config;
    QTemporaryDir m_files;
};

void TestConnectionSettings::initTestCase()
{
    QVERIFY(m_config.isValid() && m_files.isValid());
    // Before the first QSettings: the store is found through this.
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_config.path()));
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui"));

    const QSslKey key = ConnectionSettings::loadPrivateKey(QStringLiteral(":/cert/testcert.key"));
    const QSslCertificate certificate = ConnectionSettings::loadCertificate(QStringLiteral(":/cert/testcert.crt"));
    QVERIFY(!key.isNull() && !certificate.isNull());
    QVERIFY(writeFile(m_files.filePath(QStringLiteral("key.pem")), key.toPem()));
    QVERIFY(writeFile(m_files.filePath(QStringLiteral("key.der")), key.toDer()));
    QVERIFY(writeFile(m_files.filePath(QStringLiteral("cert.pem")), certificate.toPem()));
    QVERIFY(writeFile(m_files.filePath(QStringLiteral("cert.der")), certificate.toDer()));
    QVERIFY(writeFile(m_files.filePath(QStringLiteral("garbage")), "not a key, not a certificate\n"));
}

void TestConnectionSettings::init()
{
    QSettings().clear();
}

void TestConnectionSettings::saveAndRestoreRoundTrip()
{
    const ConnectionSettings saved = everythingChanged();
    saved.saveToSettings(QStringLiteral("Connection1"));
    ConnectionSettings restored;
    restored.restoreFromSettings(QStringLiteral("Connection1"));
    compareSettings(restored, saved);
    if (QTest::currentTestFailed())
        return;

    QVERIFY(QFile::exists(m_config.filePath(QStringLiteral("Norvane/korvgui.conf"))));
    QSettings store;
    QCOMPARE(store.value(QStringLiteral("Connection1/BiSTimeout")).toInt(), 250);
    QCOMPARE(store.value(QStringLiteral("Connection1/SSL/LocalCertFile")).toString(),
             QStringLiteral("/etc/korv/cert.pem"));
    QCOMPARE(store.value(QStringLiteral("Connection1/SSL/PeerVerifyMode")).toInt(), int(QSslSocket::VerifyPeer));
    QCOMPARE(store.value(QStringLiteral("Connection1/SerialDataBits")).toInt(), 7);
    QCOMPARE(store.value(QStringLiteral("Connection1/SerialParity")).toString(), QStringLiteral("Even"));
    QCOMPARE(store.value(QStringLiteral("Connection1/SerialStopBits")).toInt(), 2);

    // "Any address" survives as -1.
    ConnectionSettings any;
    any.saveToSettings(QStringLiteral("Connection2"));
    ConnectionSettings back = everythingChanged();
    back.restoreFromSettings(QStringLiteral("Connection2"));
    QCOMPARE(back.sourceAddress(), -1);
    QCOMPARE(back.destinationAddress(), -1);
    // Groups stay apart.
    restored.restoreFromSettings(QStringLiteral("Connection1"));
    QCOMPARE(restored.sourceAddress(), 12);
}

void TestConnectionSettings::modeTexts_data()
{
    QTest::addColumn<int>("mode"); // -1: the text is no mode, the field is kept
    QTest::addColumn<int>("bisMode");
    QTest::addColumn<QString>("modeText");
    QTest::addColumn<QString>("bisModeText");
    QTest::newRow("disabled, master") << 0 << 1 << QStringLiteral("Disabled") << QStringLiteral("Master");
    QTest::newRow("serial, slave") << 1 << 2 << QStringLiteral("Serial") << QStringLiteral("Slave");
    QTest::newRow("client, trace") << 2 << 3 << QStringLiteral("Client") << QStringLiteral("Trace");
    QTest::newRow("server, master") << 3 << 1 << QStringLiteral("Server") << QStringLiteral("Master");
    QTest::newRow("unknown mode") << -1 << 1 << QStringLiteral("Bluetooth")
                                  << QStringLiteral("Master");
    QTest::newRow("mode in the wrong case")
        << -1 << 3 << QStringLiteral("serial") << QStringLiteral("Trace");
    QTest::newRow("empty mode") << -1 << 1 << QString() << QStringLiteral("Master");
    QTest::newRow("unknown BiS mode")
        << 1 << -1 << QStringLiteral("Serial") << QStringLiteral("Sniffer");
}

void TestConnectionSettings::modeTexts()
{
    QFETCH(int, mode);
    QFETCH(int, bisMode);
    QFETCH(QString, modeText);
    QFETCH(QString, bisModeText);
    QSettings store;
    if (mode >= 0 && bisMode >= 0) {
        ConnectionSettings settings;
        settings.setMode(mode);
        settings.setBisMode(bisMode);
        settings.saveToSettings(QStringLiteral("Channel"));
        QCOMPARE(store.value(QStringLiteral("Channel/Mode")).toString(), modeText);
        QCOMPARE(store.value(QStringLiteral("Channel/BiSMode")).toString(), bisModeText);
    }

    store.setValue(QStringLiteral("Other/Mode"), modeText);
    store.setValue(QStringLiteral("Other/BiSMode"), bisModeText);
    store.sync();
    // Read over other values than the defaults, kept where the text is none.
    ConnectionSettings read;
    read.setMode(mode == 3 ? 0 : 3);
    read.setBisMode(bisMode == 2 ? 3 : 2);
    const int oldMode = read.mode();
    const int oldBisMode = read.bisMode();
    read.restoreFromSettings(QStringLiteral("Other"));
    QCOMPARE(read.mode(), mode < 0 ? oldMode : mode);
    QCOMPARE(read.bisMode(), bisMode < 0 ? oldBisMode : bisMode);
}

void TestConnectionSettings::emptyGroupGivesDefaults()
{
    ConnectionSettings settings = everythingChanged();
    settings.restoreFromSettings(QStringLiteral("Nothing"));
    // These fall back to their defaults; everything else stays as it was.
    ConnectionSettings expected = everythingChanged();
    expected.setTries(5);
    expected.setTimeout(1000);
    expected.setSourceAddress(-1);
    expected.setDestinationAddress(-1);
    expected.setBisEnabled(false);
    expected.setSslEnabled(false);
    expected.setPeerVerifyMode(0);
    expected.setReconnect(false);
    expected.setRawPrinter(ConnectionSettings::HexPrinter);
    expected.setSerialFraming(SerFraming());
    compareSettings(settings, expected);
}

void TestConnectionSettings::obsoleteAddressKeyIsRemoved()
{
    {
        QSettings store;
        store.setValue(QStringLiteral("Channel/BiSAddress"), 5);
        store.setValue(QStringLiteral("Elsewhere/BiSAddress"), 6);
    }
    everythingChanged().saveToSettings(QStringLiteral("Channel"));
    QSettings store;
    QVERIFY(!store.contains(QStringLiteral("Channel/BiSAddress")));
    QVERIFY(store.contains(QStringLiteral("Channel/BiSSourceAddress")));
    QCOMPARE(store.value(QStringLiteral("Elsewhere/BiSAddress")).toInt(), 6);
}

void TestConnectionSettings::corruptValuesFallBackWithAWarning_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<int>("restored"); // -1: the stored value is kept
    QTest::newRow("speed that is not a number") << "SerialSpeed" << QVariant("fast") << 9600;
    QTest::newRow("speed 0") << "SerialSpeed" << QVariant(0) << 9600;
    QTest::newRow("negative speed") << "SerialSpeed" << QVariant(-300) << 9600;
    QTest::newRow("free speed is fine") << "SerialSpeed" << QVariant(250000) << -1;
    QTest::newRow("time-out 0") << "BiSTimeout" << QVariant(0) << 1000;
    QTest::newRow("time-out 9 ms") << "BiSTimeout" << QVariant(9) << 1000;
    QTest::newRow("time-out 10 ms is fine") << "BiSTimeout" << QVariant(10) << -1;
    QTest::newRow("time-out as text") << "BiSTimeout" << QVariant("soon") << 1000;
    QTest::newRow("tries 0") << "BiSTries" << QVariant(0) << 5;
    QTest::newRow("tries 101") << "BiSTries" << QVariant(101) << 5;
    QTest::newRow("tries 100 is fine") << "BiSTries" << QVariant(100) << -1;
    QTest::newRow("tries 1 is fine") << "BiSTries" << QVariant(1) << -1;
}

void TestConnectionSettings::corruptValuesFallBackWithAWarning()
{
    QFETCH(QString, key);
    QFETCH(QVariant, stored);
    QFETCH(int, restored);
    everythingChanged().saveToSettings(QStringLiteral("Corrupt"));
    QSettings().setValue(QStringLiteral("Corrupt/") + key, stored);
    ConnectionSettings settings;
    QStringList warnings;
    settings.restoreFromSettings(QStringLiteral("Corrupt"), &warnings);
    const int value = key == QLatin1String("SerialSpeed") ? settings.serialSpeed()
                      : key == QLatin1String("BiSTimeout") ? settings.timeout()
                                                           : settings.tries();
    if (restored < 0) {
        QCOMPARE(value, stored.toInt());
        QVERIFY(warnings.isEmpty());
    } else {
        QCOMPARE(value, restored);
        QCOMPARE(warnings, QStringList({QStringLiteral("Settings Corrupt/%1: \"%2\" is out of range, using %3")
                                            .arg(key, stored.toString())
                                            .arg(restored)}));
    }
    // The other values are untouched.
    ConnectionSettings expected = everythingChanged();
    if (key == QLatin1String("SerialSpeed"))
        expected.setSerialSpeed(value);
    else if (key == QLatin1String("BiSTimeout"))
        expected.setTimeout(value);
    else
        expected.setTries(value);
    compareSettings(settings, expected);
}

void TestConnectionSettings::framingKeys_data()
{
    QTest::addColumn<QVariant>("dataBits"); // invalid: no such key
    QTest::addColumn<QVariant>("parity");
    QTest::addColumn<QVariant>("stopBits");
    QTest::addColumn<QString>("framing");
    QTest::addColumn<QStringList>("warnings");
    QTest::newRow("a channel stored before framing reads as 8N1")
        << QVariant() << QVariant() << QVariant() << "8N1" << QStringList();
    QTest::newRow("7E1") << QVariant(7) << QVariant("Even") << QVariant(1) << "7E1" << QStringList();
    QTest::newRow("mark, two stop bits") << QVariant(8) << QVariant("Mark") << QVariant(2) << "8M2" << QStringList();
    QTest::newRow("space, five bits") << QVariant(5) << QVariant("Space") << QVariant(1) << "5S1" << QStringList();
    QTest::newRow("nine data bits fall back")
        << QVariant(9) << QVariant("Odd") << QVariant(1) << "8O1"
        << QStringList({QStringLiteral("Settings Framing/SerialDataBits: \"9\" is out of range, using 8")});
    QTest::newRow("parity not known falls back")
        << QVariant(7) << QVariant("even") << QVariant(2) << "7N2"
        << QStringList({QStringLiteral("Settings Framing/SerialParity: \"even\" is no parity, using None")});
    QTest::newRow("three stop bits fall back")
        << QVariant(8) << QVariant("None") << QVariant(3) << "8N1"
        << QStringList({QStringLiteral("Settings Framing/SerialStopBits: \"3\" is out of range, using 1")});
}

void TestConnectionSettings::framingKeys()
{
    QFETCH(QVariant, dataBits);
    QFETCH(QVariant, parity);
    QFETCH(QVariant, stopBits);
    QFETCH(QString, framing);
    QFETCH(QStringList, warnings);
    {
        QSettings store;
        store.setValue(QStringLiteral("Framing/Mode"), QStringLiteral("Serial"));
        const QList<QPair<QString, QVariant>> keys = {{QStringLiteral("SerialDataBits"), dataBits},
                                                      {QStringLiteral("SerialParity"), parity},
                                                      {QStringLiteral("SerialStopBits"), stopBits}};
        for (const auto& key : keys) {
            if (key.second.isValid())
                store.setValue(QStringLiteral("Framing/") + key.first, key.second);
        }
    }
    ConnectionSettings settings = everythingChanged();
    QStringList said;
    settings.restoreFromSettings(QStringLiteral("Framing"), &said);
    QCOMPARE(settings.serialFraming().text(), framing);
    QCOMPARE(said, warnings);
}

void TestConnectionSettings::keyAndCertificateFiles_data()
{
    QTest::addColumn<bool>("key"); // else a certificate
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("loads");
    QTest::newRow("key, PEM") << true << QStringLiteral("key.pem") << true;
    QTest::newRow("key, DER") << true << QStringLiteral("key.der") << true;
    QTest::newRow("a certificate is no key") << true << QStringLiteral("cert.pem") << false;
    QTest::newRow("key, garbage") << true << QStringLiteral("garbage") << false;
    QTest::newRow("key, missing file") << true << QStringLiteral("missing.pem") << false;
    QTest::newRow("certificate, PEM") << false << QStringLiteral("cert.pem") << true;
    QTest::newRow("certificate, DER") << false << QStringLiteral("cert.der") << true;
    QTest::newRow("a key is no certificate") << false << QStringLiteral("key.pem") << false;
    QTest::newRow("certificate, garbage") << false << QStringLiteral("garbage") << false;
    QTest::newRow("certificate, missing file") << false << QStringLiteral("missing.pem") << false;
}

void TestConnectionSettings::keyAndCertificateFiles()
{
    QFETCH(bool, key);
    QFETCH(QString, file);
    QFETCH(bool, loads);
    const QString path = m_files.filePath(file);
    ConnectionSettings settings;
    if (key) {
        QCOMPARE(!ConnectionSettings::loadPrivateKey(path).isNull(), loads);
        settings.setPrivateKeyFile(path);
        QCOMPARE(!settings.loadPrivateKey().isNull(), loads);
    } else {
        QCOMPARE(!ConnectionSettings::loadCertificate(path).isNull(), loads);
        settings.setLocalCertificateFile(path);
        QCOMPARE(!settings.loadLocalCertificate().isNull(), loads);
    }
}

void TestConnectionSettings::certificateDirectory_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<int>("count");
    QTest::newRow("empty directory") << QStringList() << 0;
    QTest::newRow("PEM and DER as .crt, .pem and .der")
        << QStringList({QStringLiteral("a.crt:pem"), QStringLiteral("b.crt:der"), QStringLiteral("c.pem:pem"),
                        QStringLiteral("d.der:der")})
        << 4;
    QTest::newRow("other names and garbage are ignored")
        << QStringList({QStringLiteral("a.txt:pem"), QStringLiteral("b.crt:garbage"), QStringLiteral("c.pem:pem")})
        << 1;
}

void TestConnectionSettings::certificateDirectory()
{
    QFETCH(QStringList, files);
    QFETCH(int, count);
    QTemporaryDir dir;
    const QByteArray pem = readFile(m_files.filePath(QStringLiteral("cert.pem")));
    const QByteArray der = readFile(m_files.filePath(QStringLiteral("cert.der")));
    for (const QString& entry : files) {
        const QString name = entry.section(QLatin1Char(':'), 0, 0);
        const QString kind = entry.section(QLatin1Char(':'), 1);
        QVERIFY(writeFile(dir.filePath(name), kind == QLatin1String("pem")   ? pem
                                              : kind == QLatin1String("der") ? der
                                                                             : QByteArray("garbage")));
    }
    QCOMPARE(ConnectionSettings::loadCertificates(dir.path() + QLatin1Char('/')).size(), count);
    // A directory as a file dialog returns it, without the separator.
    QCOMPARE(ConnectionSettings::loadCertificates(dir.path()).size(), count);
    ConnectionSettings settings;
    settings.setCaCertificateDirectory(dir.path());
    QCOMPARE(settings.loadCACertificates().size(), count);
}

QTEST_GUILESS_MAIN(TestConnectionSettings)
#include "tst_connectionsettings.moc"
