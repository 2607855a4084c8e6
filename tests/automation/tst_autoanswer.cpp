// SPDX-License-Identifier: MIT
#include "automation/answerparser.h"
#include "automation/autoanswer.h"
#include "automation/sequenceparser.h"
#include "automation/sequencerunner.h"
#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkparser.h"
#include "qrv16/messageparser.h"
#include "tests/support/definitions.h"
#include "tests/support/loopback.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"

#include <QAction>
#include <QElapsedTimer>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

Q_DECLARE_METATYPE(AnswerRule)

namespace {

const QString answersPath = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvans");
const QString sequencesPath = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvseq");

AnswerRule rule(const QString& when, const QString& answer, int channel = AnswerRule::AnyChannel, int delay = 0)
{
    AnswerRule r;
    r.when = when;
    r.answer = answer;
    r.channel = channel;
    r.delay = delay;
    return r;
}

} // namespace

// Channel 1 listens, channel 2 connects to it: what one sends, the other
// receives, as a controller and its tester would. The demo's simulated
// controller, examples/pump-station.qrvans, answers the requests of
// examples/demo.qrvbm and the sequences of examples/pump-station.qrvseq.
class TestAutoAnswer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void answersWithinTheDelay_data();
    void answersWithinTheDelay();
    void answersWhatItShould_data();
    void answersWhatItShould();
    void newRulesCountAfresh();
    void periodic();
    void answersOfReplacedRulesStayUnsent_data();
    void answersOfReplacedRulesStayUnsent();
    void badAnswerIsReported();
    void answerBeyond32BitsIsRefused();
    void answersEveryBookmarkedRequest();
    void sequencesAgainstTheStation_data();
    void sequencesAgainstTheStation();

private:
    // Lines of one source whose text starts with `prefix`.
    int count(const QString& source, const QString& prefix) const;
    // True once whatever the engine sends, within `msecs`, for what was
    // sent so far has arrived: markers sent each way after it follow it.
    bool settle(int msecs);
    // The engine answers on channel 2 as the demo's simulated controller
    // does, with the rule called `ruleOff` switched off.
    void station(const QString& ruleOff = QString());

    std::unique_ptr<QRV16::TagDataLut> m_tags;
    std::unique_ptr<LoopbackPair> m_pair;
    std::unique_ptr<AutoAnswer> m_auto;
};

void TestAutoAnswer::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    m_tags = demoTags();
}

void TestAutoAnswer::init()
{
    m_pair = std::make_unique<LoopbackPair>(m_tags.get());
    m_pair->connect();
    if (QTest::currentTestFailed())
        return;
    m_auto = std::make_unique<AutoAnswer>();
    m_auto->setPorts(&m_pair->one, &m_pair->two);
    m_auto->setTags(m_tags.get());
}

void TestAutoAnswer::cleanup()
{
    m_auto.reset();
    m_pair.reset();
}

int TestAutoAnswer::count(const QString& source, const QString& prefix) const
{
    int n = 0;
    for (int row = 0; row < m_pair->model.lineCount(); ++row) {
        if (m_pair->model.index(row, TraceModel::SourceColumn).data().toString() == source &&
            m_pair->model.index(row, TraceModel::TextColumn).data().toString().startsWith(prefix))
            ++n;
    }
    return n;
}

bool TestAutoAnswer::settle(int msecs)
{
    const QString marker = QStringLiteral("ReadLog=(FirstEntry=1)");
    const int one = count(QStringLiteral("1"), marker);
    const int two = count(QStringLiteral("2"), marker);
    const auto exchanged = [&](int times) {
        return QTest::qWaitFor([&] {
            return count(QStringLiteral("1"), marker) == one + 2 * times &&
                   count(QStringLiteral("2"), marker) == two + 2 * times;
        }, 10000);
    };
    // A first marker each way: each side has read all sent before and
    // scheduled its answers ...
    m_pair->one.sendMessage(marker);
    m_pair->two.sendMessage(marker);
    if (!exchanged(1))
        return false;
    // ... which go before a timer started after them, and arrive before
    // a second marker.
    QTimer::singleShot(msecs + 20, this, [this, marker] {
        m_pair->one.sendMessage(marker);
        m_pair->two.sendMessage(marker);
    });
    return exchanged(2);
}

