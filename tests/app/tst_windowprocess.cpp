// SPDX-License-Identifier: MIT
// The window in a process of its own, which this program starts by running
// itself again. Killed while it logs what a loopback peer sends, it loses
// at most its last second: every message up to one seen on disk before the
// kill is in the log, in order, in whole records, and a record the kill cut
// is reported once when the log is replayed. Under a file size limit, where
// a write past it fails as on a full disk (SIGXFSZ ignored), logging stops
// once with the error named while the trace goes on, and each save of a
// user's file fails with the error and leaves the old file and its backup
// as they were.

#include "tests/app/windowdriver.h"
#include "tests/app/windowlinks.h"

#include "files/logrecord.h"
#include "qrv16/messageparser.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/tracelines.h"
#include "trace/replayer.h"
#include "trace/widgets/tracelogging.h"

#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>

using korvtest::actionNamed;
using korvtest::trigger;

namespace {

const char dirVariable[] = "KORV_KILLED_DIR";
const char portVariable[] = "KORV_KILLED_PORT";

// Every example file is larger.
constexpr rlim_t SizeLimit = 1024;
const char fullDirVariable[] = "KORV_FULL_DIR";

bool underSizeLimit()
{
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur == SizeLimit;
}

struct Document
{
    const char* name;
    const char* example;
    const char* open;
    const char* saveAs; // null: "Edit Definitions" opens the editor, whose "Save as..." saves
};

const Document documents[] = {
    {"definitions", "demo.qrvdef", "Open Definitions", nullptr},
    {"bookmarks", "demo.qrvbm", "Open Bookmarks", "Save Bookmarks as ..."},
    {"answers", "pump-station.qrvans", "Open Answers", "Save Answers As"},
    {"sequences", "pump-station.qrvseq", "Open Sequences", "Save Sequences As"},
};

QString example(const Document& document)
{
    return QStringLiteral(KORV_SOURCE_DIR "/examples/") + QLatin1String(document.example);
}

QString pathIn(const QString& dir, const Document& document)
{
    return dir + QLatin1Char('/') + QLatin1String(document.example);
}

QByteArray previousVersion(const Document& document)
{
    return QByteArray("the version before this ") + document.name + '\n';
}

} // namespace

class TestWindowProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    // Runs in the child that killedWhileLogging starts.
    void logUntilKilled();
    void killedWhileLogging();
    // These two run in the child that fullDisk starts.
    void logStopsOnce();
    void savesFail_data();
    void savesFail();
    void fullDisk();
};

void TestWindowProcess::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test"));
}

