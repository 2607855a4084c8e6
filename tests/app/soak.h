// SPDX-License-Identifier: MIT
#pragma once

// The window under hours of traffic, as an engineer leaves it overnight:
// channel 2 a TCP server answering by examples/pump-station.qrvans,
// channel 1 its client running examples/pump-station.qrvseq over and over
// and sending `rate` numbered messages a second besides, everything logged.
// Measures resident memory and the event loop's lateness per period; at
// the end every numbered message must be in the log, sent and received, in
// order. Driven through what a user touches: the menus' actions by their
// texts, the file dialogs, the channels' links and the files on disk.

#include "app/mainwindow.h"
#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "files/logrecord.h"
#include "tests/app/windowdriver.h"
#include "tests/support/freeport.h"
#include "tests/support/serversettings.h"
#include "tests/support/stallmeter.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"
#include "trace/widgets/tracelogging.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <vector>

namespace korvtest {

class Soak
{
public:
    struct Period
    {
        qint64 residentKiB = 0;
        double p99Ms = 0;   // lateness of a 10 ms timer
        qint64 worstMs = 0; // the latest tick
        qint64 cpuStallMs = 0; // the loop's longest stretch of its own CPU time
        qint64 sent = 0;
        int sequenceRuns = 0;
    };

    struct Result
    {
        qint64 startKiB = 0;
        std::vector<Period> periods;
        qint64 sent = 0;
        qint64 loggedSent = 0;
        qint64 loggedReceived = 0;
        qint64 logBytes = 0;
        int sequenceRuns = 0;
        QString error; // empty when every message is in the log, in order
    };

    // `dir` takes the log.
    Soak(const QString& dir, int rate) : m_dir(dir), m_rate(rate) {}

    QString start()
    {
        m_window = std::make_unique<MainWindow>();
        m_window->show();
        // The channels are each other's peers here: linked, each would
        // relay what the other sent back to it for ever.
        QAction* link = actionNamed(m_window.get(), QStringLiteral("Link"));
        if (!link)
            return QStringLiteral("no Link");
        if (link->isChecked())
            link->trigger();
        const QString examples = QStringLiteral(KORV_SOURCE_DIR "/examples/");
        if (!trigger(m_window.get(), QStringLiteral("Open Definitions"), examples + QStringLiteral("demo.qrvdef")))
            return QStringLiteral("no definitions");
        if (!trigger(m_window.get(), QStringLiteral("Open Answers"), examples + QStringLiteral("pump-station.qrvans")))
            return QStringLiteral("no answers");
        QAction* answering = actionNamed(m_window.get(), QStringLiteral("Answer Automatically"));
        if (!answering)
            return QStringLiteral("no automatic answers");
        if (!answering->isChecked())
            answering->trigger();
        if (!trigger(m_window.get(), QStringLiteral("Open Sequences"), examples + QStringLiteral("pump-station.qrvseq")))
            return QStringLiteral("no sequences");

        // A free port for channel 2 to listen on.
        const quint16 port = freePort();
        if (!port)
            return QStringLiteral("no free port");
        Connection* two = m_window->channel(2)->connection();
        two->setSettings(loopbackServer(port));
        two->connect();
        if (!waitFor([two] { return two->isListening(); }, 30000))
            return QStringLiteral("channel 2 does not listen");
        ConnectionSettings client;
        client.setMode(ConnectionSettings::ClientMode);
        client.setClientAddress(QStringLiteral("127.0.0.1"));
        client.setClientPort(port);
        Connection* one = m_window->channel(1)->connection();
        one->setSettings(client);
        one->connect();
        if (!waitFor([one, two] { return one->isConnected() && two->isConnected(); }, 30000))
            return QStringLiteral("channel 1 does not connect to channel 2");

        m_log = m_dir + QStringLiteral("/soak.csv");
        if (!trigger(m_window.get(), QStringLiteral("Log to file..."), m_log) || !m_window->logging()->isLogging())
            return QStringLiteral("not logging");
        m_run = actionNamed(m_window.get(), QStringLiteral("Run"));
        if (!m_run)
            return QStringLiteral("no sequence run");
        return QString();
    }

