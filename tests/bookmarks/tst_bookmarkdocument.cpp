// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkdocument.h"

#include "bookmarks/bookmarklist.h"
#include "widgets/documentactions.h"
#include "tests/support/files.h"

#include <QAction>
#include <QDir>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const char bookmarkFile[] = R"(<?xml version="1.0"?>
<qrvbm>
  <bookmark>
    <text>Status</text>
    <message>GetStatus=(PumpId=1)</message>
  </bookmark>
</qrvbm>
)";

DocumentActions::Texts texts()
{
    return {QStringLiteral("Open"), QStringLiteral("Save"), QStringLiteral("Save As"), QStringLiteral("Unsaved?")};
}

} // namespace

class TestBookmarkDocument : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void loadReplacesTheList();
    void unreadableFileKeepsTheList_data();
    void unreadableFileKeepsTheList();
    void saveRotatesTheBackup();
    void failedSaveKeepsTheOldFile();

private:
    QTemporaryDir m_dir;
};

void TestBookmarkDocument::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_dir.isValid());
}

void TestBookmarkDocument::init()
{
    QSettings().clear();
}

void TestBookmarkDocument::loadReplacesTheList()
{
    const QString path = m_dir.filePath(QStringLiteral("marks.qrvbm"));
    QVERIFY(writeFile(path, bookmarkFile));
    BookmarkDocument document;
    QList<BookmarkList*> changed;
    connect(&document, &BookmarkDocument::listChanged, this, [&](BookmarkList* list) { changed << list; });
    QSignalSpy said(&document, &Document::message);
    document.list()->addAction(new QAction(QStringLiteral("Unsaved")));
    QVERIFY(document.isModified());
    QVERIFY(document.load(path));
    QCOMPARE(changed.size(), 1);
    BookmarkList* list = changed.constFirst();
    QCOMPARE(list, document.list());
    QCOMPARE(list->count(), 1);
    QCOMPARE(list->action(0)->text(), QStringLiteral("Status"));
    QVERIFY(!document.isModified());
    QCOMPARE(document.path(), path);
    QCOMPARE(said.count(), 1);
    QCOMPARE(said.at(0).at(0).toString(),
             QStringLiteral("Loaded bookmarks from %1").arg(QDir::toNativeSeparators(path)));
}

void TestBookmarkDocument::unreadableFileKeepsTheList_data()
{
    QTest::addColumn<QByteArray>("content"); // null: no such file
    QTest::newRow("another kind of file") << QByteArray("<?xml version=\"1.0\"?><other/>");
    QTest::newRow("not XML") << QByteArray("<qrvbm><bookmark>");
    QTest::newRow("missing") << QByteArray();
}

void TestBookmarkDocument::unreadableFileKeepsTheList()
{
    QFETCH(QByteArray, content);
    const QString good = m_dir.filePath(QStringLiteral("good.qrvbm"));
    QVERIFY(writeFile(good, bookmarkFile));
    const QString bad = m_dir.filePath(QStringLiteral("bad.qrvbm"));
    QFile::remove(bad);
    if (!content.isNull())
        QVERIFY(writeFile(bad, content));
    BookmarkDocument document;
    QVERIFY(document.load(good));
    BookmarkList* before = document.list();
    QSignalSpy changed(&document, &BookmarkDocument::listChanged);
    QSignalSpy said(&document, &Document::message);
    QVERIFY(!document.load(bad));
    QCOMPARE(document.list(), before);
    QCOMPARE(before->count(), 1);
    QCOMPARE(document.path(), good);
    QCOMPARE(changed.count(), 0);
    QVERIFY(!said.isEmpty());
    QCOMPARE(said.constLast().at(1).toBool(), true);
}

void TestBookmarkDocument::saveRotatesTheBackup()
{
    const QString path = m_dir.filePath(QStringLiteral("rotate.qrvbm"));
    QVERIFY(writeFile(path, bookmarkFile));
    QFile::remove(path + QStringLiteral(".bak"));
    BookmarkDocument document;
    DocumentActions actions(&document, nullptr, texts());
    QVERIFY(actions.load(path));
    auto* action = new QAction(QStringLiteral("Second"));
    action->setData(QStringLiteral("PumpId=2"));
    document.list()->addAction(action);
    QVERIFY(document.isModified());
    QVERIFY(actions.saveAction()->isEnabled());
    QVERIFY(actions.saveTo(path));
    QVERIFY(!document.isModified());
    QVERIFY(!actions.saveAction()->isEnabled());
    QCOMPARE(readFile(path + QStringLiteral(".bak")), QByteArray(bookmarkFile));
    QVERIFY(readFile(path).contains("PumpId=2"));
    // The old file is the backup; no temporary is left.
    QCOMPARE(QDir(m_dir.path()).entryList({QStringLiteral("rotate.*")}, QDir::Files | QDir::Hidden),
             (QStringList{QStringLiteral("rotate.qrvbm"), QStringLiteral("rotate.qrvbm.bak")}));
}

void TestBookmarkDocument::failedSaveKeepsTheOldFile()
{
    const QString path = m_dir.filePath(QStringLiteral("stuck.qrvbm"));
    QVERIFY(writeFile(path, bookmarkFile));
    // A backup that cannot be removed: a directory with something in it.
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("stuck.qrvbm.bak/inside")));
    BookmarkDocument document;
    DocumentActions actions(&document, nullptr, texts());
    QVERIFY(actions.load(path));
    document.list()->addAction(new QAction(QStringLiteral("More")));
    QSignalSpy said(&actions, &DocumentActions::message);
    QVERIFY(!actions.saveTo(path));
    QVERIFY(document.isModified());
    QCOMPARE(readFile(path), QByteArray(bookmarkFile));
    QVERIFY(readFile(path + QStringLiteral(".tmp")).contains("More"));
    QCOMPARE(said.count(), 1);
    QVERIFY2(said.at(0).at(0).toString().startsWith(QStringLiteral("Could not delete old backup ")),
             qPrintable(said.at(0).at(0).toString()));
    QCOMPARE(said.at(0).at(1).toBool(), true);
}

QTEST_MAIN(TestBookmarkDocument)
#include "tst_bookmarkdocument.moc"
