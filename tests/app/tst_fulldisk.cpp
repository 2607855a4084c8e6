// SPDX-License-Identifier: MIT
// The window on a full disk: this program runs itself again under a file
// size limit, where a write past it fails as on a full disk (SIGXFSZ
// ignored), and then judges the files left behind. Logging stops once with
// the error named while the trace goes on; each save of a user's file fails
// with the error and leaves the old file and its backup as they were.

#include "tests/app/windowdriver.h"
#include "tests/app/windowlinks.h"

#include "qrv16/messageparser.h"
#include "trace/widgets/tracelogging.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"
#include "tests/support/tracelines.h"

#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>

using korvtest::actionNamed;
using korvtest::trigger;

namespace {

// Every example file is larger.
constexpr rlim_t SizeLimit = 1024;
const char dirVariable[] = "KORV_FULL_DIR";

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

class TestFullDisk : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    // These two run in the child that fullDisk starts.
    void logStopsOnce();
    void savesFail_data();
    void savesFail();
    void fullDisk();
};

void TestFullDisk::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-test"));
}

void TestFullDisk::logStopsOnce()
{
    if (!underSizeLimit())
        QSKIP("runs under the file size limit that fullDisk sets");
    std::vector<std::unique_ptr<korvtest::Pty>> links;
    auto window = windowWithLinks(&links);
    QVERIFY(trigger(window.get(), QStringLiteral("Open Definitions"), QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")));
    const QString log = qEnvironmentVariable(dirVariable) + QStringLiteral("/full.csv");
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

void TestFullDisk::savesFail_data()
{
    QTest::addColumn<int>("document");
    for (int i = 0; i < int(std::size(documents)); ++i)
        QTest::newRow(documents[i].name) << i;
}

void TestFullDisk::savesFail()
{
    if (!underSizeLimit())
        QSKIP("runs under the file size limit that fullDisk sets");
    QFETCH(int, document);
    const Document& d = documents[document];
    const QString path = pathIn(qEnvironmentVariable(dirVariable), d);

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
    const QString shown = said.join(QLatin1Char('\n')) + QLatin1Char('\n') +
                          lines(*window->traceModel()).join(QLatin1Char('\n'));
    QVERIFY2(shown.contains(QStringLiteral("File too large")), qPrintable(shown));
    if (saver != window.get())
        delete saver;
}

void TestFullDisk::fullDisk()
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
    environment.insert(QLatin1String(dirVariable), dir.path());
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
    QCOMPARE(output.count("PASS   : TestFullDisk::"), qsizetype(std::size(documents)) + 3);

    for (const Document& d : documents) {
        const QString path = pathIn(dir.path(), d);
        QCOMPARE(readFile(path), readFile(example(d)));
        QCOMPARE(readFile(path + QStringLiteral(".bak")), previousVersion(d));
        QVERIFY(!QFile::exists(path + QStringLiteral(".tmp")));
    }
}

QTEST_MAIN(TestFullDisk)
#include "tst_fulldisk.moc"
