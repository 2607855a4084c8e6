// SPDX-License-Identifier: MIT
// The sample bookmarks: they load cleanly, every message parses with the
// sample definitions, and damaged copies never bring the reader down.

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkparser.h"
#include "bookmarks/bookmarkwriter.h"
#include "qrv16/messageparser.h"
#include "tests/support/definitions.h"
#include "tests/support/files.h"

#include <QAction>
#include <QRandomGenerator>
#include <QtTest>

#include <memory>

namespace {

const QString demoPath = QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvbm");

} // namespace

class TestBookmarkDemo : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void loadsWithoutWarningsAndEveryMessageParses();
    void mutatedDemoNeverCrashes();
};

void TestBookmarkDemo::loadsWithoutWarningsAndEveryMessageParses()
{
    BookmarkList list;
    BookmarkParser parser(&list);
    QVERIFY2(parser.parse(demoPath), qPrintable(parser.formatError()));
    QCOMPARE(parser.warnings(), QString());
    QVERIFY(!list.isDirty());
    // Written back byte for byte.
    QCOMPARE(BookmarkWriter().encode(&list), readFile(demoPath));

    const auto tags = demoTags();
    QRV16::MessageParser messages(tags.get());
    int bookmarks = 0;
    int separators = 0;
    int shortcuts = 0;
    QSet<QString> texts;
    for (const QAction* action : list.actions()) {
        if (action->isSeparator()) {
            ++separators;
            continue;
        }
        ++bookmarks;
        QVERIFY(!action->text().isEmpty());
        texts << action->text();
        if (!action->shortcut().isEmpty())
            ++shortcuts;
        const QList<QRV16::Message> parsed = messages.parseList(BookmarkList::message(action));
        QVERIFY2(!messages.hasError(),
                 qPrintable(action->text() + QStringLiteral(": ") + messages.errorMessage()));
        QVERIFY(!parsed.isEmpty());
    }
    QVERIFY2(bookmarks >= 8 && bookmarks <= 12, qPrintable(QString::number(bookmarks)));
    QVERIFY(separators >= 1 && separators <= 2);
    QVERIFY(shortcuts >= 2 && shortcuts <= 3);
    QCOMPARE(texts.size(), bookmarks);
}

void TestBookmarkDemo::mutatedDemoNeverCrashes()
{
    const QByteArray demo = readFile(demoPath);
    QVERIFY(!demo.isEmpty());
    QRandomGenerator rng(2026);
    int parsed = 0;
    int failed = 0;
    BookmarkList list;
    for (int round = 0; round < 4000; ++round) {
        QByteArray doc = demo;
        switch (rng.bounded(4)) {
        case 0: // flipped bytes
            for (int i = int(rng.bounded(8)) + 1; i > 0; --i)
                doc[int(rng.bounded(int(doc.size())))] = char(rng.bounded(256));
            break;
        case 1: // cut
            doc.truncate(int(rng.bounded(int(doc.size()))));
            break;
        case 2: { // an element duplicated somewhere else
            const int from = int(doc.indexOf('<', rng.bounded(int(doc.size()))));
            const int to = from < 0 ? -1 : int(doc.indexOf('>', from));
            if (to > from)
                doc.insert(int(rng.bounded(int(doc.size()))), doc.mid(from, to - from + 1));
            break;
        }
        default: { // a stretch moved
            const int from = int(rng.bounded(int(doc.size())));
            const QByteArray piece = doc.mid(from, int(rng.bounded(200)));
            doc.remove(from, piece.size());
            doc.insert(int(rng.bounded(int(doc.size()) + 1)), piece);
        }
        }
        BookmarkParser parser(&list);
        if (parser.parse(doc)) {
            ++parsed;
            // What was read can always be written and read again.
            BookmarkList again;
            BookmarkParser reparser(&again);
            QVERIFY2(reparser.parse(BookmarkWriter().encode(&list)),
                     qPrintable(reparser.formatError()));
            QCOMPARE(again.count(), list.count());
        } else {
            QCOMPARE(list.count(), 0);
            QVERIFY2(parser.formatError().startsWith(QStringLiteral("Error: data, Line ")),
                     qPrintable(parser.formatError()));
            ++failed;
        }
        QVERIFY(!list.isDirty());
    }
    // Both outcomes are exercised.
    QVERIFY2(parsed > 50 && failed > 1000,
             qPrintable(QStringLiteral("%1 read, %2 failed").arg(parsed).arg(failed)));
}

QTEST_MAIN(TestBookmarkDemo)
#include "tst_bookmarkdemo.moc"
