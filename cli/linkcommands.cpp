// SPDX-License-Identifier: MIT
#include "cli/linkcommands.h"

#include "automation/answerparser.h"
#include "automation/autoanswer.h"
#include "automation/definitions.h"
#include "automation/sequenceparser.h"
#include "automation/sequencerunner.h"
#include "cli/commonoptions.h"
#include "cli/console.h"
#include "cli/junitreport.h"
#include "cli/linkoptions.h"
#include "cli/linkport.h"
#include "cli/receivelog.h"
#include "cli/signalwatcher.h"
#include "qrv16/messageparser.h"
#include "qrv16/messagepattern.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QFileInfo>
#include <QHash>
#include <QSaveFile>
#include <QSet>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace {

const QCommandLineOption& definitionsOption = CommonOptions::option(CommonOptions::Definitions);
const QCommandLineOption& quietOption = CommonOptions::option(CommonOptions::Quiet);
const QCommandLineOption& timeOption = CommonOptions::option(CommonOptions::Time);
const QCommandLineOption& channelOption = CommonOptions::option(CommonOptions::Channel);

// What each link command does first: its arguments, the link and the
// definitions. -1 to go on, else the exit status.
int prepare(QCommandLineParser& p, const LinkOptions& link, const QStringList& args, const QString& usage,
            ConnectionSettings* settings, Definitions* defs)
{
    if (const int code = Console::parseArguments(p, args, usage); code >= 0)
        return code;
    QString error;
    if (!link.read(p, settings, &error))
        return Console::usageError(error, usage);
    if (p.isSet(definitionsOption) && !Console::loadDefinitions(defs, p.value(definitionsOption), !p.isSet(quietOption)))
        return Console::Failed;
    return -1;
}

void addLinkOptions(QCommandLineParser& p, const LinkOptions& link)
{
    Console::addCommonOptions(p);
    link.addTo(p);
    CommonOptions::addTo(p, {CommonOptions::Definitions, CommonOptions::Quiet, CommonOptions::Time});
}

bool positiveNumber(const QString& text, int* value)
{
    bool ok = false;
    *value = text.toInt(&ok);
    return ok && *value > 0;
}

// The channel a link stands for to rules and sequences: 1 unless given.
bool channelFrom(const QCommandLineParser& p, const QCommandLineOption& option, int* channel)
{
    *channel = 1;
    return !p.isSet(option) || (positiveNumber(p.value(option), channel) && *channel <= 2);
}

// `answer` and `run`: the link, the definitions, exactly one file and the
// channel; a status to end with, or -1 to go on.
int prepareForFile(QCommandLineParser& p, const LinkOptions& link, const QStringList& args, const QString& usage,
                   const QString& notOneFile, ConnectionSettings* settings,
                   Definitions* defs, int* channel)
{
    if (const int code = prepare(p, link, args, usage, settings, defs); code >= 0)
        return code;
    if (p.positionalArguments().size() != 1)
        return Console::usageError(notOneFile, usage);
    if (!channelFrom(p, channelOption, channel))
        return Console::usageError(QStringLiteral("--channel wants 1 or 2"), usage);
    return -1;
}

// The end of a command: waits (briefly) for what was sent to leave, then
// leaves the loop with `code`. Later calls are ignored.
class Ending
{
public:
    Ending(QEventLoop* loop, LinkPort* port) : m_loop(loop), m_port(port) {}

    void finish(int code)
    {
        if (m_done)
            return;
        m_done = true;
        m_code = code;
        m_waited = 0;
        drain();
    }
    bool isDone() const { return m_done; }
    // The event loop until finish() is through; at once if it is already.
    int run() { return m_exited ? m_code : m_loop->exec(); }

private:
    static constexpr int Step = 10;
    static constexpr int Limit = 2000;

    void drain()
    {
        if (m_port->isConnected() && m_port->pendingOutput() > 0 && m_waited < Limit) {
            m_waited += Step;
            QTimer::singleShot(Step, m_loop, [this] { drain(); });
            return;
        }
        m_exited = true;
        m_loop->exit(m_code);
    }

    QEventLoop* m_loop;
    LinkPort* m_port;
    bool m_done = false;
    bool m_exited = false;
    int m_code = 0;
    int m_waited = 0;
};

