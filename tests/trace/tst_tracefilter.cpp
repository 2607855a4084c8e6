// SPDX-License-Identifier: MIT
#include "trace/tracefilter.h"
#include "trace/tracemodel.h"

#include "qrv16/message.h"
#include "qrv16/tagdatalut.h"
#include "tests/support/definitions.h"

#include <QAbstractItemModelTester>
#include <QItemSelectionModel>
#include <QtTest>

#include <memory>

namespace {

const char definitions[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<qrv16>
  <tag name="GetStatusReply" id="0xE001"/>
  <tag name="PumpId" id="0x1001"/>
  <tag name="Temperature" id="0x1002"/>
  <tag name="ResultCode" id="0x1006">
    <enums>
      <enum name="Ok" id="0"/>
      <enum name="Fault" id="1"/>
    </enums>
  </tag>
</qrv16>
)";

QRV16::Message reply(int result, int pump, int temperature)
{
    QRV16::Message m;
    m.beginMessage(0xE001);
    m.appendInt(0x1006, result);
    m.appendInt(0x1001, pump);
    m.appendInt(0x1002, temperature);
    m.endMessage();
    return m;
}

// The source rows the filter shows, as "0 2 3".
QString shownRows(const TraceFilter& filter)
{
    QStringList rows;
    for (int row = 0; row < filter.rowCount(); ++row)
        rows << QString::number(filter.mapToSource(filter.index(row, 0)).row());
    return rows.join(QLatin1Char(' '));
}

} // namespace

class TestTraceFilter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void conditions_data();
    void conditions();
    void arrivingLinesAreTested();
    void linesLeaveAtTheLimit();
    void suspendedFilterFollowsNothing();

private:
    void addSample();

    std::unique_ptr<QRV16::TagDataLut> m_tags;
    std::unique_ptr<TraceModel> m_model;
    std::unique_ptr<TraceFilter> m_filter;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
};

void TestTraceFilter::initTestCase()
{
    m_tags = tagsOf(definitions);
}

void TestTraceFilter::init()
{
    m_model = std::make_unique<TraceModel>();
    m_model->setTags(m_tags.get());
    m_filter = std::make_unique<TraceFilter>(m_model.get());
    m_tester = std::make_unique<QAbstractItemModelTester>(m_filter.get(),
                                                          QAbstractItemModelTester::FailureReportingMode::QtTest);
    addSample();
}

void TestTraceFilter::cleanup()
{
    m_tester.reset();
    m_filter.reset();
    m_model.reset();
}

void TestTraceFilter::addSample()
{
    const QDateTime t(QDate(2024, 3, 1), QTime(12, 0));
    m_model->append(QStringLiteral("1"), QStringLiteral("connected"), ColorText, t);
    m_model->append(QStringLiteral("1"), QStringLiteral("01 02"), ColorRawRx1, t);
    m_model->append(QStringLiteral("1"), reply(0, 2, 400), ColorMessageRx1, t);
    m_model->append(QStringLiteral("2"), reply(1, 3, 750), ColorMessageTx2, t);
    m_model->append(QStringLiteral("Main"), QStringLiteral("no such file"), ColorError, t);
    m_model->append(QStringLiteral("2"), QStringLiteral("0A 0B"), ColorHexTx2, t);
    m_model->append(QStringLiteral("Log"), QStringLiteral("replay done"), ColorText, t);
    m_model->flush();
}

void TestTraceFilter::conditions_data()
{
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("expression");
    QTest::addColumn<QString>("shown");

    const int any = 0;
    QTest::newRow("no condition shows all") << any << any << any << "" << "" << "0 1 2 3 4 5 6";
    QTest::newRow("channel 1") << 1 << any << any << "" << "" << "0 1 2";
    QTest::newRow("channel 2") << 2 << any << any << "" << "" << "3 5";
    QTest::newRow("sent") << any << int(TraceFilter::Sent) << any << "" << "" << "3 5";
    QTest::newRow("received") << any << int(TraceFilter::Received) << any << "" << "" << "1 2";
    QTest::newRow("status lines") << any << any << int(TraceFilter::StatusKind) << "" << "" << "0 6";
    QTest::newRow("raw bytes") << any << any << int(TraceFilter::RawKind) << "" << "" << "1";
    QTest::newRow("hex bytes") << any << any << int(TraceFilter::HexKind) << "" << "" << "5";
    QTest::newRow("messages") << any << any << int(TraceFilter::MessageKind) << "" << "" << "2 3";
    QTest::newRow("errors") << any << any << int(TraceFilter::ErrorKind) << "" << "" << "4";
    QTest::newRow("source in any case") << any << any << any << "main" << "" << "4";
    QTest::newRow("enum name") << any << any << any << "" << "ResultCode=Ok" << "2";
    QTest::newRow("or of comparisons") << any << any << any << "" << "Temperature>700 or PumpId=2" << "2 3";
    QTest::newRow("all combined with and") << 2 << int(TraceFilter::Sent) << int(TraceFilter::MessageKind) << "2"
                                           << "PumpId" << "3";
    QTest::newRow("conditions that exclude each other") << 1 << any << any << "" << "PumpId=3" << "";
    QTest::newRow("malformed expression filters nothing") << any << any << any << "" << "ResultCode=" << "0 1 2 3 4 5 6";
}

