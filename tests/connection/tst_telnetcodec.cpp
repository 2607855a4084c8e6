// SPDX-License-Identifier: MIT
// The Telnet layer of remote serial ports, bytes in and bytes out: data
// stays data whatever the far end mixes in, answers are read whole, and
// every input gives the same result fed at once or a byte at a time.

#include "connection/telnetcodec.h"

#include <QtTest>

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

// A codec after the far end agreed to everything a client offers.
TelnetCodec agreed()
{
    TelnetCodec codec;
    codec.start();
    TelnetCodec::Output out;
    codec.decode(hex("fffd00 fffb00 fffd03 fffb03 fffd2c"), &out);
    return codec;
}

QString problems(const TelnetCodec::Output& out)
{
    QStringList names;
    for (const TelnetCodec::Report& report : out.reports) {
        static const char* const kinds[] = {"malformed", "unknown option", "bad answer"};
        names << QStringLiteral("%1 %2").arg(QLatin1String(kinds[report.problem])).arg(report.detail);
    }
    return names.join(QLatin1String("; "));
}

QString answers(const TelnetCodec::Output& out)
{
    QStringList texts;
    for (const TelnetCodec::Answer& answer : out.answers) {
        texts << (answer.command == TelnetCodec::Signature
                      ? QStringLiteral("%1 \"%2\"").arg(int(answer.command)).arg(QString::fromLatin1(answer.text))
                      : QStringLiteral("%1=%2").arg(int(answer.command)).arg(answer.value));
    }
    return texts.join(QLatin1String("; "));
}

} // namespace

class TestTelnetCodec : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void start();
    void encode_data();
    void encode();
    void decode_data();
    void decode();
    void answers_data();
    void answers();
    void comPortNegotiation_data();
    void comPortNegotiation();
    void commandsDoubleTheirFFBytes();
    void everySplitGivesTheSame();
};

void TestTelnetCodec::start()
{
    TelnetCodec codec;
    QCOMPARE(codec.start().toHex(' '), hex("fffb00 fffb03 fffb2c fffd00 fffd03").toHex(' '));
    // Offers are made once.
    QVERIFY(codec.start().isEmpty());
    QVERIFY(!codec.comPortAnswered());
}

void TestTelnetCodec::encode_data()
{
    QTest::addColumn<bool>("binary");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("wire");
    QTest::newRow("plain bytes pass") << true << hex("0102417e") << hex("0102417e");
    QTest::newRow("0xFF is doubled") << true << hex("ff") << hex("ffff");
    QTest::newRow("two 0xFF, each doubled") << true << hex("41ffff42") << hex("41ffffffff42");
    QTest::newRow("binary: CR stays alone") << true << hex("0d410d") << hex("0d410d");
    QTest::newRow("text: CR gets its NUL") << false << hex("0d410d0a") << hex("0d00410d000a");
    QTest::newRow("empty") << true << QByteArray() << QByteArray();
}

void TestTelnetCodec::encode()
{
    QFETCH(bool, binary);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, wire);
    const TelnetCodec codec = binary ? agreed() : TelnetCodec();
    QCOMPARE(codec.sendsBinary(), binary);
    QCOMPARE(codec.encode(data).toHex(' '), wire.toHex(' '));
}

