// SPDX-License-Identifier: MIT
#include "editor/filechangedwidget.h"
#include "tests/support/files.h"

#include <QFile>
#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString changed = "The file defs.qrvdef has been changed outside this application. Do you want to reload?";
const QString removed = "The file defs.qrvdef has been removed.";

// A bar watching `path` in a shown window, and what it has said.
struct Watched
{
    explicit Watched(const QString& path)
    {
        parent.show();
        bar.watchFile(path);
    }
    QWidget parent;
    FileChangedWidget bar{&parent};
    QSignalSpy shown{&bar, &FileChangedWidget::messageShown};
};

} // namespace

class TestFileChangedWidget : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void replacedWithinASecondIsOneChange();
    void deletedForGoodIsReportedAfterThreePolls();
    void buttons_data();
    void buttons();
    void sameFileKeepsItsWatch();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
};

void TestFileChangedWidget::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_path = m_dir->filePath("defs.qrvdef");
    QVERIFY(writeFile(m_path, "one"));
}

void TestFileChangedWidget::replacedWithinASecondIsOneChange()
{
    Watched w(m_path);
    const QString fresh = m_dir->filePath("fresh.tmp");
    QVERIFY(writeFile(fresh, "two"));
    QVERIFY(QFile::remove(m_path));
    QTest::qWait(100);
    QVERIFY(QFile::rename(fresh, m_path));
    QTRY_COMPARE_WITH_TIMEOUT(w.shown.size(), 1, 5000);
    QTest::qWait(4500);
    QCOMPARE(w.shown.size(), 1);
    QCOMPARE(w.shown.at(0).at(0).toString(), changed);

    // The new file is watched in its turn.
    QVERIFY(writeFile(m_path, "three"));
    w.bar.hide();
    QTRY_COMPARE_WITH_TIMEOUT(w.shown.size(), 2, 5000);
}

void TestFileChangedWidget::deletedForGoodIsReportedAfterThreePolls()
{
    Watched w(m_path);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(QFile::remove(m_path));
    QTRY_COMPARE_WITH_TIMEOUT(w.shown.size(), 1, 8000);
    QVERIFY2(clock.elapsed() >= 2500, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(w.shown.at(0).at(0).toString(), removed);
    // Said once: a bar that starts watching another file now has polled
    // three times when it speaks.
    const QString other = m_dir->filePath("other.qrvdef");
    QVERIFY(writeFile(other, "x"));
    FileChangedWidget witness(&w.parent);
    QSignalSpy witnessed(&witness, &FileChangedWidget::messageShown);
    witness.watchFile(other);
    QVERIFY(QFile::remove(other));
    QTRY_COMPARE_WITH_TIMEOUT(witnessed.size(), 1, 8000);
    QCOMPARE(w.shown.size(), 1);

    // Coming back later is still news.
    QVERIFY(writeFile(m_path, "back"));
    QTRY_COMPARE_WITH_TIMEOUT(w.shown.size(), 2, 5000);
    QCOMPARE(w.shown.at(1).at(0).toString(), changed);
}

void TestFileChangedWidget::buttons_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<bool>("stillWatching");
    QTest::newRow("Reload keeps watching") << "m_pb_reload" << true;
    QTest::newRow("Ignore stops reports") << "m_pb_ignore" << false;
    QTest::newRow("Close stops reports") << "m_pb_close" << false;
}

void TestFileChangedWidget::buttons()
{
    QFETCH(QString, button);
    QFETCH(bool, stillWatching);
    Watched w(m_path);
    QSignalSpy reload(&w.bar, &FileChangedWidget::reloadClicked);
    QSignalSpy ignore(&w.bar, &FileChangedWidget::ignoreClicked);
    QSignalSpy close(&w.bar, &FileChangedWidget::closeClicked);
    QVERIFY(writeFile(m_path, "two"));
    QTRY_COMPARE_WITH_TIMEOUT(w.shown.size(), 1, 5000);
    QCOMPARE(w.shown.at(0).at(0).toString(), changed);
    QCOMPARE(w.bar.messageText(), changed);
    QVERIFY(w.bar.isVisible());
    // A second bar on the same file says when a report was due.
    FileChangedWidget witness(&w.parent);
    QSignalSpy witnessed(&witness, &FileChangedWidget::messageShown);
    witness.watchFile(m_path);

    w.bar.findChild<QPushButton*>(button)->click();
    QVERIFY(w.bar.isHidden());
    QCOMPARE(reload.size(), button == "m_pb_reload" ? 1 : 0);
    QCOMPARE(ignore.size(), button == "m_pb_ignore" ? 1 : 0);
    QCOMPARE(close.size(), button == "m_pb_close" ? 1 : 0);
    QCOMPARE(w.bar.watchedFile(), stillWatching ? m_path : QString());

    QVERIFY(writeFile(m_path, "three"));
    if (stillWatching) {
        QTRY_COMPARE_WITH_TIMEOUT(w.shown.size(), 2, 5000);
    } else {
        QTRY_COMPARE_WITH_TIMEOUT(witnessed.size(), 1, 5000);
        QCOMPARE(w.shown.size(), 1);
        QVERIFY(QFile::remove(m_path));
        QTRY_COMPARE_WITH_TIMEOUT(witnessed.size(), 2, 8000);
        QCOMPARE(witnessed.at(1).at(0).toString(), removed);
        QCOMPARE(w.shown.size(), 1);
        // Watching again reports again.
        QVERIFY(writeFile(m_path, "four"));
        w.bar.watchFile(m_path);
        QVERIFY(writeFile(m_path, "five"));
        QTRY_COMPARE_WITH_TIMEOUT(w.shown.size(), 2, 5000);
    }
}

void TestFileChangedWidget::sameFileKeepsItsWatch()
{
    Watched w(m_path);
    QVERIFY(QFile::remove(m_path));
    QTest::qWait(1200); // one poll has run
    w.bar.watchFile(m_path); // the same path: the running poll goes on
    QTRY_COMPARE_WITH_TIMEOUT(w.shown.size(), 1, 5000);
    QCOMPARE(w.shown.at(0).at(0).toString(), removed);
}

QTEST_MAIN(TestFileChangedWidget)
#include "tst_filechangedwidget.moc"
