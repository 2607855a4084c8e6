// SPDX-License-Identifier: MIT
// Faults that take a program down or fill its disk, tried on a child that
// this program starts by running itself again.
//
// A window killed while it logs what a loopback peer sends loses at most
// its last second: every message up to one seen on disk before the kill is
// in the log, in order, in whole records, and a record the kill cut is
// reported once when the log is replayed. Under a file size limit, where a
// write past it fails as on a full disk (SIGXFSZ ignored), logging stops
// once with the error named while the trace goes on, and each save of a
// user's file fails with the error and leaves the old file and its backup
// as they were.
//
// A child that saves a large file of each kind through its document is
// killed before each system call of the save that touches a file (traced
// one call at a time). Whenever it dies, the file is one whole version, the
// one before or the one being saved, and the backup is one whole earlier
// version. Every moment of a save is one of these steps, so a kill at any
// other time leaves one of the states seen here.

#include "tests/app/windowdriver.h"
#include "tests/app/windowlinks.h"

#include "automation/autoanswer.h"
#include "automation/widgets/answerdocument.h"
#include "automation/widgets/sequencedocument.h"
#include "bookmarks/bookmarkdocument.h"
#include "editor/editordocument.h"
#include "editor/editormodel.h"
#include "editor/filechangedwidget.h"
#include "files/logrecord.h"
#include "qrv16/messageparser.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/tracelines.h"
#include "trace/replayer.h"
#include "trace/widgets/tracelogging.h"

#include <QApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QUndoStack>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

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

struct UserFile
{
    const char* name;
    const char* example;
    const char* open;
    const char* saveAs; // null: "Edit Definitions" opens the editor, whose "Save as..." saves
};

const UserFile documents[] = {
    {"definitions", "demo.qrvdef", "Open Definitions", nullptr},
    {"bookmarks", "demo.qrvbm", "Open Bookmarks", "Save Bookmarks as ..."},
    {"answers", "pump-station.qrvans", "Open Answers", "Save Answers As"},
    {"sequences", "pump-station.qrvseq", "Open Sequences", "Save Sequences As"},
};

QString example(const UserFile& document)
{
    return QStringLiteral(KORV_SOURCE_DIR "/examples/") + QLatin1String(document.example);
}

QString pathIn(const QString& dir, const UserFile& document)
{
    return dir + QLatin1Char('/') + QLatin1String(document.example);
}

QByteArray previousVersion(const UserFile& document)
{
    return QByteArray("the version before this ") + document.name + '\n';
}

const char* const kinds[] = {"definitions", "bookmarks", "answers", "sequences"};
constexpr int Kinds = int(std::size(kinds));
// Versions a child saves in turn.
constexpr int Versions = 3;
// Entries per file: some 100 KiB each.
constexpr int Entries = 800;

// One document of a kind with what it needs around it.
class Saver
{
public:
    explicit Saver(int kind)
    {
        switch (kind) {
        case 0:
            m_model.setUndoStack(&m_undo);
            m_document = std::make_unique<QRV16::EditorDocument>(&m_model, &m_undo, new FileChangedWidget(&m_window));
            break;
        case 1:
            m_document = std::make_unique<BookmarkDocument>();
            break;
        case 2:
            m_document = std::make_unique<AnswerDocument>(&m_answers);
            break;
        default:
            m_document = std::make_unique<SequenceDocument>();
        }
    }
    bool load(const QString& path) { return m_document->load(path); }
    bool save(const QString& path, QString* error) { return m_document->save(path, error); }

private:
    QWidget m_window;
    QUndoStack m_undo;
    QRV16::EditorModel m_model;
    AutoAnswer m_answers;
    std::unique_ptr<Document> m_document;
};

// A file of the kind as a user might have written it; each version has
// names of its own.
QByteArray source(int kind, int version)
{
    QByteArray text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    const QByteArray v = QByteArray::number(version);
    const char* roots[] = {"qrv16", "qrvbm", "qrvanswers", "qrvsequences"};
    text += QByteArray("<") + roots[kind] + ">\n";
    for (int i = 0; i < Entries; ++i) {
        const QByteArray n = QByteArray::number(i);
        switch (kind) {
        case 0:
            text += "<tag name=\"V" + v + "Tag" + n + "\" id=\"0x" + QByteArray::number(0x1000 + i, 16) +
                    "\" comment=\"version " + v + ", one of the tags of a large file\"/>\n";
            break;
        case 1:
            text += "<bookmark><text>Version " + v + " bookmark " + n +
                    "</text><message>SetPumpMode=(PumpId=1 PumpMode=Auto)</message></bookmark>\n";
            break;
        case 2:
            text += "<rule channel=\"2\" delay=\"20\"><name>Version " + v + " rule " + n +
                    "</name><when>GetStatus</when><answer>GetStatusReply=(ResultCode=Ok)</answer></rule>\n";
            break;
        default:
            text += "<sequence name=\"Version " + v + " sequence " + n +
                    "\"><send channel=\"1\">GetStatus</send><wait ms=\"100\"/></sequence>\n";
        }
    }
    return text + "</" + roots[kind] + ">\n";
}

