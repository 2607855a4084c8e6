// SPDX-License-Identifier: MIT
#include "tests/support/definitions.h"

#include "qrv16/messageparser.h"
#include "qrv16/messagepattern.h"

using namespace QRV16;

class TestMessagePattern : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { m_tags = demoTags(); }
    void matching_data();
    void matching();
    void errors_data();
    void errors();
    void substitute_data();
    void substitute();
    void withoutTable();

private:
    Message message(const QString& text)
    {
        MessageParser parser(m_tags.get());
        const Message m = parser.parse(text);
        if (parser.hasError())
            qFatal("%s: %s", qPrintable(text), qPrintable(parser.errorMessage()));
        return m;
    }

    std::unique_ptr<TagDataLut> m_tags;
};

void TestMessagePattern::matching_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("matches");

    QTest::newRow("name") << "GetStatus" << "GetStatus" << true;
    QTest::newRow("other name") << "GetStatus" << "SetPumpMode=(PumpId=2)" << false;
    QTest::newRow("name ignores content") << "SetPumpMode" << "SetPumpMode=(PumpId=2)" << true;
    QTest::newRow("hex code") << "D002" << "SetPumpMode=(PumpId=2)" << true;
    QTest::newRow("hex code differs") << "D001" << "SetPumpMode=(PumpId=2)" << false;
    QTest::newRow("any message") << "*" << "Login" << true;
    QTest::newRow("value equal") << "SetPumpMode=(PumpId=2)" << "SetPumpMode=(PumpId=2 PumpMode=Auto)" << true;
    QTest::newRow("value differs") << "SetPumpMode=(PumpId=2)" << "SetPumpMode=(PumpId=1 PumpMode=Auto)" << false;
    QTest::newRow("element absent") << "SetPumpMode=(PumpId=2)" << "SetPumpMode=(PumpMode=Auto)" << false;
    QTest::newRow("order free") << "SetPumpMode=(PumpMode=Service PumpId=2)"
                                << "SetPumpMode=(PumpId=2 PumpMode=Service)" << true;
    QTest::newRow("enum name") << "SetPumpMode=(PumpMode=Service)" << "SetPumpMode=(PumpMode=3)" << true;
    QTest::newRow("enum name differs") << "SetPumpMode=(PumpMode=Service)" << "SetPumpMode=(PumpMode=Auto)" << false;
    QTest::newRow("number against enum") << "SetPumpMode=(PumpMode=2)" << "SetPumpMode=(PumpMode=Auto)" << true;
    QTest::newRow("hex value") << "SetPumpMode=(PumpId=0x2)" << "SetPumpMode=(PumpId=2)" << true;
    QTest::newRow("wildcard") << "SetPumpMode=(PumpId=*)" << "SetPumpMode=(PumpId=7)" << true;
    QTest::newRow("wildcard needs element") << "SetPumpMode=(PumpId=*)" << "SetPumpMode=(PumpMode=Off)" << false;
    QTest::newRow("bare tag is presence") << "SetPumpMode=(PumpId)" << "SetPumpMode=(PumpId=7)" << true;
    QTest::newRow("string") << "Login=(Operator=\"j.lindqvist\")"
                            << "Login=(Operator=\"j.lindqvist\" Password=\"x\")" << true;
    QTest::newRow("string differs") << "Login=(Operator=\"root\")" << "Login=(Operator=\"j.lindqvist\")" << false;
    QTest::newRow("string with escaped quote") << "Login=(Operator=\"a\\\"b\")" << "Login=(Operator=\"a\\\"b\")"
                                               << true;
    QTest::newRow("nested") << "StatusReport=(Pumps=(PumpId=2 PumpMode=Service))"
                            << "StatusReport=(Pumps=(PumpId=1 PumpMode=Auto) Pumps=(PumpId=2 PumpMode=Service))"
                            << true;
    QTest::newRow("nested conditions in one element")
        << "StatusReport=(Pumps=(PumpId=1 PumpMode=Service))"
        << "StatusReport=(Pumps=(PumpId=1 PumpMode=Auto) Pumps=(PumpId=2 PumpMode=Service))" << false;
    QTest::newRow("nested empty") << "StatusReport=(Pumps=())" << "StatusReport=(Pumps=(PumpId=1))" << true;
    QTest::newRow("nested absent") << "StatusReport=(Pumps=())" << "StatusReport=(WellLevel=5)" << false;
    QTest::newRow("no conditions") << "GetStatus=()" << "GetStatus" << true;
    QTest::newRow("bits") << "Event=(Alarms=Overheat|PhaseLoss)" << "Event=(Alarms=PhaseLoss|Overheat)" << true;
    QTest::newRow("bits differ") << "Event=(Alarms=Overheat)" << "Event=(Alarms=PhaseLoss|Overheat)" << false;
    QTest::newRow("date") << "SetClock=(StartTime=22:00:00)" << "SetClock=(StartTime=22:00:00 StopTime=06:00:00)"
                          << true;
    QTest::newRow("spaces") << "  SetPumpMode=( PumpId=2\tPumpMode=Auto )  " << "SetPumpMode=(PumpMode=Auto PumpId=2)" << true;

    // Texts that read as filter expressions.
    const auto expression = [](const char* name, const QString& pattern, const QString& message,
                               bool matches) {
        QTest::addRow("expression: %s", name) << pattern << message << matches;
    };
    const QString report = QStringLiteral("StatusReport=(WellLevel=85 Pumps=(PumpId=1 Temperature=712) "
                                          "Pumps=(PumpId=2 Temperature=540))");
    expression("greater, nested", "Temperature>700", report, true);
    expression("greater, none above", "Temperature>800", report, false);
    expression("message and comparison", "StatusReport and WellLevel<=85", report, true);
    expression("other message and comparison", "GetStatusReply and WellLevel<=85", report, false);
    expression("not equal enum", "ResultCode!=Ok", "SetPumpModeReply=(PumpId=2 ResultCode=Denied)",
               true);
    expression("not equal enum, equal", "ResultCode!=Ok", "SetPumpModeReply=(ResultCode=Ok)",
               false);
    expression("or", "GetStatus or Login", "Login=(Operator=\"x\")", true);
    expression("not", "not GetStatus", "Login", true);
    expression("parentheses", "SetPumpModeReply and (ResultCode=Denied or ResultCode=BadRequest)",
               "SetPumpModeReply=(ResultCode=BadRequest)", true);
    expression("string comparison", "Operator=\"j.lindqvist\"", "Login=(Operator=\"j.lindqvist\")",
               true);
}

