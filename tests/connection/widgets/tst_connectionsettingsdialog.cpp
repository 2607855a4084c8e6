// SPDX-License-Identifier: MIT
// The connection settings dialog, the certificate viewer and the port
// chooser under the offscreen platform, driven through their widgets.

#include "connection/connection.h"
#include "connection/widgets/certificatedialog.h"
#include "connection/widgets/connectionsettingsdialog.h"
#include "connection/widgets/portchooser.h"
#include "connection/widgets/remoteportdialog.h"
#include "libserial/serportdeviceinfo.h"
#include "tests/connection/testsupport.h"
#include "tests/support/files.h"
#include "tests/support/quietplatform.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QSpinBox>
#include <QStandardPaths>
#include <QSslCipher>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <QtTest>

#include <functional>

using namespace korvtest;

Q_DECLARE_METATYPE(ConnectionSettings)

namespace {

// The visible field that a label names.
template <typename T = QWidget> T* field(const QWidget& dialog, const QString& label)
{
    for (QLabel* candidate : dialog.findChildren<QLabel*>()) {
        if (candidate->text() == label && candidate->isVisibleTo(&dialog) && candidate->buddy())
            return qobject_cast<T*>(candidate->buddy());
    }
    return nullptr;
}

template <typename T>
T* child(const QWidget& parent, const QString& text)
{
    for (T* candidate : parent.findChildren<T*>()) {
        if (candidate->text() == text)
            return candidate;
    }
    return nullptr;
}

QGroupBox* group(const QWidget& parent, const QString& title)
{
    for (QGroupBox* candidate : parent.findChildren<QGroupBox*>()) {
        if (candidate->title() == title)
            return candidate;
    }
    return nullptr;
}

QStringList items(const QComboBox* box)
{
    QStringList texts;
    for (int i = 0; box && i < box->count(); ++i)
        texts << box->itemText(i);
    return texts;
}

// Answers the modal dialogs that open while a slot runs, one step each. A
// step is applied again while its dialog stays open: a file dialog may not
// take a selection before its directory has been read.
class ModalDriver : public QObject
{
public:
    using Step = std::function<void(QWidget*)>;

    explicit ModalDriver(QList<Step> steps)
        : m_steps(std::move(steps))
    {
        m_timer.setInterval(10);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            QWidget* modal = QApplication::activeModalWidget();
            if (!modal)
                return;
            if (modal != m_current) {
                if (m_steps.isEmpty())
                    return;
                m_current = modal;
                m_step = m_steps.takeFirst();
                seen << QString::fromLatin1(modal->metaObject()->className());
            }
            m_step(modal);
        });
        m_timer.start();
    }

    QStringList seen;

private:
    QList<Step> m_steps;
    QPointer<QWidget> m_current;
    Step m_step;
    QTimer m_timer;
};

ModalDriver::Step chooseFile(const QString& path)
{
    return [path](QWidget* modal) {
        auto* dialog = qobject_cast<QFileDialog*>(modal);
        if (!dialog) {
            modal->close();
            return;
        }
        dialog->selectFile(path);
        // selectFile() only marks the entry in a directory already read;
        // typing the name is what the user would do.
        if (auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")))
            name->setText(path);
        static_cast<QDialog*>(dialog)->accept();
    };
}

ModalDriver::Step readMessage(QString* text)
{
    return [text](QWidget* modal) {
        if (auto* box = qobject_cast<QMessageBox*>(modal))
            *text = box->text();
        modal->close();
    };
}

// The dialog on screen, showing `settings`.
class ShownDialog : public ConnectionSettingsDialog
{
public:
    explicit ShownDialog(const ConnectionSettings& settings) : ConnectionSettingsDialog(nullptr)
    {
        setSettings(settings);
        show();
        QVERIFY(QTest::qWaitForWindowExposed(this));
    }
};

} // namespace

class TestConnectionSettingsDialog : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void fixedChoices();
    void settingsRoundTrip();
    void modeShowsItsPage_data();
    void modeShowsItsPage();
    void roleEnablesItsFields_data();
    void roleEnablesItsFields();
    void timeoutIsStoredInMilliseconds_data();
    void timeoutIsStoredInMilliseconds();
    void fileChoicesAreTested_data();
    void fileChoicesAreTested();
    void viewServerCertificate();
    void certificateViewerShowsSession();
    void portChooserListsDevices();
    void unsetAddressesShowNotSet();
    void problemsAreSaidBeforeOk_data();
    void problemsAreSaidBeforeOk();
    void typingThePortClearsTheProblem();
    void framingChosenInTheDialog_data();
    void framingChosenInTheDialog();
    void remotePortIsChosenAndRemembered_data();
    void remotePortIsChosenAndRemembered();
    void remotePortTypedIsRememberedOnOk();
    void dialogFitsTheScreen();
    void refreshFindsAdaptersPluggedInLater();