void TestTelnetCodec::decode_data()
{
    QTest::addColumn<bool>("binary");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("problems");
    QTest::newRow("plain bytes") << true << hex("00017f80fe") << hex("00017f80fe") << QByteArray() << QString();
    QTest::newRow("doubled 0xFF is one data byte") << true << hex("41ffff42") << hex("41ff42") << QByteArray()
                                                   << QString();
    QTest::newRow("commands never reach the data")
        << true << hex("41fff142fff243fff344fff945fff646") << hex("414243444546") << QByteArray() << QString();
    QTest::newRow("an undoubled 0xFF: said, and the bytes kept")
        << true << hex("41ff4243") << hex("41ff4243") << QByteArray() << "malformed 66";
    QTest::newRow("SE outside a subnegotiation: said, no data") << true << hex("41fff042") << hex("4142")
                                                                 << QByteArray() << "malformed 240";
    QTest::newRow("unknown option offered: refused and said")
        << true << hex("41fffb1842") << hex("4142") << hex("fffe18") << "unknown option 24";
    QTest::newRow("unknown option asked for: refused and said")
        << true << hex("fffd1f") << QByteArray() << hex("fffc1f") << "unknown option 31";
    QTest::newRow("echo refused without a word") << true << hex("fffb01") << QByteArray() << hex("fffe01") << QString();
    QTest::newRow("a request already granted gets no answer") << true << hex("fffd00fffb00") << QByteArray()
                                                              << QByteArray() << QString();
    QTest::newRow("binary withdrawn: confirmed once") << true << hex("fffc00fffc00") << QByteArray() << hex("fffe00")
                                                      << QString();
    QTest::newRow("subnegotiation of another option") << true << hex("41fffa1801fff042") << hex("4142")
                                                      << QByteArray() << "unknown option 24";
    QTest::newRow("subnegotiation cut short by a command")
        << true << hex("fffa2c65fffb0141") << hex("41") << hex("fffe01") << "malformed 251";
    QTest::newRow("empty subnegotiation") << true << hex("fffafff041") << hex("41") << QByteArray() << "malformed 240";
    QTest::newRow("text: the NUL after CR is padding") << false << hex("0d00410d0a00") << hex("0d410d0a00")
                                                       << QByteArray() << QString();
    QTest::newRow("binary: NUL after CR is data") << true << hex("0d00") << hex("0d00") << QByteArray() << QString();
    // A subnegotiation that never ends swallows at most its limit; what
    // follows is data again.
    QByteArray endless = hex("fffa2c");
    endless += QByteArray(600, 'x');
    QTest::newRow("endless subnegotiation gives way to data")
        << true << endless << QByteArray(600 + 1 - TelnetCodec::MaxSubnegotiation, 'x') << QByteArray()
        << "malformed 250";
}

void TestTelnetCodec::decode()
{
    QFETCH(bool, binary);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, reply);
    QFETCH(QString, problems);
    TelnetCodec codec = binary ? agreed() : TelnetCodec();
    TelnetCodec::Output out;
    codec.decode(input, &out);
    QCOMPARE(out.data.toHex(' '), data.toHex(' '));
    QCOMPARE(out.reply.toHex(' '), reply.toHex(' '));
    QCOMPARE(::problems(out), problems);
}

void TestTelnetCodec::answers_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("answers");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("problems");
    QTest::newRow("speed") << hex("fffa2c650001c200fff0") << "1=115200" << QByteArray() << QString();
    QTest::newRow("speed with a doubled 0xFF") << hex("fffa2c6500ffff00fffffff0") << "1=16711935"
                                               << QByteArray() << QString();
    QTest::newRow("data size, parity, stop size")
        << hex("fffa2c6607fff0fffa2c6703fff0fffa2c6802fff0") << "2=7; 3=3; 4=2" << QByteArray() << QString();
    QTest::newRow("control") << hex("fffa2c6908fff0") << "5=8" << QByteArray() << QString();
    QTest::newRow("modem state") << hex("fffa2c6bb0fff0") << "7=176" << QByteArray() << QString();
    QTest::newRow("flow control suspend and resume") << hex("fffa2c6cfff0fffa2c6dfff0") << "8=0; 9=0"
                                                     << QByteArray() << QString();
    QTest::newRow("the far end's signature") << hex("fffa2c64736572326e6574fff0") << "0 \"ser2net\"" << QByteArray()
                                             << QString();
    QTest::newRow("asked for ours") << hex("fffa2c64fff0") << "0 \"\"" << hex("fffa2c006b6f7276677569fff0")
                                    << QString();
    QTest::newRow("speed of two bytes") << hex("fffa2c650001fff0") << QString() << QByteArray() << "bad answer 101";
    QTest::newRow("data size without a value") << hex("fffa2c66fff0") << QString() << QByteArray()
                                               << "bad answer 102";
    QTest::newRow("modem state of two bytes") << hex("fffa2c6b3030fff0") << QString() << QByteArray()
                                              << "bad answer 107";
    QTest::newRow("no such answer") << hex("fffa2c71fff0") << QString() << QByteArray() << "bad answer 113";
    QTest::newRow("a client's command from the server") << hex("fffa2c0508fff0") << QString() << QByteArray()
                                                        << "bad answer 5";
    QTest::newRow("no command at all") << hex("fffa2cfff0") << QString() << QByteArray() << "bad answer -1";
    QTest::newRow("a bad answer spoils not the next") << hex("fffa2c6501fff0fffa2c6605fff0") << "2=5"
                                                      << QByteArray() << "bad answer 101";
}

