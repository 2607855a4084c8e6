// SPDX-License-Identifier: MIT
// The file types and menu entries that the package installs, read the way
// a desktop reads them: the types through the shared-mime-info database.
#include <QDir>
#include <QFile>
#include <QMimeDatabase>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString resources = QStringLiteral(KORV_SOURCE_DIR "/resources/");

// Key=value lines of a desktop entry's main group.
QMap<QString, QString> readDesktopEntry(const QString& path)
{
    QMap<QString, QString> keys;
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly | QIODevice::Text))
        return keys;
    for (const QByteArray& line : f.readAll().split('\n')) {
        const int eq = line.indexOf('=');
        if (eq > 0 && !line.startsWith('#'))
            keys.insert(QString::fromUtf8(line.left(eq)), QString::fromUtf8(line.mid(eq + 1)));
    }
    return keys;
}

} // namespace

class TestDesktopIntegration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void fileTypes_data();
    void fileTypes();
    void desktopEntries_data();
    void desktopEntries();

private:
    QTemporaryDir m_dir;
};

void TestDesktopIntegration::initTestCase()
{
    const QString update = QStandardPaths::findExecutable(QStringLiteral("update-mime-database"));
    if (update.isEmpty())
        QSKIP("update-mime-database is not installed (Debian package shared-mime-info)");
    QVERIFY(m_dir.isValid());
    // The database as a desktop has it once the package is installed: the
    // system's types and ours merged by update-mime-database.
    const QString packages = m_dir.filePath(QStringLiteral("mime/packages/"));
    QVERIFY(QDir(m_dir.path()).mkpath(packages));
    QVERIFY(QFile::copy(QStringLiteral("/usr/share/mime/packages/freedesktop.org.xml"),
                        packages + QStringLiteral("freedesktop.org.xml")));
    QVERIFY(QFile::copy(resources + QStringLiteral("korvgui.xml"), packages + QStringLiteral("korvgui.xml")));
    QProcess p;
    p.start(update, {m_dir.filePath(QStringLiteral("mime"))});
    QVERIFY(p.waitForFinished(60000));
    QVERIFY2(p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0, p.readAllStandardError().constData());
    qputenv("XDG_DATA_DIRS", m_dir.path().toUtf8());
}

void TestDesktopIntegration::fileTypes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("example");
    QTest::addColumn<QString>("type");
    const QString examples = QStringLiteral(KORV_SOURCE_DIR "/examples/");
    QTest::newRow("definitions by name") << "pumps.qrvdef" << QString() << "application/x-korv-definitions";
    QTest::newRow("bookmarks by name") << "pumps.qrvbm" << QString() << "application/x-korv-bookmarks";
    QTest::newRow("definitions by content")
        << "pumps.xml" << examples + "demo.qrvdef" << "application/x-korv-definitions";
    QTest::newRow("bookmarks by content")
        << "pumps.xml" << examples + "demo.qrvbm" << "application/x-korv-bookmarks";
    QTest::newRow("answers by name") << "station.qrvans" << QString() << "application/x-korv-answers";
    QTest::newRow("answers by content")
        << "station.xml" << examples + "pump-station.qrvans" << "application/x-korv-answers";
    QTest::newRow("sequences by name") << "station.qrvseq" << QString() << "application/x-korv-sequences";
    QTest::newRow("sequences by content")
        << "station.xml" << examples + "pump-station.qrvseq" << "application/x-korv-sequences";
}

void TestDesktopIntegration::fileTypes()
{
    QFETCH(QString, name);
    QFETCH(QString, example);
    QFETCH(QString, type);
    const QMimeDatabase db;
    if (example.isEmpty()) {
        QCOMPARE(db.mimeTypeForFile(name, QMimeDatabase::MatchExtension).name(), type);
        return;
    }
    const QString path = m_dir.filePath(name);
    QFile::remove(path);
    QVERIFY(QFile::copy(example, path));
    QCOMPARE(db.mimeTypeForFile(path, QMimeDatabase::MatchContent).name(), type);
    // Still XML to whatever does not know the type.
    QVERIFY(db.mimeTypeForName(type).inherits(QStringLiteral("application/xml")));
}

void TestDesktopIntegration::desktopEntries_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("exec");
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<bool>("inMenu");
    // The window reads its files only through -d, -b, -a and -s.
    QTest::newRow("program") << "korvgui.desktop" << "korvgui -d %f"
                             << "application/x-korv-definitions;" << true;
    QTest::newRow("bookmarks") << "korvgui-bookmarks.desktop" << "korvgui -b %f"
                               << "application/x-korv-bookmarks;" << false;
    QTest::newRow("answers") << "korvgui-answers.desktop" << "korvgui -a %f"
                             << "application/x-korv-answers;" << false;
    QTest::newRow("sequences") << "korvgui-sequences.desktop" << "korvgui -s %f"
                               << "application/x-korv-sequences;" << false;
}

void TestDesktopIntegration::desktopEntries()
{
    QFETCH(QString, file);
    QFETCH(QString, exec);
    QFETCH(QString, mimeType);
    QFETCH(bool, inMenu);
    const auto keys = readDesktopEntry(resources + file);
    QCOMPARE(keys.value("Type"), QStringLiteral("Application"));
    QCOMPARE(keys.value("Exec"), exec);
    QCOMPARE(keys.value("Icon"), QStringLiteral("korvgui"));
    QCOMPARE(keys.value("MimeType"), mimeType);
    QVERIFY(keys.value("Categories").split(';').contains(QStringLiteral("Development")));
    QCOMPARE(keys.value("NoDisplay") == QLatin1String("true"), !inMenu);
    // Each type named here is one the package defines.
    const QMimeDatabase db;
    const QString type = mimeType.chopped(1);
    QVERIFY2(db.mimeTypeForName(type).isValid(), qPrintable(type));
}

QTEST_GUILESS_MAIN(TestDesktopIntegration)
#include "tst_desktopintegration.moc"
