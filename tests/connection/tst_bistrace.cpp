// SPDX-License-Identifier: MIT
#include "connection/ansitext.h"
#include "connection/bistrace.h"
#include "tests/support/bisbus.h"

#include <QRandomGenerator>
#include <QtTest>

using korvtest::hex;

namespace {

// Collects what a BiSTrace prints: whole lines, the line still being built,
// and the frames it passed on.
struct Printout
{
    explicit Printout(BiSTrace& trace)
    {
        QObject::connect(&trace, &BiSTrace::trace, [this](const QString& colored) {
            const QString line = AnsiText::strip(colored);
            // Each report repeats the line so far and adds to it.
            if (!line.startsWith(open) || line == open)
                badReports << line;
            open = line;
            ++reports;
        });
        QObject::connect(&trace, &BiSTrace::next, [this] {
            lines << open;
            open.clear();
        });
        QObject::connect(&trace, &BiSTrace::qrv16, [this](int src, int dst, const QByteArray& payload) {
            frames << QStringLiteral("%1>%2 %3").arg(src).arg(dst).arg(
                          QString::fromLatin1(payload.toHex(' ').toUpper()));
        });
    }

    QStringList lines;
    QString open;
    QStringList frames;
    QStringList badReports;
    int reports = 0;
};

void feedInChunks(BiSTrace& trace, const QByteArray& bytes, int chunk)
{
    for (int i = 0; i < bytes.size(); i += chunk)
        trace.receive(bytes.mid(i, chunk));
}

// Both directions of a bus as a listener saw them: a query and its answer,
// two bytes of noise, a query corrupted on the line (04 became 05), its
// repetition and answer, and a query cut short by the next one.
const char* const recording =
    "91 89 01 05 00 01 02 A8 9B 93"
    "92 89 01 00 05 0A 53 69 93"
    "00 FF"
    "91 89 02 05 00 94 D3 05 58 06 93"
    "91 89 02 05 00 94 D3 04 58 06 93"
    "92 89 02 00 05 1E 9A 93"
    "91 88 03 11"
    "91 88 03 22 D2 84 93";

} // namespace

class TestBiSTrace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void recordedConversation_data();
    void recordedConversation();
    void oddInput_data();
    void oddInput();
    void lineIsShownWhileBuilt();
    void reset();
    void rolesHaveTheirColours_data();
    void rolesHaveTheirColours();
    void randomBytes();
};

void TestBiSTrace::recordedConversation_data()
{
    QTest::addColumn<int>("chunk");
    QTest::newRow("all at once") << 10000;
    QTest::newRow("byte by byte") << 1;
    QTest::newRow("in threes") << 3;
    QTest::newRow("in sevens") << 7;
}

void TestBiSTrace::recordedConversation()
{
    QFETCH(int, chunk);
    BiSTrace trace;
    Printout out(trace);
    feedInChunks(trace, hex(recording), chunk);
    QCOMPARE(out.badReports, QStringList());
    // One report per chunk at most, and one more as a line ends.
    QVERIFY(out.reports <= (hex(recording).size() + chunk - 1) / chunk + out.lines.size());

    const QStringList lines{
        "query ctl 89 type 34 seq 01 dst 5 src 0 | 01 02 | CRC ok | end",
        "answer ctl 89 type 34 seq 01 dst 0 src 5 | 0A | CRC ok | end",
        "noise 00 FF",
        "query ctl 89 type 34 seq 02 dst 5 src 0 | 93 05 | CRC BAD 5806, expected 4827 | end",
        "query ctl 89 type 34 seq 02 dst 5 src 0 | 93 04 | CRC ok | end",
        "answer ctl 89 type 34 seq 02 dst 0 src 5 | no data | CRC ok | end",
        "query ctl 88 type 34 seq 03 | 11 | cut",
        "query ctl 88 type 34 seq 03 | 22 | CRC ok | end",
    };
    QCOMPARE(out.lines, lines);
    QCOMPARE(out.open, QString());
    const QStringList frames{"0>5 01 02", "5>0 0A", "0>5 93 04", "5>0 ", "0>0 22"};
    QCOMPARE(out.frames, frames);
}

void TestBiSTrace::oddInput_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<int>("goodFrames");
    QTest::addColumn<QString>("open"); // null: not compared

    QTest::newRow("end and escape outside a frame are noise")
        << hex("93 94 41") << QStringList{} << 0 << QString();
    QTest::newRow("end marker in the header")
        << hex("91 89 01 05 93") << QStringList{"query ctl 89 type 34 seq 01 dst 5 | short | end"}
        << 0 << QString();
    QTest::newRow("one byte where the CRC should be")
        << hex("92 88 01 7F 93") << QStringList{"answer ctl 88 type 34 seq 01 | 7F | short | end"}
        << 0 << QString();
    QTest::newRow("two escapes swallow the next byte")
        << hex("91 89 01 05 00 94 94 41 01 02 A8 9B 93")
        << QStringList{"query ctl 89 type 34 seq 01 dst 5 src 0 | 01 02 | CRC ok | end"} << 1
        << QString();
    QTest::newRow("four-byte addresses")
        << hex("91 8B 01 70 11 01 00 00 00 00 00 01 02 F6 49 93")
        << QStringList{"query ctl 8B type 34 seq 01 dst 70000 src 0 | 01 02 | CRC ok | end"} << 1
        << QString();
    QTest::newRow("noise then a frame")
        << hex("55 AA 91 88 03 22 D2 84 93")
        << QStringList{"noise 55 AA", "query ctl 88 type 34 seq 03 | 22 | CRC ok | end"} << 1
        << QString();
    // The payload of the longest frame is shown whole; what comes after it is noise.
    QTest::newRow("overlong frame") << hex("91 88 01") + QByteArray(1313, char(0x11)) + hex("93")
                                    << QStringList{"query ctl 88 type 34 seq 01 |" +
                                                   QString(" 11").repeated(1312) + " | too long"}
                                    << 0 << "noise 11 93";
    QTest::newRow("long noise is split")
        << QByteArray(40, char(0x20))
        << QStringList{"noise" + QString(" 20").repeated(16), "noise" + QString(" 20").repeated(16)}
        << 0 << "noise" + QString(" 20").repeated(8);
}

