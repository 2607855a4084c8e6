// SPDX-License-Identifier: MIT
#include "libserial/pserbps.h"
#include "libserial/pserunixserialport.h"
#include "libserial/serframing.h"
#include "libserial/serserialport.h"
#include "tests/support/pty.h"

#include <QBuffer>
#include <QDir>
#include <QSignalSpy>
#include <QtTest>

#include <sys/resource.h>

Q_DECLARE_METATYPE(SerFraming)

namespace {

using korvtest::Pty;

int openDescriptors()
{
    return int(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size());
}

qint64 cpuMicroseconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return qint64(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000000 + usage.ru_utime.tv_usec
           + usage.ru_stime.tv_usec;
}

// A port opened read-write on a fresh pseudo-terminal, at `speed` if given.
struct PtyPort
{
    explicit PtyPort(int speed = 0)
    {
        port.setDevice(pty.name());
        if (speed)
            port.setSpeed(speed);
        if (pty.isValid())
            port.open(QIODevice::ReadWrite);
    }
    Pty pty;
    pSerUnixSerialPort port;
};

} // namespace

class TestSerSerialPort : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void speedTable_data();
    void speedTable();
    void opensRaw8BitAtStoredSpeed_data();
    void opensRaw8BitAtStoredSpeed();
    void freeRateSurvivesOtherSettings();
    void handshake_data();
    void handshake();
    void framingOnAPseudoTerminal_data();
    void framingOnAPseudoTerminal();
    void framingWhileOpen();
    void bytesBothWays();
    void oneReadyReadUntilRead();
    void setDeviceIgnoredWhileOpen();
    void waitForReadyRead();
    void modeWithoutReadOrWrite_data();
    void modeWithoutReadOrWrite();
    void closeAndReopen();
    void storedModemLines();
    void hangUpIsReportedOnceWithoutSpinning_data();
    void hangUpIsReportedOnceWithoutSpinning();
    void fullDeviceTakesNothingAndSaysWhenWritable();
};

void TestSerSerialPort::speedTable_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("speed");
    QTest::newRow("first") << 0 << 50;
    QTest::newRow("last") << 18 << 460800;
    QTest::newRow("one past the end") << 19 << 0;
    QTest::newRow("negative") << -1 << 0;
}

void TestSerSerialPort::speedTable()
{
    QFETCH(int, index);
    QFETCH(int, speed);
    QCOMPARE(pSerBPS::index2speed(index), speed);
}

void TestSerSerialPort::opensRaw8BitAtStoredSpeed_data()
{
    QTest::addColumn<int>("speed");
    QTest::newRow("table rate 57600, by its code") << 57600;
    QTest::newRow("1000, far below the table's top") << 1000;
    QTest::newRow("250000, a common bus rate") << 250000;
    QTest::newRow("921600") << 921600;
    QTest::newRow("1000000") << 1000000;
}

void TestSerSerialPort::opensRaw8BitAtStoredSpeed()
{
    QFETCH(int, speed);
    PtyPort link(speed);
    QVERIFY2(link.port.isOpen(), qPrintable(link.port.errorString()));
    const termios t = link.pty.settings();
    // A table rate goes by its code, which every termios reader knows.
    if (speed == 57600)
        QCOMPARE(int(cfgetospeed(&t)), int(B57600));
    QCOMPARE(link.pty.outputSpeed(), speed);
    QCOMPARE(link.port.speed(), speed);
    QCOMPARE(int(t.c_cflag & CSIZE), int(CS8));
    QVERIFY(t.c_cflag & CLOCAL);
    QVERIFY(t.c_cflag & CREAD);
    QCOMPARE(int(t.c_lflag), 0); // no echo, no line editing
    QCOMPARE(int(t.c_iflag), 0);
    QCOMPARE(int(t.c_oflag), 0);
    QCOMPARE(link.port.write("x"), qint64(1));
    QCOMPARE(link.pty.read(), QByteArray("x"));
}

