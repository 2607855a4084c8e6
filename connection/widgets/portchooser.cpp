// SPDX-License-Identifier: MIT
#include "connection/widgets/portchooser.h"

#include "connection/remoteport.h"
#include "connection/widgets/remoteportdialog.h"
#include "libserial/serportdeviceinfo.h"

#include <QSettings>

namespace {

// Marks the item that asks for a new remote port rather than naming one.
constexpr int AskRole = Qt::UserRole + 1;

const QString remotePortsKey = QStringLiteral("PortChooser/RemotePorts");

} // namespace

PortChooser::PortChooser(QWidget* parent)
    : QComboBox(parent)
{
    setEditable(true);
    setInsertPolicy(QComboBox::NoInsert);
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(16);
    connect(this, &QComboBox::activated, this, &PortChooser::onActivated);
    connect(this, &QComboBox::editTextChanged, this, [this](const QString& text) {
        const int ask = findData(true, AskRole);
        if (ask < 0 || text != itemText(ask))
            m_lastText = text;
    });
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
    const QSignalBlocker quiet(this);
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
    for (const QString& remote : remotePorts()) {
        addItem(remote, remote);
        setItemData(count() - 1, tr("Remote port (RFC 2217)"), Qt::ToolTipRole);
    }
    addItem(tr("Remote port..."));
    setItemData(count() - 1, true, AskRole);
    setItemData(count() - 1, tr("A serial port on a device server: rfc2217://HOST:PORT"), Qt::ToolTipRole);
    setCurrentIndex(-1);
    setEditText(current);
    m_lastText = current;
}

void PortChooser::showPopup()
{
    refresh();
    QComboBox::showPopup();
}

QStringList PortChooser::remotePorts()
{
    return QSettings().value(remotePortsKey).toStringList();
}

void PortChooser::rememberRemotePort(const QString& name)
{
    bool ok = false;
    const QString normal = RemotePort::fromName(name, &ok).name();
    if (!ok)
        return;
    QStringList ports = remotePorts();
    ports.removeAll(normal);
    ports.prepend(normal);
    while (ports.size() > MaxRemotePorts)
        ports.removeLast();
    QSettings().setValue(remotePortsKey, ports);
}

void PortChooser::onActivated(int index)
{
    if (itemData(index, AskRole).toBool())
        chooseRemotePort();
}

void PortChooser::chooseRemotePort()
{
    // The entry's own text is no port name: the field shows the last one
    // while the question is open.
    const QString before = m_lastText;
    setCurrentIndex(-1);
    setEditText(before);
    RemotePortDialog dialog(this);
    dialog.setPortName(before);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QString chosen = dialog.portName();
    rememberRemotePort(chosen);
    refresh();
    setPortName(chosen);
}
