// SPDX-License-Identifier: MIT
// The window left running with both channels busy and logging (see
// tests/app/soak.h): resident memory and the event loop's p99 lateness per
// minute, then the log checked for every message. Fails when memory drifts
// more than 2% after the first minute, a minute's p99 reaches 50 ms, or a
// message is missing or out of order.
//   soak [SECONDS [RATE]]     3600 s and 2000 messages/s by default

#include "tests/app/soak.h"

#include "qrv16/types.h"

#include <QApplication>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QRV16::pinTimeZone();
    QApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-soak"));
    // The user's settings stay as they are.
    QStandardPaths::setTestModeEnabled(true);
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 3600;
    const int rate = argc > 2 ? std::atoi(argv[2]) : 2000;
    constexpr int Minute = 60;

    QTemporaryDir dir;
    korvtest::Soak soak(dir.path(), rate);
    const QString error = soak.start();
    if (!error.isEmpty()) {
        std::fprintf(stderr, "soak: %s\n", qPrintable(error));
        return 2;
    }
    const korvtest::Soak::Result result = soak.run(seconds, std::min(seconds, Minute));
    std::printf("%d s at %d messages/s on channel 1, the sequence besides; start: %.1f MiB resident\n", seconds,
                rate, result.startKiB / 1024.0);
    std::printf("| minute | resident MiB | p99 lateness ms | latest tick ms | loop CPU stall ms | sent | sequence runs |\n"
                "|---:|---:|---:|---:|---:|---:|---:|\n");
    double p99 = 0;
    for (size_t i = 0; i < result.periods.size(); ++i) {
        const auto& p = result.periods[i];
        std::printf("| %zu | %.1f | %.0f | %lld | %lld | %lld | %d |\n", i + 1, p.residentKiB / 1024.0, p.p99Ms,
                    (long long)p.worstMs, (long long)p.cpuStallMs, (long long)p.sent, p.sequenceRuns);
        p99 = std::max(p99, p.p99Ms);
    }
    // Drift: the most resident memory after the first minute, against the first minute's.
    double drift = 0;
    if (result.periods.size() > 1) {
        const double first = double(result.periods.front().residentKiB);
        qint64 most = 0;
        for (size_t i = 1; i < result.periods.size(); ++i)
            most = std::max(most, result.periods[i].residentKiB);
        drift = (double(most) - first) / first * 100;
    }
    std::printf("\nmemory drift after the first minute: %+.2f%%; worst p99: %.0f ms; %lld sent, %lld and %lld "
                "logged as sent and received, log %.1f MiB; %s\n",
                drift, p99, (long long)result.sent, (long long)result.loggedSent, (long long)result.loggedReceived,
                result.logBytes / 1048576.0, result.error.isEmpty() ? "nothing missing" : qPrintable(result.error));
    const bool ok = result.error.isEmpty() && drift <= 2.0 && p99 < 50;
    return ok ? 0 : 1;
}
