// SPDX-License-Identifier: MIT
#include "automation/answerparser.h"
#include "automation/autoanswer.h"
#include "automation/sequenceparser.h"
#include "automation/sequencerunner.h"
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
const QString sequencesPath = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvseq");

// The simulated controller answering on channel 2 of a loopback pair, as
// `make run` wires it; `ruleOff` names a rule switched off. Check
// QTest::currentTestFailed() after construction.
struct Station
{
    explicit Station(const QRV16::TagDataLut* tags, const QString& ruleOff = QString())
        : pair(tags)
    {
        pair.connect();
        AnswerParser parser;
        QVERIFY2(parser.parse(answersPath), qPrintable(parser.formatError()));
        QCOMPARE(parser.warnings(), QString());
        QVERIFY(parser.rules().size() >= 6);
        QVector<AnswerRule> rules = parser.rules();
        bool found = ruleOff.isEmpty();
        for (AnswerRule& rule : rules) {
            if (rule.name == ruleOff) {
                rule.enabled = false;
                found = true;
            }
        }
        QVERIFY(found);
        engine.setPorts(&pair.one, &pair.two);
        engine.setTags(tags);
        // Every answer reads, the periodic report's too: rules that do not
        // are said as they are set.
        QSignalSpy problems(&engine, &AutoAnswer::message);
        engine.setRules(rules);
        QCOMPARE(problems.count(), 0);
    }

    LoopbackPair pair;
    AutoAnswer engine;
};

} // namespace

// The demo's simulated controller, examples/pump-station.qrvans, against
// the requests of examples/demo.qrvbm and the sequences of
// examples/pump-station.qrvseq.
class TestPumpStation : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void answersEveryBookmarkedRequest();
    void sequencesAgainstTheStation_data();
    void sequencesAgainstTheStation();

private:
    std::unique_ptr<QRV16::TagDataLut> m_tags;
};

void TestPumpStation::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    m_tags = demoTags();
}

void TestPumpStation::answersEveryBookmarkedRequest()
{
    Station station(m_tags.get());
    if (QTest::currentTestFailed())
        return;
    Channel& one = station.pair.one;
    QSignalSpy problems(&station.engine, &AutoAnswer::message);

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

void TestPumpStation::sequencesAgainstTheStation_data()
{
    QTest::addColumn<int>("sequence");
    QTest::addColumn<QString>("ruleOff");
    QTest::addColumn<int>("passes");
    QTest::addColumn<int>("fails");
    QTest::addColumn<QString>("arrived"); // part of the first failure's text

    // The acceptance sequence green and without the lockout is the
    // window's test.
    QTest::newRow("without status nothing comes") << 0 << "Status" << 0 << 1 << "nothing within 500 ms";
    QTest::newRow("second runs green") << 1 << QString() << 2 << 0 << QString();
    QTest::newRow("second goes on after the clock fails") << 1 << "Clock" << 1 << 1 << "nothing within 500 ms";
}

// Green as shipped, red with an answer rule switched off.
void TestPumpStation::sequencesAgainstTheStation()
{
    QFETCH(int, sequence);
    QFETCH(QString, ruleOff);
    QFETCH(int, passes);
    QFETCH(int, fails);
    QFETCH(QString, arrived);

    Station station(m_tags.get(), ruleOff);
    if (QTest::currentTestFailed())
        return;
    SequenceParser sequences;
    QVERIFY2(sequences.parse(sequencesPath), qPrintable(sequences.formatError()));
    QCOMPARE(sequences.warnings(), QString());
    QCOMPARE(sequences.sequences().size(), 2);
    SequenceRunner runner;
    runner.setPorts(&station.pair.one, &station.pair.two);
    runner.setTags(m_tags.get());
    QSignalSpy results(&runner, &SequenceRunner::expectFinished);
    QSignalSpy problems(&runner, &SequenceRunner::message);
    QSignalSpy finished(&runner, &SequenceRunner::finished);
    runner.start(sequences.sequences().at(sequence));
    QVERIFY(finished.wait(10000));
    const auto summary = finished.first().at(0).value<SequenceRunner::Summary>();
    QCOMPARE(problems.count(), 0);
    QCOMPARE(summary.passes, passes);
    QCOMPARE(summary.fails, fails);
    QCOMPARE(summary.passed(), fails == 0);
    for (const QList<QVariant>& result : results) {
        if (!result.at(1).toBool()) {
            QVERIFY2(result.at(3).toString().contains(arrived), qPrintable(result.at(3).toString()));
            break;
        }
    }
}

QTEST_MAIN(TestPumpStation)
#include "tst_pumpstation.moc"
