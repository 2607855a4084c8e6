// SPDX-License-Identifier: MIT
// Loopback TCP throughput in 64-byte blocks: from Connection::send on one
// side to Connection::received on the other, beside a plain pair of
// QTcpSockets carrying the same blocks as the baseline.
//
// Remote serial ports: ser2net serving a pseudo-terminal over RFC 2217 at
// 115200 and 921600 baud, every byte value in the data (0xFF goes doubled).
// A pseudo-terminal does not throttle to its rate, so the figure is the raw
// rate the link sustains, beside the rate the line would allow; the CPU
// this program spends per received byte is set beside a local
// pseudo-terminal's.
//
// A hostile peer: a gigabyte of random bytes as fast as loopback carries
// them, into a TCP server and into a remote serial port, with the bytes cut
// into messages as a channel does. What it reports is what the flood costs:
// the most a socket held for its reader, the collector's most, the growth
// of resident memory and the event loop's longest stall.

#include "bench/korvbench.h"
#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "qrv16/messagecollector.h"
#include "tests/support/flood.h"
#include "tests/support/pty.h"
#include "tests/support/ser2net.h"
#include "tests/support/stallmeter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QSslSocket>
#include <QSocketNotifier>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>
#include <memory>
#include <ctime>
#include <unistd.h>

namespace {

constexpr int BlockSize = 64;
constexpr int BlocksPerRound = 1000;
constexpr qint64 RoundBytes = qint64(BlockSize) * BlocksPerRound;

QCoreApplication& app()
{
    static int argc = 1;
    static char name[] = "bench_connection";
    static char* argv[] = {name, nullptr};
    static QCoreApplication instance(argc, argv);
    return instance;
}

bool spinUntil(const std::function<bool()>& done)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > 30000)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
    }
    return true;
}

void BM_QTcpSocketPair(benchmark::State& state)
{
    app();
    QTcpServer server;
    server.listen(QHostAddress::LocalHost, 0);
    QTcpSocket sender;
    sender.connectToHost(QHostAddress::LocalHost, server.serverPort());
    if (!spinUntil([&] { return server.hasPendingConnections(); })) {
        state.SkipWithError("no connection");
        return;
    }
    std::unique_ptr<QTcpSocket> receiver(server.nextPendingConnection());
    qint64 received = 0;
    QObject::connect(receiver.get(), &QIODevice::readyRead, receiver.get(), [&] {
        received += receiver->readAll().size();
    });
    const QByteArray block(BlockSize, 'x');
    for (auto _ : state) {
        const qint64 target = received + RoundBytes;
        for (int i = 0; i < BlocksPerRound; ++i)
            sender.write(block);
        if (!spinUntil([&] { return received >= target; })) {
            state.SkipWithError("blocks lost");
            return;
        }
    }
    state.counters["blocks/s"] = benchmark::Counter(double(state.iterations()) * BlocksPerRound,
                                                    benchmark::Counter::kIsRate);
}

void BM_ConnectionPair(benchmark::State& state)
{
    app();
    Connection server;
    Connection client;
    ConnectionSettings serverSide;
    serverSide.setMode(ConnectionSettings::ServerMode);
    serverSide.setServerAddress(QStringLiteral("127.0.0.1"));
    serverSide.setServerPort(0);
    server.setSettings(serverSide);
    server.connect();
    const auto* listener = qobject_cast<const QTcpServer*>(server.connection());
    ConnectionSettings clientSide;
    clientSide.setMode(ConnectionSettings::ClientMode);
    clientSide.setClientAddress(QStringLiteral("127.0.0.1"));
    clientSide.setClientPort(listener ? listener->serverPort() : 0);
    client.setSettings(clientSide);
    client.connect();
    if (!spinUntil([&] { return client.isConnected() && server.isConnected(); })) {
        state.SkipWithError("no connection");
        return;
    }
    qint64 received = 0;
    QObject::connect(&server, &Connection::received, &server,
                     [&](int, int, const QByteArray& data) { received += data.size(); });
    const QByteArray block(BlockSize, 'x');
    for (auto _ : state) {
        const qint64 target = received + RoundBytes;
        for (int i = 0; i < BlocksPerRound; ++i)
            client.send(block);
        if (!spinUntil([&] { return received >= target; })) {
            state.SkipWithError("blocks lost");
            return;
        }
    }
    state.counters["blocks/s"] = benchmark::Counter(double(state.iterations()) * BlocksPerRound,
                                                    benchmark::Counter::kIsRate);
}