QString sourcePath(const QString& dir, int version)
{
    return dir + QStringLiteral("/source%1").arg(version);
}

// The child: loads version `first`'s source and saves it to the target,
// stopping itself before and after the save.
int saveChild(const QStringList& arguments)
{
    Saver saver(arguments.at(2).toInt());
    const QString target = arguments.at(4);
    if (!saver.load(sourcePath(arguments.at(3), arguments.at(5).toInt())))
        return 2;
    QString error;
    ::raise(SIGSTOP);
    if (!saver.save(target, &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 3;
    }
    ::raise(SIGSTOP);
    return 0;
}

// Whether a system call changes a file or a folder, so that a kill before
// it leaves something else than a kill after it.
bool changesFiles(const __ptrace_syscall_info& info)
{
    const auto call = long(info.entry.nr);
    const auto* args = info.entry.args;
    if (call == SYS_openat)
        return (args[2] & O_ACCMODE) != O_RDONLY;
#ifdef SYS_open
    if (call == SYS_open)
        return (args[1] & O_ACCMODE) != O_RDONLY;
#endif
    // Writes to the standard output and error are not the save's.
    if (call == SYS_write || call == SYS_pwrite64 || call == SYS_writev)
        return args[0] > 2;
    static const long calls[] = {
        SYS_ftruncate, SYS_renameat, SYS_renameat2, SYS_unlinkat, SYS_linkat, SYS_copy_file_range, SYS_sendfile,
#ifdef SYS_rename
        SYS_creat,     SYS_rename,   SYS_unlink,    SYS_link,
#endif
    };
    return std::find(std::begin(calls), std::end(calls), call) != std::end(calls);
}

} // namespace

class TestChildFaults : public QObject
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
    void killedAtEachStep_data();
    void killedAtEachStep();

private:
    // Writes the sources of each version of the kind and saves the target
    // as the last of them, the one before as its backup.
    void prepare();
    // The version the target is now; fails when it is none whole, or the
    // backup is no whole version from just before.
    void judge(const QString& how, const QList<int>& candidates, int* version);
    // Runs the traced child for one save and kills it before its `step`th
    // call that touches a file; false when the save ended first.
    bool killAtStep(int first, int step, QString* call);

    int m_kind = 0;
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_target;
    QList<QByteArray> m_saved; // what a save of each version writes
};

void TestChildFaults::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test"));
}

void TestChildFaults::logUntilKilled()
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

void TestChildFaults::killedWhileLogging()
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

void TestChildFaults::logStopsOnce()
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

void TestChildFaults::savesFail_data()
{
    QTest::addColumn<int>("document");
    for (int i = 0; i < int(std::size(documents)); ++i)
        QTest::newRow(documents[i].name) << i;
}

