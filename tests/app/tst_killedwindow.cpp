// SPDX-License-Identifier: MIT
// A window killed while it logs loses at most its last second: this
// program runs itself again as a window logging what a loopback peer sends,
// kills it with SIGKILL, and reads the log it left. Every message up to
// one seen on disk before the kill is there, in order, in whole records;
// a record the kill cut is reported once when the log is replayed.

#include "tests/app/windowdriver.h"
#include "tests/app/windowlinks.h"

#include "files/logrecord.h"
#include "qrv16/messageparser.h"
#include "trace/widgets/tracelogging.h"
#include "trace/replayer.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/tracelines.h"

#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using korvtest::trigger;

namespace {

const char dirVariable[] = "KORV_KILLED_DIR";
const char portVariable[] = "KORV_KILLED_PORT";

} // namespace

class TestKilledWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    // Runs in the child that killedWhileLogging starts.
    void logUntilKilled();
    void killedWhileLogging();
};

void TestKilledWindow::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test"));
}

void TestKilledWindow::logUntilKilled()
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

void TestKilledWindow::killedWhileLogging()
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
    QObject::connect(&traffic, &QTimer::timeout, &traffic, [&] {
        peer->write(parser.parse(QStringLiteral("PumpId=%1").arg(sent++)).bytes());
    });
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
    QObject::connect(&replayer, &Replayer::message, &replayer,
                     [&](const QString& text, StyleColor) { said << text; });
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

QTEST_MAIN(TestKilledWindow)
#include "tst_killedwindow.moc"
