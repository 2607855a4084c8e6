// SPDX-License-Identifier: MIT
#include "libserial/pserunixserialport.h"
#include "libserial/serportdeviceinfo.h"
#include "tests/support/pty.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// A device tree as the kernel lays it out, cut down to what is read.
class FakeSysfs
{
public:
    FakeSysfs()
    {
        const QString pci = QStringLiteral("devices/pci0000:00/0000:00:14.0/usb1");
        dir(QStringLiteral("bus/platform/drivers/serial8250"));
        dir(QStringLiteral("bus/usb-serial/drivers/ftdi_sio"));
        dir(QStringLiteral("bus/usb/drivers/cdc_acm"));
        dir(QStringLiteral("devices/platform/serial8250"));
        link(QStringLiteral("devices/platform/serial8250/driver"), QStringLiteral("bus/platform/drivers/serial8250"));
        // A UART that is there, one the driver registered without hardware,
        // and one more to check the order of numbers.
        for (const char* name : {"ttyS0", "ttyS1", "ttyS10", "ttyS2"}) {
            const QString tty = QStringLiteral("class/tty/") + QLatin1String(name);
            dir(tty);
            link(tty + QStringLiteral("/device"), QStringLiteral("devices/platform/serial8250"));
            file(tty + QStringLiteral("/type"), qstrcmp(name, "ttyS1") == 0 ? "0\n" : "4\n");
        }
        // Consoles and pseudo-terminals have no device link.
        dir(QStringLiteral("class/tty/tty0"));
        dir(QStringLiteral("class/tty/ptmx"));
        // A USB adapter that names itself, and one that does not.
        file(pci + QStringLiteral("/1-2/product"), "FT232R USB UART\n");
        file(pci + QStringLiteral("/1-2/manufacturer"), "FTDI\n");
        file(pci + QStringLiteral("/1-2/idVendor"), "0403\n");
        file(pci + QStringLiteral("/1-2/idProduct"), "6001\n");
        file(pci + QStringLiteral("/1-2/serial"), "A50285BI\n");
        dir(pci + QStringLiteral("/1-2/1-2:1.0/ttyUSB0"));
        link(pci + QStringLiteral("/1-2/1-2:1.0/ttyUSB0/driver"), QStringLiteral("bus/usb-serial/drivers/ftdi_sio"));
        dir(QStringLiteral("class/tty/ttyUSB0"));
        link(QStringLiteral("class/tty/ttyUSB0/device"), pci + QStringLiteral("/1-2/1-2:1.0/ttyUSB0"));
        dir(pci + QStringLiteral("/1-3/1-3:1.0"));
        link(pci + QStringLiteral("/1-3/1-3:1.0/driver"), QStringLiteral("bus/usb/drivers/cdc_acm"));
        dir(QStringLiteral("class/tty/ttyACM0"));
        link(QStringLiteral("class/tty/ttyACM0/device"), pci + QStringLiteral("/1-3/1-3:1.0"));
    }

    QString root() const { return m_dir.path(); }

private:
    void dir(const QString& path) { QVERIFY(QDir(m_dir.path()).mkpath(path)); }
    void file(const QString& path, const char* text)
    {
        dir(path.section(QLatin1Char('/'), 0, -2));
        QFile f(m_dir.filePath(path));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(text);
    }
    void link(const QString& path, const QString& target)
    {
        QVERIFY(QFile::link(m_dir.filePath(target), m_dir.filePath(path)));
    }

    QTemporaryDir m_dir;
};

QString describe(const SerPortDeviceInfo& e)
{
    QString text = QStringLiteral("%1|%2|%3|%4|%5")
                       .arg(e.name(), e.path(), e.description(), e.info())
                       .arg(e.flags(), 4, 16, QLatin1Char('0'));
    if (!e.usbId().isEmpty() || !e.serialNumber().isEmpty())
        text += QLatin1Char('|') + e.usbId() + QLatin1Char('|') + e.serialNumber();
    return text;
}

} // namespace

class TestSerPortDeviceInfo : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void enumeration();
    void missingTree();
    void findAndDeviceName_data();
    void findAndDeviceName();
    void replaceItem();
    void rescanKeepsWhatPortsAdded();
    void openMarksInUse();

private:
    std::unique_ptr<FakeSysfs> m_sysfs;
};

void TestSerPortDeviceInfo::init()
{
    m_sysfs = std::make_unique<FakeSysfs>();
    SerPortDeviceInfo::setSysfsRoot(m_sysfs->root());
    SerPortDeviceInfo::rescan();
}

void TestSerPortDeviceInfo::enumeration()
{
    QStringList got;
    for (const SerPortDeviceInfo& e : SerPortDeviceInfo::devices()) {
        if (!(e.flags() & SerPortDeviceInfo::AddedByName))
            got << describe(e);
    }
    const QStringList expected{
        "ttyACM0|/dev/ttyACM0|USB Serial port|cdc_acm|0003",
        "ttyS0|/dev/ttyS0|Serial port|serial8250|0001",
        "ttyS2|/dev/ttyS2|Serial port|serial8250|0001",
        "ttyS10|/dev/ttyS10|Serial port|serial8250|0001",
        "ttyUSB0|/dev/ttyUSB0|USB Serial port|FTDI FT232R USB UART|0003|0403:6001|A50285BI",
    };
    QCOMPARE(got, expected);
}