void TestMessagePattern::matching()
{
    QFETCH(QString, pattern);
    QFETCH(QString, message);
    QFETCH(bool, matches);
    const MessagePattern p(pattern, m_tags.get());
    QVERIFY2(p.isValid(), qPrintable(p.errorMessage()));
    QCOMPARE(p.isExpression(), QString(QTest::currentDataTag()).startsWith("expression: "));
    QCOMPARE(p.matches(this->message(message)), matches);
    QVERIFY(!p.matches(Message()));
    // A copy keeps what it was parsed into.
    const MessagePattern copy = p;
    QCOMPARE(copy.matches(this->message(message)), matches);
}

void TestMessagePattern::errors_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("length");

    QTest::newRow("empty") << "" << 0 << 0;
    QTest::newRow("blank") << "   " << 0 << 0;
    QTest::newRow("unknown tag") << "GetStatsu" << 0 << 9;
    QTest::newRow("unknown inner tag") << "SetPumpMode=(PumpIdd=2)" << 13 << 7;
    QTest::newRow("top value") << "SetPumpMode=2" << 12 << 1;
    QTest::newRow("missing close") << "SetPumpMode=(PumpId=2" << 21 << 0;
    QTest::newRow("trailing text") << "GetStatus Login" << 10 << 5;
    QTest::newRow("bad enum") << "SetPumpMode=(PumpMode=Sideways)" << 22 << 8;
    QTest::newRow("unterminated string") << "Login=(Operator=\"abc)" << 16 << 5;
    QTest::newRow("nested on a value") << "SetPumpMode=(PumpId=(X=1))" << 13 << 7;
    QTest::newRow("tag expected") << "SetPumpMode=(=2)" << 13 << 1;
    QTest::newRow("value expected") << "SetPumpMode=" << 12 << 0;
    QTest::newRow("stray star") << "*x" << 1 << 1;
    QTest::newRow("too deep") << QString(QStringLiteral("Pumps=(")).repeated(120) << 699 << 1;
    // Texts that read as filter expressions get the expression's error.
    QTest::newRow("expression, value missing") << "Temperature>" << 12 << 0;
    QTest::newRow("expression, unknown name") << "StatusReport and Temprature>1" << 17 << 1;
    QTest::newRow("expression, open parenthesis") << "GetStatus or (Login" << 19 << 0;
}