constexpr qint64 SerialRound = 256 * 1024;

// 4 KiB holding every byte value sixteen times.
QByteArray everyValue()
{
    QByteArray block(4096, Qt::Uninitialized);
    for (int i = 0; i < block.size(); ++i)
        block[i] = char(i * 7 & 0xFF);
    return block;
}

// The device's end of a pseudo-terminal: takes what arrives and writes what
// it is given as fast as the terminal takes it.
class DeviceEnd : public QObject
{
public:
    explicit DeviceEnd(const korvtest::Pty& line)
        : m_fd(line.masterFd())
        , m_read(m_fd, QSocketNotifier::Read)
        , m_write(m_fd, QSocketNotifier::Write)
    {
        QObject::connect(&m_read, &QSocketNotifier::activated, this, [this] {
            char buffer[65536];
            const ssize_t n = ::read(m_fd, buffer, sizeof buffer);
            if (n > 0)
                received += n;
        });
        m_write.setEnabled(false);
        QObject::connect(&m_write, &QSocketNotifier::activated, this, [this] { push(); });
    }

    void send(const QByteArray& bytes)
    {
        m_out += bytes;
        push();
    }

    qint64 received = 0;

private:
    void push()
    {
        while (m_at < m_out.size()) {
            const ssize_t n = ::write(m_fd, m_out.constData() + m_at, size_t(m_out.size() - m_at));
            if (n <= 0)
                break;
            m_at += n;
        }
        if (m_at >= m_out.size()) {
            m_out.clear();
            m_at = 0;
        }
        m_write.setEnabled(m_at < m_out.size());
    }

    int m_fd;
    QSocketNotifier m_read;
    QSocketNotifier m_write;
    QByteArray m_out;
    qsizetype m_at = 0;
};

// A Connection on a remote port served by ser2net, or on the pseudo-terminal
// itself, with its device end.
struct SerialBench
{
    korvtest::Pty line;
    std::unique_ptr<korvtest::Ser2Net> server;
    Connection connection;
    std::unique_ptr<DeviceEnd> device;
    qint64 received = 0;

    bool open(benchmark::State& state, bool remote, int speed)
    {
        ConnectionSettings settings;
        settings.setMode(ConnectionSettings::SerialMode);
        settings.setSerialSpeed(speed);
        if (remote) {
            if (korvtest::Ser2Net::program().isEmpty()) {
                state.SkipWithError("ser2net is not installed");
                return false;
            }
            server = std::make_unique<korvtest::Ser2Net>(
                QStringLiteral("serialdev,%1,%2n81,local").arg(line.path()).arg(speed));
            if (!server->start()) {
                state.SkipWithError("ser2net did not start");
                return false;
            }
            settings.setSerialPort(server->url());
        } else {
            settings.setSerialPort(line.name());
        }
        QObject::connect(&connection, &Connection::received, &connection,
                         [this](int, int, const QByteArray& data) { received += data.size(); });
        connection.setSettings(settings);
        connection.connect();
        if (!spinUntil([this] { return connection.isConnected(); })) {
            state.SkipWithError("no link");
            return false;
        }
        device = std::make_unique<DeviceEnd>(line);
        return true;
    }
};

qint64 threadCpuNs()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return qint64(t.tv_sec) * 1000000000 + t.tv_nsec;
}

