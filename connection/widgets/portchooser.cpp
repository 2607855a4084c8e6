// SPDX-License-Identifier: MIT
#include "connection/widgets/portchooser.h"

#include "libserial/serportdeviceinfo.h"


PortChooser::PortChooser(QWidget* parent)
    : QComboBox(parent)
{
    setEditable(true);
    setInsertPolicy(QComboBox::NoInsert);
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(16);
    refresh();
}

QString PortChooser::portName() const
{
    return currentText().trimmed();
}

void PortChooser::setPortName(const QString& name)
{
    const int index = findData(name);
    if (index >= 0)
        setCurrentIndex(index);
    setEditText(name);
}

void PortChooser::refresh()
{
    const QString current = currentText();
    clear();
    // Adapters come and go while the program runs.
    SerPortDeviceInfo::rescan();
    const QList<SerPortDeviceInfo> devices = SerPortDeviceInfo::devices();
    for (const SerPortDeviceInfo& device : devices) {
        // The item text is what the edit field takes, so the description
        // goes into the tool tip.
        addItem(device.name(), device.name());
        QString tip = device.description() + QLatin1String(" (") + device.path() + QLatin1Char(')');
        if (!device.info().isEmpty())
            tip += QLatin1Char('\n') + device.info();
        if (!device.usbId().isEmpty())
            tip += QLatin1Char('\n') + tr("USB ID %1").arg(device.usbId());
        if (!device.serialNumber().isEmpty())
            tip += QLatin1Char('\n') + tr("Serial number %1").arg(device.serialNumber());
        setItemData(count() - 1, tip, Qt::ToolTipRole);
    }
    setCurrentIndex(-1);
    setEditText(current);
}

void PortChooser::showPopup()
{
    refresh();
    QComboBox::showPopup();
}
