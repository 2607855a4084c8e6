// SPDX-License-Identifier: MIT
#include "trace/tracefilter.h"
#include "trace/tracemodel.h"
#include "trace/widgets/filterbar.h"

#include "tests/support/definitions.h"

#include <QtTest>

#include <memory>

namespace {

const char definitions[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<qrv16>
  <tag name="GetStatusReply" id="0xE001"/>
  <tag name="ResultCode" id="0x1006">
    <enums>
      <enum name="Ok" id="0"/>
      <enum name="Fault" id="1"/>
    </enums>
  </tag>
</qrv16>
)";

QRV16::Message reply(int result)
{
    QRV16::Message m;
    m.beginMessage(0xE001);
    m.appendInt(0x1006, result);
    m.endMessage();
    return m;
}

} // namespace

class TestFilterBar : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void showsTheExpressionError();
};

void TestFilterBar::showsTheExpressionError()
{
    const std::unique_ptr<QRV16::TagDataLut> tags = tagsOf(definitions);
    TraceModel model;
    model.setTags(tags.get());
    const QDateTime t(QDate(2024, 3, 1), QTime(12, 0));
    model.append(QStringLiteral("1"), QStringLiteral("connected"), ColorText, t);
    model.append(QStringLiteral("1"), reply(0), ColorMessageRx1, t);
    model.append(QStringLiteral("2"), reply(1), ColorMessageTx2, t);
    model.flush();
    TraceFilter filter(&model);

    FilterBar bar(&filter);
    bar.setTags(tags.get());
    bar.setExpression(QStringLiteral("ResultCode=Fault or"));
    QCOMPARE(bar.error(), QStringLiteral("Column 20: expected a tag"));
    QCOMPARE(filter.rowCount(), 3);
    bar.setExpression(QStringLiteral("ResultCode=Fault"));
    QVERIFY(bar.error().isEmpty());
    QCOMPARE(filter.rowCount(), 1);
    QCOMPARE(filter.mapToSource(filter.index(0, 0)).row(), 2);
    bar.clear();
    QVERIFY(bar.expression().isEmpty());
    QCOMPARE(filter.rowCount(), 3);
}

QTEST_MAIN(TestFilterBar)
#include "tst_filterbar.moc"