// Wiring every command shares: a link that cannot be opened ends it with
// LinkFailed, SIGINT, SIGTERM and a closed output with `interrupted()`'s
// status.
template <typename Interrupted>
void wire(LinkPort* port, SignalWatcher* signals, Ending* ending, Interrupted interrupted)
{
    QObject::connect(port, &LinkPort::failed, port, [ending](const QString& reason) {
        Console::errorLine(QStringLiteral("korv"), QStringLiteral("cannot open the link: %1").arg(reason));
        ending->finish(Console::LinkFailed);
    });
    QObject::connect(signals, &SignalWatcher::signalled, port, [ending, interrupted](int) {
        ending->finish(interrupted());
    });
    // `korv listen | head`: ended as by a signal, files flushed.
    QObject::connect(port, &LinkPort::outputClosed, port, [ending, interrupted] {
        ending->finish(interrupted());
    });
}

} // namespace

int LinkCommands::send(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage: korv send LINK [-d FILE.qrvdef] [--expect PATTERN]... [--timeout MS] [--time] TEXT...\n"
        "Sends messages in the text notation and prints what comes back, decoded.\n"
        "Exit status 0 when every expected message arrived in time, 1 when one did\n"
        "not, 2 on a usage error, 3 when the link could not be opened.\n\n") +
        CommonOptions::help({CommonOptions::Definitions, CommonOptions::Quiet}) +
        QStringLiteral("  --expect PATTERN        a message to wait for: Tag, Tag=(Child=value ...), *;\n"
                       "                          repeat for several, each met by its own message\n"
                       "  --timeout MS            how long to wait for the link and then for the\n"
                       "                          expected messages (5000); without --expect, how\n"
                       "                          long to print what comes back (0)\n") +
        CommonOptions::help({CommonOptions::Time, CommonOptions::Help}) + QLatin1Char('\n') + LinkOptions::help();
    QCommandLineParser p;
    const LinkOptions link;
    addLinkOptions(p, link);
    const QCommandLineOption expectOption(QStringLiteral("expect"), QString(), QStringLiteral("PATTERN"));
    const QCommandLineOption timeoutOption(QStringLiteral("timeout"), QString(), QStringLiteral("MS"));
    p.addOptions({expectOption, timeoutOption});
    p.addPositionalArgument(QStringLiteral("TEXT"), QString());
    ConnectionSettings settings;
    Definitions defs;
    if (const int code = prepare(p, link, args, usage, &settings, &defs); code >= 0)
        return code;

    const QStringList texts = p.positionalArguments();
    if (texts.isEmpty())
        return Console::usageError(QStringLiteral("send needs a message"), usage);
    int timeout = 5000;
    if (p.isSet(timeoutOption) && !positiveNumber(p.value(timeoutOption), &timeout))
        return Console::usageError(QStringLiteral("--timeout wants milliseconds, not \"%1\"")
                                       .arg(p.value(timeoutOption)),
                                   usage);
    QList<QRV16::Message> messages;
    QRV16::MessageParser parser(defs.tags());
    for (int i = 0; i < texts.size(); ++i) {
        const QList<QRV16::Message> parsed = parser.parseList(texts.at(i));
        if (parser.hasError()) {
            Console::reportParseError(QStringLiteral("argument %1").arg(i + 1), 1, texts.at(i), parser);
            return Console::UsageError;
        }
        messages += parsed;
    }
    QVector<QRV16::MessagePattern> patterns;
    for (const QString& text : p.values(expectOption)) {
        QRV16::MessagePattern pattern(text, defs.tags());
        if (!pattern.isValid()) {
            Console::errorLine(QStringLiteral("--expect \"%1\"").arg(text),
                               QStringLiteral("%1 at column %2")
                                   .arg(pattern.errorMessage())
                                   .arg(pattern.errorStart() + 1));
            return Console::UsageError;
        }
        patterns.append(pattern);
    }
    // Without expectations the wait is only for replies someone asked to see.
    const int linger = patterns.isEmpty() ? (p.isSet(timeoutOption) ? timeout : 0) : timeout;

    QEventLoop loop;
    LinkPort port(1, settings, defs.tags());
    port.setTimestamps(p.isSet(timeOption));
    SignalWatcher signals;
    Ending ending(&loop, &port);
    QVector<bool> met(patterns.size(), false);
    qsizetype missing = patterns.size();
    bool sent = false;

    const auto reportMissing = [&](const QString& why) {
        for (int i = 0; i < patterns.size(); ++i) {
            if (!met.at(i))
                Console::errorLine(QStringLiteral("korv"),
                                   QStringLiteral("no message matched \"%1\" %2").arg(patterns.at(i).text(), why));
        }
    };
    wire(&port, &signals, &ending, [&] {
        if (missing > 0)
            reportMissing(QStringLiteral("before the interrupt"));
        return missing > 0 ? Console::Failed : Console::Success;
    });

    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, [&] {
        if (!sent) {
            Console::errorLine(QStringLiteral("korv"),
                               QStringLiteral("the link was not up within %1 ms").arg(timeout));
            ending.finish(Console::LinkFailed);
            return;
        }
        reportMissing(QStringLiteral("within %1 ms").arg(timeout));
        ending.finish(missing > 0 ? Console::Failed : Console::Success);
    });
    QObject::connect(&port, &LinkPort::ready, &loop, [&] {
        if (sent)
            return;
        sent = true;
        for (const QRV16::Message& message : std::as_const(messages))
            port.sendMessage(message);
        if (missing == 0 && linger == 0)
            ending.finish(Console::Success);
        else
            deadline.start(linger);
    });
    QObject::connect(&port, &LinkPort::arrived, &loop, [&](const QRV16::Message& message) {
        if (!sent)
            return;
        for (int i = 0; i < patterns.size(); ++i) {
            if (!met.at(i) && patterns.at(i).matches(message)) {
                met[i] = true;
                if (--missing == 0)
                    ending.finish(Console::Success);
                break;
            }
        }
    });
    QObject::connect(&port, &LinkPort::lost, &loop, [&] {
        reportMissing(QStringLiteral("before the link closed"));
        ending.finish(missing > 0 ? Console::Failed : Console::Success);
    });

    deadline.start(timeout);
    port.open();
    const int code = ending.run();
    port.close();
    return code;
}

