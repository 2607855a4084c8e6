// SPDX-License-Identifier: MIT
#include "files/savefile.h"
#include "tests/support/files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

class TestSaveFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void oldFileBecomesTheBackup();
    void failedStepKeepsTheOldFile_data();
    void failedStepKeepsTheOldFile();
    void folderWhereTheFileShouldGoStays();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestSaveFile::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestSaveFile::oldFileBecomesTheBackup()
{
    const QString path = m_dir->filePath(QStringLiteral("a.qrvans"));
    QVERIFY(SaveFile::write(path, "first", nullptr));
    // The first save leaves nothing beside the file.
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("a.qrvans")});
    QVERIFY(SaveFile::write(path, "second", nullptr));
    QVERIFY(SaveFile::write(path, "third", nullptr));
    QCOMPARE(readFile(path), QByteArray("third"));
    QCOMPARE(readFile(path + QStringLiteral(".bak")), QByteArray("second"));
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden),
             (QStringList{QStringLiteral("a.qrvans"), QStringLiteral("a.qrvans.bak")}));
}

void TestSaveFile::failedStepKeepsTheOldFile_data()
{
    QTest::addColumn<QString>("blocked"); // a folder with something in it, where a file should go
    QTest::addColumn<QString>("error");
    QTest::addColumn<bool>("newContentInTmp");
    QTest::newRow("the temporary file cannot be made") << "a.qrvans.tmp" << "Cannot open %1.tmp for writing: " << false;
    QTest::newRow("the old backup cannot go") << "a.qrvans.bak" << "Could not delete old backup %1.bak: " << true;
}

void TestSaveFile::failedStepKeepsTheOldFile()
{
    QFETCH(QString, blocked);
    QFETCH(QString, error);
    QFETCH(bool, newContentInTmp);
    const QString path = m_dir->filePath(QStringLiteral("a.qrvans"));
    QVERIFY(writeFile(path, "old"));
    QVERIFY(QDir(m_dir->path()).mkpath(blocked + QStringLiteral("/inside")));
    QString shown;
    QVERIFY(!SaveFile::write(path, "new", &shown));
    const QString prefix = error.arg(QDir::toNativeSeparators(path));
    // The system's reason follows.
    QVERIFY2(shown.startsWith(prefix) && shown.size() > prefix.size() + 2, qPrintable(shown));
    QCOMPARE(readFile(path), QByteArray("old"));
    if (newContentInTmp)
        QCOMPARE(readFile(path + QStringLiteral(".tmp")), QByteArray("new"));
    // Without a place for the text, a failure is still a failure.
    QVERIFY(!SaveFile::write(path, "new", nullptr));
}

// A folder is never taken for the old file: it would be moved aside as
// the backup and the new file put in its place.
void TestSaveFile::folderWhereTheFileShouldGoStays()
{
    const QString path = m_dir->filePath(QStringLiteral("folder"));
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("folder/inside")));
    QString shown;
    QVERIFY(!SaveFile::write(path, "new", &shown));
    QVERIFY2(shown.startsWith(QStringLiteral("Cannot open %1 for writing: ").arg(QDir::toNativeSeparators(path))),
             qPrintable(shown));
    QVERIFY(QFileInfo(path + QStringLiteral("/inside")).isDir());
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
             QStringList{QStringLiteral("folder")});
}

QTEST_GUILESS_MAIN(TestSaveFile)
#include "tst_savefile.moc"
