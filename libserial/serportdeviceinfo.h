// SPDX-License-Identifier: MIT
#pragma once

// One entry of the process-wide list of serial devices, and the list
// itself: the ttys of the device tree that are backed by real hardware
// (USB adapters included), plus any device that a port opened by name.
// All calls come from the GUI thread.

#include <QList>
#include <QString>

class SerPortDeviceInfo
{
public:
    enum Flag {
        Serial = 0x0001,
        Usb = 0x0002,
        Network = 0x0010,
        InUse = 0x2000,
        // Not found in the device tree; added when a port opened it by name.
        AddedByName = 0x8000
    };

    SerPortDeviceInfo() = default;
    SerPortDeviceInfo(const QString& name, const QString& path, const QString& description,
                      const QString& info, int flags);

    // False for the empty entry that find() returns for an unknown name.
    bool isValid() const { return !m_name.isEmpty(); }
    QString name() const { return m_name; }
    QString path() const { return m_path; }
    QString description() const { return m_description; }
    // Free text such as the driver or the USB product name; may be empty.
    QString info() const { return m_info; }
    int flags() const { return m_flags; }
    void setFlags(int flags) { m_flags = flags; }
    // Of a USB adapter: "vendor:product" in hex and the serial number it
    // reports; empty when unknown. The serial number tells two adapters of
    // the same kind apart.
    QString usbId() const { return m_usbid; }
    QString serialNumber() const { return m_serialnumber; }
    void setUsbIdentity(const QString& usbId, const QString& serialNumber)
    {
        m_usbid = usbId;
        m_serialnumber = serialNumber;
    }

    // The list, read from the device tree on first use.
    static QList<SerPortDeviceInfo> devices();
    // Reads the device tree again; entries added by name and in-use flags stay.
    static void rescan();
    // Where the device tree is mounted, "/sys" unless a test says otherwise.
    // Takes effect at the next rescan().
    static void setSysfsRoot(const QString& root);
    // Device path of name, empty when name is not listed.
    static QString deviceName(const QString& name);
    // The entry of name, or an invalid entry.
    static SerPortDeviceInfo find(const QString& name);
    // Stores entry over the one with the same name, or appends it.
    static void replaceItem(const SerPortDeviceInfo& entry);

private:
    QString m_name;
    QString m_path;
    QString m_description;
    QString m_info;
    int m_flags = 0;
    QString m_usbid;
    QString m_serialnumber;
};
