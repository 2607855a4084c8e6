// SPDX-License-Identifier: MIT
#pragma once

// An editable combo box over the list of serial devices: the known devices
// are offered with their descriptions, then the remote ports chosen before,
// then "Remote port..." to name a new one; any other name can be typed.
// The list is read again each time it opens, so adapters plugged in later
// appear.

#include <QComboBox>

class PortChooser : public QComboBox
{
    Q_OBJECT
public:
    // Remote ports remembered; the oldest go first.
    static constexpr int MaxRemotePorts = 10;

    explicit PortChooser(QWidget* parent = nullptr);

    // The device name ("ttyUSB0") or remote port, as chosen or typed.
    QString portName() const;
    void setPortName(const QString& name);
    // Reads the device tree again, keeping the current text.
    void refresh();

    // Remote ports chosen before, the latest first, from the settings store.
    static QStringList remotePorts();
    static void rememberRemotePort(const QString& name);

    void showPopup() override;

private:
    void onActivated(int index);
    void chooseRemotePort();

    // The text before "Remote port..." took its place.
    QString m_lastText;
};
