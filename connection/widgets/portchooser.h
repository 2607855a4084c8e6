// SPDX-License-Identifier: MIT
#pragma once

// An editable combo box over the list of serial devices: the known devices
// are offered with their descriptions, and any other name can be typed.
// The list is read again each time it opens, so adapters plugged in later
// appear.

#include <QComboBox>

class PortChooser : public QComboBox
{
    Q_OBJECT
public:
    explicit PortChooser(QWidget* parent = nullptr);

    // The device name ("ttyUSB0"), as chosen or typed.
    QString portName() const;
    void setPortName(const QString& name);
    // Reads the device tree again, keeping the current text.
    void refresh();

    void showPopup() override;
};
