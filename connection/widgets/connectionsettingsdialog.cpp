// SPDX-License-Identifier: MIT
#include "connection/widgets/connectionsettingsdialog.h"

#include "connection/remoteport.h"
#include "connection/widgets/certificatedialog.h"
#include "connection/widgets/portchooser.h"
#include "widgets/screenfitarea.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHostAddress>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QSslSocket>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <climits>
#include <cmath>

namespace {

// Seconds with one decimal as usual, but milliseconds are kept and shown
// when typed (0.15 stays 0.15 and is stored as 150 ms).
class SecondsSpinBox : public QDoubleSpinBox
{
public:
    explicit SecondsSpinBox(QWidget* parent)
        : QDoubleSpinBox(parent)
    {
        setDecimals(3);
        setRange(0.1, 3600.0);
        setSingleStep(0.1);
        setSuffix(QStringLiteral(" s"));
        QLocale plain = locale();
        plain.setNumberOptions(plain.numberOptions() | QLocale::OmitGroupSeparator);
        setLocale(plain);
    }

    QString textFromValue(double value) const override
    {
        QString text = locale().toString(value, 'f', decimals());
        const qsizetype point = text.indexOf(locale().decimalPoint());
        if (point >= 0) {
            while (text.endsWith(QLatin1Char('0')) && text.size() > point + 2)
                text.chop(1);
        }
        return text;
    }
};

enum Page { DisabledPage, SerialPage, ClientPage, ServerPage };

QWidget* withButtons(QWidget* parent, QWidget* field, std::initializer_list<QPushButton*> buttons)
{
    auto* row = new QWidget(parent);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(field, 1);
    for (QPushButton* button : buttons)
        layout->addWidget(button);
    return row;
}

QString startDirectory(const QString& current)
{
    return current.isEmpty() ? QString() : QFileInfo(current).absolutePath();
}

} // namespace