void TestAutoAnswer::station(const QString& ruleOff)
{
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
    // Every answer reads, the periodic report's too: rules that do not are
    // said as they are set.
    QSignalSpy problems(m_auto.get(), &AutoAnswer::message);
    m_auto->setRules(rules);
    QCOMPARE(problems.count(), 0);
}

void TestAutoAnswer::answersWithinTheDelay_data()
{
    QTest::addColumn<int>("delay");
    QTest::newRow("no delay") << 0;
    QTest::newRow("200 ms") << 200;
}

void TestAutoAnswer::answersWithinTheDelay()
{
    QFETCH(int, delay);
    AnswerRule named = rule(QStringLiteral("GetStatus"), QStringLiteral("GetStatusReply=(ResultCode=Ok)"), 2, delay);
    named.name = QStringLiteral("status");
    m_auto->setRules({named});
    QElapsedTimer clock;
    clock.start();
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("GetStatus")));
    QTRY_COMPARE_WITH_TIMEOUT(count(QStringLiteral("1"), QStringLiteral("GetStatusReply")), 1, 5000);
    const qint64 elapsed = clock.elapsed();
    QVERIFY2(elapsed >= delay, qPrintable(QString::number(elapsed)));
    QVERIFY2(elapsed < delay + 1000, qPrintable(QString::number(elapsed)));
    QCOMPARE(count(QStringLiteral("2"), QStringLiteral("GetStatusReply=(ResultCode=Ok)")), 1);
    QCOMPARE(m_auto->fired(0), 1);
    // The answer's line says who sent it; no other line does.
    for (int row = 0; row < m_pair->model.lineCount(); ++row) {
        const QString source = m_pair->model.index(row, TraceModel::SourceColumn).data().toString();
        const QString tip = m_pair->model.index(row, TraceModel::TextColumn).data(Qt::ToolTipRole).toString();
        const bool automatic = source == QLatin1String("2") && m_pair->model.index(row, TraceModel::TextColumn)
                                                                   .data()
                                                                   .toString()
                                                                   .startsWith(QLatin1String("GetStatusReply"));
        QVERIFY2(tip.startsWith(QStringLiteral("Sent automatically by answer rule \"status\"\n")) == automatic,
                 qPrintable(source + QLatin1Char('|') + tip));
    }
}