void TestSerPortDeviceInfo::missingTree()
{
    // Without a tree only the ports added by name are left.
    SerPortDeviceInfo::replaceItem(SerPortDeviceInfo(QStringLiteral("pts/98"), QStringLiteral("/dev/pts/98"),
                                                     QStringLiteral("Serial port"), QString(),
                                                     SerPortDeviceInfo::AddedByName));
    QVERIFY(SerPortDeviceInfo::find(QStringLiteral("ttyS0")).isValid());
    SerPortDeviceInfo::setSysfsRoot(m_sysfs->root() + QStringLiteral("/nowhere"));
    SerPortDeviceInfo::rescan();
    QStringList left;
    for (const SerPortDeviceInfo& e : SerPortDeviceInfo::devices())
        left << describe(e);
    QCOMPARE(left, QStringList{QStringLiteral("pts/98|/dev/pts/98|Serial port||8000")});
    QVERIFY(!SerPortDeviceInfo::find(QStringLiteral("ttyS0")).isValid());
}

void TestSerPortDeviceInfo::findAndDeviceName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("path");
    QTest::newRow("listed UART") << "ttyS0" << true << "/dev/ttyS0";
    QTest::newRow("listed USB adapter") << "ttyUSB0" << true << "/dev/ttyUSB0";
    QTest::newRow("UART without hardware") << "ttyS1" << false << "";
    QTest::newRow("console") << "tty0" << false << "";
    QTest::newRow("unknown") << "ttyXYZ" << false << "";
    QTest::newRow("empty name") << "" << false << "";
}

void TestSerPortDeviceInfo::findAndDeviceName()
{
    QFETCH(QString, name);
    QFETCH(bool, found);
    QFETCH(QString, path);
    const SerPortDeviceInfo entry = SerPortDeviceInfo::find(name);
    QCOMPARE(entry.isValid(), found);
    QCOMPARE(entry.name(), found ? name : QString());
    QCOMPARE(SerPortDeviceInfo::deviceName(name), path);
}

void TestSerPortDeviceInfo::replaceItem()
{
    SerPortDeviceInfo entry = SerPortDeviceInfo::find(QStringLiteral("ttyS2"));
    const int count = int(SerPortDeviceInfo::devices().size());
    entry.setFlags(entry.flags() | SerPortDeviceInfo::InUse);
    SerPortDeviceInfo::replaceItem(entry);
    QCOMPARE(SerPortDeviceInfo::find(QStringLiteral("ttyS2")).flags(), 0x2001);
    QCOMPARE(int(SerPortDeviceInfo::devices().size()), count);

    SerPortDeviceInfo::replaceItem(SerPortDeviceInfo(QStringLiteral("rfcomm0"), QStringLiteral("/dev/rfcomm0"),
                                                     QStringLiteral("Bluetooth"), QString(), 0x8001));
    QCOMPARE(int(SerPortDeviceInfo::devices().size()), count + 1);
    QCOMPARE(describe(SerPortDeviceInfo::find(QStringLiteral("rfcomm0"))),
             QStringLiteral("rfcomm0|/dev/rfcomm0|Bluetooth||8001"));

    SerPortDeviceInfo::replaceItem(SerPortDeviceInfo()); // an invalid entry is not stored
    QCOMPARE(int(SerPortDeviceInfo::devices().size()), count + 1);
}

void TestSerPortDeviceInfo::rescanKeepsWhatPortsAdded()
{
    SerPortDeviceInfo::replaceItem(SerPortDeviceInfo(QStringLiteral("pts/99"), QStringLiteral("/dev/pts/99"),
                                                     QStringLiteral("Serial port"), QString(), 0xA001));
    SerPortDeviceInfo busy = SerPortDeviceInfo::find(QStringLiteral("ttyS0"));
    busy.setFlags(busy.flags() | SerPortDeviceInfo::InUse);
    SerPortDeviceInfo::replaceItem(busy);
    SerPortDeviceInfo::replaceItem(SerPortDeviceInfo(QStringLiteral("ttyS0"), QStringLiteral("/dev/ttyS0"),
                                                     QStringLiteral("renamed"), QString(), 0x2001));

    SerPortDeviceInfo::rescan();
    QCOMPARE(SerPortDeviceInfo::find(QStringLiteral("pts/99")).flags(), 0xA001);
    // Read afresh from the tree, but still in use.
    QCOMPARE(describe(SerPortDeviceInfo::find(QStringLiteral("ttyS0"))),
             QStringLiteral("ttyS0|/dev/ttyS0|Serial port|serial8250|2001"));
}

void TestSerPortDeviceInfo::openMarksInUse()
{
    const korvtest::Pty pty;
    QVERIFY(pty.isValid());
    const QString name = pty.name();
    QVERIFY(!SerPortDeviceInfo::find(name).isValid());

    {
        pSerUnixSerialPort port;
        port.setDevice(name);
        QVERIFY(port.open(QIODevice::ReadWrite));
        QCOMPARE(describe(SerPortDeviceInfo::find(name)),
                 QStringLiteral("%1|/dev/%1|Serial port||a001").arg(name));
        port.close();
        QCOMPARE(SerPortDeviceInfo::find(name).flags(), 0x8001);

        QVERIFY(port.open(QIODevice::ReadWrite));
        QCOMPARE(SerPortDeviceInfo::find(name).flags(), 0xA001);
    }
    // Destroying an open port closes it.
    QCOMPARE(SerPortDeviceInfo::find(name).flags(), 0x8001);
}

QTEST_GUILESS_MAIN(TestSerPortDeviceInfo)
#include "tst_serportdeviceinfo.moc"
