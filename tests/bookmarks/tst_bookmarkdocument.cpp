// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkdocument.h"

#include "bookmarks/bookmarklist.h"
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
    void onlyASuccessfulSaveCleansTheList();

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

// Failing and succeeding saves of the rotation itself are the save file's
// test; here the list is what is written, and only a save that worked
// makes it clean.
void TestBookmarkDocument::onlyASuccessfulSaveCleansTheList()
{
    const QString path = m_dir.filePath(QStringLiteral("saved.qrvbm"));
    QVERIFY(writeFile(path, bookmarkFile));
    BookmarkDocument document;
    QVERIFY(document.load(path));
    QSignalSpy modified(&document, &Document::modifiedChanged);
    auto* action = new QAction(QStringLiteral("Second"));
    action->setData(QStringLiteral("PumpId=2"));
    document.list()->addAction(action);
    QCOMPARE(modified.count(), 1);
    // A backup that cannot be removed: a directory with something in it.
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("saved.qrvbm.bak/inside")));
    QString error;
    QVERIFY(!document.save(path, &error));
    QVERIFY(!error.isEmpty());
    QVERIFY(document.isModified());
    QCOMPARE(readFile(path), QByteArray(bookmarkFile));

    QVERIFY(QDir(path + QStringLiteral(".bak")).removeRecursively());
    QVERIFY(document.save(path, &error));
    QVERIFY(!document.isModified());
    QCOMPARE(modified.count(), 2);
    QCOMPARE(modified.at(1).at(0).toBool(), false);
    QVERIFY(readFile(path).contains("PumpId=2"));
}

QTEST_MAIN(TestBookmarkDocument)
#include "tst_bookmarkdocument.moc"
