// SPDX-License-Identifier: MIT
#include "automation/messageport.h"
#include "automation/sequenceclock.h"
#include "automation/sequencerunner.h"
#include "qrv16/messageparser.h"
#include "tests/support/definitions.h"
#include "tests/support/stallmeter.h"

#include <QElapsedTimer>
#include <QtTest>

#include <functional>
#include <map>

Q_DECLARE_METATYPE(Sequence)
Q_DECLARE_METATYPE(SequenceStep)

namespace {

// Time moved by the test: the runner's timer and the test's own events
// fire in time order, each at its exact millisecond, events first.
class ManualClock : public SequenceClock
{
public:
    qint64 now() const override { return m_now; }
    void start(int ms) override { m_deadline = m_now + ms; }
    void stop() override { m_deadline = -1; }
    int remaining() const override { return m_deadline < 0 ? -1 : int(m_deadline - m_now); }

    void at(qint64 ms, std::function<void()> action) { m_events.emplace(ms, std::move(action)); }
    void after(qint64 ms, std::function<void()> action) { at(m_now + ms, std::move(action)); }
    // Fires what is due next; false when nothing is pending.
    bool step()
    {
        if (!m_events.empty() && (m_deadline < 0 || m_events.begin()->first <= m_deadline)) {
            const auto next = m_events.begin();
            m_now = qMax(m_now, next->first);
            const std::function<void()> action = next->second;
            m_events.erase(next);
            action();
            return true;
        }
        if (m_deadline < 0)
            return false;
        m_now = m_deadline;
        m_deadline = -1;
        Q_EMIT timeout();
        return true;
    }
    // False when time runs out of things to do before `done`.
    bool runUntil(const std::function<bool()>& done)
    {
        while (!done()) {
            if (!step())
                return false;
        }
        return true;
    }
    bool idle() const { return m_events.empty() && m_deadline < 0; }

private:
    qint64 m_now = 1000;
    qint64 m_deadline = -1;
    std::multimap<qint64, std::function<void()>> m_events;
};

// A port without a link: what is sent is kept and handed to `onSend`,
// which plays the other side.
class FakePort : public MessagePort
{
public:
    using MessagePort::MessagePort;
    bool isConnected() const override { return connected; }
    void sendMessage(const QRV16::Message& message, const QString& note) override
    {
        sent.append(message);
        notes.append(note);
        if (onSend)
            onSend(message);
    }

    bool connected = true;
    QList<QRV16::Message> sent;
    QStringList notes;
    std::function<void(const QRV16::Message&)> onSend;
};

Sequence make(const QVector<SequenceStep>& steps, bool continueOnFail = false)
{
    Sequence s;
    s.name = QStringLiteral("test");
    s.continueOnFail = continueOnFail;
    s.steps = steps;
    return s;
}

} // namespace

class TestSequenceRunner : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void waitsTakeTheirTime_data();
    void waitsTakeTheirTime();
    void expects_data();
    void expects();
    void stepsRunInTurn_data();
    void stepsRunInTurn();
    void stepErrors_data();
    void stepErrors();
    void stopEndsAtOnce();
    void pauseHoldsTheClock();
    void pauseDuringExpectSeesWhatArrived();
    void shortWaitsKeepTheLoopFree();
    void restartStopsTheRunBefore();
    void busyPortKeepsBoundedBacklog();
    void tableReplacedDuringRun();
    void slotsMayPauseOnResults_data();
    void slotsMayPauseOnResults();

private:
    struct Run
    {
        SequenceRunner::Summary summary;
        QString line;
        QList<QList<QVariant>> expects;
        QStringList messages;
        qint64 wallMs = 0;
    };
    // Runs to its end on the test's clock, or on the event loop's when the
    // runner has its own.
    Run run(const Sequence& sequence);
    QRV16::Message message(const QString& text) const;
    // Port 2 answers every GetStatus on port 1 after `delay` ms with `reply`.
    void answer(int delay, const QString& reply);

    std::unique_ptr<QRV16::TagDataLut> m_tags;
    std::unique_ptr<FakePort> m_one;
    std::unique_ptr<FakePort> m_two;
    std::unique_ptr<SequenceRunner> m_runner;
    std::unique_ptr<ManualClock> m_clock;
    bool m_realTime = false;
};