void TestTelnetCodec::answers()
{
    QFETCH(QByteArray, input);
    QFETCH(QString, answers);
    QFETCH(QByteArray, reply);
    QFETCH(QString, problems);
    TelnetCodec codec = agreed();
    TelnetCodec::Output out;
    codec.decode(QByteArray(hex("41") + input + hex("42")), &out);
    QCOMPARE(::answers(out), answers);
    QCOMPARE(out.reply.toHex(' '), reply.toHex(' '));
    QCOMPARE(::problems(out), problems);
    QCOMPARE(out.data, QByteArray("AB"));
}

void TestTelnetCodec::comPortNegotiation_data()
{
    QTest::addColumn<bool>("started");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<bool>("refused");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("asked and granted") << true << hex("fffd2c") << true << false << QByteArray();
    QTest::newRow("asked and refused") << true << hex("fffe2c") << false << true << QByteArray();
    QTest::newRow("granted twice, answered never") << true << hex("fffd2cfffd2c") << true << false << QByteArray();
    // A server that asks first gets the offer in answer.
    QTest::newRow("asked for before the offer") << false << hex("fffd2c") << true << false << hex("fffb2c");
    QTest::newRow("not answered yet") << true << QByteArray() << false << false << QByteArray();
}

void TestTelnetCodec::comPortNegotiation()
{
    QFETCH(bool, started);
    QFETCH(QByteArray, input);
    QFETCH(bool, accepted);
    QFETCH(bool, refused);
    QFETCH(QByteArray, reply);
    TelnetCodec codec;
    if (started)
        codec.start();
    TelnetCodec::Output out;
    codec.decode(input, &out);
    QCOMPARE(codec.comPortAccepted(), accepted);
    QCOMPARE(codec.comPortRefused(), refused);
    QCOMPARE(codec.comPortAnswered(), accepted || refused);
    QCOMPARE(out.reply.toHex(' '), reply.toHex(' '));
}

// The common commands are checked where they reach the far end.
void TestTelnetCodec::commandsDoubleTheirFFBytes()
{
    QCOMPARE(TelnetCodec::baudRate(0xFF00FFu).toHex(' '),
             hex("fffa2c0100ffff00fffffff0").toHex(' '));
}

void TestTelnetCodec::everySplitGivesTheSame()
{
    // A stream with every kind of thing in it, cut at every place.
    QByteArray all;
    for (int i = 0; i < 256; ++i)
        all.append(char(i));
    const QByteArray stream = hex("41ffff") + hex("fffa2c6500ffff00fffffff0") + agreed().encode(all)
                              + hex("fffb18 fff1 42 ff41 fffa2c6501fff0 fffa2c6bb0fff0 0d00 43");
    TelnetCodec whole = agreed();
    TelnetCodec::Output expected;
    whole.decode(stream, &expected);
    for (qsizetype cut = 1; cut < stream.size(); ++cut) {
        TelnetCodec split = agreed();
        TelnetCodec::Output got;
        split.decode(QByteArrayView(stream).first(cut), &got);
        split.decode(QByteArrayView(stream).sliced(cut), &got);
        QCOMPARE(got.data, expected.data);
        QCOMPARE(got.reply, expected.reply);
        QCOMPARE(::answers(got), ::answers(expected));
        QCOMPARE(::problems(got), ::problems(expected));
    }
    TelnetCodec byByte = agreed();
    TelnetCodec::Output got;
    for (char c : stream)
        byByte.decode(QByteArrayView(&c, 1), &got);
    QCOMPARE(got.data, expected.data);
    QVERIFY(expected.data.contains(all));
}

QTEST_GUILESS_MAIN(TestTelnetCodec)
#include "tst_telnetcodec.moc"