private:
    QTemporaryDir m_files;
};

void TestConnectionSettingsDialog::initTestCase()
{
    quietPlatformWarnings();
    // Numbers typed and read as written here, whatever the machine's locale.
    QLocale::setDefault(QLocale::c());
    // Remembered remote ports go to a store of the tests' own.
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-dialog-test"));
    QSettings().clear();
    QVERIFY(m_files.isValid());
    const ConnectionSettings builtin;
    QVERIFY(writeFile(m_files.filePath(QStringLiteral("key.pem")), builtin.loadPrivateKey().toPem()));
    QVERIFY(writeFile(m_files.filePath(QStringLiteral("cert.pem")), builtin.loadLocalCertificate().toPem()));
    QVERIFY(writeFile(m_files.filePath(QStringLiteral("garbage.pem")), "no key, no certificate"));
    QVERIFY(QDir(m_files.path()).mkpath(QStringLiteral("ca")));
    QVERIFY(writeFile(m_files.filePath(QStringLiteral("ca/root.crt")), builtin.loadLocalCertificate().toPem()));
    QVERIFY(QDir(m_files.path()).mkpath(QStringLiteral("empty")));
}

void TestConnectionSettingsDialog::fixedChoices()
{
    ConnectionSettingsDialog dialog(nullptr);
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::SerialMode);
    dialog.setSettings(settings);
    QCOMPARE(items(field<QComboBox>(dialog, "Speed:")),
             QStringList({"300", "1200", "2400", "4800", "9600", "19200", "38400", "57600",
                          "115200", "230400", "250000", "460800", "500000", "921600", "1000000"}));
    QCOMPARE(items(field<QComboBox>(dialog, "Handshake:")),
             QStringList({"None", "RTS/CTS", "Xon/Xoff"}));
    QCOMPARE(items(field<QComboBox>(dialog, "Data bits:")), QStringList({"5", "6", "7", "8"}));
    QCOMPARE(items(field<QComboBox>(dialog, "Parity:")),
             QStringList({"None", "Even", "Odd", "Mark", "Space"}));
    QCOMPARE(items(field<QComboBox>(dialog, "Stop bits:")), QStringList({"1", "2"}));
    QCOMPARE(items(field<QComboBox>(dialog, "Client verification:")),
             QStringList({"None", "Optional", "Verify"}));
    for (const char* role : {"Master", "Slave", "Trace"})
        QVERIFY2(child<QRadioButton>(*group(dialog, "BiS"), role), role);
    QCOMPARE(field<QSpinBox>(dialog, "Source Address:")->minimum(), -1);
    QCOMPARE(field<QSpinBox>(dialog, "Source Address:")->maximum(), 2147483647);
    QCOMPARE(field<QSpinBox>(dialog, "Tries:")->minimum(), 1);
    QCOMPARE(field<QSpinBox>(dialog, "Tries:")->maximum(), 25);
    QCOMPARE(field<QLineEdit>(dialog, "Private key file:")->placeholderText(),
             QStringLiteral("Builtin Test Key"));
    QCOMPARE(field<QLineEdit>(dialog, "Server certificate file:")->placeholderText(),
             QStringLiteral("Builtin Test Certificate"));

    // A fresh dialog offers the defaults.
    ConnectionSettingsDialog fresh(nullptr);
    ConnectionSettings defaults;
    fresh.getSettings(&defaults);
    QCOMPARE(defaults.sourceAddress(), -1);
    QCOMPARE(defaults.destinationAddress(), -1);
    QCOMPARE(defaults.tries(), 5);
    QCOMPARE(defaults.clientAddress(), QStringLiteral("localhost"));
    QCOMPARE(defaults.serverPort(), 10000);
    QCOMPARE(defaults.serverAddress(), QString());
    QCOMPARE(defaults.serialFraming().text(), QStringLiteral("8N1"));
}