void TestSequenceRunner::initTestCase()
{
    m_tags = demoTags();
    qRegisterMetaType<SequenceRunner::Summary>();
}

void TestSequenceRunner::init()
{
    m_one = std::make_unique<FakePort>(1);
    m_two = std::make_unique<FakePort>(2);
    m_clock = std::make_unique<ManualClock>();
    m_realTime = false;
    m_runner = std::make_unique<SequenceRunner>();
    m_runner->setClock(m_clock.get());
    m_runner->setPorts(m_one.get(), m_two.get());
    m_runner->setTags(m_tags.get());
}

void TestSequenceRunner::cleanup()
{
    m_runner.reset();
    m_clock.reset();
    m_one.reset();
    m_two.reset();
}

QRV16::Message TestSequenceRunner::message(const QString& text) const
{
    QRV16::MessageParser parser(m_tags.get());
    const QRV16::Message m = parser.parse(text);
    if (parser.hasError())
        qFatal("%s", qPrintable(parser.errorMessage()));
    return m;
}

void TestSequenceRunner::answer(int delay, const QString& reply)
{
    const QRV16::Message answer = message(reply);
    FakePort* one = m_one.get();
    ManualClock* clock = m_clock.get();
    const QRV16::MessagePattern request(QStringLiteral("GetStatus"), m_tags.get());
    m_one->onSend = [one, clock, answer, delay, request](const QRV16::Message& sent) {
        if (!request.matches(sent))
            return;
        if (delay < 0)
            Q_EMIT one->received(answer);
        else
            clock->after(delay, [one, answer] { Q_EMIT one->received(answer); });
    };
}

TestSequenceRunner::Run TestSequenceRunner::run(const Sequence& sequence)
{
    Run result;
    QSignalSpy finished(m_runner.get(), &SequenceRunner::finished);
    QSignalSpy expects(m_runner.get(), &SequenceRunner::expectFinished);
    QSignalSpy messages(m_runner.get(), &SequenceRunner::message);
    QElapsedTimer clock;
    clock.start();
    m_runner->start(sequence);
    const bool done = m_realTime ? finished.wait(20000) : m_clock->runUntil([&] { return !finished.isEmpty(); });
    if (!done)
        return result;
    result.wallMs = clock.elapsed();
    result.summary = finished.first().at(0).value<SequenceRunner::Summary>();
    result.line = finished.first().at(1).toString();
    result.expects = expects;
    for (const QList<QVariant>& m : messages)
        result.messages.append(m.first().toString());
    return result;
}

void TestSequenceRunner::waitsTakeTheirTime_data()
{
    QTest::addColumn<int>("ms");
    QTest::addColumn<int>("times");
    QTest::newRow("one wait of 1 ms") << 1 << 1;
    QTest::newRow("one wait of 100 ms") << 100 << 1;
    QTest::newRow("one wait of 300 ms") << 300 << 1;
    QTest::newRow("ten waits of 25 ms") << 25 << 10;
}

void TestSequenceRunner::waitsTakeTheirTime()
{
    QFETCH(int, ms);
    QFETCH(int, times);
    const Run r = run(make({SequenceStep::repeat(times), SequenceStep::wait(ms), SequenceStep::end()}));
    QCOMPARE(r.summary.steps, times);
    QVERIFY(r.summary.passed());
    QCOMPARE(r.summary.durationMs, qint64(ms * times));
    QCOMPARE(r.line, QStringLiteral("Sequence \"test\": %1 steps, 0 passed, 0 failed, %2 ms")
                         .arg(times)
                         .arg(r.summary.durationMs));
}

void TestSequenceRunner::expects_data()
{
    QTest::addColumn<int>("delay"); // of the answer, -1: before send returns
    QTest::addColumn<QString>("reply");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<int>("within");
    QTest::addColumn<bool>("passed");
    QTest::addColumn<QString>("arrived"); // part of the text
    QTest::addColumn<int>("elapsed");

    const QString ok = QStringLiteral("GetStatusReply=(ResultCode=Ok)");
    const QString denied = QStringLiteral("GetStatusReply=(ResultCode=Denied)");
    QTest::newRow("reply in time passes") << 50 << ok << "GetStatusReply=(ResultCode=Ok)" << 300 << true
                                          << "ResultCode=Ok" << 50;
    QTest::newRow("reply before the expect begins passes") << -1 << ok << "GetStatusReply" << 0 << true
                                                           << "GetStatusReply" << 0;
    QTest::newRow("late reply fails after within") << 200 << ok << "GetStatusReply" << 80 << false
                                                   << "nothing within 80 ms" << 80;
    QTest::newRow("other reply fails saying what came") << 10 << denied << "GetStatusReply=(ResultCode=Ok)" << 100
                                                        << false << "ResultCode=Denied" << 100;
    QTest::newRow("wildcard takes any value") << 10 << denied << "GetStatusReply=(ResultCode=*)" << 100 << true
                                              << "Denied" << 10;
}