void TestSerSerialPort::freeRateSurvivesOtherSettings()
{
    PtyPort link(250000);
    QVERIFY2(link.port.isOpen(), qPrintable(link.port.errorString()));
    link.port.setHandshake(SerSerialPort::RtsCts);
    link.port.setParity(SerSerialPort::OddParity);
    QCOMPARE(link.pty.outputSpeed(), 250000);
    QVERIFY(link.pty.settings().c_cflag & CRTSCTS);
    // Back to a table rate and off it again, while open.
    link.port.setSpeed(115200);
    termios t = link.pty.settings();
    QCOMPARE(int(cfgetospeed(&t)), int(B115200));
    QCOMPARE(link.pty.outputSpeed(), 115200);
    link.port.setSpeed(1000);
    QCOMPARE(link.port.speed(), 1000);
    QCOMPARE(link.pty.outputSpeed(), 1000);
}

void TestSerSerialPort::handshake_data()
{
    QTest::addColumn<int>("handshake");
    QTest::addColumn<bool>("beforeOpen");
    QTest::addColumn<bool>("rtscts");
    QTest::addColumn<bool>("xonxoff");
    QTest::newRow("none") << 0 << false << false << false;
    QTest::newRow("RTS/CTS") << 1 << false << true << false;
    QTest::newRow("Xon/Xoff") << 2 << false << false << true;
    QTest::newRow("both") << 3 << false << true << true;
    QTest::newRow("both, set while closed") << 3 << true << true << true;
    QTest::newRow("RTS/CTS, set while closed") << 1 << true << true << false;
}

void TestSerSerialPort::handshake()
{
    QFETCH(int, handshake);
    QFETCH(bool, beforeOpen);
    QFETCH(bool, rtscts);
    QFETCH(bool, xonxoff);
    Pty pty;
    QVERIFY(pty.isValid());
    pSerUnixSerialPort port;
    port.setDevice(pty.name());
    if (beforeOpen)
        port.setHandshake(handshake);
    else
        port.setHandshake(3 - handshake); // the opposite, replaced below
    QVERIFY(port.open(QIODevice::ReadWrite));
    if (!beforeOpen)
        port.setHandshake(handshake);
    QCOMPARE(port.handshake(), handshake);
    const termios t = pty.settings();
    QCOMPARE(bool(t.c_cflag & CRTSCTS), rtscts);
    QCOMPARE(bool(t.c_iflag & IXON), xonxoff);
    QCOMPARE(bool(t.c_iflag & IXOFF), xonxoff);
}

void TestSerSerialPort::framingOnAPseudoTerminal_data()
{
    // Every framing there is. A pseudo-terminal's driver keeps the stop
    // bits but forces 8 data bits and clears the parity enable, as a UART
    // without those modes would: the rest must be refused, never opened
    // quietly with another framing.
    QTest::addColumn<SerFraming>("framing");
    QTest::addColumn<bool>("kept");
    for (int data = 5; data <= 8; ++data) {
        for (int parity = SerFraming::NoParity; parity <= SerFraming::SpaceParity; ++parity) {
            for (int stop = 1; stop <= 2; ++stop) {
                const SerFraming framing(data, parity, stop);
                QTest::newRow(qPrintable(framing.text()))
                    << framing << (data == 8 && parity == SerFraming::NoParity);
            }
        }
    }
}

void TestSerSerialPort::framingOnAPseudoTerminal()
{
    QFETCH(SerFraming, framing);
    QFETCH(bool, kept);
    Pty pty;
    QVERIFY(pty.isValid());
    const int descriptors = openDescriptors();
    pSerUnixSerialPort port;
    port.setDevice(pty.name());
    port.setSpeed(19200);
    QVERIFY(port.setFraming(framing));
    QCOMPARE(port.open(QIODevice::ReadWrite), kept);
    QCOMPARE(port.framing(), framing);
    if (!kept) {
        QCOMPARE(port.errorString(), QStringLiteral("Framing %1 not supported by %2 (it keeps 8N%3)")
                                         .arg(framing.text(), pty.path())
                                         .arg(framing.stopBits()));
        QVERIFY(!port.isOpen());
        QCOMPARE(openDescriptors(), descriptors);
        return;
    }
    const termios t = pty.settings();
    QCOMPARE(int(t.c_cflag & CSIZE), int(CS8));
    QVERIFY(!(t.c_cflag & PARENB));
    QCOMPARE(bool(t.c_cflag & CSTOPB), framing.stopBits() == 2);
    QCOMPARE(int(cfgetospeed(&t)), int(B19200));
}