void TestConnectionSettingsDialog::settingsRoundTrip()
{
    // What the dialog offers differs from the plain round trip in a few fields.
    ConnectionSettings s = everythingChanged();
    s.setBisMode(ConnectionSettings::BiSTraceMode);
    s.setTimeout(2500);
    s.setSerialHandshake(ConnectionSettings::XonXoffHandshake);
    s.setCaCertificateDirectory(QStringLiteral("/etc/korv/ca"));
    s.setPeerVerifyMode(QSslSocket::QueryPeer);

    ConnectionSettingsDialog dialog(nullptr);
    dialog.setSettings(s);
    ConnectionSettings back;
    dialog.getSettings(&back);
    compareSettings(back, s);
    if (QTest::currentTestFailed())
        return;

    // An empty listen address is shown as "any" and comes back empty.
    s.setServerAddress(QString());
    dialog.setSettings(s);
    QCOMPARE(field<QLineEdit>(dialog, "Listen address:")->text(), QStringLiteral("any"));
    dialog.getSettings(&back);
    QCOMPARE(back.serverAddress(), QString());
}

void TestConnectionSettingsDialog::modeShowsItsPage_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("labels");
    QTest::addColumn<bool>("bisUsable");
    QTest::addColumn<bool>("sslUsable");
    const QStringList ssl = {"Private key file:", "Server certificate file:",
                             "CA certificates directory:", "Client verification:"};
    QTest::newRow("disabled") << "Disabled" << 0 << QStringList() << false << false;
    QTest::newRow("serial") << "Serial" << 1
                            << QStringList({"Serial port:", "Speed:", "Handshake:", "Data bits:",
                                            "Parity:", "Stop bits:", "Source Address:",
                                            "Destination Address:", "Tries:", "Timeout:"}) +
                                   ssl
                            << true << false;
    QTest::newRow("TCP client") << "TCP client" << 2
                                << QStringList({"Server name:", "Port number:"}) + ssl << false
                                << true;
    QTest::newRow("TCP server") << "TCP server" << 3
                                << QStringList({"Listen address:", "Port number:"}) + ssl << false
                                << true;
}

void TestConnectionSettingsDialog::modeShowsItsPage()
{
    QFETCH(QString, button);
    QFETCH(int, mode);
    QFETCH(QStringList, labels);
    QFETCH(bool, bisUsable);
    QFETCH(bool, sslUsable);
    ConnectionSettings settings;
    settings.setMode(mode);
    ShownDialog dialog(settings);
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Connection settings"));
    for (const QString& label : labels)
        QVERIFY2(field(dialog, label) && field(dialog, label)->isVisible(), qPrintable(label));
    for (const char* text : {"Disabled", "Serial", "TCP client", "TCP server"})
        QVERIFY2(child<QRadioButton>(*group(dialog, "Mode"), text), text);
    QVERIFY(group(dialog, "BiS") && group(dialog, "BiS")->isCheckable());
    QVERIFY(group(dialog, "SSL/TLS encryption")->isCheckable());
    int browse = 0;
    for (QPushButton* button : dialog.findChildren<QPushButton*>())
        browse += button->text() == QLatin1String("Browse");
    QCOMPARE(browse, 3);
    QVERIFY(child<QPushButton>(dialog, "View"));

    // Start from another mode so that the click changes something.
    settings.setMode(mode == 1 ? 2 : 1);
    dialog.setSettings(settings);
    child<QRadioButton>(dialog, button)->click();
    for (const char* label : {"Serial port:", "Server name:", "Listen address:"})
        QCOMPARE(field(dialog, label) != nullptr, labels.contains(QLatin1String(label)));
    QCOMPARE(group(dialog, "BiS")->isEnabledTo(&dialog) && field(dialog, "Serial port:"),
             bisUsable);
    QCOMPARE(group(dialog, "SSL/TLS encryption")->isEnabled(), sslUsable);
    ConnectionSettings chosen;
    dialog.getSettings(&chosen);
    QCOMPARE(chosen.mode(), mode);
}

void TestConnectionSettingsDialog::roleEnablesItsFields_data()
{
    QTest::addColumn<QString>("role");
    QTest::addColumn<bool>("source");
    QTest::addColumn<bool>("destination");
    QTest::addColumn<bool>("retries");
    QTest::newRow("master addresses and retries its queries") << QStringLiteral("Master") << false << true << true;
    QTest::newRow("slave answers to its own address") << QStringLiteral("Slave") << true << false << false;
    QTest::newRow("trace filters by both addresses") << QStringLiteral("Trace") << true << true << false;
}

