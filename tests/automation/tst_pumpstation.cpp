// SPDX-License-Identifier: MIT
#include "automation/answerparser.h"
#include "automation/autoanswer.h"
#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkparser.h"
#include "qrv16/messageparser.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"
#include "tests/support/definitions.h"
#include "tests/support/loopback.h"

#include <QAction>
#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

namespace {

const QString answersPath = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvans");

} // namespace

// The demo's simulated controller: examples/pump-station.qrvans answering
// the requests of examples/demo.qrvbm over a loopback pair, as `make run`
// wires them.
class TestPumpStation : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void fileReadsCleanly();
    void answersEveryBookmarkedRequest();

private:
    std::unique_ptr<QRV16::TagDataLut> m_tags;
};

void TestPumpStation::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    m_tags = demoTags();
}

void TestPumpStation::fileReadsCleanly()
{
    AnswerParser parser;
    QVERIFY2(parser.parse(answersPath), qPrintable(parser.formatError()));
    QCOMPARE(parser.warnings(), QString());
    QVERIFY(parser.rules().size() >= 6);
    AutoAnswer engine;
    QSignalSpy messages(&engine, &AutoAnswer::message);
    engine.setTags(m_tags.get());
    engine.setRules(parser.rules());
    QCOMPARE(messages.count(), 0);
    // The periodic report parses as it stands; the others are tried below.
    QRV16::MessageParser notation(m_tags.get());
    for (const AnswerRule& rule : parser.rules()) {
        QCOMPARE(rule.channel, 2);
        if (rule.isPeriodic()) {
            notation.parse(rule.answer);
            QVERIFY2(!notation.hasError(), qPrintable(notation.errorMessage()));
            QCOMPARE(rule.every, 10000);
        }
    }
}

void TestPumpStation::answersEveryBookmarkedRequest()
{
    LoopbackPair pair(m_tags.get());
    pair.connect();
    if (QTest::currentTestFailed())
        return;
    Channel& one = pair.one;
    Channel& two = pair.two;

    AnswerParser parser;
    QVERIFY(parser.parse(answersPath));
    AutoAnswer engine;
    engine.setPorts(&one, &two);
    engine.setTags(m_tags.get());
    QSignalSpy problems(&engine, &AutoAnswer::message);
    engine.setRules(parser.rules());

    QList<QRV16::Message> replies;
    connect(&one, &Channel::received, this, [&replies](const QRV16::Message& m) { replies.append(m); });

    BookmarkList bookmarks;
    BookmarkParser reader(&bookmarks);
    QVERIFY(reader.parse(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvbm")));
    QRV16::MessageParser notation(m_tags.get());
    int requests = 0;
    const QRV16::Message sentinel = notation.parse(QStringLiteral("Login=(Operator=\"sentinel\")"));
    for (const QAction* action : bookmarks.actions()) {
        for (const QRV16::Message& request : notation.parseList(BookmarkList::message(action))) {
            const QString name = m_tags->tagName(request.tag());
            // Requests have a reply tag; the station's own messages do not.
            if (m_tags->tagNumber(name + QStringLiteral("Reply")) < 0)
                continue;
            ++requests;
            replies.clear();
            one.sendMessage(request);
            QTRY_VERIFY2(!replies.isEmpty(), qPrintable(name));
            // One answer only, however many rules match: any other would
            // come before the answer to a login, the slowest rule.
            one.sendMessage(sentinel);
            QTRY_VERIFY2(replies.size() >= 2 && QRV16::MessagePattern(QStringLiteral("LoginReply=(Operator=\"sentinel\")"),
                                                                      m_tags.get()).matches(replies.last()),
                         qPrintable(name));
            QCOMPARE(replies.size(), 2);
            QCOMPARE(m_tags->tagName(replies.first().tag()), name + QStringLiteral("Reply"));
            const bool locked = QRV16::MessagePattern(QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Service)"),
                                                      m_tags.get()).matches(request);
            const QRV16::MessagePattern verdict(name + (locked ? QStringLiteral("Reply=(ResultCode=Denied)")
                                                               : QStringLiteral("Reply=(ResultCode=Ok)")),
                                                m_tags.get());
            QVERIFY2(verdict.matches(replies.first()), qPrintable(replies.first().toText(m_tags.get())));
        }
    }
    QVERIFY(requests >= 8);
    QCOMPARE(problems.count(), 0);
}

QTEST_MAIN(TestPumpStation)
#include "tst_pumpstation.moc"