void TestSequenceRunner::expects()
{
    QFETCH(int, delay);
    QFETCH(QString, reply);
    QFETCH(QString, pattern);
    QFETCH(int, within);
    QFETCH(bool, passed);
    QFETCH(QString, arrived);
    QFETCH(int, elapsed);
    answer(delay, reply);
    const Run r = run(make({SequenceStep::send(1, QStringLiteral("GetStatus")),
                            SequenceStep::expect(1, pattern, within)}));
    QCOMPARE(r.expects.size(), 1);
    const QList<QVariant>& e = r.expects.first();
    QCOMPARE(e.at(0).toInt(), 1);
    QCOMPARE(e.at(1).toBool(), passed);
    QCOMPARE(e.at(2).toString(), pattern);
    QVERIFY2(e.at(3).toString().contains(arrived), qPrintable(e.at(3).toString()));
    QCOMPARE(e.at(4).toLongLong(), qint64(elapsed));
    QCOMPARE(r.summary.passes, passed ? 1 : 0);
    QCOMPARE(r.summary.fails, passed ? 0 : 1);
    QCOMPARE(r.summary.passed(), passed);
    QCOMPARE(m_one->notes.first(), QStringLiteral("Sent by sequence \"test\", step 1"));
}

void TestSequenceRunner::stepsRunInTurn_data()
{
    QTest::addColumn<Sequence>("sequence");
    QTest::addColumn<int>("sends");
    QTest::addColumn<int>("passes");
    QTest::addColumn<int>("fails");
    QTest::addColumn<int>("steps"); // sends, waits, expects and stops run
    const SequenceStep send = SequenceStep::send(1, QStringLiteral("GetStatus"));
    const SequenceStep expect = SequenceStep::expect(1, QStringLiteral("GetStatusReply"), 200);
    const SequenceStep failing = SequenceStep::expect(1, QStringLiteral("SetPumpModeReply"), 50);
    QTest::newRow("three times") << make({SequenceStep::repeat(3), send, expect, SequenceStep::end()}) << 3 << 3 << 0
                                 << 6;
    QTest::newRow("nested two by three") << make({SequenceStep::repeat(2), send, SequenceStep::repeat(3), send,
                                                  SequenceStep::end(), SequenceStep::end()})
                                         << 8 << 0 << 0 << 8;
    QTest::newRow("zero times skips the block")
        << make({SequenceStep::repeat(0), send, SequenceStep::end(), send}) << 1 << 0 << 0 << 1;
    QTest::newRow("open repeat runs to the end") << make({send, SequenceStep::repeat(4), send}) << 5 << 0 << 0 << 5;
    QTest::newRow("stray end does nothing") << make({send, SequenceStep::end(), send}) << 2 << 0 << 0 << 2;
    QTest::newRow("stop inside a repeat ends the run")
        << make({SequenceStep::repeat(5), send, SequenceStep::stop(), SequenceStep::end(), send}) << 1 << 0 << 0 << 2;
    QTest::newRow("a failed expect ends the run") << make({send, failing, send, expect}) << 1 << 0 << 1 << 2;
    QTest::newRow("the sequence goes on after a failure")
        << make({send, failing, send, expect}, true) << 2 << 1 << 1 << 4;
}

void TestSequenceRunner::stepsRunInTurn()
{
    QFETCH(Sequence, sequence);
    QFETCH(int, sends);
    QFETCH(int, passes);
    QFETCH(int, fails);
    QFETCH(int, steps);
    answer(1, QStringLiteral("GetStatusReply=(ResultCode=Ok)"));
    const Run r = run(sequence);
    QCOMPARE(m_one->sent.size(), sends);
    QCOMPARE(r.summary.passes, passes);
    QCOMPARE(r.summary.fails, fails);
    QCOMPARE(r.summary.errors, 0);
    QCOMPARE(r.summary.steps, steps);
    QVERIFY(!r.summary.stopped);
    QCOMPARE(r.summary.passed(), fails == 0);
}