void TestConnectionSettingsDialog::roleEnablesItsFields()
{
    QFETCH(QString, role);
    QFETCH(bool, source);
    QFETCH(bool, destination);
    QFETCH(bool, retries);
    // Another role first, so that the click changes something.
    ShownDialog dialog(serialSettings(QString(), role == QLatin1String("Master")
                                                     ? ConnectionSettings::BiSSlaveMode
                                                     : ConnectionSettings::BiSMasterMode));
    child<QRadioButton>(*group(dialog, "BiS"), role)->click();
    QCOMPARE(field(dialog, "Source Address:")->isEnabled(), source);
    QCOMPARE(field(dialog, "Destination Address:")->isEnabled(), destination);
    QCOMPARE(field(dialog, "Tries:")->isEnabled(), retries);
    QCOMPARE(field(dialog, "Timeout:")->isEnabled(), retries);

    // Without BiS none of them is usable.
    group(dialog, "BiS")->setChecked(false);
    QVERIFY(!field(dialog, "Source Address:")->isEnabled());
    QVERIFY(!field(dialog, "Destination Address:")->isEnabled());
}

void TestConnectionSettingsDialog::timeoutIsStoredInMilliseconds_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("msecs");
    QTest::newRow("0.15 s is 150 ms") << "0.15" << 150;
    QTest::newRow("0.1 s is 100 ms") << "0.1" << 100;
    QTest::newRow("2.5 s is 2500 ms") << "2.5" << 2500;
    QTest::newRow("1.001 s is 1001 ms") << "1.001" << 1001;
    QTest::newRow("below the minimum is not taken") << "0.05" << 1000;
}

void TestConnectionSettingsDialog::timeoutIsStoredInMilliseconds()
{
    QFETCH(QString, typed);
    QFETCH(int, msecs);
    ShownDialog dialog(serialSettings("ttyS0", ConnectionSettings::BiSMasterMode, -1, 5));
    auto* timeout = field<QDoubleSpinBox>(dialog, "Timeout:");
    QVERIFY(timeout);
    QCOMPARE(timeout->text(), QStringLiteral("1.0 s"));
    timeout->setFocus();
    timeout->selectAll();
    QTest::keyClicks(timeout, typed);
    dialog.accept();
    ConnectionSettings chosen;
    dialog.getSettings(&chosen);
    QCOMPARE(chosen.timeout(), msecs);
}

void TestConnectionSettingsDialog::fileChoicesAreTested_data()
{
    QTest::addColumn<QString>("browse");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("choice");
    QTest::addColumn<QString>("refusal");
    const char* key[] = {"browsePrivateKeyFile", "Private key file:"};
    const char* certificate[] = {"browseServerCertificateFile", "Server certificate file:"};
    const char* directory[] = {"browseCACertificatesDirectory", "CA certificates directory:"};
    QTest::newRow("key file refused") << key[0] << key[1] << "garbage.pem"
                                      << "Cannot load private key file.";
    QTest::newRow("key file taken") << key[0] << key[1] << "key.pem" << QString();
    QTest::newRow("certificate refused") << certificate[0] << certificate[1] << "garbage.pem"
                                         << "Cannot load certificate file.";
    QTest::newRow("certificate taken")
        << certificate[0] << certificate[1] << "cert.pem" << QString();
    QTest::newRow("directory refused") << directory[0] << directory[1] << "empty"
                                       << "Cannot find any CA certificate file.";
    QTest::newRow("directory taken") << directory[0] << directory[1] << "ca" << QString();
}

void TestConnectionSettingsDialog::fileChoicesAreTested()
{
    QFETCH(QString, browse);
    QFETCH(QString, label);
    QFETCH(QString, choice);
    QFETCH(QString, refusal);
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::ClientMode);
    settings.setSslEnabled(true);
    ShownDialog dialog(settings);
    auto* edit = field<QLineEdit>(dialog, label);
    QVERIFY(edit);

    const QString path = m_files.filePath(choice);
    QString shown;
    ModalDriver driver({chooseFile(path), readMessage(&shown)});
    QVERIFY(QMetaObject::invokeMethod(&dialog, browse.toLatin1().constData()));
    QCOMPARE(driver.seen.value(0), QStringLiteral("QFileDialog"));
    if (refusal.isEmpty()) {
        QCOMPARE(driver.seen.size(), 1);
        QCOMPARE(QFileInfo(edit->text()).canonicalFilePath(), QFileInfo(path).canonicalFilePath());
    } else {
        QCOMPARE(driver.seen.value(1), QStringLiteral("QMessageBox"));
        QCOMPARE(shown, refusal);
        QCOMPARE(edit->text(), QString());
    }
}