void TestSerSerialPort::framingWhileOpen()
{
    PtyPort link(250000);
    QVERIFY2(link.port.isOpen(), qPrintable(link.port.errorString()));
    QVERIFY(!(link.pty.settings().c_cflag & CSTOPB));

    QVERIFY(link.port.setFraming(SerFraming(8, SerFraming::NoParity, 2)));
    QVERIFY(link.pty.settings().c_cflag & CSTOPB);
    // Refused while open: said, and the port goes on as the device keeps it.
    QVERIFY(!link.port.setFraming(SerFraming(8, SerFraming::MarkParity, 2)));
    QCOMPARE(link.port.errorString(),
             QStringLiteral("Framing 8M2 not supported by %1 (it keeps 8N2)").arg(link.pty.path()));
    QVERIFY(link.port.isOpen());
    QCOMPARE(link.pty.outputSpeed(), 250000);
    QCOMPARE(link.port.write("still here"), qint64(10));
    QCOMPARE(link.pty.read(), QByteArray("still here"));
    // The old parity call goes the same way.
    link.port.setParity(SerSerialPort::OddParity);
    QCOMPARE(link.port.parity(), int(SerSerialPort::OddParity));
    QCOMPARE(link.port.framing().text(), QStringLiteral("8O2"));
}

void TestSerSerialPort::bytesBothWays()
{
    PtyPort link(115200);
    QVERIFY2(link.port.isOpen(), qPrintable(link.port.errorString()));

    // Every byte value, including the terminal's special characters.
    QByteArray all;
    for (int i = 0; i < 256; ++i)
        all.append(char(i));
    QCOMPARE(link.port.write(all), qint64(all.size()));
    QCOMPARE(link.pty.read(), all);

    QSignalSpy ready(&link.port, &QIODevice::readyRead);
    QVERIFY(link.pty.write(all));
    QByteArray got;
    while (got.size() < all.size() && (ready.size() > 0 || ready.wait(2000))) {
        ready.clear();
        got += link.port.readAll();
    }
    QCOMPARE(got, all);
}

void TestSerSerialPort::oneReadyReadUntilRead()
{
    PtyPort link;
    QVERIFY2(link.port.isOpen(), qPrintable(link.port.errorString()));
    QSignalSpy ready(&link.port, &QIODevice::readyRead);

    QVERIFY(link.pty.write("a"));
    QVERIFY(ready.wait(2000));
    // A second port written at the same time says when a signal was due.
    PtyPort other;
    QVERIFY2(other.port.isOpen(), qPrintable(other.port.errorString()));
    QSignalSpy witnessed(&other.port, &QIODevice::readyRead);
    QVERIFY(link.pty.write("b"));
    QVERIFY(other.pty.write("x"));
    QVERIFY(witnessed.wait(2000));
    QCoreApplication::processEvents();
    QCOMPARE(ready.size(), 1);

    QCOMPARE(link.port.readAll(), QByteArray("ab"));
    QVERIFY(link.pty.write("c"));
    QVERIFY(ready.wait(2000));
    QCOMPARE(ready.size(), 2);
    QCOMPARE(link.port.readAll(), QByteArray("c"));
}

void TestSerSerialPort::setDeviceIgnoredWhileOpen()
{
    PtyPort link;
    QVERIFY2(link.port.isOpen(), qPrintable(link.port.errorString()));
    link.port.setDevice(QStringLiteral("ttyS9"));
    QCOMPARE(link.port.device(), link.pty.name());
    link.port.close();
    link.port.setDevice(QStringLiteral("ttyS9"));
    QCOMPARE(link.port.device(), QStringLiteral("ttyS9"));
}