void TestSequenceRunner::stepErrors_data()
{
    QTest::addColumn<SequenceStep>("step");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<QString>("text");
    QTest::newRow("send text that does not parse") << SequenceStep::send(1, QStringLiteral("GetStatus=(")) << true
                                                   << "Sequence \"test\", step 1: ";
    QTest::newRow("empty send") << SequenceStep::send(1, QString()) << true << "nothing to send";
    QTest::newRow("send of a number beyond 32 bits")
        << SequenceStep::send(1, QStringLiteral("GetStatus=(PumpId=4294967296)")) << true
        << "Value out of range at column 19 of \"GetStatus=(PumpId=4294967296)\"";
    QTest::newRow("pattern that does not parse") << SequenceStep::expect(1, QStringLiteral("NoSuchTag"), 10) << true
                                                 << "of \"NoSuchTag\"";
    QTest::newRow("send on a port not connected") << SequenceStep::send(1, QStringLiteral("GetStatus")) << false
                                                  << "channel 1 is not connected";
    QTest::newRow("expect on a port not connected") << SequenceStep::expect(1, QStringLiteral("GetStatus"), 10)
                                                    << false << "channel 1 is not connected";
    QTest::newRow("channel that does not exist") << SequenceStep::send(3, QStringLiteral("GetStatus")) << true
                                                 << "there is no channel 3";
}

void TestSequenceRunner::stepErrors()
{
    QFETCH(SequenceStep, step);
    QFETCH(bool, connected);
    QFETCH(QString, text);
    m_one->connected = connected;
    for (bool continueOnFail : {false, true}) {
        const Run r = run(make({step, SequenceStep::wait(1)}, continueOnFail));
        QCOMPARE(r.messages.size(), 1);
        QVERIFY2(r.messages.first().contains(text), qPrintable(r.messages.first()));
        QCOMPARE(r.summary.errors, 1);
        QCOMPARE(r.summary.steps, continueOnFail ? 2 : 1);
        QVERIFY(!r.summary.passed());
        QVERIFY(r.line.endsWith(QStringLiteral(", 1 error")));
    }
    QVERIFY(m_one->sent.isEmpty());
}

void TestSequenceRunner::stopEndsAtOnce()
{
    QSignalSpy finished(m_runner.get(), &SequenceRunner::finished);
    m_runner->start(make({SequenceStep::wait(2000), SequenceStep::send(1, QStringLiteral("GetStatus"))}));
    m_clock->after(50, [this] {
        QCOMPARE(m_runner->state(), SequenceRunner::Running);
        QCOMPARE(m_runner->currentStep(), 0);
        m_runner->stop();
    });
    QVERIFY(m_clock->runUntil([&] { return !finished.isEmpty(); }));
    QCOMPARE(finished.size(), 1);
    const auto summary = finished.first().at(0).value<SequenceRunner::Summary>();
    QVERIFY(summary.stopped);
    QVERIFY(finished.first().at(1).toString().endsWith(QStringLiteral(", stopped")));
    QCOMPARE(m_runner->state(), SequenceRunner::Idle);
    QCOMPARE(m_runner->currentStep(), -1);
    // Nothing is left to happen.
    QVERIFY(m_clock->idle());
    QVERIFY(m_one->sent.isEmpty());
    QCOMPARE(finished.size(), 1);
}

void TestSequenceRunner::pauseHoldsTheClock()
{
    QSignalSpy finished(m_runner.get(), &SequenceRunner::finished);
    QSignalSpy states(m_runner.get(), &SequenceRunner::stateChanged);
    const qint64 begin = m_clock->now();
    qint64 sentAt = -1;
    m_one->onSend = [&](const QRV16::Message&) { sentAt = m_clock->now() - begin; };
    m_runner->start(make({SequenceStep::wait(100), SequenceStep::send(1, QStringLiteral("GetStatus"))}));
    m_clock->after(40, [this] {
        m_runner->pause();
        QCOMPARE(m_runner->state(), SequenceRunner::Paused);
    });
    m_clock->after(190, [this] { m_runner->resume(); });
    QVERIFY(m_clock->runUntil([&] { return !finished.isEmpty(); }));
    // 40 ms, 150 paused, the other 60.
    QCOMPARE(sentAt, qint64(250));
    QCOMPARE(m_one->sent.size(), 1);
    QCOMPARE(states.size(), 4); // running, paused, running, idle
    QCOMPARE(finished.first().at(0).value<SequenceRunner::Summary>().durationMs, qint64(100));
}

