// SPDX-License-Identifier: MIT
#include "automation/answerparser.h"
#include "automation/autoanswer.h"
#include "automation/sequenceparser.h"
#include "automation/sequencerunner.h"
#include "trace/channel.h"
#include "trace/tracemodel.h"
#include "tests/support/definitions.h"
#include "tests/support/loopback.h"

#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

namespace {

const QString answersPath = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvans");
const QString sequencesPath = QStringLiteral(KORV_SOURCE_DIR "/examples/pump-station.qrvseq");

} // namespace

// The demo's sequences against its simulated controller, headless, over a
// loopback pair of channels as `make run` wires them: green as shipped,
// red with an answer rule switched off.
class TestSequencePumpStation : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void fileReadsCleanly();
    void againstController_data();
    void againstController();

private:
    std::unique_ptr<QRV16::TagDataLut> m_tags;
};

void TestSequencePumpStation::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings().clear();
    m_tags = demoTags();
}

void TestSequencePumpStation::fileReadsCleanly()
{
    SequenceParser parser;
    QVERIFY2(parser.parse(sequencesPath), qPrintable(parser.formatError()));
    QCOMPARE(parser.warnings(), QString());
    QCOMPARE(parser.sequences().size(), 2);
}

void TestSequencePumpStation::againstController_data()
{
    QTest::addColumn<int>("sequence");
    QTest::addColumn<QString>("ruleOff"); // the answer rule switched off
    QTest::addColumn<int>("passes");
    QTest::addColumn<int>("fails");
    QTest::addColumn<QString>("arrived"); // part of the first failure's text

    QTest::newRow("acceptance runs green") << 0 << QString() << 7 << 0 << QString();
    QTest::newRow("without the lockout the pump is not denied")
        << 0 << "Pump 2 locked out" << 5 << 1 << "SetPumpModeReply=(PumpId=2 ResultCode=Ok)";
    QTest::newRow("without status nothing comes") << 0 << "Status" << 0 << 1 << "nothing within 500 ms";
    QTest::newRow("second runs green") << 1 << QString() << 2 << 0 << QString();
    QTest::newRow("second goes on after the clock fails") << 1 << "Clock" << 1 << 1 << "nothing within 500 ms";
}

void TestSequencePumpStation::againstController()
{
    QFETCH(int, sequence);
    QFETCH(QString, ruleOff);
    QFETCH(int, passes);
    QFETCH(int, fails);
    QFETCH(QString, arrived);

    LoopbackPair pair(m_tags.get());
    pair.connect();
    if (QTest::currentTestFailed())
        return;
    Channel& one = pair.one;
    Channel& two = pair.two;

    AnswerParser answers;
    QVERIFY(answers.parse(answersPath));
    QVector<AnswerRule> rules = answers.rules();
    bool found = ruleOff.isEmpty();
    for (AnswerRule& rule : rules) {
        if (rule.name == ruleOff) {
            rule.enabled = false;
            found = true;
        }
    }
    QVERIFY(found);
    AutoAnswer engine;
    engine.setPorts(&one, &two);
    engine.setTags(m_tags.get());
    engine.setRules(rules);

    SequenceParser sequences;
    QVERIFY(sequences.parse(sequencesPath));
    SequenceRunner runner;
    runner.setPorts(&one, &two);
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

QTEST_MAIN(TestSequencePumpStation)
#include "tst_sequencepumpstation.moc"