void TestAutoAnswer::answersWhatItShould_data()
{
    QTest::addColumn<QVector<AnswerRule>>("rules");
    QTest::addColumn<QStringList>("sent");     // "channel|message"
    QTest::addColumn<QStringList>("expected"); // "source|prefix=count"
    QTest::addColumn<QList<int>>("fired");

    AnswerRule limited = rule("GetStatus", "GetStatusReply=(ResultCode=Ok)", 2);
    limited.limit = 2;
    AnswerRule off = rule("GetStatus", "GetStatusReply=(ResultCode=Busy)", 2);
    off.enabled = false;
    QTest::newRow("values of the request are copied; the first rule that matches answers")
        << QVector<AnswerRule>{rule("SetPumpMode=(PumpId=2 PumpMode=Service)",
                                    "SetPumpModeReply=(PumpId=${PumpId} ResultCode=Denied)", 2),
                               rule("SetPumpMode",
                                    "SetPumpModeReply=(PumpId=${PumpId} ResultCode=Ok)", 2)}
        << QStringList{"1|SetPumpMode=(PumpId=2 PumpMode=Service)",
                       "1|SetPumpMode=(PumpId=1 PumpMode=Auto)"}
        << QStringList{"1|SetPumpModeReply=(PumpId=2 ResultCode=Denied)=1",
                       "1|SetPumpModeReply=(PumpId=1 ResultCode=Ok)=1", "1|SetPumpModeReply=2"}
        << QList<int>{1, 1};
    QTest::newRow("a spent rule leaves the next that matches to answer")
        << QVector<AnswerRule>{limited,
                               rule("GetStatus=(PumpId=1)", "GetStatusReply=(ResultCode=Busy)", 2)}
        << QStringList(4, "1|GetStatus=(PumpId=1)")
        << QStringList{"1|GetStatusReply=(ResultCode=Ok)=2", "1|GetStatusReply=(ResultCode=Busy)=2"}
        << QList<int>{2, 2};
    QTest::newRow("a rule switched off does not answer")
        << QVector<AnswerRule>{off, rule("Login", "LoginReply", 2)}
        << QStringList{"1|GetStatus", "1|Login"}
        << QStringList{"1|GetStatusReply=0", "1|LoginReply=1"} << QList<int>{0, 1};
    // Received on 1, so answered on 1 and received on 2.
    QTest::newRow("a rule answers what its own channel received only")
        << QVector<AnswerRule>{rule("GetStatus", "GetStatusReply", 1)}
        << QStringList{"1|GetStatus", "2|GetStatus"}
        << QStringList{"2|GetStatusReply=1", "1|GetStatusReply=1"} << QList<int>{1};
    // Without the guard the pair would echo it forever: sent and the answer
    // received on 1, received and the answer sent on 2.
    QTest::newRow("no answer to an answer that matches the same rule")
        << QVector<AnswerRule>{rule("Login", "Login=(Operator=${Operator})")}
        << QStringList{"1|Login=(Operator=\"a\")"} << QStringList{"1|Login=2", "2|Login=2"}
        << QList<int>{1};
    QTest::newRow("conditions on a repeated nested element hold within one of them")
        << QVector<AnswerRule>{rule("StatusReport=(Pumps=(PumpId=2 PumpMode=Service))",
                                    "Event=(Alarms=Overheat)", 2)}
        << QStringList{"1|StatusReport=(Pumps=(PumpId=2 PumpMode=Auto) Pumps=(PumpId=1 "
                       "PumpMode=Service))",
                       "1|StatusReport=(Pumps=(PumpId=1 PumpMode=Auto) Pumps=(PumpId=2 "
                       "PumpMode=Service))",
                       "1|StatusReport=(Pumps=(PumpId=2 PumpMode=Service))"}
        << QStringList{"1|Event=(Alarms=Overheat)=2"} << QList<int>{2};
}

void TestAutoAnswer::answersWhatItShould()
{
    QFETCH(QVector<AnswerRule>, rules);
    QFETCH(QStringList, sent);
    QFETCH(QStringList, expected);
    QFETCH(QList<int>, fired);
    m_auto->setRules(rules);
    for (const QString& message : sent) {
        Channel& from = message.startsWith(QLatin1Char('1')) ? m_pair->one : m_pair->two;
        QVERIFY(from.sendMessage(message.mid(2)));
    }
    QVERIFY(settle(0));
    for (const QString& line : expected) {
        const int equals = int(line.lastIndexOf(QLatin1Char('=')));
        QVERIFY2(count(line.left(1), line.mid(2, equals - 2)) == line.mid(equals + 1).toInt(),
                 qPrintable(line));
    }
    for (int i = 0; i < fired.size(); ++i)
        QCOMPARE(m_auto->fired(i), fired.at(i));
}