ConnectionSettingsDialog::ConnectionSettingsDialog(QWidget* parent)
    : QDialog(parent)
    , m_grp_mode(new QGroupBox(tr("Mode"), this))
    , m_rb_disabled(new QRadioButton(tr("Disabled"), m_grp_mode))
    , m_rb_serial(new QRadioButton(tr("Serial"), m_grp_mode))
    , m_rb_client(new QRadioButton(tr("TCP client"), m_grp_mode))
    , m_rb_server(new QRadioButton(tr("TCP server"), m_grp_mode))
    , m_stk_pages(new QStackedWidget(this))
{
    setWindowTitle(tr("Connection settings"));

    auto* modeLayout = new QHBoxLayout(m_grp_mode);
    modeLayout->addWidget(m_rb_disabled);
    modeLayout->addWidget(m_rb_serial);
    modeLayout->addWidget(m_rb_client);
    modeLayout->addWidget(m_rb_server);
    modeLayout->addStretch(1);

    m_stk_pages->insertWidget(DisabledPage, new QWidget(m_stk_pages));
    m_stk_pages->insertWidget(SerialPage, createSerialPage());
    m_stk_pages->insertWidget(ClientPage, createClientPage());
    m_stk_pages->insertWidget(ServerPage, createServerPage());

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    m_pb_ok = buttons->button(QDialogButtonBox::Ok);
    connect(buttons, &QDialogButtonBox::accepted, this, &ConnectionSettingsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    m_ck_reconnect = new QCheckBox(tr("Reconnect automatically"), this);
    m_ck_reconnect->setToolTip(tr("Open the port again when the device comes back; "
                                  "a TCP client tries again after a growing pause of up to 30 s"));

    m_cb_rawprinter = new QComboBox(this);
    m_cb_rawprinter->addItem(tr("Hexadecimal"), int(ConnectionSettings::HexPrinter));
    m_cb_rawprinter->addItem(tr("BiS frames"), int(ConnectionSettings::BiSPrinter));
    m_cb_rawprinter->addItem(tr("Elements, 8-bit length and tag (LTD)"), int(ConnectionSettings::LTDPrinter));
    m_cb_rawprinter->addItem(tr("Elements, 16-bit length and tag (LTD16)"), int(ConnectionSettings::LTD16Printer));
    m_cb_rawprinter->setToolTip(tr("How raw received bytes are shown while the trace shows raw bytes"));
    auto* printerRow = new QHBoxLayout;
    auto* printerLabel = new QLabel(tr("Show received bytes as:"), this);
    printerLabel->setBuddy(m_cb_rawprinter);
    printerRow->addWidget(printerLabel);
    printerRow->addWidget(m_cb_rawprinter, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_grp_mode);
    layout->addWidget(m_stk_pages);
    layout->addWidget(m_ck_reconnect);
    layout->addLayout(printerRow);
    layout->addWidget(createSslGroup());
    m_lbl_problem = new QLabel(this);
    m_lbl_problem->setWordWrap(true);
    QPalette warning = m_lbl_problem->palette();
    warning.setColor(QPalette::WindowText, QColor(0xB0, 0x00, 0x20));
    m_lbl_problem->setPalette(warning);
    m_lbl_problem->hide();
    layout->addStretch(1);
    layout->addWidget(m_lbl_problem);
    layout->addWidget(buttons);

    const auto onChecked = [this](QRadioButton* button, void (ConnectionSettingsDialog::*slot)()) {
        connect(button, &QRadioButton::toggled, this, [this, slot](bool on) {
            if (on)
                (this->*slot)();
        });
    };
    onChecked(m_rb_disabled, &ConnectionSettingsDialog::onModeDisabled);
    onChecked(m_rb_serial, &ConnectionSettingsDialog::onModeSerial);
    onChecked(m_rb_client, &ConnectionSettingsDialog::onModeClient);
    onChecked(m_rb_server, &ConnectionSettingsDialog::onModeServer);
    onChecked(m_rb_master, &ConnectionSettingsDialog::onBisMaster);
    onChecked(m_rb_slave, &ConnectionSettingsDialog::onBisSlave);
    onChecked(m_rb_trace, &ConnectionSettingsDialog::onBisTrace);
    connect(m_grp_bis, &QGroupBox::toggled, this, &ConnectionSettingsDialog::onBisClicked);
    connect(m_pb_keybrowse, &QPushButton::clicked, this, &ConnectionSettingsDialog::browsePrivateKeyFile);
    connect(m_pb_certbrowse, &QPushButton::clicked, this, &ConnectionSettingsDialog::browseServerCertificateFile);
    connect(m_pb_certview, &QPushButton::clicked, this, &ConnectionSettingsDialog::viewServerCertificate);
    connect(m_pb_cabrowse, &QPushButton::clicked, this, &ConnectionSettingsDialog::browseCACertificatesDirectory);

    // Whatever decides what is missing says so as soon as it changes.
    for (QRadioButton* button : findChildren<QRadioButton*>())
        connect(button, &QRadioButton::toggled, this, &ConnectionSettingsDialog::updateProblem);
    for (QGroupBox* box : {m_grp_bis, m_grp_ssl})
        connect(box, &QGroupBox::toggled, this, &ConnectionSettingsDialog::updateProblem);
    for (QComboBox* box : {static_cast<QComboBox*>(m_cb_port), m_cb_speed})
        connect(box, &QComboBox::editTextChanged, this, &ConnectionSettingsDialog::updateProblem);
    for (QSpinBox* box : {m_sb_source, m_sb_destination})
        connect(box, &QSpinBox::valueChanged, this, &ConnectionSettingsDialog::updateProblem);
    for (QLineEdit* edit : {m_le_clientaddress, m_le_serveraddress, m_le_keyfile, m_le_certfile, m_le_cadir})
        connect(edit, &QLineEdit::textChanged, this, &ConnectionSettingsDialog::updateProblem);

    setSettings(ConnectionSettings());
    // At twice the scale a laptop's screen is shorter than the dialog; what
    // is missing and the buttons stay in sight below the scrolling part.
    ScreenFitArea::wrap(this, 2);
}

QWidget* ConnectionSettingsDialog::createSerialPage()
{
    auto* page = new QWidget(m_stk_pages);
    m_cb_port = new PortChooser(page);
    m_cb_speed = new QComboBox(page);
    m_cb_speed->setEditable(true);
    m_cb_speed->setInsertPolicy(QComboBox::NoInsert);
    m_cb_speed->addItems({QStringLiteral("300"), QStringLiteral("1200"), QStringLiteral("2400"),
                          QStringLiteral("4800"), QStringLiteral("9600"), QStringLiteral("19200"),
                          QStringLiteral("38400"), QStringLiteral("57600"), QStringLiteral("115200"),
                          // Rates of USB adapters and field buses; any other can be typed.
                          QStringLiteral("230400"), QStringLiteral("250000"), QStringLiteral("460800"),
                          QStringLiteral("500000"), QStringLiteral("921600"), QStringLiteral("1000000")});
    m_cb_speed->setValidator(new QIntValidator(1, 4000000, m_cb_speed));
    m_cb_handshake = new QComboBox(page);
    m_cb_handshake->addItem(tr("None"), int(ConnectionSettings::NoHandshake));
    m_cb_handshake->addItem(tr("RTS/CTS"), int(ConnectionSettings::RtsCtsHandshake));
    m_cb_handshake->addItem(tr("Xon/Xoff"), int(ConnectionSettings::XonXoffHandshake));
    m_cb_databits = new QComboBox(page);
    for (int bits = 5; bits <= 8; ++bits)
        m_cb_databits->addItem(QString::number(bits), bits);
    m_cb_parity = new QComboBox(page);
    m_cb_parity->addItem(tr("None"), int(SerFraming::NoParity));
    m_cb_parity->addItem(tr("Even"), int(SerFraming::EvenParity));
    m_cb_parity->addItem(tr("Odd"), int(SerFraming::OddParity));
    m_cb_parity->addItem(tr("Mark"), int(SerFraming::MarkParity));
    m_cb_parity->addItem(tr("Space"), int(SerFraming::SpaceParity));
    m_cb_stopbits = new QComboBox(page);
    m_cb_stopbits->addItem(QStringLiteral("1"), 1);
    m_cb_stopbits->addItem(QStringLiteral("2"), 2);
    for (QComboBox* box : {m_cb_databits, m_cb_parity, m_cb_stopbits})
        box->setToolTip(tr("As the device's label writes it: 8N1 is 8 data bits, no parity, 1 stop bit"));

    m_grp_bis = new QGroupBox(tr("BiS"), page);
    m_grp_bis->setCheckable(true);
    m_rb_master = new QRadioButton(tr("Master"), m_grp_bis);
    m_rb_slave = new QRadioButton(tr("Slave"), m_grp_bis);
    m_rb_trace = new QRadioButton(tr("Trace"), m_grp_bis);
    m_sb_source = new QSpinBox(m_grp_bis);
    m_sb_destination = new QSpinBox(m_grp_bis);
    for (QSpinBox* address : {m_sb_source, m_sb_destination}) {
        address->setRange(-1, INT_MAX);
        address->setSpecialValueText(tr("not set"));
        address->setValue(-1);
        address->setToolTip(tr("Not set: a master or slave needs it; in the trace role it stands for any address"));
    }
    m_sb_tries = new QSpinBox(m_grp_bis);
    m_sb_tries->setRange(1, 25);
    m_sb_tries->setValue(ConnectionSettings::DefaultTries);
    m_sb_timeout = new SecondsSpinBox(m_grp_bis);
    m_sb_timeout->setValue(ConnectionSettings::DefaultTimeout / 1000.0);

    auto* roles = new QHBoxLayout;
    roles->addWidget(m_rb_master);
    roles->addWidget(m_rb_slave);
    roles->addWidget(m_rb_trace);
    roles->addStretch(1);
    auto* bisLayout = new QFormLayout(m_grp_bis);
    bisLayout->addRow(roles);
    bisLayout->addRow(tr("Source Address:"), m_sb_source);
    bisLayout->addRow(tr("Destination Address:"), m_sb_destination);
    bisLayout->addRow(tr("Tries:"), m_sb_tries);
    bisLayout->addRow(tr("Timeout:"), m_sb_timeout);

    auto* layout = new QFormLayout(page);
    m_pb_refresh = new QPushButton(tr("Refresh"), page);
    m_pb_refresh->setToolTip(tr("Read the list of serial devices again"));
    connect(m_pb_refresh, &QPushButton::clicked, m_cb_port, &PortChooser::refresh);
    QWidget* portRow = withButtons(page, m_cb_port, {m_pb_refresh});
    layout->addRow(tr("Serial port:"), portRow);
    // The label leads to the chooser, not to the row around it.
    if (auto* label = qobject_cast<QLabel*>(layout->labelForField(portRow)))
        label->setBuddy(m_cb_port);
    layout->addRow(tr("Speed:"), m_cb_speed);
    layout->addRow(tr("Handshake:"), m_cb_handshake);
    layout->addRow(tr("Data bits:"), m_cb_databits);
    layout->addRow(tr("Parity:"), m_cb_parity);
    layout->addRow(tr("Stop bits:"), m_cb_stopbits);
    layout->addRow(m_grp_bis);
    return page;
}

QWidget* ConnectionSettingsDialog::createClientPage()
{
    auto* page = new QWidget(m_stk_pages);
    m_le_clientaddress = new QLineEdit(QStringLiteral("localhost"), page);
    m_sb_clientport = new QSpinBox(page);
    m_sb_clientport->setRange(1, 65535);
    m_sb_clientport->setValue(ConnectionSettings::DefaultPort);
    auto* layout = new QFormLayout(page);
    layout->addRow(tr("Server name:"), m_le_clientaddress);
    layout->addRow(tr("Port number:"), m_sb_clientport);
    return page;
}

QWidget* ConnectionSettingsDialog::createServerPage()
{
    auto* page = new QWidget(m_stk_pages);
    m_le_serveraddress = new QLineEdit(tr("any"), page);
    m_le_serveraddress->setToolTip(tr("\"any\" listens on every address"));
    m_sb_serverport = new QSpinBox(page);
    m_sb_serverport->setRange(1, 65535);
    m_sb_serverport->setValue(ConnectionSettings::DefaultPort);
    auto* layout = new QFormLayout(page);
    layout->addRow(tr("Listen address:"), m_le_serveraddress);
    layout->addRow(tr("Port number:"), m_sb_serverport);
    return page;
}

QGroupBox* ConnectionSettingsDialog::createSslGroup()
{
    m_grp_ssl = new QGroupBox(tr("SSL/TLS encryption"), this);
    m_grp_ssl->setCheckable(true);
    m_le_keyfile = new QLineEdit(m_grp_ssl);
    m_le_keyfile->setPlaceholderText(tr("Builtin Test Key"));
    m_pb_keybrowse = new QPushButton(tr("Browse"), m_grp_ssl);
    m_le_certfile = new QLineEdit(m_grp_ssl);
    m_le_certfile->setPlaceholderText(tr("Builtin Test Certificate"));
    m_pb_certbrowse = new QPushButton(tr("Browse"), m_grp_ssl);
    m_pb_certview = new QPushButton(tr("View"), m_grp_ssl);
    m_le_cadir = new QLineEdit(m_grp_ssl);
    m_pb_cabrowse = new QPushButton(tr("Browse"), m_grp_ssl);
    m_cb_verify = new QComboBox(m_grp_ssl);
    m_cb_verify->addItem(tr("None"), int(QSslSocket::VerifyNone));
    m_cb_verify->addItem(tr("Optional"), int(QSslSocket::QueryPeer));
    m_cb_verify->addItem(tr("Verify"), int(QSslSocket::VerifyPeer));

    auto* layout = new QFormLayout(m_grp_ssl);
    layout->addRow(tr("Private key file:"), withButtons(m_grp_ssl, m_le_keyfile, {m_pb_keybrowse}));
    layout->addRow(tr("Server certificate file:"),
                   withButtons(m_grp_ssl, m_le_certfile, {m_pb_certbrowse, m_pb_certview}));
    layout->addRow(tr("CA certificates directory:"), withButtons(m_grp_ssl, m_le_cadir, {m_pb_cabrowse}));
    layout->addRow(tr("Client verification:"), m_cb_verify);
    // The rows of the key, certificate and directory name their line edits.
    for (int row = 0; row < 3; ++row) {
        if (auto* label = qobject_cast<QLabel*>(layout->itemAt(row, QFormLayout::LabelRole)->widget()))
            label->setBuddy(row == 0 ? m_le_keyfile : row == 1 ? m_le_certfile : m_le_cadir);
    }
    return m_grp_ssl;
}

void ConnectionSettingsDialog::setSettings(const ConnectionSettings& settings)
{
    switch (settings.mode()) {
    case ConnectionSettings::SerialMode:
        m_rb_serial->setChecked(true);
        break;
    case ConnectionSettings::ClientMode:
        m_rb_client->setChecked(true);
        break;
    case ConnectionSettings::ServerMode:
        m_rb_server->setChecked(true);
        break;
    default:
        m_rb_disabled->setChecked(true);
        break;
    }
    showMode(settings.mode());

    m_cb_port->setPortName(settings.serialPort());
    m_cb_speed->setEditText(QString::number(settings.serialSpeed()));
    const int handshake = m_cb_handshake->findData(settings.serialHandshake());
    m_cb_handshake->setCurrentIndex(handshake >= 0 ? handshake : 0);
    const SerFraming framing = settings.serialFraming();
    const auto choose = [](QComboBox* box, int value) {
        const int index = box->findData(value);
        box->setCurrentIndex(qMax(index, 0));
    };
    // Out of range falls back to the defaults, as the store does.
    choose(m_cb_databits, framing.isValid() ? framing.dataBits() : 8);
    choose(m_cb_parity, framing.isValid() ? framing.parity() : int(SerFraming::NoParity));
    choose(m_cb_stopbits, framing.isValid() ? framing.stopBits() : 1);

    m_grp_bis->setChecked(settings.bisEnabled());
    switch (settings.bisMode()) {
    case ConnectionSettings::BiSSlaveMode:
        m_rb_slave->setChecked(true);
        break;
    case ConnectionSettings::BiSTraceMode:
        m_rb_trace->setChecked(true);
        break;
    default:
        m_rb_master->setChecked(true);
        break;
    }
    m_sb_source->setValue(settings.sourceAddress());
    m_sb_destination->setValue(settings.destinationAddress());
    m_sb_tries->setValue(settings.tries());
    m_sb_timeout->setValue(settings.timeout() / 1000.0);
    updateBisFields();

    m_le_clientaddress->setText(settings.clientAddress());
    m_sb_clientport->setValue(settings.clientPort());
    m_le_serveraddress->setText(settings.serverAddress().isEmpty() ? tr("any") : settings.serverAddress());
    m_sb_serverport->setValue(settings.serverPort());

    m_grp_ssl->setChecked(settings.sslEnabled());
    m_le_keyfile->setText(settings.privateKeyFile());
    m_le_certfile->setText(settings.localCertificateFile());
    m_le_cadir->setText(settings.caCertificateDirectory());
    const int verify = m_cb_verify->findData(settings.peerVerifyMode());
    m_cb_verify->setCurrentIndex(verify >= 0 ? verify : 0);
    m_ck_reconnect->setChecked(settings.reconnect());
    const int printer = m_cb_rawprinter->findData(settings.rawPrinter());
    m_cb_rawprinter->setCurrentIndex(printer >= 0 ? printer : 0);
    updateProblem();
}

void ConnectionSettingsDialog::getSettings(ConnectionSettings* settings) const
{
    if (!settings)
        return;
    if (m_rb_serial->isChecked())
        settings->setMode(ConnectionSettings::SerialMode);
    else if (m_rb_client->isChecked())
        settings->setMode(ConnectionSettings::ClientMode);
    else if (m_rb_server->isChecked())
        settings->setMode(ConnectionSettings::ServerMode);
    else
        settings->setMode(ConnectionSettings::DisabledMode);

    settings->setSerialPort(m_cb_port->portName());
    bool speedOk = false;
    const int speed = m_cb_speed->currentText().trimmed().toInt(&speedOk);
    if (speedOk && speed > 0)
        settings->setSerialSpeed(speed);
    settings->setSerialHandshake(m_cb_handshake->currentData().toInt());
    settings->setSerialFraming(SerFraming(m_cb_databits->currentData().toInt(), m_cb_parity->currentData().toInt(),
                                          m_cb_stopbits->currentData().toInt()));

    settings->setBisEnabled(m_grp_bis->isChecked());
    if (m_rb_slave->isChecked())
        settings->setBisMode(ConnectionSettings::BiSSlaveMode);
    else if (m_rb_trace->isChecked())
        settings->setBisMode(ConnectionSettings::BiSTraceMode);
    else
        settings->setBisMode(ConnectionSettings::BiSMasterMode);
    settings->setSourceAddress(m_sb_source->value());
    settings->setDestinationAddress(m_sb_destination->value());
    settings->setTries(m_sb_tries->value());
    // Truncated to whole milliseconds; the small bias keeps 1.001 s from
    // becoming 1000 ms through binary rounding.
    settings->setTimeout(int(std::floor(m_sb_timeout->value() * 1000.0 + 1e-6)));

    settings->setClientAddress(m_le_clientaddress->text().trimmed());
    settings->setClientPort(m_sb_clientport->value());
    const QString listen = m_le_serveraddress->text().trimmed();
    settings->setServerAddress(listen.compare(tr("any"), Qt::CaseInsensitive) == 0 ? QString() : listen);
    settings->setServerPort(m_sb_serverport->value());

    settings->setSslEnabled(m_grp_ssl->isChecked());
    settings->setPrivateKeyFile(m_le_keyfile->text().trimmed());
    settings->setLocalCertificateFile(m_le_certfile->text().trimmed());
    settings->setCaCertificateDirectory(m_le_cadir->text().trimmed());
    settings->setPeerVerifyMode(m_cb_verify->currentData().toInt());
    settings->setReconnect(m_ck_reconnect->isChecked());
    settings->setRawPrinter(m_cb_rawprinter->currentData().toInt());
}

void ConnectionSettingsDialog::accept()
{
    // Text typed into a spin box counts even without leaving the field.
    for (QAbstractSpinBox* box : findChildren<QAbstractSpinBox*>())
        box->interpretText();
    const QString missing = problem();
    if (!missing.isEmpty()) {
        refuse(missing);
        return;
    }
    if (m_rb_serial->isChecked() && RemotePort::isRemote(m_cb_port->portName()))
        PortChooser::rememberRemotePort(m_cb_port->portName());
    QDialog::accept();
}

QString ConnectionSettingsDialog::problem() const
{
    if (m_rb_serial->isChecked()) {
        const QString port = m_cb_port->portName();
        if (port.isEmpty())
            return tr("No serial port chosen");
        bool remote = false;
        if (RemotePort::isRemote(port) && (RemotePort::fromName(port, &remote), !remote))
            return tr("A remote port is written rfc2217://HOST:PORT");
        bool speedOk = false;
        const int speed = m_cb_speed->currentText().trimmed().toInt(&speedOk);
        if (!speedOk || speed <= 0)
            return tr("The speed must be a positive number of bits per second.");
        // An unset address would go on the bus as FF FF FF FF.
        if (m_grp_bis->isChecked() && m_rb_master->isChecked() && m_sb_destination->value() < 0)
            return tr("Set the BiS address of the destination.");
        if (m_grp_bis->isChecked() && m_rb_slave->isChecked() && m_sb_source->value() < 0)
            return tr("Set the BiS address of this slave.");
        return QString();
    }
    if (m_rb_client->isChecked()) {
        if (m_le_clientaddress->text().trimmed().isEmpty())
            return tr("No server name given");
    } else if (m_rb_server->isChecked()) {
        const QString listen = m_le_serveraddress->text().trimmed();
        const bool any = listen.isEmpty() || listen.compare(tr("any"), Qt::CaseInsensitive) == 0
                         || listen.compare(QLatin1String("any"), Qt::CaseInsensitive) == 0;
        if (!any && listen.compare(QLatin1String("localhost"), Qt::CaseInsensitive) != 0
            && QHostAddress(listen).isNull())
            return tr("Not an address to listen on: %1").arg(listen);
    } else {
        return QString();
    }
    if (!m_grp_ssl->isChecked())
        return QString();
    // Only files are tried: a pipe typed here would block the dialog.
    const QString key = m_le_keyfile->text().trimmed();
    if (!key.isEmpty() && (!QFileInfo(key).isFile() || ConnectionSettings::loadPrivateKey(key).isNull()))
        return tr("Cannot load private key file.");
    const QString certificate = m_le_certfile->text().trimmed();
    if (!certificate.isEmpty()
        && (!QFileInfo(certificate).isFile() || ConnectionSettings::loadCertificate(certificate).isNull()))
        return tr("Cannot load certificate file.");
    const QString authorities = m_le_cadir->text().trimmed();
    if (!authorities.isEmpty()
        && (!QFileInfo(authorities).isDir() || ConnectionSettings::loadCertificates(authorities).isEmpty()))
        return tr("Cannot find any CA certificate file.");
    return QString();
}

void ConnectionSettingsDialog::updateProblem()
{
    // Called while the dialog is still being built.
    if (!m_pb_ok || !m_lbl_problem)
        return;
    const QString missing = problem();
    m_lbl_problem->setText(missing);
    m_lbl_problem->setVisible(!missing.isEmpty());
    m_pb_ok->setEnabled(missing.isEmpty());
}

void ConnectionSettingsDialog::showMode(int mode)
{
    int page = DisabledPage;
    if (mode == ConnectionSettings::SerialMode)
        page = SerialPage;
    else if (mode == ConnectionSettings::ClientMode)
        page = ClientPage;
    else if (mode == ConnectionSettings::ServerMode)
        page = ServerPage;
    m_stk_pages->setCurrentIndex(page);
    // BiS framing runs on serial links only, TLS on network links only.
    m_grp_bis->setEnabled(page == SerialPage);
    m_grp_ssl->setEnabled(page == ClientPage || page == ServerPage);
    m_ck_reconnect->setEnabled(page == SerialPage || page == ClientPage);
}

void ConnectionSettingsDialog::onModeDisabled()
{
    showMode(ConnectionSettings::DisabledMode);
}

void ConnectionSettingsDialog::onModeSerial()
{
    showMode(ConnectionSettings::SerialMode);
}

void ConnectionSettingsDialog::onModeClient()
{
    showMode(ConnectionSettings::ClientMode);
}

void ConnectionSettingsDialog::onModeServer()
{
    showMode(ConnectionSettings::ServerMode);
}

void ConnectionSettingsDialog::onBisClicked()
{
    updateBisFields();
}

void ConnectionSettingsDialog::onBisMaster()
{
    updateBisFields();
}

void ConnectionSettingsDialog::onBisSlave()
{
    updateBisFields();
}

void ConnectionSettingsDialog::onBisTrace()
{
    updateBisFields();
}

void ConnectionSettingsDialog::updateBisFields()
{
    // A master addresses its queries and retries them; a slave answers to
    // its own address; a tracer filters by both addresses.
    const bool on = m_grp_bis->isChecked();
    const bool master = on && m_rb_master->isChecked();
    const bool slave = on && m_rb_slave->isChecked();
    const bool tracer = on && m_rb_trace->isChecked();
    m_sb_source->setEnabled(slave || tracer);
    m_sb_destination->setEnabled(master || tracer);
    m_sb_tries->setEnabled(master);
    m_sb_timeout->setEnabled(master);
}

void ConnectionSettingsDialog::refuse(const QString& text)
{
    QMessageBox::warning(this, windowTitle(), text);
}

void ConnectionSettingsDialog::browsePrivateKeyFile()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Chose Private Key File"),
                                                      startDirectory(m_le_keyfile->text()),
                                                      tr("Private keys (*.key *.pem *.der);;All files (*)"));
    if (path.isEmpty())
        return;
    if (ConnectionSettings::loadPrivateKey(path).isNull()) {
        refuse(tr("Cannot load private key file."));
        return;
    }
    m_le_keyfile->setText(path);
}