int LinkCommands::listen(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage: korv listen LINK [-d FILE.qrvdef] [--count N] [--for SECONDS] [--hex] [--time]\n"
        "                   [--log FILE.csv] [--pcapng FILE] [--channel 1|2]\n"
        "Prints every message received, decoded, one per line, until --count or --for\n"
        "is reached, the link closes or SIGINT/SIGTERM arrives. Exit status 0, 1 when\n"
        "fewer than --count messages came or a file could not be written, 2 on a usage\n"
        "error, 3 when the link could not be opened.\n\n") +
        CommonOptions::help({CommonOptions::Definitions, CommonOptions::Quiet}) +
        QStringLiteral("  --count N               stop after N messages\n"
                       "  --for SECONDS           stop after this long (fractions allowed)\n"
                       "  --hex                   print the bytes in hexadecimal instead\n") +
        CommonOptions::help({CommonOptions::Time}) +
        QStringLiteral("  --log FILE.csv          also write the window's log format, for its replay\n"
                       "  --pcapng FILE           also write a capture for Wireshark, as the window's\n"
                       "                          \"Export trace as pcapng...\" does\n") +
        CommonOptions::help({CommonOptions::Channel, CommonOptions::Help}) + QLatin1Char('\n') + LinkOptions::help();
    QCommandLineParser p;
    const LinkOptions link;
    addLinkOptions(p, link);
    const QCommandLineOption countOption(QStringLiteral("count"), QString(), QStringLiteral("N"));
    const QCommandLineOption forOption(QStringLiteral("for"), QString(), QStringLiteral("SECONDS"));
    const QCommandLineOption hexOption(QStringLiteral("hex"));
    const QCommandLineOption logOption(QStringLiteral("log"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption pcapngOption(QStringLiteral("pcapng"), QString(), QStringLiteral("FILE"));
    p.addOptions({countOption, forOption, hexOption, logOption, pcapngOption, channelOption});
    ConnectionSettings settings;
    Definitions defs;
    if (const int code = prepare(p, link, args, usage, &settings, &defs); code >= 0)
        return code;
    if (!p.positionalArguments().isEmpty())
        return Console::usageError(QStringLiteral("listen takes no arguments"), usage);
    int count = 0;
    if (p.isSet(countOption) && !positiveNumber(p.value(countOption), &count))
        return Console::usageError(QStringLiteral("--count wants a number, not \"%1\"").arg(p.value(countOption)),
                                   usage);
    double seconds = 0;
    if (p.isSet(forOption)) {
        bool ok = false;
        seconds = p.value(forOption).toDouble(&ok);
        if (!ok || seconds <= 0 || seconds > 24 * 3600 * 24)
            return Console::usageError(
                QStringLiteral("--for wants seconds, not \"%1\"").arg(p.value(forOption)), usage);
    }
    int channel = 0;
    if (!channelFrom(p, channelOption, &channel))
        return Console::usageError(QStringLiteral("--channel wants 1 or 2"), usage);

    ReceiveLog log(defs.tags());
    QString error;
    if ((p.isSet(logOption) && !log.openCsv(p.value(logOption), &error)) ||
        (p.isSet(pcapngOption) && !log.openPcapng(p.value(pcapngOption), &error))) {
        Console::errorLine(QStringLiteral("korv"), error);
        return Console::Failed;
    }

    QEventLoop loop;
    LinkPort port(channel, settings, defs.tags());
    port.setTimestamps(p.isSet(timeOption));
    port.setHex(p.isSet(hexOption));
    SignalWatcher signals;
    Ending ending(&loop, &port);
    int received = 0;
    const auto status = [&] { return count > 0 && received < count ? Console::Failed : Console::Success; };
    wire(&port, &signals, &ending, [] { return Console::Success; });
    QObject::connect(&port, &LinkPort::arrived, &loop,
                     [&](const QRV16::Message& message, const QDateTime& time, int src, int dst) {
                         // Whatever arrived is logged, up to --count.
                         if (count > 0 && received >= count)
                             return;
                         log.record(message, time, channel, src, dst);
                         if (++received == count) {
                             // Messages behind it in the same read are not printed either.
                             port.setPrintReceived(false);
                             ending.finish(Console::Success);
                         }
                     });
    QObject::connect(&port, &LinkPort::lost, &loop, [&] { ending.finish(status()); });
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, [&] { ending.finish(status()); });
    if (seconds > 0)
        limit.start(int(seconds * 1000));
    port.open();
    int code = ending.run();
    port.close();
    if (!log.close() && code == Console::Success)
        code = Console::Failed;
    return code;
}