void TestSerSerialPort::waitForReadyRead()
{
    pSerUnixSerialPort port;
    QVERIFY(!port.waitForReadyRead(10));
    QCOMPARE(port.errorString(), QStringLiteral("Not open"));
    QVERIFY(!port.waitForBytesWritten(10));
    QCOMPARE(port.errorString(), QStringLiteral("Not open"));
    port.setDevice(QStringLiteral("no-such-tty-here"));
    QVERIFY(!port.open(QIODevice::ReadWrite)); // leaves an error text behind
    QVERIFY(!port.isOpen());

    Pty pty;
    QVERIFY(pty.isValid());
    port.setDevice(pty.name());
    QVERIFY(port.open(QIODevice::ReadWrite));

    // 250 is taken as 0 s and 250 microseconds, not a quarter second.
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!port.waitForReadyRead(250));
    QVERIFY2(timer.elapsed() < 200, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(port.errorString(), QBuffer().errorString()); // cleared

    QVERIFY(port.waitForBytesWritten(0));

    QSignalSpy ready(&port, &QIODevice::readyRead);
    QVERIFY(pty.write("x"));
    QVERIFY(port.waitForReadyRead(2000));
    QCOMPARE(ready.size(), 1);
    QVERIFY(port.waitForReadyRead(2000));
    QCOMPARE(ready.size(), 1); // no second signal before a read
    QCOMPARE(port.readAll(), QByteArray("x"));
}

void TestSerSerialPort::modeWithoutReadOrWrite_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("not open") << int(QIODevice::NotOpen);
    QTest::newRow("unbuffered only") << int(QIODevice::Unbuffered);
    QTest::newRow("text only") << int(QIODevice::Text);
}

void TestSerSerialPort::modeWithoutReadOrWrite()
{
    QFETCH(int, mode);
    PtyPort link;
    QVERIFY2(link.port.isOpen(), qPrintable(link.port.errorString()));
    const int whileOpen = openDescriptors();
    QVERIFY(link.port.open(QIODevice::OpenMode(mode)));
    QVERIFY(!link.port.isOpen());
    QCOMPARE(openDescriptors(), whileOpen - 1); // the earlier open was closed
}

void TestSerSerialPort::closeAndReopen()
{
    Pty pty;
    QVERIFY(pty.isValid());
    pSerUnixSerialPort port;
    port.setDevice(pty.name());
    QSignalSpy closing(&port, &QIODevice::aboutToClose);
    port.close();
    QCOMPARE(closing.size(), 0);

    const int before = openDescriptors();
    QVERIFY(port.open(QIODevice::ReadWrite));
    QCOMPARE(openDescriptors(), before + 1);
    port.close();
    QCOMPARE(closing.size(), 1);
    QVERIFY(!port.isOpen());
    QCOMPARE(openDescriptors(), before);

    QVERIFY(port.open(QIODevice::ReadOnly));
    QCOMPARE(port.openMode(), QIODevice::ReadOnly);
    QSignalSpy ready(&port, &QIODevice::readyRead);
    QVERIFY(pty.write("z"));
    QVERIFY(ready.wait(2000));
    QCOMPARE(port.readAll(), QByteArray("z"));
}

void TestSerSerialPort::storedModemLines()
{
    // Without a device the status is what was last set; a pseudo-terminal
    // has no modem lines either, so the same holds while open on one.
    Pty pty;
    QVERIFY(pty.isValid());
    pSerUnixSerialPort port;
    port.setDevice(pty.name());
    QCOMPARE(port.modemStatus(), 0);
    port.setRTS(true);
    port.setDTR(true);
    port.setBRK(true);
    QCOMPARE(port.modemStatus(), 1 | 4 | 64);
    QCOMPARE(port.getRTS(), 1);
    QCOMPARE(port.getDTR(), 4);
    QCOMPARE(port.getCTS(), 0);
    // Opening clears the break and must not fail on the missing lines.
    QVERIFY(port.open(QIODevice::ReadWrite));
    QCOMPARE(port.modemStatus() & (1 | 4 | 64), 1 | 4);
    port.setDTR(false);
    QCOMPARE(port.getDTR(), 0);
}