void TestAutoAnswer::newRulesCountAfresh()
{
    AnswerRule limited = rule(QStringLiteral("GetStatus"), QStringLiteral("GetStatusReply=(ResultCode=Ok)"), 2);
    limited.limit = 1;
    m_auto->setRules({limited});
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("GetStatus")));
    QTRY_COMPARE(count(QStringLiteral("1"), QStringLiteral("GetStatusReply")), 1);
    m_auto->setRules({limited});
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("GetStatus")));
    QTRY_COMPARE(count(QStringLiteral("1"), QStringLiteral("GetStatusReply")), 2);
}

void TestAutoAnswer::periodic()
{
    AnswerRule report;
    report.answer = QStringLiteral("StatusReport=(WellLevel=120)");
    report.channel = 2;
    report.every = 50;
    report.limit = 3;
    m_auto->setRules({report});
    QTRY_COMPARE(count(QStringLiteral("1"), QStringLiteral("StatusReport=(WellLevel=120)")), 3);
    QVERIFY(settle(2 * report.every));
    QCOMPARE(count(QStringLiteral("2"), QStringLiteral("StatusReport")), 3);
}

void TestAutoAnswer::answersOfReplacedRulesStayUnsent_data()
{
    QTest::addColumn<QString>("change");
    QTest::newRow("rules replaced") << "replace";
    QTest::newRow("rule switched off") << "rule off";
    QTest::newRow("engine switched off: nothing at all") << "engine off";
}

// An answer waiting for its delay belongs to the rules of its time.
void TestAutoAnswer::answersOfReplacedRulesStayUnsent()
{
    QFETCH(QString, change);
    AnswerRule status = rule(QStringLiteral("GetStatus"), QStringLiteral("GetStatusReply=(ResultCode=Ok)"), 2, 200);
    // It answers later than the old one would have.
    const AnswerRule login = rule(QStringLiteral("Login"), QStringLiteral("LoginReply"), 2, 400);
    m_auto->setRules({status, login});
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("GetStatus")));
    QTRY_COMPARE(count(QStringLiteral("2"), QStringLiteral("GetStatus=")), 1);
    QCOMPARE(m_auto->fired(0), 1);

    status.enabled = false;
    if (change == QLatin1String("engine off"))
        m_auto->setEnabled(false);
    else
        m_auto->setRules(change == QLatin1String("rule off") ? QVector<AnswerRule>{status, login}
                                                             : QVector<AnswerRule>{login});
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("Login")));
    QVERIFY(settle(login.delay));
    QCOMPARE(count(QStringLiteral("1"), QStringLiteral("LoginReply")), change == QLatin1String("engine off") ? 0 : 1);
    QCOMPARE(count(QStringLiteral("2"), QStringLiteral("GetStatusReply")), 0);
    QCOMPARE(count(QStringLiteral("1"), QStringLiteral("GetStatusReply")), 0);
}

// Rules are checked when they are set: each one that does not read is named
// once, and keeps quiet when it comes round again.
void TestAutoAnswer::badAnswerIsReported()
{
    QSignalSpy messages(m_auto.get(), &AutoAnswer::message);
    AnswerRule unknown = rule(QStringLiteral("GetStatus"), QStringLiteral("GetStatusReply=(Nope=1)"), 2);
    unknown.name = QStringLiteral("Unknown tag");
    AnswerRule periodic = rule(QString(), QStringLiteral("Nope=2"), 2);
    periodic.every = 10;
    m_auto->setRules({rule(QStringLiteral("GetStatu"), QStringLiteral("GetStatusReply")), unknown,
                      rule(QStringLiteral("GetStatus"), QStringLiteral("GetStatusReply=(ResultCode=Ok)"), 2),
                      periodic});
    QCOMPARE(messages.count(), 3);
    QVERIFY(messages.at(0).at(0).toString().startsWith(QStringLiteral("Answer rule 1: ")));
    QCOMPARE(messages.at(1).at(0).toString(),
             QStringLiteral("Answer rule \"Unknown tag\": Tag Nope not defined at column 17 of "
                            "\"GetStatusReply=(Nope=1)\""));
    QVERIFY(messages.at(2).at(0).toString().startsWith(QStringLiteral("Answer rule 4: Tag Nope not defined")));
    // The rule that does not read still takes its turn, without a word.
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("GetStatus")));

    // A value to copy that a request lacks is said once for the rule.
    m_auto->setRules({rule(QStringLiteral("GetStatus"), QStringLiteral("GetStatusReply=(PumpId=${PumpId})"), 2)});
    QCOMPARE(messages.count(), 3);
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("GetStatus")));
    QTRY_COMPARE(messages.count(), 4);
    QVERIFY(messages.at(3).at(0).toString().contains(QStringLiteral("has no PumpId")));
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("GetStatus")));
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("GetStatus=(PumpId=4)")));
    QTRY_COMPARE(count(QStringLiteral("2"), QStringLiteral("GetStatusReply=(PumpId=4)")), 1);
    QCOMPARE(count(QStringLiteral("2"), QStringLiteral("GetStatusReply")), 1);
    QCOMPARE(messages.count(), 4);
}