void TestConnectionSettingsDialog::viewServerCertificate()
{
    ConnectionSettingsDialog dialog(nullptr);
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::ServerMode);
    settings.setSslEnabled(true);
    settings.setCaCertificateDirectory(m_files.filePath(QStringLiteral("ca")));
    dialog.setSettings(settings);

    int certificates = -1;
    QStringList groups;
    ModalDriver builtin({[&](QWidget* modal) {
        if (auto* viewer = qobject_cast<CertificateDialog*>(modal)) {
            certificates = viewer->certificateCount();
            auto* tree = viewer->findChild<QTreeWidget*>();
            for (int i = 0; tree && i < tree->topLevelItemCount(); ++i)
                groups << tree->topLevelItem(i)->text(0);
        }
        modal->close();
    }});
    dialog.viewServerCertificate();
    QCOMPARE(certificates, 2);
    QCOMPARE(groups, QStringList({QStringLiteral("Server Certificate"), QStringLiteral("Server CA list")}));

    settings.setLocalCertificateFile(m_files.filePath(QStringLiteral("garbage.pem")));
    settings.setCaCertificateDirectory(QString());
    dialog.setSettings(settings);
    QString shown;
    ModalDriver nothing({readMessage(&shown)});
    dialog.viewServerCertificate();
    QCOMPARE(shown, QStringLiteral("Nothing to display."));
}

void TestConnectionSettingsDialog::certificateViewerShowsSession()
{
    ConnectionSettings serverSide = loopbackServer();
    serverSide.setSslEnabled(true);
    RecordedConnection server(serverSide);
    QVERIFY(server.isListening());
    ConnectionSettings clientSide = clientSettings(listeningPort(server));
    clientSide.setSslEnabled(true);
    RecordedConnection client(clientSide);
    QTRY_VERIFY_WITH_TIMEOUT(client.log.hasMessage(QStringLiteral("Encryption activated")),
                             Timeout);

    CertificateDialog viewer(nullptr);
    viewer.setSession(*client.socket());
    QCOMPARE(viewer.certificateCount(), 1);
    auto* details = viewer.findChild<QPlainTextEdit*>();
    QVERIFY(details->toPlainText().contains(QLatin1String("korvgui-test")));
    const QString cipher = client.socket()->sessionCipher().name();
    QVERIFY(!cipher.isEmpty());
    bool cipherShown = false;
    for (QLabel* label : viewer.findChildren<QLabel*>())
        cipherShown = cipherShown || label->text().contains(cipher);
    QVERIFY(cipherShown);
}

void TestConnectionSettingsDialog::portChooserListsDevices()
{
    SerPortDeviceInfo::replaceItem(SerPortDeviceInfo(QStringLiteral("ttyKORV7"), QStringLiteral("/dev/ttyKORV7"),
                                                     QStringLiteral("Test port"), QString(),
                                                     SerPortDeviceInfo::Serial | SerPortDeviceInfo::AddedByName));
    PortChooser chooser;
    QVERIFY(chooser.isEditable());
    QVERIFY(items(&chooser).contains(QStringLiteral("ttyKORV7")));

    chooser.setPortName(QStringLiteral("pts/77"));
    QCOMPARE(chooser.portName(), QStringLiteral("pts/77"));
    chooser.refresh();
    QCOMPARE(chooser.portName(), QStringLiteral("pts/77"));
    chooser.setPortName(QStringLiteral("ttyKORV7"));
    QCOMPARE(chooser.currentText(), QStringLiteral("ttyKORV7"));
    QVERIFY(chooser.itemData(chooser.currentIndex(), Qt::ToolTipRole)
                .toString()
                .contains(QLatin1String("Test port")));
}

void TestConnectionSettingsDialog::unsetAddressesShowNotSet()
{
    ConnectionSettingsDialog dialog(nullptr);
    dialog.setSettings(serialSettings(QString(), ConnectionSettings::BiSTraceMode, -1, 7));
    auto* source = field<QSpinBox>(dialog, "Source Address:");
    auto* destination = field<QSpinBox>(dialog, "Destination Address:");
    QVERIFY(source && destination);
    QCOMPARE(source->text(), QStringLiteral("not set"));
    QCOMPARE(destination->text(), QStringLiteral("7"));
    // Stepping down from 0 comes back to "not set" and stores -1.
    destination->setValue(0);
    destination->stepDown();
    QCOMPARE(destination->text(), QStringLiteral("not set"));
    ConnectionSettings chosen;
    dialog.getSettings(&chosen);
    QCOMPARE(chosen.destinationAddress(), -1);
}