void TestSerSerialPort::hangUpIsReportedOnceWithoutSpinning_data()
{
    // The kernel drops unread input at a hang-up, so what was sent before
    // is read before the far end goes.
    QTest::addColumn<QByteArray>("before");
    QTest::newRow("idle line") << QByteArray();
    QTest::newRow("after traffic") << QByteArray("last words");
}

void TestSerSerialPort::hangUpIsReportedOnceWithoutSpinning()
{
    QFETCH(QByteArray, before);
    PtyPort link;
    QVERIFY2(link.port.isOpen(), qPrintable(link.port.errorString()));
    // A reader as the connection is: it reads whenever told to.
    QByteArray got;
    int wakeUps = 0;
    QObject::connect(&link.port, &QIODevice::readyRead, &link.port, [&] {
        ++wakeUps;
        got += link.port.readAll();
    });
    QSignalSpy hungUp(&link.port, &SerSerialPort::hungUp);
    QVERIFY(link.pty.write(before));
    QTRY_COMPARE_WITH_TIMEOUT(got, before, 2000);
    link.pty.hangUp();
    QVERIFY(hungUp.wait(2000));
    QCOMPARE(got, before);
    QCOMPARE(hungUp.constFirst().constFirst().toString(), QStringLiteral("Device disconnected"));
    QCOMPARE(link.port.errorString(), QStringLiteral("Device disconnected"));

    wakeUps = 0;
    const qint64 cpuBefore = cpuMicroseconds();
    QTest::qWait(300);
    const qint64 cpuUsed = cpuMicroseconds() - cpuBefore;
    QVERIFY2(wakeUps < 10, qPrintable(QString::number(wakeUps)));
    QVERIFY2(cpuUsed < 100000, qPrintable(QStringLiteral("%1 us of CPU while idle").arg(cpuUsed)));
    QCOMPARE(hungUp.size(), 1);

    link.port.close();
    QVERIFY(!link.port.isOpen());
}

void TestSerSerialPort::fullDeviceTakesNothingAndSaysWhenWritable()
{
    PtyPort link;
    QVERIFY2(link.port.isOpen(), qPrintable(link.port.errorString()));
    const QByteArray chunk(4096, 'z');
    qint64 taken = 0;
    // Nobody reads the far end, so the line fills up; the kernel moves
    // bytes on a little later, so it is full once a pause frees nothing.
    for (int round = 0; round < 100; ++round) {
        qint64 written = 0;
        while ((written = link.port.write(chunk)) > 0)
            taken += written;
        QCOMPARE(written, qint64(0)); // full is no error
        QTest::qWait(30);
        if ((written = link.port.write(chunk)) == 0)
            break;
        taken += written;
    }
    QVERIFY(taken > 0);

    // A port with room, asked at the same time, says when a signal was due.
    PtyPort other;
    QVERIFY2(other.port.isOpen(), qPrintable(other.port.errorString()));
    QSignalSpy witnessed(&other.port, &SerSerialPort::readyWrite);
    QSignalSpy writable(&link.port, &SerSerialPort::readyWrite);
    link.port.setWriteNotification(true);
    other.port.setWriteNotification(true);
    QVERIFY(witnessed.wait(2000));
    QCoreApplication::processEvents();
    QCOMPARE(writable.size(), 0);
    QByteArray drained;
    while (drained.size() < taken && !writable.size()) {
        drained += link.pty.read(20);
        QCoreApplication::processEvents();
    }
    QVERIFY(writable.size() > 0 || writable.wait(2000));
    QCOMPARE(writable.size(), 1); // once, until asked again
    QVERIFY(link.port.write(chunk) > 0);
}

QTEST_GUILESS_MAIN(TestSerSerialPort)
#include "tst_serserialport.moc"