    // Runs for `seconds`, a period every `periodSeconds`.
    Result run(int seconds, int periodSeconds)
    {
        Result result;
        result.startKiB = residentKiB();
        Channel* one = m_window->channel(1);
        QElapsedTimer clock;
        clock.start();

        QTimer traffic;
        traffic.setTimerType(Qt::PreciseTimer);
        QObject::connect(&traffic, &QTimer::timeout, &traffic, [&] {
            const qint64 due = clock.elapsed() * m_rate / 1000;
            while (m_sent < due)
                one->sendMessage(QStringLiteral("PumpId=%1").arg(m_sent++));
        });
        traffic.start(10);

        // The sequence again each time it has ended.
        QTimer again;
        QObject::connect(&again, &QTimer::timeout, &again, [&] {
            if (m_run->isEnabled()) {
                m_run->trigger();
                ++m_runs;
            }
        });
        again.start(100);

        std::vector<qint64> lateness;
        QElapsedTimer tick;
        tick.start();
        QTimer probe;
        probe.setTimerType(Qt::PreciseTimer);
        QObject::connect(&probe, &QTimer::timeout, &probe, [&] {
            lateness.push_back(std::max<qint64>(0, tick.restart() - 10));
        });
        probe.start(10);

        for (int end = periodSeconds; end <= seconds; end += periodSeconds) {
            StallMeter stall;
            lateness.clear();
            waitFor([&] { return clock.elapsed() >= qint64(end) * 1000; }, periodSeconds * 1000 + 60000);
            Period period;
            period.residentKiB = residentKiB();
            period.cpuStallMs = stall.longest;
            std::sort(lateness.begin(), lateness.end());
            if (!lateness.empty()) {
                period.p99Ms = double(lateness[lateness.size() * 99 / 100]);
                period.worstMs = lateness.back();
            }
            period.sent = m_sent;
            period.sequenceRuns = m_runs;
            result.periods.push_back(period);
        }
        traffic.stop();
        again.stop();
        probe.stop();
        result.sent = m_sent;
        result.sequenceRuns = m_runs;
        result.error = finish(&result);
        return result;
    }

private:
    QString finish(Result* result)
    {
        const QString last = QStringLiteral("PumpId=%1").arg(m_sent - 1);
        // Everything sent has arrived when the trace shows the last of it on channel 2.
        TraceModel* model = m_window->traceModel();
        const auto arrived = [&] {
            for (int row = model->lineCount() - 1; row >= 0 && row >= model->lineCount() - 2000; --row) {
                if (model->index(row, TraceModel::SourceColumn).data().toString() == QLatin1String("2") &&
                    model->index(row, TraceModel::TextColumn).data().toString() == last)
                    return true;
            }
            return false;
        };
        if (!waitFor(arrived, 60000)) {
            QStringList tail;
            for (int row = std::max(0, model->lineCount() - 8); row < model->lineCount(); ++row)
                tail << model->index(row, TraceModel::SourceColumn).data().toString() + QLatin1Char('|') +
                            model->index(row, TraceModel::TextColumn).data().toString();
            QStringList odd;
            for (int row = 0; row < model->lineCount() && odd.size() < 8; ++row) {
                const QString source = model->index(row, TraceModel::SourceColumn).data().toString();
                if (source != QLatin1String("1") && source != QLatin1String("2"))
                    odd << source + QLatin1Char('|') + model->index(row, TraceModel::TextColumn).data().toString();
            }
            return QStringLiteral("%1 did not arrive; the trace ends with:\n%2\nother lines:\n%3")
                .arg(last, tail.join(QLatin1Char('\n')), odd.join(QLatin1Char('\n')));
        }
        if (!trigger(m_window.get(), QStringLiteral("Stop logging")))
            return QStringLiteral("logging did not stop");

        QFile log(m_log);
        if (!log.open(QIODevice::ReadOnly))
            return log.errorString();
        result->logBytes = log.size();
        qint64 next[3] = {0, 0, 0};
        qint64 number = 0;
        while (!log.atEnd()) {
            const QStringList fields = LogRecord::split(QString::fromUtf8(log.readLine()));
            if (fields.size() != 6)
                return QStringLiteral("a record of %1 fields").arg(fields.size());
            const int channel = fields.at(1) == QLatin1String("1") ? 1 : fields.at(1) == QLatin1String("2") ? 2 : 0;
            if (!channel || !fields.at(2).startsWith(QLatin1String("PumpId=")))
                continue;
            bool ok = false;
            number = fields.at(2).mid(7).toLongLong(&ok);
            if (!ok || number != next[channel])
                return QStringLiteral("channel %1: %2 where PumpId=%3 was due").arg(channel).arg(fields.at(2)).arg(next[channel]);
            ++next[channel];
        }
        result->loggedSent = next[1];
        result->loggedReceived = next[2];
        if (next[1] != m_sent || next[2] != m_sent)
            return QStringLiteral("%1 sent, %2 and %3 logged").arg(m_sent).arg(next[1]).arg(next[2]);
        return QString();
    }

    QString m_dir;
    int m_rate;
    std::unique_ptr<MainWindow> m_window;
    QString m_log;
    QAction* m_run = nullptr;
    qint64 m_sent = 0;
    int m_runs = 0;
};

} // namespace korvtest