void TestBiSTrace::oddInput()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, lines);
    QFETCH(int, goodFrames);
    QFETCH(QString, open);
    BiSTrace trace;
    Printout out(trace);
    trace.receive(bytes);
    QCOMPARE(out.lines, lines);
    QCOMPARE(out.frames.size(), goodFrames);
    if (!open.isNull())
        QCOMPARE(out.open, open);
}

void TestBiSTrace::lineIsShownWhileBuilt()
{
    BiSTrace trace;
    Printout out(trace);
    trace.receive(hex("91 89 01 05"));
    QCOMPARE(out.open, QStringLiteral("query ctl 89 type 34 seq 01 dst 5"));
    // The last two bytes may turn out to be the CRC: held back until then.
    trace.receive(hex("00 01 02 A8"));
    QCOMPARE(out.open, QStringLiteral("query ctl 89 type 34 seq 01 dst 5 src 0 | 01"));
    QVERIFY(out.lines.isEmpty());
    trace.receive(hex("9B 93"));
    QCOMPARE(out.lines.size(), 1);

    trace.receive(hex("41"));
    QCOMPARE(out.open, QStringLiteral("noise 41"));
}

void TestBiSTrace::reset()
{
    BiSTrace trace;
    Printout out(trace);
    trace.receive(hex("91 89 01 05 00 01"));
    trace.reset();
    trace.receive(hex("02 A8 9B 93"));
    QVERIFY(out.frames.isEmpty());
    QCOMPARE(out.lines, QStringList{"query ctl 89 type 34 seq 01 dst 5 src 0 |"});
    QCOMPARE(out.open, QStringLiteral("noise 02 A8 9B 93"));
}

void TestBiSTrace::rolesHaveTheirColours_data()
{
    QTest::addColumn<QString>("fragment");
    QTest::addColumn<int>("role");
    QTest::newRow("query marker") << "query" << int(AnsiText::Marker);
    QTest::newRow("control byte") << "ctl 89" << int(AnsiText::Marker);
    QTest::newRow("sequence number") << "seq 02" << int(AnsiText::Sequence);
    QTest::newRow("destination") << "dst 5" << int(AnsiText::Address);
    QTest::newRow("source") << "src 0" << int(AnsiText::Address);
    QTest::newRow("payload") << "93 04" << int(AnsiText::Payload);
    QTest::newRow("good crc") << "CRC ok" << int(AnsiText::Good);
    QTest::newRow("bad crc") << "CRC BAD" << int(AnsiText::Bad);
    QTest::newRow("cut frame") << "cut" << int(AnsiText::Bad);
    QTest::newRow("noise") << "noise 00 FF" << int(AnsiText::Noise);
}

// Each part of a frame is painted in its role's colour: what a reader of the
// trace tells frames apart by.
void TestBiSTrace::rolesHaveTheirColours()
{
    QFETCH(QString, fragment);
    QFETCH(int, role);
    BiSTrace trace;
    QStringList colored;
    QObject::connect(&trace, &BiSTrace::trace, [&](const QString& line) { colored << line; });
    trace.receive(hex(recording));

    QList<AnsiText::Run> expected;
    const QString sample = AnsiText::parse(AnsiText::colored(AnsiText::Role(role), fragment), &expected);
    QCOMPARE(sample, fragment);
    bool found = false;
    for (const QString& line : std::as_const(colored)) {
        QList<AnsiText::Run> runs;
        const QString plain = AnsiText::parse(line, &runs);
        const qsizetype at = plain.indexOf(fragment);
        if (at < 0)
            continue;
        for (const AnsiText::Run& run : std::as_const(runs)) {
            if (run.start <= at && at + fragment.size() <= run.start + run.length) {
                QCOMPARE(run.format, expected.at(0).format);
                found = true;
            }
        }
    }
    QVERIFY2(found, qPrintable(fragment));
}

// Random bytes with many markers and escapes, cut into random chunks: the
// sanitizer build proves the printer stays in its buffers, and every report
// still extends the line it reported before.
void TestBiSTrace::randomBytes()
{
    BiSTrace trace;
    Printout out(trace);
    QRandomGenerator rng(4711);
    qint64 fed = 0;
    while (fed < 1000000) {
        QByteArray chunk(int(rng.bounded(1, 3000)), Qt::Uninitialized);
        const int markers = int(rng.bounded(0, 64)); // per 256 bytes
        for (char& c : chunk)
            c = int(rng.bounded(256)) < markers ? char(0x91 + rng.bounded(4)) : char(rng.bounded(256));
        trace.receive(chunk);
        fed += chunk.size();
        QVERIFY(out.badReports.isEmpty());
        for (const QString& frame : std::as_const(out.frames))
            QVERIFY(frame.count(QLatin1Char(' ')) <= int(BiSProtocol::MaxPayload) + 1);
        out.frames.clear();
        out.lines.clear();
    }
    QVERIFY(out.reports > 1000);
}

QTEST_GUILESS_MAIN(TestBiSTrace)
#include "tst_bistrace.moc"