void TestConnectionSettingsDialog::problemsAreSaidBeforeOk_data()
{
    QTest::addColumn<ConnectionSettings>("settings");
    QTest::addColumn<QString>("speed");   // typed over the shown one; null: left alone
    QTest::addColumn<QString>("problem"); // empty: none
    const auto bis = [](int role, int source, int destination) {
        return serialSettings("ttyS0", role, source, destination);
    };
    const int master = ConnectionSettings::BiSMasterMode;
    const int slave = ConnectionSettings::BiSSlaveMode;
    const int tracer = ConnectionSettings::BiSTraceMode;
    const QString badSpeed = "The speed must be a positive number of bits per second.";
    QTest::newRow("master without destination") << bis(master, 3, -1) << "9600"
                                                << "Set the BiS address of the destination.";
    QTest::newRow("master with destination") << bis(master, -1, 5) << "9600" << QString();
    QTest::newRow("slave without its address") << bis(slave, -1, 5) << "9600"
                                               << "Set the BiS address of this slave.";
    QTest::newRow("slave with its address") << bis(slave, 0, -1) << "9600" << QString();
    QTest::newRow("tracer: unset means any") << bis(tracer, -1, -1) << "9600" << QString();
    QTest::newRow("speed 0") << bis(tracer, -1, -1) << "0" << badSpeed;
    QTest::newRow("no speed at all") << bis(tracer, -1, -1) << "" << badSpeed;
    QTest::newRow("free speed") << bis(tracer, -1, -1) << "250000" << QString();
    QTest::newRow("serial without a port")
        << serialSettings(QString(), 0) << QString() << "No serial port chosen";
    QTest::newRow("serial with a port") << serialSettings("ttyUSB0", 0) << QString() << QString();
    QTest::newRow("remote port without its number")
        << serialSettings("rfc2217://rack4", 0) << QString()
        << "A remote port is written rfc2217://HOST:PORT";
    QTest::newRow("remote port") << serialSettings("rfc2217://rack4:7001", 0) << QString()
                                 << QString();
    ConnectionSettings client;
    client.setMode(ConnectionSettings::ClientMode);
    client.setClientAddress(QString());
    QTest::newRow("client without a server") << client << QString() << "No server name given";
    client.setClientAddress(QStringLiteral("plc.local"));
    QTest::newRow("client with a server") << client << QString() << QString();
    client.setSslEnabled(true);
    client.setPrivateKeyFile(QStringLiteral("/no/such/key.pem"));
    QTest::newRow("TLS key file that cannot be read")
        << client << QString() << "Cannot load private key file.";
    ConnectionSettings server;
    server.setMode(ConnectionSettings::ServerMode);
    server.setServerAddress(QStringLiteral("plc.local"));
    QTest::newRow("listen on a name")
        << server << QString() << "Not an address to listen on: plc.local";
    server.setServerAddress(QStringLiteral("127.0.0.1"));
    QTest::newRow("listen on an address") << server << QString() << QString();
    QTest::newRow("disabled") << ConnectionSettings() << QString() << QString();
}

void TestConnectionSettingsDialog::problemsAreSaidBeforeOk()
{
    QFETCH(ConnectionSettings, settings);
    QFETCH(QString, speed);
    QFETCH(QString, problem);
    ShownDialog dialog(settings);
    if (!speed.isNull()) {
        auto* speedBox = field<QComboBox>(dialog, "Speed:");
        QVERIFY(speedBox);
        speedBox->lineEdit()->clear();
        QTest::keyClicks(speedBox->lineEdit(), speed);
    }
    // Said in the dialog while it is open, and OK waits for a fix.
    QLabel* said = nullptr;
    for (QLabel* label : dialog.findChildren<QLabel*>()) {
        if (label->isVisible() && !problem.isEmpty() && label->text() == problem)
            said = label;
    }
    QCOMPARE(said != nullptr, !problem.isEmpty());
    auto* buttons = dialog.findChild<QDialogButtonBox*>();
    QVERIFY(buttons);
    QCOMPARE(buttons->button(QDialogButtonBox::Ok)->isEnabled(), problem.isEmpty());
    // OK taken all the same is refused with the same words.
    QString shown;
    ModalDriver driver({readMessage(&shown)});
    dialog.accept();
    QCOMPARE(shown, problem);
    QCOMPARE(dialog.result(), problem.isEmpty() ? int(QDialog::Accepted) : int(QDialog::Rejected));
    QCOMPARE(dialog.isVisible(), !problem.isEmpty());
}