void TestChildFaults::savesFail()
{
    if (!underSizeLimit())
        QSKIP("runs under the file size limit that fullDisk sets");
    QFETCH(int, document);
    const UserFile& d = documents[document];
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

void TestChildFaults::fullDisk()
{
    if (underSizeLimit())
        QSKIP("the child's part is the other functions");
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    for (const UserFile& d : documents) {
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
    QCOMPARE(output.count("PASS   : TestChildFaults::"), qsizetype(std::size(documents)) + 3);

    for (const UserFile& d : documents) {
        const QString path = pathIn(dir.path(), d);
        QCOMPARE(readFile(path), readFile(example(d)));
        QCOMPARE(readFile(path + QStringLiteral(".bak")), previousVersion(d));
        QVERIFY(!QFile::exists(path + QStringLiteral(".tmp")));
    }
}

void TestChildFaults::prepare()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_target = m_dir->filePath(QStringLiteral("target"));
    m_saved.clear();
    Saver saver(m_kind);
    const QString scratch = m_dir->filePath(QStringLiteral("scratch"));
    for (int v = 0; v < Versions; ++v) {
        QVERIFY(writeFile(sourcePath(m_dir->path(), v), source(m_kind, v)));
        QString error;
        QVERIFY(saver.load(sourcePath(m_dir->path(), v)));
        QVERIFY2(saver.save(scratch, &error), qPrintable(error));
        m_saved.append(readFile(scratch));
        QVERIFY(m_saved.last().size() > 50000);
    }
    QVERIFY(m_saved[0] != m_saved[1] && m_saved[1] != m_saved[2]);
    // The target is the last version, with the one before as its backup.
    for (int v : {Versions - 2, Versions - 1}) {
        QString error;
        QVERIFY(saver.load(sourcePath(m_dir->path(), v)));
        QVERIFY2(saver.save(m_target, &error), qPrintable(error));
    }
    QCOMPARE(readFile(m_target + QStringLiteral(".bak")), m_saved[Versions - 2]);
}

void TestChildFaults::judge(const QString& how, const QList<int>& candidates, int* version)
{
    const QByteArray now = readFile(m_target);
    const QByteArray backup = readFile(m_target + QStringLiteral(".bak"));
    const int found = int(m_saved.indexOf(now));
    // A file that is gone reads as 0 bytes.
    QVERIFY2(candidates.contains(found),
             qPrintable(QStringLiteral("killed %1: the file is no whole version (%2 bytes)").arg(how).arg(now.size())));
    const int before = (found + Versions - 1) % Versions;
    // The backup is the version before; or, while it is being replaced,
    // already the file itself.
    QVERIFY2(
        backup == m_saved[before] || backup == now,
        qPrintable(QStringLiteral("killed %1: the backup is no whole version (%2 bytes)").arg(how).arg(backup.size())));
    // And the document takes it.
    Saver reader(m_kind);
    QVERIFY2(reader.load(m_target), qPrintable(how));
    *version = found;
}

void TestChildFaults::killedAtEachStep_data()
{
    QTest::addColumn<int>("kind");
    for (int k = 0; k < Kinds; ++k)
        QTest::newRow(kinds[k]) << k;
}

bool TestChildFaults::killAtStep(int first, int step, QString* call)
{
    const QByteArray program = QFile::encodeName(QCoreApplication::applicationFilePath());
    const QList<QByteArray> arguments{program,
                                      "save-child",
                                      QByteArray::number(m_kind),
                                      QFile::encodeName(m_dir->path()),
                                      QFile::encodeName(m_target),
                                      QByteArray::number(first)};
    std::vector<char*> argv;
    for (const QByteArray& a : arguments)
        argv.push_back(const_cast<char*>(a.constData()));
    argv.push_back(nullptr);

    const pid_t pid = ::fork();
    if (pid == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            ::_exit(126);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    if (pid < 0) {
        *call = QStringLiteral("fork failed");
        return false;
    }
    const auto end = [pid] {
        ::kill(pid, SIGKILL);
        int status = 0;
        while (::waitpid(pid, &status, 0) == pid && !WIFEXITED(status) && !WIFSIGNALED(status)) {
        }
    };
    int status = 0;
    // Stopped at its start.
    if (::waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) {
        *call = WIFEXITED(status) && WEXITSTATUS(status) == 126 ? QStringLiteral("not traced")
                                                                : QStringLiteral("the child did not start");
        return false;
    }
    ::ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int markers = 0;
    int calls = 0;
    int pass = 0;
    for (;;) {
        ::ptrace(markers == 1 ? PTRACE_SYSCALL : PTRACE_CONT, pid, nullptr, pass);
        pass = 0;
        if (::waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) {
            *call = QStringLiteral("the child ended by itself (status %1)").arg(status);
            return false;
        }
        const int signal = WSTOPSIG(status);
        if (signal == SIGSTOP) {
            if (++markers == 2) {
                end();
                *call = QStringLiteral("after the save");
                return false;
            }
        } else if (signal == (SIGTRAP | 0x80)) {
            __ptrace_syscall_info info{};
            if (::ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info) > 0 &&
                info.op == PTRACE_SYSCALL_INFO_ENTRY && changesFiles(info) && calls++ == step) {
                end();
                *call = QStringLiteral("before system call %1 of the save").arg(info.entry.nr);
                return true;
            }
        } else if (signal != SIGTRAP) {
            pass = signal;
        }
    }
}

void TestChildFaults::killedAtEachStep()
{
    QFETCH(int, kind);
    m_kind = kind;
    prepare();
    if (QTest::currentTestFailed())
        return;
    int version = Versions - 1;
    int steps = 0;
    for (int step = 0;; ++step) {
        const int next = (version + 1) % Versions;
        QString call;
        const bool killed = killAtStep(next, step, &call);
        if (call == QLatin1String("not traced"))
            QSKIP("this system does not let a process trace its child");
        QVERIFY2(killed || call == QLatin1String("after the save"), qPrintable(call));
        judge(QStringLiteral("at step %1, %2").arg(step).arg(call), {version, next}, &version);
        if (QTest::currentTestFailed())
            return;
        if (!killed)
            break;
        ++steps;
    }
    // The open, the write and the renames at least.
    QVERIFY2(steps >= 4, qPrintable(QString::number(steps)));
    qInfo("%s: killed at each of %d steps", kinds[m_kind], steps);
}

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "save-child") == 0)
        return saveChild(app.arguments());
    TestChildFaults test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_childfaults.moc"
