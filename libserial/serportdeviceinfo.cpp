// SPDX-License-Identifier: MIT
#include "libserial/serportdeviceinfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {

struct DeviceList
{
    bool scanned = false;
    QString sysfsRoot = QStringLiteral("/sys");
    QList<SerPortDeviceInfo> entries;
};

DeviceList& deviceList()
{
    static DeviceList list;
    return list;
}

QString readLine(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readLine(256)).trimmed();
}

// The USB device above an interface holds the product strings and ids;
// walk up until a directory has them, without leaving the device tree.
QString usbDevice(const QString& devicePath, const QString& root)
{
    QDir dir(devicePath);
    while (dir.absolutePath().startsWith(root) && dir.absolutePath() != root) {
        if (QFileInfo::exists(dir.filePath(QStringLiteral("idVendor")))
            || QFileInfo::exists(dir.filePath(QStringLiteral("product"))))
            return dir.absolutePath();
        if (!dir.cdUp())
            break;
    }
    return QString();
}

QString usbProduct(const QString& usbPath)
{
    const QString product = readLine(usbPath + QStringLiteral("/product"));
    const QString maker = readLine(usbPath + QStringLiteral("/manufacturer"));
    return maker.isEmpty() || product.isEmpty() ? product : maker + QLatin1Char(' ') + product;
}

// "ttyS10" sorts after "ttyS9".
bool byName(const SerPortDeviceInfo& a, const SerPortDeviceInfo& b)
{
    auto split = [](const QString& name) {
        qsizetype digits = name.size();
        while (digits > 0 && name.at(digits - 1).isDigit())
            --digits;
        return std::make_pair(name.left(digits), name.mid(digits).toLongLong());
    };
    return split(a.name()) < split(b.name());
}

QList<SerPortDeviceInfo> scan(const QString& sysfsRoot)
{
    QList<SerPortDeviceInfo> found;
    const QString root = QFileInfo(sysfsRoot).canonicalFilePath();
    if (root.isEmpty())
        return found;
    const QDir ttys(root + QStringLiteral("/class/tty"));
    const QStringList names = ttys.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        const QString entry = ttys.filePath(name);
        // Virtual consoles and pseudo-terminals have no device behind them.
        const QFileInfo device(entry + QStringLiteral("/device"));
        if (!device.exists())
            continue;
        // The 8250 driver registers ports that have no UART; they say type 0.
        if (readLine(entry + QStringLiteral("/type")) == QLatin1String("0"))
            continue;
        const QString devicePath = device.canonicalFilePath();
        const QString driver =
            QFileInfo(entry + QStringLiteral("/device/driver")).canonicalFilePath().section(QLatin1Char('/'), -1);
        const bool usb = devicePath.contains(QLatin1String("/usb"));
        if (usb) {
            const QString usbPath = usbDevice(devicePath, root);
            QString info = usbPath.isEmpty() ? QString() : usbProduct(usbPath);
            if (info.isEmpty())
                info = driver;
            SerPortDeviceInfo entry(name, QStringLiteral("/dev/") + name,
                                    QCoreApplication::translate("SerPortDeviceInfo", "USB Serial port"), info,
                                    SerPortDeviceInfo::Serial | SerPortDeviceInfo::Usb);
            if (!usbPath.isEmpty()) {
                const QString vendor = readLine(usbPath + QStringLiteral("/idVendor"));
                const QString product = readLine(usbPath + QStringLiteral("/idProduct"));
                entry.setUsbIdentity(vendor.isEmpty() ? QString() : vendor + QLatin1Char(':') + product,
                                     readLine(usbPath + QStringLiteral("/serial")));
            }
            found.append(entry);
        } else {
            found.append(SerPortDeviceInfo(
                name, QStringLiteral("/dev/") + name,
                QCoreApplication::translate("SerPortDeviceInfo", "Serial port"), driver,
                SerPortDeviceInfo::Serial));
        }
    }
    std::sort(found.begin(), found.end(), byName);
    return found;
}

DeviceList& scannedList()
{
    DeviceList& list = deviceList();
    if (!list.scanned)
        SerPortDeviceInfo::rescan();
    return list;
}

} // namespace

SerPortDeviceInfo::SerPortDeviceInfo(const QString& name, const QString& path,
                                     const QString& description, const QString& info, int flags)
    : m_name(name)
    , m_path(path)
    , m_description(description)
    , m_info(info)
    , m_flags(flags)
{
}

QList<SerPortDeviceInfo> SerPortDeviceInfo::devices()
{
    return scannedList().entries;
}

void SerPortDeviceInfo::rescan()
{
    DeviceList& list = deviceList();
    QList<SerPortDeviceInfo> entries = scan(list.sysfsRoot);
    for (const SerPortDeviceInfo& old : std::as_const(list.entries)) {
        auto same = std::find_if(entries.begin(), entries.end(), [&](const SerPortDeviceInfo& e) {
            return e.name() == old.name();
        });
        if (same != entries.end())
            same->setFlags(same->flags() | (old.flags() & InUse));
        else if (old.flags() & (AddedByName | InUse))
            entries.append(old);
    }
    list.entries = entries;
    list.scanned = true;
}

void SerPortDeviceInfo::setSysfsRoot(const QString& root)
{
    deviceList().sysfsRoot = root;
}

QString SerPortDeviceInfo::deviceName(const QString& name)
{
    return find(name).path();
}

SerPortDeviceInfo SerPortDeviceInfo::find(const QString& name)
{
    for (const SerPortDeviceInfo& entry : std::as_const(scannedList().entries)) {
        if (entry.name() == name)
            return entry;
    }
    return SerPortDeviceInfo();
}

void SerPortDeviceInfo::replaceItem(const SerPortDeviceInfo& entry)
{
    if (!entry.isValid())
        return;
    QList<SerPortDeviceInfo>& entries = scannedList().entries;
    for (SerPortDeviceInfo& existing : entries) {
        if (existing.name() == entry.name()) {
            existing = entry;
            return;
        }
    }
    entries.append(entry);
}