void TestAutoAnswer::answerBeyond32BitsIsRefused()
{
    QSignalSpy messages(m_auto.get(), &AutoAnswer::message);
    m_auto->setRules({rule(QStringLiteral("GetStatus"), QStringLiteral("GetStatusReply=(PumpId=4294967296)"), 2)});
    QVERIFY(m_pair->one.sendMessage(QStringLiteral("GetStatus")));
    QTRY_COMPARE(messages.count(), 1);
    QVERIFY2(messages.at(0).at(0).toString().contains(QStringLiteral("Value out of range at column 24")),
             qPrintable(messages.at(0).at(0).toString()));
    QCOMPARE(count(QStringLiteral("2"), QStringLiteral("GetStatusReply")), 0);
}

void TestAutoAnswer::answersEveryBookmarkedRequest()
{
    station();
    if (QTest::currentTestFailed())
        return;
    Channel& one = m_pair->one;
    QSignalSpy problems(m_auto.get(), &AutoAnswer::message);

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
            QTRY_VERIFY2(replies.size() >= 2 &&
                             QRV16::MessagePattern(QStringLiteral("LoginReply=(Operator=\"sentinel\")"), m_tags.get())
                                 .matches(replies.last()),
                         qPrintable(name));
            QCOMPARE(replies.size(), 2);
            QCOMPARE(m_tags->tagName(replies.first().tag()), name + QStringLiteral("Reply"));
            const bool locked =
                QRV16::MessagePattern(QStringLiteral("SetPumpMode=(PumpId=2 PumpMode=Service)"), m_tags.get())
                    .matches(request);
            const QRV16::MessagePattern verdict(
                name + (locked ? QStringLiteral("Reply=(ResultCode=Denied)") : QStringLiteral("Reply=(ResultCode=Ok)")),
                m_tags.get());
            QVERIFY2(verdict.matches(replies.first()), qPrintable(replies.first().toText(m_tags.get())));
        }
    }
    QVERIFY(requests >= 8);
    QCOMPARE(problems.count(), 0);
}

void TestAutoAnswer::sequencesAgainstTheStation_data()
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
void TestAutoAnswer::sequencesAgainstTheStation()
{
    QFETCH(int, sequence);
    QFETCH(QString, ruleOff);
    QFETCH(int, passes);
    QFETCH(int, fails);
    QFETCH(QString, arrived);

    station(ruleOff);
    if (QTest::currentTestFailed())
        return;
    SequenceParser sequences;
    QVERIFY2(sequences.parse(sequencesPath), qPrintable(sequences.formatError()));
    QCOMPARE(sequences.warnings(), QString());
    QCOMPARE(sequences.sequences().size(), 2);
    SequenceRunner runner;
    runner.setPorts(&m_pair->one, &m_pair->two);
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

QTEST_MAIN(TestAutoAnswer)
#include "tst_autoanswer.moc"