void report(benchmark::State& state, int speed, qint64 cpuNs)
{
    const double bytes = double(state.iterations()) * SerialRound;
    // This program's share: ser2net's own work is in its process.
    state.counters["cpu ns/B"] = double(cpuNs) / bytes;
    state.counters["bytes/s"] = benchmark::Counter(bytes, benchmark::Counter::kIsRate);
    // What the line itself allows at 8N1: ten bits a byte.
    state.counters["line bytes/s"] = double(speed) / 10;
}

// The device talks, the program listens.
void serialReceive(benchmark::State& state, bool remote)
{
    app();
    const int speed = int(state.range(0));
    SerialBench bench;
    if (!bench.open(state, remote, speed))
        return;
    const QByteArray block = everyValue();
    const qint64 cpuBefore = threadCpuNs();
    for (auto _ : state) {
        const qint64 target = bench.received + SerialRound;
        for (qint64 sent = 0; sent < SerialRound; sent += block.size())
            bench.device->send(block);
        if (!spinUntil([&] { return bench.received >= target; })) {
            state.SkipWithError("bytes lost");
            return;
        }
    }
    report(state, speed, threadCpuNs() - cpuBefore);
}

// The program talks, the device listens.
void serialSend(benchmark::State& state, bool remote)
{
    app();
    const int speed = int(state.range(0));
    SerialBench bench;
    if (!bench.open(state, remote, speed))
        return;
    const QByteArray block = everyValue();
    const qint64 cpuBefore = threadCpuNs();
    for (auto _ : state) {
        const qint64 target = bench.device->received + SerialRound;
        for (qint64 sent = 0; sent < SerialRound; sent += block.size()) {
            // Beyond its output limit a link refuses blocks: wait for room.
            if (bench.connection.pendingOutput() > Connection::OutputLimit / 2
                && !spinUntil([&] { return bench.connection.pendingOutput() < Connection::OutputLimit / 4; })) {
                state.SkipWithError("output stuck");
                return;
            }
            bench.connection.send(block);
        }
        if (!spinUntil([&] { return bench.device->received >= target; })) {
            state.SkipWithError("bytes lost");
            return;
        }
    }
    report(state, speed, threadCpuNs() - cpuBefore);
}

void BM_RemoteReceive(benchmark::State& state)
{
    serialReceive(state, true);
}

void BM_LocalReceive(benchmark::State& state)
{
    serialReceive(state, false);
}

void BM_RemoteSend(benchmark::State& state)
{
    serialSend(state, true);
}

void BM_LocalSend(benchmark::State& state)
{
    serialSend(state, false);
}

// A field of /proc/self/status in KiB ("VmRSS", "VmHWM").
qint64 statusKiB(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
    }
    return 0;
}