void TestWindowProcess::logUntilKilled()
{
    const QString dir = qEnvironmentVariable(dirVariable);
    if (dir.isEmpty())
        QSKIP("runs in the child that killedWhileLogging starts");
    std::vector<std::unique_ptr<korvtest::Pty>> links;
    auto window = windowWithLinks(&links);
    QVERIFY(trigger(window.get(), QStringLiteral("Open Definitions"),
                    QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")));
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::ClientMode);
    settings.setClientAddress(QStringLiteral("127.0.0.1"));
    settings.setClientPort(qEnvironmentVariableIntValue(portVariable));
    Connection* link = window->channel(1)->connection();
    link->disconnect();
    link->setSettings(settings);
    link->connect();
    QVERIFY(trigger(window.get(), QStringLiteral("Log to file..."), dir + QStringLiteral("/killed.csv")));
    QVERIFY(window->logging()->isLogging());
    // Until the kill.
    QTest::qWait(600000);
    QFAIL("not killed");
}

void TestWindowProcess::killedWhileLogging()
{
    if (!qEnvironmentVariableIsEmpty(dirVariable))
        QSKIP("the child's part is logUntilKilled");
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString log = dir.filePath(QStringLiteral("killed.csv"));
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QLatin1String(dirVariable), dir.path());
    environment.insert(QLatin1String(portVariable), QString::number(server.serverPort()));
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("logUntilKilled")});
    QVERIFY2(server.waitForNewConnection(120000), child.readAll().constData());
    std::unique_ptr<QTcpSocket> peer(server.nextPendingConnection());
    // The window connects before it starts its log: traffic waits for the
    // file, or its first messages would be received before logging began.
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(log), 120000);

    // A message every 100 ms: in the test's time far less than a buffer of
    // the log, so only the flush every second puts them on disk.
    const auto tags = demoTags();
    QRV16::MessageParser parser(tags.get());
    int sent = 0;
    QTimer traffic;
    QObject::connect(&traffic, &QTimer::timeout, &traffic,
                     [&] { peer->write(parser.parse(QStringLiteral("PumpId=%1").arg(sent++)).bytes()); });
    traffic.start(100);
    const auto onDisk = [&](int number) {
        return readFile(log).contains(QByteArray(",\"PumpId=" + QByteArray::number(number) + "\","));
    };
    QTRY_VERIFY_WITH_TIMEOUT(onDisk(5), 15000);
    // And again under the traffic that went on meanwhile.
    const int seen = sent;
    QTRY_VERIFY_WITH_TIMEOUT(onDisk(seen), 15000);
    ::kill(pid_t(child.processId()), SIGKILL);
    QVERIFY(child.waitForFinished(30000));
    QCOMPARE(child.exitStatus(), QProcess::CrashExit);
    traffic.stop();

    // Whole records, the messages without a gap up to at least the one
    // seen; at most the last record cut.
    QList<QByteArray> records = readFile(log).split('\n');
    const QByteArray cut = records.takeLast();
    int next = 0;
    for (const QByteArray& record : std::as_const(records)) {
        const QStringList fields = LogRecord::split(QString::fromUtf8(record));
        QVERIFY2(fields.size() == 6, record.constData());
        if (fields.at(1) != QLatin1String("1") || !fields.at(2).startsWith(QLatin1String("PumpId=")))
            continue;
        QCOMPARE(fields.at(2), QStringLiteral("PumpId=%1").arg(next));
        ++next;
    }
    QVERIFY2(next > seen, qPrintable(QStringLiteral("%1 logged, %2 seen").arg(next).arg(seen)));

    // A replay takes the whole records and says the cut one once.
    TraceModel model;
    model.setTags(tags.get());
    Replayer replayer(&model);
    QStringList said;
    QObject::connect(&replayer, &Replayer::message, &replayer, [&](const QString& text, StyleColor) { said << text; });
    QSignalSpy finished(&replayer, &Replayer::finished);
    QVERIFY(replayer.start(log, Replayer::LogFile));
    QVERIFY(finished.wait(60000));
    const QStringList bad = said.filter(QRegularExpression(QStringLiteral("^Line \\d+: ")));
    if (cut.isEmpty()) {
        QVERIFY2(bad.isEmpty(), qPrintable(bad.join(QLatin1Char('\n'))));
    } else {
        QCOMPARE(bad, QStringList{QStringLiteral("Line %1: cut short, skipped").arg(records.size() + 1)});
    }
    QCOMPARE(lines(model).filter(QRegularExpression(QStringLiteral("^1\\|PumpId="))).size(), next);
}

