// SPDX-License-Identifier: MIT
#include "widgets/documentflow.h"

#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

class TestDocumentFlow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void documentsPath_data();
    void documentsPath();
    void allFilesFilter();
    void remembersTheLastFile();
};

void TestDocumentFlow::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
}

void TestDocumentFlow::documentsPath_data()
{
    QTest::addColumn<QByteArray>("home");
    QTest::addColumn<QString>("documents");
    QTest::newRow("a home folder") << QByteArray("/srv/korv-home") << "/srv/korv-home/Documents";
    QTest::newRow("a home folder with a slash at the end") << QByteArray("/srv/korv-home/") << "/srv/korv-home/Documents";
    QTest::newRow("the root") << QByteArray("/") << "/Documents";
}

void TestDocumentFlow::documentsPath()
{
    QFETCH(QByteArray, home);
    QFETCH(QString, documents);
    const QByteArray saved = qgetenv("HOME");
    qputenv("HOME", home);
    const QString path = DocumentFlow::documentsPath();
    qputenv("HOME", saved);
    QCOMPARE(path, documents);
}

void TestDocumentFlow::allFilesFilter()
{
    QCOMPARE(DocumentFlow::allFilesFilter(), QStringLiteral("All Files (*)"));
}

void TestDocumentFlow::remembersTheLastFile()
{
    const DocumentFlow flow("MainWindow/LastAnswersPath", QStringLiteral("Answer rules (*.qrvans)"));
    QCOMPARE(flow.lastPath(), QString());
    flow.remember(QStringLiteral("/tmp/pumps.qrvans"));
    QCOMPARE(flow.lastPath(), QStringLiteral("/tmp/pumps.qrvans"));
    QCOMPARE(QSettings().value(QStringLiteral("MainWindow/LastAnswersPath")).toString(),
             QStringLiteral("/tmp/pumps.qrvans"));
}

QTEST_MAIN(TestDocumentFlow)
#include "tst_documentflow.moc"