// range(0): 0 a TCP server, 1 a remote serial port; range(1): MiB sent.
void BM_Flood(benchmark::State& state)
{
    app();
    const bool remote = state.range(0) == 1;
    const qint64 volume = state.range(1) << 20;
    for (auto _ : state) {
        Connection connection;
        QRV16::MessageCollector collector;
        korvtest::Flood flood;
        qint64 received = 0;
        qint64 mostHeld = 0;
        qint64 mostUnsent = 0;
        qint64 mostCollected = 0;
        const auto socket = [&]() -> QAbstractSocket* {
            if (connection.socket())
                return connection.socket();
            return qobject_cast<QAbstractSocket*>(connection.connection());
        };
        QObject::connect(&connection, &Connection::rawReceived, &connection, [&](const QByteArray& data) {
            received += data.size();
            if (QAbstractSocket* s = socket()) {
                mostHeld = qMax(mostHeld, s->bytesAvailable());
                mostUnsent = qMax(mostUnsent, s->bytesToWrite());
            }
        });
        QObject::connect(&connection, &Connection::received, &connection, [&](int, int, const QByteArray& data) {
            collector.append(data);
            while (collector.hasMessage())
                collector.nextMessage();
            mostCollected = qMax<qint64>(mostCollected, collector.pending());
        });
        ConnectionSettings settings;
        int listener = -1;
        quint16 port = 0;
        if (remote) {
            listener = korvtest::Flood::listenOnLoopback(&port);
            settings.setMode(ConnectionSettings::SerialMode);
            settings.setSerialPort(QStringLiteral("rfc2217://127.0.0.1:%1").arg(port));
        } else {
            settings.setMode(ConnectionSettings::ServerMode);
            settings.setServerAddress(QStringLiteral("127.0.0.1"));
            settings.setServerPort(0);
        }
        connection.setSettings(settings);
        connection.connect();
        int fd = -1;
        if (remote) {
            fd = ::accept(listener, nullptr, nullptr);
            ::close(listener);
        } else {
            const auto* server = qobject_cast<const QTcpServer*>(connection.connection());
            fd = korvtest::Flood::connectTo(server ? server->serverPort() : 0);
        }
        if (fd < 0 || !spinUntil([&] { return socket() && socket()->state() == QAbstractSocket::ConnectedState; })) {
            state.SkipWithError("no link");
            return;
        }
        const qint64 rssBefore = statusKiB("VmRSS");
        // Resets the peak of resident memory to what is resident now.
        QFile clear(QStringLiteral("/proc/self/clear_refs"));
        if (clear.open(QIODevice::WriteOnly))
            clear.write("5");
        clear.close();
        korvtest::StallMeter meter;
        flood.start(fd, volume);
        // The remote port's Telnet commands take some bytes: its end is the close.
        const bool ended = spinUntil([&] {
            return flood.done && (remote ? !connection.isConnected() && socket()->bytesAvailable() == 0
                                         : received >= volume);
        });
        meter.stop();
        if (!ended) {
            state.SkipWithError("the flood did not get through");
            return;
        }
        state.counters["held KiB"] = double(mostHeld) / 1024;
        // Our answers to the flood's Telnet commands, which its sender never reads.
        state.counters["unsent KiB"] = double(mostUnsent) / 1024;
        state.counters["collector KiB"] = double(mostCollected) / 1024;
        state.counters["RSS growth MiB"] = double(statusKiB("VmHWM") - rssBefore) / 1024;
        state.counters["loop stall ms"] = double(meter.longest);
    }
    state.counters["MB/s"] = benchmark::Counter(double(volume) * double(state.iterations()) / 1e6,
                                                benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(BM_Flood)->ArgNames({"remote", "MiB"})->Args({0, 1024})->Args({1, 1024})->Iterations(1)->UseRealTime();
BENCHMARK(BM_QTcpSocketPair)->UseRealTime();
BENCHMARK(BM_ConnectionPair)->UseRealTime();
BENCHMARK(BM_LocalReceive)->Arg(115200)->Arg(921600)->UseRealTime();
BENCHMARK(BM_RemoteReceive)->Arg(115200)->Arg(921600)->UseRealTime();
BENCHMARK(BM_LocalSend)->Arg(115200)->Arg(921600)->UseRealTime();
BENCHMARK(BM_RemoteSend)->Arg(115200)->Arg(921600)->UseRealTime();

KORV_BENCH_BESIDE("BM_ConnectionPair/real_time", "BM_QTcpSocketPair/real_time")
KORV_BENCH_BESIDE("BM_RemoteReceive/115200/real_time", "BM_LocalReceive/115200/real_time")
KORV_BENCH_BESIDE("BM_RemoteReceive/921600/real_time", "BM_LocalReceive/921600/real_time")
KORV_BENCH_BESIDE("BM_RemoteSend/115200/real_time", "BM_LocalSend/115200/real_time")
KORV_BENCH_BESIDE("BM_RemoteSend/921600/real_time", "BM_LocalSend/921600/real_time")

KORV_BENCH_MAIN("BM_QTcpSocketPair/real_time")