void TestMessagePattern::errors()
{
    QFETCH(QString, pattern);
    QFETCH(int, start);
    QFETCH(int, length);
    MessagePattern p;
    QVERIFY(!p.parse(pattern, m_tags.get()));
    QVERIFY(!p.isValid());
    QVERIFY(p.hasError());
    QVERIFY(!p.errorMessage().isEmpty());
    QCOMPARE(p.errorStart(), start);
    QCOMPARE(p.errorLength(), length);
    QVERIFY(!p.matches(message(QStringLiteral("GetStatus"))));
}

void TestMessagePattern::substitute_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QString>("request");
    QTest::addColumn<QString>("result");

    QTest::newRow("no copies") << "GetStatusReply=(ResultCode=Ok)" << "GetStatus" << "GetStatusReply=(ResultCode=Ok)";
    QTest::newRow("number") << "SetPumpModeReply=(PumpId=${PumpId} ResultCode=Ok)"
                            << "SetPumpMode=(PumpId=2 PumpMode=Auto)" << "SetPumpModeReply=(PumpId=2 ResultCode=Ok)";
    QTest::newRow("enum by name") << "X ${PumpMode}" << "SetPumpMode=(PumpId=2 PumpMode=Auto)" << "X Auto";
    QTest::newRow("string keeps quotes") << "LoginReply=(Operator=${Operator})"
                                         << "Login=(Operator=\"j l\")" << "LoginReply=(Operator=\"j l\")";
    QTest::newRow("nested, depth first") << "${PumpId}" << "StatusReport=(Pumps=(PumpId=4) Pumps=(PumpId=5))"
                                         << "4";
    QTest::newRow("two copies") << "${FirstEntry}-${MaxEntries}" << "ReadLog=(FirstEntry=0 MaxEntries=20)"
                                << "0-20";
    QTest::newRow("absent") << "${PumpId}" << "GetStatus" << QString();
    QTest::newRow("unknown tag") << "${Nope}" << "GetStatus" << QString();
    QTest::newRow("empty name") << "${}" << "GetStatus" << QString();
    QTest::newRow("unterminated") << "a ${PumpId" << "SetPumpMode=(PumpId=2)" << QString();
}

void TestMessagePattern::substitute()
{
    QFETCH(QString, answer);
    QFETCH(QString, request);
    QFETCH(QString, result);
    QString error = QStringLiteral("stale");
    const QString text = MessagePattern::substitute(answer, message(request), m_tags.get(), &error);
    QCOMPARE(text, result);
    QCOMPARE(error.isEmpty(), !result.isNull());
}

void TestMessagePattern::withoutTable()
{
    MessagePattern p;
    QVERIFY(!p.parse(QStringLiteral("GetStatus"), nullptr));
    QVERIFY2(p.parse(QStringLiteral("D002=(1001=2)"), nullptr), qPrintable(p.errorMessage()));
    QVERIFY(p.matches(message(QStringLiteral("SetPumpMode=(PumpId=2)"))));
    QVERIFY(!p.matches(message(QStringLiteral("SetPumpMode=(PumpId=3)"))));
}

QTEST_GUILESS_MAIN(TestMessagePattern)
#include "tst_messagepattern.moc"