int LinkCommands::answer(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage: korv answer LINK [-d FILE.qrvdef] [--channel 1|2] [--time] RULES.qrvans\n"
        "Plays a controller: answers what arrives by the rules of an answer file, as\n"
        "the window's automatic answers do, and prints what it receives and what it\n"
        "sends (\"> \"), until SIGINT/SIGTERM or until a client link closes.\n"
        "Exit status 0, 1 when the rules cannot be read, 2 on a usage error, 3 when\n"
        "the link could not be opened.\n\n") +
        CommonOptions::help({CommonOptions::Definitions, CommonOptions::Quiet, CommonOptions::Channel,
                             CommonOptions::Time, CommonOptions::Help}) +
        QLatin1Char('\n') + LinkOptions::help();
    QCommandLineParser p;
    const LinkOptions link;
    addLinkOptions(p, link);
    p.addOption(channelOption);
    p.addPositionalArgument(QStringLiteral("RULES"), QString());
    ConnectionSettings settings;
    Definitions defs;
    int channel = 0;
    if (const int code = prepareForFile(p, link, args, usage, QStringLiteral("answer takes exactly one rules file"), &settings,
                                        &defs, &channel);
        code >= 0)
        return code;
    AnswerParser rules;
    const bool read = rules.parse(p.positionalArguments().constFirst());
    if (!p.isSet(quietOption) && !rules.warnings().isEmpty())
        Console::err(rules.warnings());
    if (!read) {
        Console::err(rules.formatError() + QLatin1Char('\n'));
        return Console::Failed;
    }
    // Rules for the other channel only: the link would never answer.
    const QList<int> channels = AutoAnswer::channels(rules.rules());
    if (!channels.isEmpty() && !channels.contains(int(AnswerRule::AnyChannel)) && !channels.contains(channel)) {
        QStringList named;
        for (const int other : channels)
            named << QString::number(other);
        Console::note(QStringLiteral("no rule in %1 is for channel %2; its rules are for channel %3 (--channel %4)")
                          .arg(p.positionalArguments().constFirst())
                          .arg(channel)
                          .arg(named.join(QLatin1String(" and ")), named.constFirst()));
    }

    QEventLoop loop;
    LinkPort port(channel, settings, defs.tags());
    port.setTimestamps(p.isSet(timeOption));
    port.setPrintSent(true);
    AutoAnswer engine;
    // Before the rules: a rule that does not read is said at once.
    QObject::connect(&engine, &AutoAnswer::message, &loop, &Console::note);
    engine.setTags(defs.tags());
    engine.setRules(rules.rules());
    engine.setPorts(channel == 1 ? &port : nullptr, channel == 2 ? &port : nullptr);
    SignalWatcher signals;
    Ending ending(&loop, &port);
    wire(&port, &signals, &ending, [] { return Console::Success; });
    QObject::connect(&port, &LinkPort::lost, &loop, [&] { ending.finish(Console::Success); });
    port.open();
    const int code = ending.run();
    engine.setPorts(nullptr, nullptr);
    port.close();
    return code;
}