void ConnectionSettingsDialog::browseServerCertificateFile()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Chose Server Certificate File"),
                                                      startDirectory(m_le_certfile->text()),
                                                      tr("Certificates (*.crt *.pem *.der);;All files (*)"));
    if (path.isEmpty())
        return;
    if (ConnectionSettings::loadCertificate(path).isNull()) {
        refuse(tr("Cannot load certificate file."));
        return;
    }
    m_le_certfile->setText(path);
}

void ConnectionSettingsDialog::browseCACertificatesDirectory()
{
    const QString dir = QFileDialog::getExistingDirectory(this, tr("Chose CA Certificates Directory"),
                                                          m_le_cadir->text());
    if (dir.isEmpty())
        return;
    if (ConnectionSettings::loadCertificates(dir).isEmpty()) {
        refuse(tr("Cannot find any CA certificate file."));
        return;
    }
    m_le_cadir->setText(dir);
}

void ConnectionSettingsDialog::viewServerCertificate()
{
    ConnectionSettings settings;
    getSettings(&settings);
    const QSslCertificate certificate = settings.loadLocalCertificate();
    const QList<QSslCertificate> authorities = settings.loadCACertificates();
    if (certificate.isNull() && authorities.isEmpty()) {
        QMessageBox::information(this, windowTitle(), tr("Nothing to display."));
        return;
    }
    CertificateDialog dialog(this);
    if (!certificate.isNull())
        dialog.addCertificates(tr("Server Certificate"), {certificate});
    if (!authorities.isEmpty())
        dialog.addCertificates(tr("Server CA list"), authorities);
    dialog.exec();
}