void TestConnectionSettingsDialog::typingThePortClearsTheProblem()
{
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::ClientMode);
    ShownDialog dialog(settings);
    QPushButton* ok = dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
    QVERIFY(ok->isEnabled());
    child<QRadioButton>(dialog, "Serial")->click();
    QVERIFY(!ok->isEnabled());
    QVERIFY(child<QLabel>(dialog, "No serial port chosen"));
    QVERIFY(child<QLabel>(dialog, "No serial port chosen")->isVisible());
    auto* port = field<PortChooser>(dialog, "Serial port:");
    QVERIFY(port);
    port->lineEdit()->clear();
    QTest::keyClicks(port->lineEdit(), "ttyUSB1");
    QVERIFY(ok->isEnabled());
    QVERIFY(!child<QLabel>(dialog, "No serial port chosen"));
    // The typed name is what the dialog stores.
    ConnectionSettings chosen;
    dialog.getSettings(&chosen);
    QCOMPARE(chosen.serialPort(), QStringLiteral("ttyUSB1"));
}

void TestConnectionSettingsDialog::framingChosenInTheDialog_data()
{
    QTest::addColumn<QString>("dataBits");
    QTest::addColumn<QString>("parity");
    QTest::addColumn<QString>("stopBits");
    QTest::addColumn<QString>("framing");
    QTest::newRow("7E1") << "7" << "Even" << "1" << "7E1";
    QTest::newRow("8N2") << "8" << "None" << "2" << "8N2";
    QTest::newRow("5 bits, space") << "5" << "Space" << "1" << "5S1";
    QTest::newRow("mark") << "8" << "Mark" << "1" << "8M1";
}

void TestConnectionSettingsDialog::framingChosenInTheDialog()
{
    QFETCH(QString, dataBits);
    QFETCH(QString, parity);
    QFETCH(QString, stopBits);
    QFETCH(QString, framing);
    ConnectionSettingsDialog dialog(nullptr);
    ConnectionSettings settings = serialSettings("ttyUSB0", 0);
    dialog.setSettings(settings);
    const QList<QPair<QString, QString>> choices = {
        {"Data bits:", dataBits}, {"Parity:", parity}, {"Stop bits:", stopBits}};
    for (const auto& choice : choices) {
        auto* box = field<QComboBox>(dialog, choice.first);
        QVERIFY2(box, qPrintable(choice.first));
        box->setCurrentIndex(box->findText(choice.second));
        QCOMPARE(box->currentText(), choice.second);
    }
    dialog.getSettings(&settings);
    QCOMPARE(settings.serialFraming().text(), framing);
    // And back into a fresh dialog.
    ConnectionSettingsDialog again(nullptr);
    again.setSettings(settings);
    QCOMPARE(field<QComboBox>(again, "Parity:")->currentText(), parity);
}

void TestConnectionSettingsDialog::remotePortIsChosenAndRemembered_data()
{
    QTest::addColumn<bool>("accepted");
    QTest::newRow("chosen") << true;
    QTest::newRow("cancelled") << false;
}

void TestConnectionSettingsDialog::remotePortIsChosenAndRemembered()
{
    QFETCH(bool, accepted);
    QSettings().clear();
    PortChooser chooser;
    chooser.setPortName(QStringLiteral("ttyUSB0"));
    const int ask = chooser.findText(QStringLiteral("Remote port..."));
    QCOMPARE(ask, chooser.count() - 1);

    QString title;
    ModalDriver driver({[&](QWidget* modal) {
        auto* dialog = qobject_cast<RemotePortDialog*>(modal);
        if (!dialog) {
            modal->close();
            return;
        }
        title = dialog->windowTitle();
        if (!accepted) {
            dialog->reject();
            return;
        }
        dialog->findChild<QLineEdit*>()->setText(QStringLiteral("rack4"));
        dialog->findChild<QSpinBox*>()->setValue(7001);
        dialog->accept();
    }});
    chooser.setCurrentIndex(ask);
    Q_EMIT chooser.activated(ask);
    QCOMPARE(title, QStringLiteral("Remote port"));
    if (!accepted) {
        QCOMPARE(chooser.portName(), QStringLiteral("ttyUSB0"));
        QVERIFY(PortChooser::remotePorts().isEmpty());
        return;
    }
    QCOMPARE(chooser.portName(), QStringLiteral("rfc2217://rack4:7001"));
    QCOMPARE(PortChooser::remotePorts(), QStringList({QStringLiteral("rfc2217://rack4:7001")}));
    // Offered again by every chooser, before the entry that asks for a new one.
    PortChooser later;
    QCOMPARE(later.itemText(later.count() - 2), QStringLiteral("rfc2217://rack4:7001"));
    QCOMPARE(later.itemText(later.count() - 1), QStringLiteral("Remote port..."));
}

