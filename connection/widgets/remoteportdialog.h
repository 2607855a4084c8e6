// SPDX-License-Identifier: MIT
#pragma once

// Asks for a serial port on a device server: its host and TCP port, made
// into the name "rfc2217://HOST:PORT" that a serial link takes.

#include <QDialog>

class QLineEdit;
class QPushButton;
class QSpinBox;

class RemotePortDialog : public QDialog
{
    Q_OBJECT
public:
    explicit RemotePortDialog(QWidget* parent = nullptr);

    // Starts from a remote port's name; anything else leaves the fields.
    void setPortName(const QString& name);
    QString portName() const;

private:
    void updateOk();

    QLineEdit* m_le_host;
    QSpinBox* m_sb_port;
    QPushButton* m_pb_ok = nullptr;
};
