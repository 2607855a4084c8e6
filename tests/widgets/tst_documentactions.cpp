// SPDX-License-Identifier: MIT
#include "widgets/documentactions.h"

#include "widgets/document.h"
#include "widgets/documentflow.h"
#include "tests/support/files.h"
#include "tests/support/modalcloser.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// A document of one line of text; its file is that text.
class Note : public Document
{
public:
    bool load(const QString& path) override
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            Q_EMIT message(QStringLiteral("Cannot read %1").arg(path), true);
            return false;
        }
        m_text = QString::fromUtf8(file.readAll());
        setPath(path);
        setModified(false);
        Q_EMIT message(QStringLiteral("Loaded %1").arg(path), false);
        return true;
    }

    bool save(const QString& path, QString* error) override
    {
        if (!writeFile(path, m_text.toUtf8())) {
            *error = QStringLiteral("Cannot write %1").arg(path);
            return false;
        }
        setPath(path);
        setModified(false);
        return true;
    }

    bool isModified() const override { return m_modified; }
    QString fileFilter() const override { return QStringLiteral("Notes (*.note)"); }
    QString lastPathKey() const override { return QStringLiteral("Test/LastNote"); }
    QString saveAsPathKey() const override { return QStringLiteral("Test/LastSavedNote"); }

    QString text() const { return m_text; }
    void setText(const QString& text)
    {
        m_text = text;
        setModified(true);
    }

private:
    void setModified(bool modified)
    {
        if (m_modified == modified)
            return;
        m_modified = modified;
        Q_EMIT modifiedChanged(modified);
    }

    QString m_text;
    bool m_modified = false;
};

DocumentActions::Texts texts()
{
    return {QStringLiteral("Open Note"), QStringLiteral("Save Note"), QStringLiteral("Save Note As"),
            QStringLiteral("There are unsaved notes. What do you want to do?"), QStringLiteral("Notes")};
}

} // namespace

class TestDocumentActions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void unsavedChangesAreAskedAbout_data();
    void unsavedChangesAreAskedAbout();
    void openAsksBeforeChangesAreLost_data();
    void openAsksBeforeChangesAreLost();
    void saveWithoutAFileAsksForOne();
    void failedSaveSaysWhyAndKeepsTheChanges();
    void dialogsStartWhereTheLastFileWas();
    void firstDialogsStartInDocuments_data();
    void firstDialogsStartInDocuments();

private:
    QString file(const QString& name, const QByteArray& content = QByteArray()) const;

    QTemporaryDir m_dir;
    QWidget m_window;
};

void TestDocumentActions::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_dir.isValid());
    m_window.setWindowTitle(QStringLiteral("Test"));
}

void TestDocumentActions::init()
{
    QSettings().clear();
}

QString TestDocumentActions::file(const QString& name, const QByteArray& content) const
{
    const QString path = m_dir.filePath(name);
    if (!content.isNull() && !writeFile(path, content))
        return QString();
    return path;
}

void TestDocumentActions::unsavedChangesAreAskedAbout_data()
{
    QTest::addColumn<bool>("modified");
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("closes");
    QTest::addColumn<QByteArray>("onDisk");
    QTest::newRow("nothing to save: no question") << false << int(QMessageBox::Cancel) << true << QByteArray("old");
    QTest::newRow("cancel keeps the document open") << true << int(QMessageBox::Cancel) << false
                                                    << QByteArray("old");
    QTest::newRow("discard lets it go unsaved") << true << int(QMessageBox::Discard) << true << QByteArray("old");
    QTest::newRow("save writes it first") << true << int(QMessageBox::Save) << true << QByteArray("new");
}

void TestDocumentActions::unsavedChangesAreAskedAbout()
{
    QFETCH(bool, modified);
    QFETCH(int, answer);
    QFETCH(bool, closes);
    QFETCH(QByteArray, onDisk);
    const QString path = file(QStringLiteral("close.note"), "old");
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    QVERIFY(actions.load(path));
    if (modified)
        note.setText(QStringLiteral("new"));
    ModalCloser closer{QMessageBox::StandardButton(answer)};
    QCOMPARE(actions.canClose(), closes);
    QCOMPARE(closer.seen, modified ? QStringList{"box"} : QStringList());
    QCOMPARE(readFile(path), onDisk);
}

void TestDocumentActions::openAsksBeforeChangesAreLost_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("text");
    QTest::newRow("cancel: no dialog, the changes stay") << int(QMessageBox::Cancel) << "changed";
    QTest::newRow("discard: the other file") << int(QMessageBox::Discard) << "other";
}

void TestDocumentActions::openAsksBeforeChangesAreLost()
{
    QFETCH(int, answer);
    QFETCH(QString, text);
    const QString first = file(QStringLiteral("first.note"), "first");
    const QString other = file(QStringLiteral("other.note"), "other");
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    QVERIFY(actions.load(first));
    note.setText(QStringLiteral("changed"));
    ModalCloser closer(QMessageBox::StandardButton(answer), other);
    actions.openAction()->trigger();
    QCOMPARE(closer.seen.value(0), QStringLiteral("box"));
    QCOMPARE(closer.seen.size(), answer == QMessageBox::Cancel ? 1 : 2);
    QCOMPARE(note.text(), text);
    QCOMPARE(note.path(), answer == QMessageBox::Cancel ? first : other);
    QCOMPARE(readFile(first), QByteArray("first"));
}

