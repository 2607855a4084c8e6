// SPDX-License-Identifier: MIT
// A log or hex dump someone hands over: the record reader round-trips any
// source and text, and a replay of any bytes ends, completed, with at most
// two reports a line. A mismatch aborts.

#include "files/logrecord.h"
#include "fuzz/demotable.h"
#include "trace/channel.h"
#include "trace/replayer.h"
#include "trace/tracemodel.h"

#include <QDateTime>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void fail(const char* what, const QString& detail = QString())
{
    std::fprintf(stderr, "%s\n%s\n", what, qPrintable(detail));
    std::abort();
}

// The bytes as a source and a text, cut at the first NUL.
void roundTrip(QByteArrayView input)
{
    const qsizetype cut = input.indexOf('\0');
    const QString source = QString::fromUtf8(cut < 0 ? QByteArrayView() : input.first(cut));
    const QString text = QString::fromUtf8(cut < 0 ? input : input.sliced(cut + 1));
    const int number = input.isEmpty() ? -1 : int(uint8_t(input.front())) - 64;
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(qint64(number) * 86400000LL);
    const QString line = LogRecord::format(time, source, text, number, number, -1);
    const QStringList fields = LogRecord::split(line);
    const QString n = number >= 0 ? QString::number(number) : QString();
    const QStringList expected{time.toString(QStringLiteral("yyyy-MM-dd'T'hh:mm:ss.zzz")), source, text, n, n,
                               QString()};
    if (fields != expected)
        fail("a record does not read back as written", line);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    // The trace model's colours and fonts want a GUI application, not a screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArrayView input(reinterpret_cast<const char*>(data), qsizetype(size));
    roundTrip(input);

    static QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("replay"));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(input.data(), input.size()) != input.size())
            fail("cannot write the replay file", file.errorString());
    }
    // An odd first byte makes it a hex dump, so that both readers see everything.
    const Replayer::Mode mode = !input.isEmpty() && (input.front() & 1) ? Replayer::HexDump : Replayer::LogFile;

    // One trace for all runs, emptied each time: what a replay costs, not a window's set-up.
    static TraceModel model;
    static Channel channel(1);
    static Replayer replayer(&model);
    static const bool ready = [] {
        model.setTags(demoTable());
        channel.setModel(&model);
        replayer.setChannels(&channel, nullptr, &channel);
        return true;
    }();
    Q_UNUSED(ready);
    model.clear();
    QEventLoop loop;
    bool completed = false;
    bool ended = false;
    const QMetaObject::Connection connection = QObject::connect(&replayer, &Replayer::finished, &loop, [&](bool ok) {
        completed = ok;
        ended = true;
        loop.quit();
    });
    if (!replayer.start(path, mode))
        fail("a replay did not start");
    if (!ended)
        loop.exec();
    QObject::disconnect(connection);
    if (!completed)
        fail("a replay ended incomplete");
    // A record may have a bad time and a bad message, each said once.
    if (mode == Replayer::LogFile && replayer.badRecords() > 2 * (input.count('\n') + 1))
        fail("more than two reports for a line");
    return 0;
}
