// SPDX-License-Identifier: MIT
#include "editor/editormodel.h"
#include "editor/editordocument.h"
#include "editor/filechangedwidget.h"
#include "treetext.h"
#include "tests/support/files.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QUndoStack>
#include <QtTest>

#include <memory>

using namespace QRV16;

namespace {

const QByteArray original = "<qrv16><tag name=\"Mode\" id=\"0x1001\"/></qrv16>\n";

struct Fixture
{
    QWidget window;
    QUndoStack undo;
    EditorModel model;
    FileChangedWidget* watch = new FileChangedWidget(&window);
    EditorDocument document{&model, &undo, watch};

    Fixture()
    {
        model.setUndoStack(&undo);
        model.setTags(TreeText::read(original));
    }
    // One edit, so there is something to save.
    void edit() { QVERIFY(model.setData(model.index(0, 0), QStringLiteral("State"))); }
};

} // namespace

class TestEditorDocument : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void saveCleansAndFollowsTheFile();
    void failedSaveLosesNothing_data();
    void failedSaveLosesNothing();
};

void TestEditorDocument::saveCleansAndFollowsTheFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("defs.qrvdef");
    QVERIFY(writeFile(path, original));
    Fixture f;
    f.document.setFile(path);
    QCOMPARE(f.watch->watchedFile(), path);
    f.edit();
    QVERIFY(f.document.isModified());
    QSignalSpy saved(&f.document, &EditorDocument::saved);
    QSignalSpy modified(&f.document, &Document::modifiedChanged);
    QString error;
    QVERIFY(f.document.save(path, &error));
    QCOMPARE(saved.size(), 1);
    QCOMPARE(saved.at(0).at(0).toString(), path);
    QVERIFY(error.isEmpty());
    QVERIFY(f.undo.isClean());
    QVERIFY(!f.document.isModified());
    QCOMPARE(modified.size(), 1);
    QCOMPARE(modified.at(0).at(0).toBool(), false);
    std::unique_ptr<Item> onDisk(TreeText::read(readFile(path)));
    QVERIFY(onDisk);
    QCOMPARE(TreeText::shape(onDisk.get()), QString("R(T:State=4097)"));
    // Saved elsewhere, the file is that one from then on.
    const QString other = dir.filePath("other.qrvdef");
    QSignalSpy moved(&f.document, &Document::pathChanged);
    QVERIFY(f.document.save(other, &error));
    QCOMPARE(f.document.path(), other);
    QCOMPARE(f.watch->watchedFile(), other);
    QVERIFY(moved.size() >= 1);
    QCOMPARE(moved.last().at(0).toString(), other);
}

void TestEditorDocument::failedSaveLosesNothing_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("the folder is missing") << "missing/defs.qrvdef" << "";
    QTest::newRow("the backup's place is taken by a folder") << "opened.qrvdef" << "opened.qrvdef.bak/x";
}

void TestEditorDocument::failedSaveLosesNothing()
{
    QFETCH(QString, target);
    QFETCH(QString, obstacle);
    QTemporaryDir dir;
    const QString opened = dir.filePath("opened.qrvdef");
    QVERIFY(writeFile(opened, original));
    if (!obstacle.isEmpty()) {
        QVERIFY(QDir(dir.path()).mkpath(QFileInfo(dir.filePath(obstacle)).path()));
        QVERIFY(writeFile(dir.filePath(obstacle), "kept"));
    }
    Fixture f;
    f.document.setFile(opened);
    f.edit();
    QSignalSpy saved(&f.document, &EditorDocument::saved);
    QString error;
    QVERIFY(!f.document.save(dir.filePath(target), &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(saved.size(), 0);
    // Still unsaved, still the opened file, and nothing on disk lost.
    QVERIFY(!f.undo.isClean());
    QVERIFY(f.document.isModified());
    QCOMPARE(f.document.path(), opened);
    QCOMPARE(f.watch->watchedFile(), opened);
    QCOMPARE(readFile(opened), original);
    if (!obstacle.isEmpty())
        QCOMPARE(readFile(dir.filePath(obstacle)), QByteArray("kept"));
}

QTEST_MAIN(TestEditorDocument)
#include "tst_editordocument.moc"
