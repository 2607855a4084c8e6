// SPDX-License-Identifier: MIT
#pragma once

// Edits one ConnectionSettings: the transport mode with its page of serial,
// TCP client or TCP server parameters, the BiS framing of serial links and
// the TLS key, certificate and CA directory of network links. Key,
// certificate and directory choices are test-loaded and refused when they
// hold nothing usable. What the page still lacks is said in the dialog as
// it is edited, and OK waits until nothing is.

#include "connection/connectionsettings.h"

#include <QDialog>

class PortChooser;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSpinBox;
class QStackedWidget;

class ConnectionSettingsDialog : public QDialog
{
    Q_OBJECT
public:
    explicit ConnectionSettingsDialog(QWidget* parent = nullptr);

    void setSettings(const ConnectionSettings& settings);
    // Writes every field of the dialog into settings.
    void getSettings(ConnectionSettings* settings) const;
    // What keeps the chosen mode from working, empty if nothing does.
    QString problem() const;

public Q_SLOTS:
    void accept() override;
    void onModeDisabled();
    void onModeSerial();
    void onModeClient();
    void onModeServer();
    void onBisClicked();
    void onBisMaster();
    void onBisSlave();
    void onBisTrace();
    void browsePrivateKeyFile();
    void browseServerCertificateFile();
    void browseCACertificatesDirectory();
    void viewServerCertificate();

private:
    QWidget* createSerialPage();
    QWidget* createClientPage();
    QWidget* createServerPage();
    QGroupBox* createSslGroup();
    void showMode(int mode);
    void updateBisFields();
    void updateProblem();
    void refuse(const QString& text);

    QGroupBox* m_grp_mode;
    QRadioButton* m_rb_disabled;
    QRadioButton* m_rb_serial;
    QRadioButton* m_rb_client;
    QRadioButton* m_rb_server;
    QStackedWidget* m_stk_pages;
    QCheckBox* m_ck_reconnect = nullptr;
    QComboBox* m_cb_rawprinter = nullptr;

    PortChooser* m_cb_port = nullptr;
    QPushButton* m_pb_refresh = nullptr;
    QComboBox* m_cb_speed = nullptr;
    QComboBox* m_cb_handshake = nullptr;
    QComboBox* m_cb_databits = nullptr;
    QComboBox* m_cb_parity = nullptr;
    QComboBox* m_cb_stopbits = nullptr;
    QGroupBox* m_grp_bis = nullptr;
    QRadioButton* m_rb_master = nullptr;
    QRadioButton* m_rb_slave = nullptr;
    QRadioButton* m_rb_trace = nullptr;
    QSpinBox* m_sb_source = nullptr;
    QSpinBox* m_sb_destination = nullptr;
    QSpinBox* m_sb_tries = nullptr;
    QDoubleSpinBox* m_sb_timeout = nullptr;

    QLineEdit* m_le_clientaddress = nullptr;
    QSpinBox* m_sb_clientport = nullptr;
    QLineEdit* m_le_serveraddress = nullptr;
    QSpinBox* m_sb_serverport = nullptr;

    QGroupBox* m_grp_ssl = nullptr;
    QLineEdit* m_le_keyfile = nullptr;
    QPushButton* m_pb_keybrowse = nullptr;
    QLineEdit* m_le_certfile = nullptr;
    QPushButton* m_pb_certbrowse = nullptr;
    QPushButton* m_pb_certview = nullptr;
    QLineEdit* m_le_cadir = nullptr;
    QPushButton* m_pb_cabrowse = nullptr;
    QComboBox* m_cb_verify = nullptr;

    QLabel* m_lbl_problem = nullptr;
    QPushButton* m_pb_ok = nullptr;
};