void TestWindowProcess::logStopsOnce()
{
    if (!underSizeLimit())
        QSKIP("runs under the file size limit that fullDisk sets");
    std::vector<std::unique_ptr<korvtest::Pty>> links;
    auto window = windowWithLinks(&links);
    QVERIFY(trigger(window.get(), QStringLiteral("Open Definitions"),
                    QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")));
    const QString log = qEnvironmentVariable(fullDirVariable) + QStringLiteral("/full.csv");
    QVERIFY(trigger(window.get(), QStringLiteral("Log to file..."), log));
    QVERIFY(window->logging()->isLogging());

    const auto tags = demoTags();
    QRV16::MessageParser parser(tags.get());
    int sent = 0;
    const auto send = [&](int count) {
        QByteArray bytes;
        for (int i = 0; i < count; ++i)
            bytes += parser.parse(QStringLiteral("PumpId=%1").arg(sent++)).bytes();
        return links.at(0)->write(bytes);
    };
    const QString stopped = QStringLiteral("Log|Log stopped: File too large");
    // Received messages until the log reaches the limit.
    QTRY_VERIFY_WITH_TIMEOUT((send(10), lines(*window->traceModel()).contains(stopped)), 60000);
    QVERIFY(!window->logging()->isLogging());
    QVERIFY(actionNamed(window.get(), QStringLiteral("Log to file..."))->isEnabled());
    QVERIFY(!actionNamed(window.get(), QStringLiteral("Stop logging"))->isEnabled());

    // The trace goes on, and the stop is said once.
    QVERIFY(send(5));
    const QString last = QStringLiteral("1|PumpId=%1").arg(sent - 1);
    QTRY_VERIFY_WITH_TIMEOUT(lines(*window->traceModel()).contains(last), 30000);
    QCOMPARE(lines(*window->traceModel()).count(stopped), 1);
    QVERIFY(QFileInfo(log).size() <= qint64(SizeLimit));
}

void TestWindowProcess::savesFail_data()
{
    QTest::addColumn<int>("document");
    for (int i = 0; i < int(std::size(documents)); ++i)
        QTest::newRow(documents[i].name) << i;
}

void TestWindowProcess::savesFail()
{
    if (!underSizeLimit())
        QSKIP("runs under the file size limit that fullDisk sets");
    QFETCH(int, document);
    const Document& d = documents[document];
    const QString path = pathIn(qEnvironmentVariable(fullDirVariable), d);

    std::vector<std::unique_ptr<korvtest::Pty>> links;
    auto window = windowWithLinks(&links);
    QStringList said;
    QVERIFY(trigger(window.get(), QLatin1String(d.open), path, &said));
    QWidget* saver = window.get();
    const QString saveAs = QLatin1String(d.saveAs ? d.saveAs : "Save as...");
    if (!d.saveAs) {
        const QWidgetList tops = QApplication::topLevelWidgets();
        const QSet<QWidget*> before(tops.cbegin(), tops.cend());
        QVERIFY(trigger(window.get(), QStringLiteral("Edit Definitions")));
        for (QWidget* top : QApplication::topLevelWidgets())
            if (!before.contains(top) && actionNamed(top, saveAs))
                saver = top;
        QVERIFY(saver != window.get());
    }
    QVERIFY(trigger(saver, saveAs, path, &said));
    const QString shown =
        said.join(QLatin1Char('\n')) + QLatin1Char('\n') + lines(*window->traceModel()).join(QLatin1Char('\n'));
    QVERIFY2(shown.contains(QStringLiteral("File too large")), qPrintable(shown));
    if (saver != window.get())
        delete saver;
}

void TestWindowProcess::fullDisk()
{
    if (underSizeLimit())
        QSKIP("the child's part is the other functions");
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    for (const Document& d : documents) {
        QVERIFY(QFile::copy(example(d), pathIn(dir.path(), d)));
        QVERIFY(writeFile(pathIn(dir.path(), d) + QStringLiteral(".bak"), previousVersion(d)));
    }

    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QLatin1String(fullDirVariable), dir.path());
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.setChildProcessModifier([] {
        // Writes past the limit fail with EFBIG, as on a full disk.
        const rlimit limit{SizeLimit, SizeLimit};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::signal(SIGXFSZ, SIG_IGN);
    });
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("logStopsOnce"), QStringLiteral("savesFail")});
    QVERIFY(child.waitForFinished(300000));
    const QByteArray output = child.readAll();
    QVERIFY2(child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0, output.constData());
    // Every case ran rather than skipped: initTestCase, the log, each
    // document and cleanupTestCase.
    QCOMPARE(output.count("PASS   : TestWindowProcess::"), qsizetype(std::size(documents)) + 3);

    for (const Document& d : documents) {
        const QString path = pathIn(dir.path(), d);
        QCOMPARE(readFile(path), readFile(example(d)));
        QCOMPARE(readFile(path + QStringLiteral(".bak")), previousVersion(d));
        QVERIFY(!QFile::exists(path + QStringLiteral(".tmp")));
    }
}

QTEST_MAIN(TestWindowProcess)
#include "tst_windowprocess.moc"