void TestConnectionSettingsDialog::remotePortTypedIsRememberedOnOk()
{
    QSettings().clear();
    for (int i = 0; i < PortChooser::MaxRemotePorts + 2; ++i)
        PortChooser::rememberRemotePort(QStringLiteral("rfc2217://old%1:4000").arg(i));
    ConnectionSettingsDialog dialog(nullptr);
    dialog.setSettings(serialSettings("rfc2217://10.0.0.5:4001", 0));
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    const QStringList remembered = PortChooser::remotePorts();
    QCOMPARE(remembered.size(), PortChooser::MaxRemotePorts);
    QCOMPARE(remembered.constFirst(), QStringLiteral("rfc2217://10.0.0.5:4001"));
    QCOMPARE(remembered.at(1), QStringLiteral("rfc2217://old%1:4000").arg(PortChooser::MaxRemotePorts + 1));
}

void TestConnectionSettingsDialog::dialogFitsTheScreen()
{
    ShownDialog dialog(serialSettings(QString(), ConnectionSettings::BiSMasterMode));
    const QRect screen = dialog.screen()->availableGeometry();
    QVERIFY2(dialog.frameGeometry().height() <= screen.height(),
             qPrintable(QStringLiteral("%1 px on a screen of %2").arg(dialog.frameGeometry().height()).arg(screen.height())));
    QVERIFY(screen.contains(dialog.frameGeometry()));
    // OK and Cancel in sight, the rest scrolls.
    auto* buttons = dialog.findChild<QDialogButtonBox*>();
    QVERIFY(buttons->isVisible());
    QVERIFY(dialog.rect().contains(QRect(buttons->mapTo(&dialog, QPoint(0, 0)), buttons->size())));
    auto* area = dialog.findChild<QScrollArea*>();
    QVERIFY(area);
    QVERIFY(area->widget()->isAncestorOf(field(dialog, "Serial port:")));
    if (area->widget()->sizeHint().height() > area->viewport()->height())
        QVERIFY(area->verticalScrollBar()->maximum() > 0);
}

void TestConnectionSettingsDialog::refreshFindsAdaptersPluggedInLater()
{
    QTemporaryDir tree;
    QVERIFY(QDir(tree.path()).mkpath(QStringLiteral("class/tty")));
    SerPortDeviceInfo::setSysfsRoot(tree.path());
    SerPortDeviceInfo::rescan();
    ConnectionSettingsDialog dialog(nullptr);
    dialog.setSettings(serialSettings(QString(), 0));
    auto* port = field<PortChooser>(dialog, "Serial port:");
    QVERIFY(port);
    QVERIFY(!items(port).contains(QStringLiteral("ttyUSB4")));

    // An adapter is plugged in while the dialog is open.
    const QString usb = QStringLiteral("devices/pci0000:00/usb1/1-4");
    QVERIFY(QDir(tree.path()).mkpath(usb + QStringLiteral("/1-4:1.0/ttyUSB4")));
    QVERIFY(QDir(tree.path()).mkpath(QStringLiteral("class/tty/ttyUSB4")));
    QVERIFY(QFile::link(tree.filePath(usb + QStringLiteral("/1-4:1.0/ttyUSB4")),
                        tree.filePath(QStringLiteral("class/tty/ttyUSB4/device"))));
    const QList<QPair<QString, QByteArray>> attributes = {{QStringLiteral("idVendor"), "0403\n"},
                                                          {QStringLiteral("idProduct"), "6001\n"},
                                                          {QStringLiteral("serial"), "A50285BI\n"},
                                                          {QStringLiteral("manufacturer"), "FTDI\n"},
                                                          {QStringLiteral("product"), "FT232R USB UART\n"}};
    for (const auto& attribute : attributes)
        QVERIFY(writeFile(tree.filePath(usb + QLatin1Char('/') + attribute.first), attribute.second));

    auto* refresh = child<QPushButton>(dialog, QStringLiteral("Refresh"));
    QVERIFY(refresh);
    refresh->click();
    const int index = port->findText(QStringLiteral("ttyUSB4"));
    QVERIFY(index >= 0);
    QCOMPARE(port->itemData(index, Qt::ToolTipRole).toString(),
             QStringLiteral("USB Serial port (/dev/ttyUSB4)\nFTDI FT232R USB UART\nUSB ID 0403:6001\n"
                            "Serial number A50285BI"));

    SerPortDeviceInfo::setSysfsRoot(QStringLiteral("/sys"));
    SerPortDeviceInfo::rescan();
}

QTEST_MAIN(TestConnectionSettingsDialog)
#include "tst_connectionsettingsdialog.moc"