void TestDocumentActions::saveWithoutAFileAsksForOne()
{
    const QString path = file(QStringLiteral("chosen.note"));
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    QSignalSpy said(&actions, &DocumentActions::message);
    // Save is there while there is something to save; Save As always.
    QVERIFY(!actions.saveAction()->isEnabled());
    QVERIFY(actions.saveAsAction()->isEnabled());
    note.setText(QStringLiteral("fresh"));
    QVERIFY(actions.saveAction()->isEnabled());
    ModalCloser closer(QMessageBox::Cancel, path);
    actions.saveAction()->trigger();
    QCOMPARE(closer.seen.size(), 1);
    QVERIFY(closer.seen.constFirst().startsWith(QLatin1String("file ")));
    QCOMPARE(readFile(path), QByteArray("fresh"));
    QCOMPARE(note.path(), path);
    QVERIFY(!note.isModified());
    QVERIFY(!actions.saveAction()->isEnabled());
    QCOMPARE(said.count(), 1);
    QCOMPARE(said.at(0).at(0).toString(), QStringLiteral("Saved to %1").arg(QDir::toNativeSeparators(path)));
    QCOMPARE(said.at(0).at(1).toBool(), false);
    // From now on Save goes to that file without a dialog.
    closer.seen.clear();
    note.setText(QStringLiteral("again"));
    QVERIFY(actions.save());
    QVERIFY(closer.seen.isEmpty());
    QCOMPARE(readFile(path), QByteArray("again"));
}

void TestDocumentActions::failedSaveSaysWhyAndKeepsTheChanges()
{
    const QString path = m_dir.filePath(QStringLiteral("no/such/dir/x.note"));
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    QSignalSpy said(&actions, &DocumentActions::message);
    note.setText(QStringLiteral("kept"));
    QVERIFY(!actions.saveTo(path));
    QCOMPARE(said.count(), 1);
    QCOMPARE(said.at(0).at(0).toString(), QStringLiteral("Cannot write %1").arg(path));
    QCOMPARE(said.at(0).at(1).toBool(), true);
    QVERIFY(note.isModified());
    QVERIFY(actions.saveAction()->isEnabled());
    // Closing still asks: the changes are not saved anywhere.
    ModalCloser closer(QMessageBox::Cancel);
    QVERIFY(!actions.canClose());
    QCOMPARE(closer.seen, QStringList{"box"});
}

// Open starts where the last file opened was, Save As where the last one
// saved under a new name was; both outlive the object that chose them.
void TestDocumentActions::dialogsStartWhereTheLastFileWas()
{
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("opened")));
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("saved")));
    const QString opened = file(QStringLiteral("opened/a.note"), "a");
    const QString saved = m_dir.filePath(QStringLiteral("saved/b.note"));
    {
        Note note;
        DocumentActions actions(&note, &m_window, texts());
        {
            ModalCloser closer(QMessageBox::Cancel, opened);
            actions.openAction()->trigger();
            QCOMPARE(closer.seen.size(), 1);
            QCOMPARE(note.path(), opened);
        }
        ModalCloser saver(QMessageBox::Cancel, saved);
        actions.saveAsAction()->trigger();
        QCOMPARE(readFile(saved), QByteArray("a"));
    }
    Note note;
    DocumentActions actions(&note, &m_window, texts());
    ModalCloser closer(QMessageBox::Cancel);
    actions.openAction()->trigger();
    actions.saveAsAction()->trigger();
    QCOMPARE(closer.seen, (QStringList{QStringLiteral("file ") + QFileInfo(opened).absolutePath(),
                                       QStringLiteral("file ") + QFileInfo(saved).absolutePath()}));
}

void TestDocumentActions::firstDialogsStartInDocuments_data()
{
    QTest::addColumn<QByteArray>("home");
    QTest::addColumn<QString>("documents");
    QTest::newRow("a home folder") << QByteArray("/srv/korv-home") << "/srv/korv-home/Documents";
    QTest::newRow("a home folder with a slash at the end") << QByteArray("/srv/korv-home/") << "/srv/korv-home/Documents";
    QTest::newRow("the root") << QByteArray("/") << "/Documents";
}

void TestDocumentActions::firstDialogsStartInDocuments()
{
    QFETCH(QByteArray, home);
    QFETCH(QString, documents);
    const QByteArray saved = qgetenv("HOME");
    qputenv("HOME", home);
    const QString path = DocumentFlow::documentsPath();
    qputenv("HOME", saved);
    QCOMPARE(path, documents);
}

QTEST_MAIN(TestDocumentActions)
#include "tst_documentactions.moc"