void TestSequenceRunner::pauseDuringExpectSeesWhatArrived()
{
    answer(30, QStringLiteral("GetStatusReply=(ResultCode=Ok)"));
    QSignalSpy expects(m_runner.get(), &SequenceRunner::expectFinished);
    QSignalSpy finished(m_runner.get(), &SequenceRunner::finished);
    m_runner->start(make({SequenceStep::send(1, QStringLiteral("GetStatus")),
                          SequenceStep::expect(1, QStringLiteral("GetStatusReply"), 100)}));
    // The reply comes, and the expect's time would be over, while paused.
    m_clock->after(10, [&] {
        QCOMPARE(m_one->sent.size(), 1);
        m_runner->pause();
    });
    m_clock->after(250, [&] {
        QVERIFY(expects.isEmpty());
        m_runner->resume();
    });
    QVERIFY(m_clock->runUntil([&] { return !finished.isEmpty(); }));
    QCOMPARE(expects.size(), 1);
    QVERIFY(expects.first().at(1).toBool());
    // Taken at the resume: 10 ms of run time after the expect began.
    QCOMPARE(expects.first().at(4).toLongLong(), qint64(10));
}

void TestSequenceRunner::shortWaitsKeepTheLoopFree()
{
    // On the event loop's own clock: 1 ms waits and sends with no wait at
    // all, while a 5 ms timer ticks.
    m_runner->setClock(nullptr);
    m_realTime = true;
    korvtest::StallMeter meter(5);
    const Run r = run(make({SequenceStep::repeat(300), SequenceStep::wait(1),
                            SequenceStep::send(2, QStringLiteral("GetStatus")), SequenceStep::end(),
                            SequenceStep::repeat(2000), SequenceStep::send(2, QStringLiteral("GetStatus")),
                            SequenceStep::end()}));
    meter.stop();
    QCOMPARE(m_two->sent.size(), 2300);
    QVERIFY(r.summary.passed());
    // Two clocks that round to the millisecond apart.
    QVERIFY2(r.summary.durationMs >= 300 && r.summary.durationMs <= r.wallMs + 2,
             qPrintable(QStringLiteral("%1 of %2").arg(r.summary.durationMs).arg(r.wallMs)));
    QVERIFY(meter.ticks > 0);
    QVERIFY2(meter.longest < 50, qPrintable(QString::number(meter.longest)));
}

void TestSequenceRunner::restartStopsTheRunBefore()
{
    QSignalSpy finished(m_runner.get(), &SequenceRunner::finished);
    m_runner->start(make({SequenceStep::wait(5000)}));
    QVERIFY(m_clock->step()); // the wait begins
    QCOMPARE(m_runner->currentStep(), 0);
    Sequence second = make({SequenceStep::send(1, QStringLiteral("GetStatus"))});
    second.name = QStringLiteral("second");
    m_runner->start(second);
    QCOMPARE(finished.size(), 1);
    QVERIFY(finished.first().at(0).value<SequenceRunner::Summary>().stopped);
    QVERIFY(m_clock->runUntil([&] { return finished.size() == 2; }));
    const auto summary = finished.at(1).at(0).value<SequenceRunner::Summary>();
    QCOMPARE(summary.name, QStringLiteral("second"));
    QVERIFY(summary.passed());
    QCOMPARE(m_one->sent.size(), 1);
}

void TestSequenceRunner::busyPortKeepsBoundedBacklog()
{
    // Thousands of unrelated messages before the expected one: it still
    // passes, and the failure text names only a few of the others.
    FakePort* one = m_one.get();
    const QRV16::Message noise = message(QStringLiteral("StatusReport=(WellLevel=1)"));
    const QRV16::Message reply = message(QStringLiteral("GetStatusReply=(ResultCode=Ok)"));
    m_one->onSend = [one, noise, reply](const QRV16::Message&) {
        for (int i = 0; i < 5000; ++i)
            Q_EMIT one->received(noise);
        Q_EMIT one->received(reply);
    };
    const Run r = run(make({SequenceStep::send(1, QStringLiteral("GetStatus")),
                            SequenceStep::expect(1, QStringLiteral("GetStatusReply"), 100),
                            SequenceStep::send(1, QStringLiteral("GetStatus")),
                            SequenceStep::expect(1, QStringLiteral("SetPumpModeReply"), 20)}));
    QCOMPARE(r.summary.passes, 1);
    QCOMPARE(r.summary.fails, 1);
    const QString arrived = r.expects.at(1).at(3).toString();
    QVERIFY2(arrived.contains(QStringLiteral(" more")) && arrived.size() < 1000, qPrintable(arrived));
}