void TestTraceFilter::conditions()
{
    QFETCH(int, channel);
    QFETCH(int, direction);
    QFETCH(int, kind);
    QFETCH(QString, source);
    QFETCH(QString, expression);
    QFETCH(QString, shown);

    TraceFilter::Conditions c;
    c.channel = channel;
    c.direction = TraceFilter::Direction(direction);
    c.kind = TraceFilter::Kind(kind);
    c.source = source;
    c.expression.parse(expression, m_tags.get());
    m_filter->setConditions(c);
    QCOMPARE(shownRows(*m_filter), shown);
    // A message shown shows all its element lines: the reply, its values.
    for (int row = 0; row < m_filter->rowCount(); ++row) {
        const QModelIndex line = m_filter->index(row, 0);
        QCOMPARE(m_filter->rowCount(line), m_model->rowCount(m_filter->mapToSource(line)));
        if (m_filter->rowCount(line) > 0)
            QCOMPARE(m_filter->rowCount(m_filter->index(0, 0, line)), 3);
    }
    m_filter->clear();
    QCOMPARE(shownRows(*m_filter), QStringLiteral("0 1 2 3 4 5 6"));
    QVERIFY(!m_filter->isActive());
}

void TestTraceFilter::arrivingLinesAreTested()
{
    TraceFilter::Conditions c;
    c.kind = TraceFilter::MessageKind;
    c.expression.parse(QStringLiteral("Temperature>=500"), m_tags.get());
    m_filter->setConditions(c);
    QCOMPARE(shownRows(*m_filter), QStringLiteral("3"));
    QSignalSpy inserted(m_filter.get(), &QAbstractItemModel::rowsInserted);
    for (int i = 0; i < 10; ++i)
        m_model->append(QStringLiteral("1"), reply(0, i, 100 * i), ColorMessageRx1, QDateTime());
    m_model->flush();
    QCOMPARE(shownRows(*m_filter), QStringLiteral("3 12 13 14 15 16"));
    QVERIFY(!inserted.isEmpty());
}

void TestTraceFilter::linesLeaveAtTheLimit()
{
    TraceFilter::Conditions c;
    c.channel = 2;
    m_filter->setConditions(c);
    m_model->setLimit(10);
    QCOMPARE(shownRows(*m_filter), QStringLiteral("3 5"));
    for (int i = 0; i < 25; ++i) {
        m_model->append(QString::number(1 + i % 2), QStringLiteral("line %1").arg(i), ColorText);
        if (i % 4 == 3)
            m_model->flush();
    }
    m_model->flush();
    QCOMPARE(m_model->rowCount(), 10);
    // The ten last lines, i = 15..24: the odd ones are on channel 2.
    QCOMPARE(m_filter->rowCount(), 5);
    QCOMPARE(m_filter->index(0, TraceModel::TextColumn).data().toString(), QStringLiteral("line 15"));
    QCOMPARE(m_filter->index(4, TraceModel::TextColumn).data().toString(), QStringLiteral("line 23"));
    m_filter->clear();
    QCOMPARE(m_filter->rowCount(), 10);
}

void TestTraceFilter::suspendedFilterFollowsNothing()
{
    m_filter->setSuspended(true);
    QVERIFY(m_filter->isSuspended());
    QCOMPARE(m_filter->rowCount(), 0);
    QVERIFY(!m_filter->hasChildren());
    TraceFilter::Conditions c;
    c.kind = TraceFilter::MessageKind;
    m_filter->setConditions(c);
    addSample(); // lines that arrive meanwhile are not lost on resume
    QCOMPARE(m_filter->rowCount(), 0);
    m_filter->setSuspended(false);
    QCOMPARE(shownRows(*m_filter), QStringLiteral("2 3 9 10"));
}

QTEST_GUILESS_MAIN(TestTraceFilter)
#include "tst_tracefilter.moc"