int LinkCommands::run(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage: korv run LINK [-d FILE.qrvdef] [--channel 1|2] [--sequence NAME] [--junit FILE.xml]\n"
        "                [--timeout MS] [--time] SEQUENCES.qrvseq\n"
        "Runs the sequences of a file one after the other on the link, as the window\n"
        "runs them, printing what goes out (\"> \") and comes in, each expect's verdict\n"
        "and each sequence's summary. Exit status 0 when every expect passed and every\n"
        "step could run, 1 otherwise or when a file cannot be read or written, 2 on a\n"
        "usage error, 3 when the link could not be opened.\n\n") +
        CommonOptions::help({CommonOptions::Definitions, CommonOptions::Quiet, CommonOptions::Channel}) +
        QStringLiteral("  --sequence NAME         run only the sequence of this name\n"
                       "  --junit FILE.xml        write a JUnit report: a test suite per sequence, a\n"
                       "                          test case per expect\n"
                       "  --timeout MS            how long to wait for the link (5000)\n") +
        CommonOptions::help({CommonOptions::Time, CommonOptions::Help}) + QLatin1Char('\n') + LinkOptions::help();
    QCommandLineParser p;
    const LinkOptions link;
    addLinkOptions(p, link);
    const QCommandLineOption sequenceOption(QStringLiteral("sequence"), QString(), QStringLiteral("NAME"));
    const QCommandLineOption junitOption(QStringLiteral("junit"), QString(), QStringLiteral("FILE"));
    const QCommandLineOption timeoutOption(QStringLiteral("timeout"), QString(), QStringLiteral("MS"));
    p.addOptions({channelOption, sequenceOption, junitOption, timeoutOption});
    p.addPositionalArgument(QStringLiteral("SEQUENCES"), QString());
    ConnectionSettings settings;
    Definitions defs;
    int channel = 0;
    if (const int code = prepareForFile(p, link, args, usage, QStringLiteral("run takes exactly one sequence file"), &settings,
                                        &defs, &channel);
        code >= 0)
        return code;
    int timeout = 5000;
    if (p.isSet(timeoutOption) && !positiveNumber(p.value(timeoutOption), &timeout))
        return Console::usageError(QStringLiteral("--timeout wants milliseconds, not \"%1\"")
                                       .arg(p.value(timeoutOption)),
                                   usage);
    const QString path = p.positionalArguments().constFirst();
    SequenceParser file;
    const bool read = file.parse(path);
    if (!p.isSet(quietOption) && !file.warnings().isEmpty())
        Console::err(file.warnings());
    if (!read) {
        Console::err(file.formatError() + QLatin1Char('\n'));
        return Console::Failed;
    }
    QVector<Sequence> sequences = file.sequences();
    if (p.isSet(sequenceOption)) {
        const QString name = p.value(sequenceOption);
        sequences.erase(std::remove_if(sequences.begin(), sequences.end(),
                                       [&](const Sequence& s) { return s.name != name; }),
                        sequences.end());
        if (sequences.isEmpty())
            return Console::usageError(QStringLiteral("no sequence \"%1\" in %2").arg(name, path), usage);
    } else if (sequences.isEmpty()) {
        Console::errorLine(path, QStringLiteral("no sequence in the file"));
        return Console::Failed;
    }

    QEventLoop loop;
    LinkPort port(channel, settings, defs.tags());
    port.setTimestamps(p.isSet(timeOption));
    port.setPrintSent(true);
    SequenceRunner runner;
    runner.setTags(defs.tags());
    runner.setPorts(channel == 1 ? &port : nullptr, channel == 2 ? &port : nullptr);
    SignalWatcher signals;
    Ending ending(&loop, &port);
    JUnitReport report(QFileInfo(path).fileName());

    int current = -1;
    bool allPassed = true;
    bool started = false;
    bool interrupted = false;
    QSet<int> reached;     // steps of the running sequence with a test case
    QHash<int, int> runs;  // expects of the running sequence, by step: how often they ran

    const auto stepName = [&](int step) {
        const Sequence& sequence = sequences.at(current);
        const QString text = step >= 0 && step < sequence.steps.size() ? sequence.steps.at(step).text : QString();
        QString name = QStringLiteral("step %1: %2").arg(step + 1).arg(text);
        // Inside a repeat the same step runs again: each run is a case.
        if (const int n = ++runs[step]; n > 1)
            name += QStringLiteral(" (run %1)").arg(n);
        return name;
    };
    const auto startNext = [&] {
        if (interrupted)
            return;
        if (++current >= sequences.size()) {
            ending.finish(allPassed ? Console::Success : Console::Failed);
            return;
        }
        report.beginSuite(sequences.at(current).name);
        reached.clear();
        runs.clear();
        runner.start(sequences.at(current));
    };
    QObject::connect(&runner, &SequenceRunner::expectFinished, &loop,
                     [&](int step, bool passed, const QString& pattern, const QString& arrived, qint64 msecs) {
                         reached.insert(step);
                         report.addCase(stepName(step), passed ? JUnitReport::Passed : JUnitReport::Failed, msecs,
                                        passed ? QString() : arrived);
                         Console::out(passed ? QStringLiteral("PASS step %1: %2 (%3 ms)\n").arg(step + 1).arg(pattern).arg(msecs)
                                             : QStringLiteral("FAIL step %1: %2: %3\n").arg(step + 1).arg(pattern, arrived));
                         std::fflush(stdout);
                     });
    // A step that cannot run is the one that just started.
    int stepStarted = -1;
    QObject::connect(&runner, &SequenceRunner::stepStarted, &loop, [&](int step) { stepStarted = step; });
    QObject::connect(&runner, &SequenceRunner::message, &loop, [&](const QString& text) {
        const int step = stepStarted;
        reached.insert(step);
        report.addCase(stepName(step), JUnitReport::Error, 0, text);
        Console::out(QStringLiteral("ERROR %1\n").arg(text));
        std::fflush(stdout);
    });
    QObject::connect(&runner, &SequenceRunner::finished, &loop,
                     [&](const SequenceRunner::Summary& summary, const QString& line) {
                         const Sequence& sequence = sequences.at(current);
                         for (int step = 0; step < sequence.steps.size(); ++step) {
                             if (sequence.steps.at(step).kind == SequenceStep::Expect && !reached.contains(step))
                                 report.addCase(stepName(step), JUnitReport::Skipped, 0);
                         }
                         report.endSuite(summary.durationMs);
                         allPassed = allPassed && summary.passed();
                         Console::out(line + QLatin1Char('\n'));
                         std::fflush(stdout);
                         // Not from inside the runner's own signal.
                         QTimer::singleShot(0, &loop, startNext);
                     });
    wire(&port, &signals, &ending, [&] {
        interrupted = true;
        runner.stop();
        return Console::Failed;
    });
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, [&] {
        if (started)
            return;
        Console::errorLine(QStringLiteral("korv"), QStringLiteral("the link was not up within %1 ms").arg(timeout));
        ending.finish(Console::LinkFailed);
    });
    QObject::connect(&port, &LinkPort::ready, &loop, [&] {
        if (started)
            return;
        started = true;
        startNext();
    });
    deadline.start(timeout);
    port.open();
    int code = ending.run();
    runner.stop();
    runner.setPorts(nullptr, nullptr);
    port.close();

    if (p.isSet(junitOption) && started) {
        QSaveFile out(p.value(junitOption));
        if (!out.open(QIODevice::WriteOnly) || out.write(report.toXml()) < 0 || !out.commit()) {
            Console::errorLine(p.value(junitOption), out.errorString());
            if (code == Console::Success)
                code = Console::Failed;
        }
    }
    return code;
}