void TestSequenceRunner::tableReplacedDuringRun()
{
    // New definitions arrive while an expect with a filter expression
    // waits; the old table is gone before the reply comes.
    auto tags = demoTags();
    m_runner->setTags(tags.get());
    answer(100, QStringLiteral("GetStatusReply=(ResultCode=Denied)"));
    QSignalSpy finished(m_runner.get(), &SequenceRunner::finished);
    QSignalSpy expects(m_runner.get(), &SequenceRunner::expectFinished);
    m_runner->start(make({SequenceStep::send(1, QStringLiteral("GetStatus")),
                          SequenceStep::expect(1, QStringLiteral("GetStatusReply and ResultCode!=Ok"), 1000)}));
    QVERIFY(m_clock->runUntil([&] { return m_one->sent.size() == 1; }));
    m_runner->setTags(m_tags.get());
    tags.reset();
    QVERIFY(m_clock->runUntil([&] { return !finished.isEmpty(); }));
    QCOMPARE(expects.size(), 1);
    QVERIFY(expects.first().at(1).toBool());
    QVERIFY(expects.first().at(3).toString().contains(QStringLiteral("ResultCode=Denied")));
}

void TestSequenceRunner::slotsMayPauseOnResults_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<bool>("continueOnFail");
    QTest::addColumn<int>("passes");
    QTest::addColumn<int>("fails");
    QTest::newRow("after a pass") << "GetStatusReply" << false << 2 << 0;
    QTest::newRow("after a failure that ends the run") << "LoginReply" << false << 0 << 1;
    QTest::newRow("after a failure the run goes on from") << "LoginReply" << true << 1 << 1;
}

void TestSequenceRunner::slotsMayPauseOnResults()
{
    // A listener that pauses on the first result and sends something the
    // same expect would take: resumed, the run goes on from the next step
    // and counts the first expect once.
    QFETCH(QString, pattern);
    QFETCH(bool, continueOnFail);
    QFETCH(int, passes);
    QFETCH(int, fails);
    answer(-1, QStringLiteral("GetStatusReply=(ResultCode=Ok)"));
    bool paused = false;
    connect(m_runner.get(), &SequenceRunner::expectFinished, this, [this, &paused] {
        if (paused)
            return;
        paused = true;
        m_runner->pause();
        Q_EMIT m_one->received(message(QStringLiteral("GetStatusReply=(ResultCode=Ok)")));
        Q_EMIT m_one->received(message(QStringLiteral("LoginReply=(ResultCode=Ok)")));
    });
    QSignalSpy finished(m_runner.get(), &SequenceRunner::finished);
    QSignalSpy expects(m_runner.get(), &SequenceRunner::expectFinished);
    m_runner->start(make({SequenceStep::send(1, QStringLiteral("GetStatus")),
                          SequenceStep::expect(1, pattern, 30),
                          SequenceStep::expect(1, QStringLiteral("GetStatusReply"), 30)},
                         continueOnFail));
    m_clock->runUntil([&] { return !finished.isEmpty(); });
    QVERIFY(paused);
    if (finished.isEmpty()) {
        // Paused, the run waits for nothing.
        QVERIFY(m_clock->idle());
        QCOMPARE(m_runner->state(), SequenceRunner::Paused);
        QCOMPARE(expects.size(), 1);
        m_runner->resume();
        QVERIFY(m_clock->runUntil([&] { return !finished.isEmpty(); }));
    }
    const auto summary = finished.first().at(0).value<SequenceRunner::Summary>();
    QCOMPARE(summary.passes, passes);
    QCOMPARE(summary.fails, fails);
    QCOMPARE(expects.size(), passes + fails);
}

QTEST_MAIN(TestSequenceRunner)
#include "tst_sequencerunner.moc"
