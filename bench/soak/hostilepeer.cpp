// SPDX-License-Identifier: MIT
// The window with a peer that floods random bytes into channel 1, a TCP
// server on loopback, as fast as loopback takes them. Prints the rate,
// resident memory (at the start, its most and at the end), the trace's
// lines, the p99 and the worst lateness of a 10 ms timer and the event
// loop's longest stretch of its own CPU. Fails when the p99 reaches 100 ms.
//   hostilepeer [MIB [bytes]]   1024 MiB by default; "bytes" traces raw
//                               bytes and message bytes besides

#include "app/mainwindow.h"
#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "qrv16/types.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"
#include "tests/app/windowdriver.h"
#include "tests/support/flood.h"
#include "tests/support/freeport.h"
#include "tests/support/serversettings.h"
#include "tests/support/stallmeter.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QStandardPaths>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QRV16::pinTimeZone(); // as main() does
    QApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-hostilepeer"));
    QStandardPaths::setTestModeEnabled(true);
    const qint64 volume = qint64(argc > 1 ? std::atoi(argv[1]) : 1024) << 20;
    const bool bytes = argc > 2 && qstrcmp(argv[2], "bytes") == 0;

    MainWindow window;
    window.show();
    const std::pair<const char*, bool> toggles[] = {
        {"Raw data bytes", bytes}, {"Message bytes", bytes}, {"Decoded message", true}, {"Auto scroll", true},
        {"Pause", false},          {"Link", false},
    };
    for (const auto& [text, on] : toggles) {
        QAction* toggle = korvtest::actionNamed(&window, QLatin1String(text));
        if (!toggle) {
            std::fprintf(stderr, "hostilepeer: no %s\n", text);
            return 2;
        }
        if (toggle->isChecked() != on)
            toggle->trigger();
    }
    const quint16 port = korvtest::freePort();
    if (!port)
        return 2;
    Connection* link = window.channel(1)->connection();
    link->setSettings(korvtest::loopbackServer(port));
    link->connect();
    if (!korvtest::waitFor([link] { return link->isListening(); }, 30000))
        return 2;
    qint64 received = 0;
    QObject::connect(link, &Connection::rawReceived, link, [&](const QByteArray& data) { received += data.size(); });

    korvtest::Flood flood;
    const int fd = korvtest::Flood::connectTo(port);
    if (fd < 0 || !korvtest::waitFor([link] { return link->isConnected(); }, 30000))
        return 2;
    const qint64 startKiB = korvtest::residentKiB();
    qint64 mostKiB = startKiB;
    std::vector<qint64> lateness;
    QElapsedTimer tick;
    tick.start();
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    QObject::connect(&probe, &QTimer::timeout, &probe, [&] {
        lateness.push_back(std::max<qint64>(0, tick.restart() - 10));
        mostKiB = std::max(mostKiB, korvtest::residentKiB());
    });
    probe.start(10);
    korvtest::StallMeter stall;
    QElapsedTimer clock;
    clock.start();
    flood.start(fd, volume);
    korvtest::waitFor([&] { return received >= volume; }, 3600 * 1000);
    const double seconds = clock.elapsed() / 1000.0;
    probe.stop();
    stall.stop();
    std::sort(lateness.begin(), lateness.end());
    const double p99 = lateness.empty() ? 0 : double(lateness[lateness.size() * 99 / 100]);
    std::printf("| %lld MiB%s | %.0f MB/s | %d | %.1f | %.1f | %.1f | %.0f | %lld | %lld |\n", volume >> 20,
                bytes ? ", raw and message bytes" : "", volume / seconds / 1e6, window.traceModel()->lineCount(),
                startKiB / 1024.0, mostKiB / 1024.0, korvtest::residentKiB() / 1024.0, p99,
                lateness.empty() ? 0LL : (long long)lateness.back(), (long long)stall.longest);
    return received == volume && p99 < 100 ? 0 : 1;
}
