// SPDX-License-Identifier: MIT
// Loopback TCP throughput in 64-byte blocks: from Connection::send on one
// side to Connection::received on the other, beside a plain pair of
// QTcpSockets carrying the same blocks as the baseline.

#include "bench/korvbench.h"
#include "connection/connection.h"
#include "connection/connectionsettings.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>
#include <memory>

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

} // namespace

BENCHMARK(BM_QTcpSocketPair)->UseRealTime();
BENCHMARK(BM_ConnectionPair)->UseRealTime();

KORV_BENCH_MAIN("BM_QTcpSocketPair/real_time")
