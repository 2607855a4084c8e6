// SPDX-License-Identifier: MIT
#include "automation/definitions.h"

#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"

#include <QTemporaryDir>
#include <QtTest>

class TestDefinitionsInUse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void unreadableFileKeepsWhatIsInUse_data();
    void unreadableFileKeepsWhatIsInUse();
    void editedTreeIsTakenOver();

private:
    QTemporaryDir m_dir;
};

void TestDefinitionsInUse::initTestCase()
{
    QVERIFY(m_dir.isValid());
}

void TestDefinitionsInUse::unreadableFileKeepsWhatIsInUse_data()
{
    QTest::addColumn<QByteArray>("content"); // null: no such file
    QTest::newRow("bad tag number") << QByteArray("<qrv16><tag name=\"X\" id=\"zz\"/></qrv16>");
    QTest::newRow("not XML") << QByteArray("<qrv16><tag");
    QTest::newRow("missing") << QByteArray();
}

void TestDefinitionsInUse::unreadableFileKeepsWhatIsInUse()
{
    QFETCH(QByteArray, content);
    const QString good = m_dir.filePath(QStringLiteral("good.qrvdef"));
    QVERIFY(writeFile(good, pumpDefinitions));
    const QString bad = m_dir.filePath(QStringLiteral("bad.qrvdef"));
    QFile::remove(bad);
    if (!content.isNull())
        QVERIFY(writeFile(bad, content));
    Definitions definitions;
    QList<const QRV16::TagDataLut*> changed;
    connect(&definitions, &Definitions::changed, this, [&](const QRV16::TagDataLut* tags) { changed << tags; });
    QVERIFY(definitions.load(good));
    // A good file is announced with its table.
    QCOMPARE(changed, QList<const QRV16::TagDataLut*>{definitions.tags()});
    QCOMPARE(definitions.tags()->tagNumber(QStringLiteral("PumpId")), 0x1001);
    QCOMPARE(definitions.path(), good);
    QVERIFY(definitions.errorString().isEmpty());
    const QRV16::Item* root = definitions.root();
    const QRV16::TagDataLut* tags = definitions.tags();
    QVERIFY(!definitions.load(bad));
    QVERIFY(!definitions.errorString().isEmpty());
    QCOMPARE(definitions.root(), root);
    QCOMPARE(definitions.tags(), tags);
    QCOMPARE(definitions.path(), good);
    QCOMPARE(changed.size(), 1);
    // A good file after a bad one clears the error.
    QVERIFY(definitions.load(good));
    QVERIFY(definitions.errorString().isEmpty());
}

// The editor's tree replaces the one in use; the old table stays readable
// while the signal is out, so a receiver may compare old and new.
void TestDefinitionsInUse::editedTreeIsTakenOver()
{
    const QString path = m_dir.filePath(QStringLiteral("edited.qrvdef"));
    QVERIFY(writeFile(path, pumpDefinitions));
    Definitions definitions;
    QVERIFY(definitions.load(path));
    const QRV16::TagDataLut* old = definitions.tags();
    int oldPump = -1;
    connect(&definitions, &Definitions::changed, this,
            [&](const QRV16::TagDataLut*) {
        if (oldPump < 0)
            oldPump = old->tagNumber(QStringLiteral("PumpId"));
    });
    QRV16::Parser parser;
    QVERIFY(parser.parse(path));
    QRV16::Item* root = parser.takeRoot();
    definitions.setRoot(root, path);
    QCOMPARE(definitions.root(), root);
    QVERIFY(definitions.tags() != old);
    QCOMPARE(oldPump, 0x1001);
    definitions.setRoot(nullptr, QString());
    QVERIFY(!definitions.tags());
}

QTEST_MAIN(TestDefinitionsInUse)
#include "tst_definitionsinuse.moc"
