// SPDX-License-Identifier: MIT
// Saves killed half-way: this program runs itself again as a child that
// saves a large file of each kind through its document, and kills the child
// before each system call of the save that touches a file (the child traced
// one call at a time). Whenever it dies, the file is one whole version, the
// one before or the one being saved, and the backup is one whole earlier
// version. Every moment of a save is one of these steps, so a kill at any
// other time leaves one of the states seen here.

#include "automation/autoanswer.h"
#include "automation/widgets/answerdocument.h"
#include "automation/widgets/sequencedocument.h"
#include "bookmarks/bookmarkdocument.h"
#include "editor/editordocument.h"
#include "editor/editormodel.h"
#include "editor/filechangedwidget.h"
#include "tests/support/files.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QUndoStack>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

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
        SYS_creat, SYS_rename, SYS_unlink, SYS_link,
#endif
    };
    return std::find(std::begin(calls), std::end(calls), call) != std::end(calls);
}

} // namespace

class TestKilledSave : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void killedAtEachStep_data();
    void killedAtEachStep();

private:
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

void TestKilledSave::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestKilledSave::init()
{
    m_kind = 0;
    const QString tag = QString::fromLatin1(QTest::currentDataTag());
    for (int k = 0; k < Kinds; ++k)
        if (tag.startsWith(QLatin1String(kinds[k])))
            m_kind = k;
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

void TestKilledSave::judge(const QString& how, const QList<int>& candidates, int* version)
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

void TestKilledSave::killedAtEachStep_data()
{
    QTest::addColumn<int>("kind");
    for (int k = 0; k < Kinds; ++k)
        QTest::newRow(kinds[k]) << k;
}

bool TestKilledSave::killAtStep(int first, int step, QString* call)
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

void TestKilledSave::killedAtEachStep()
{
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
    TestKilledSave test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_killedsave.moc"
