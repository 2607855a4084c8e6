// SPDX-License-Identifier: MIT
#include "connection/ansitext.h"
#include "connection/ltd16trace.h"
#include "connection/ltdtrace.h"
#include "tests/qrv16/textfixture.h"

#include <QRandomGenerator>
#include <QtTest>

#include <memory>

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(QByteArray(text).replace(' ', ""));
}

std::unique_ptr<ElementTrace> makePrinter(int width)
{
    if (width == 1)
        return std::make_unique<LTDTrace>();
    return std::make_unique<LTD16Trace>();
}

// What a printer showed: its finished lines without colour, the line still
// open, and how often it reported.
struct Printout
{
    explicit Printout(ElementTrace& printer)
    {
        QObject::connect(&printer, &ElementTrace::trace, [this](const QString& line) {
            open = AnsiText::strip(line);
            ++reports;
        });
        QObject::connect(&printer, &ElementTrace::next, [this] {
            lines << open;
            open.clear();
        });
    }

    QStringList lines;
    QString open;
    int reports = 0;
};

} // namespace

class TestElementTrace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void printsElements_data();
    void printsElements();
    void everySplitPrintsTheSame_data();
    void everySplitPrintsTheSame();
    void namesFromDefinitions();
    void incompleteElementIsShownWhileArriving();
    void resetEndsTheElementInProgress();
    void longPayloadIsCounted();
    void deepNestingStaysFlat();
    void onePrinterReportPerChunk();
    void randomBytes_data();
    void randomBytes();
};

void TestElementTrace::printsElements_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("lines");

    QTest::newRow("16-bit: a bool")
        << 2 << hex("03 00 01 20 01") << QStringList{"len 0003 tag 2001 Bool | 01 = true"};
    QTest::newRow("16-bit: a message with two children")
        << 2 << hex("0C 00 01 F0 03 00 01 20 01 03 00 01 10 05")
        << QStringList{"len 000C tag F001 Message", "  len 0003 tag 2001 Bool | 01 = true",
                       "  len 0003 tag 1001 Integer | 05 = 5"};
    QTest::newRow("16-bit: nested two levels")
        << 2 << hex("0D 00 01 D0 09 00 01 C0 05 00 01 30 41 42 43")
        << QStringList{"len 000D tag D001 Request", "  len 0009 tag C001 List",
                       "    len 0005 tag 3001 String | 41 42 43 = \"ABC\""};
    QTest::newRow("16-bit: extended types are named as they are")
        << 2 << hex("06 00 01 80 01 00 02 00") << QStringList{"len 0006 tag 8001 Point | 01 00 02 00 = [1, 2]"};
    QTest::newRow("16-bit: an empty message")
        << 2 << hex("02 00 01 F0") << QStringList{"len 0002 tag F001 Message"};
    QTest::newRow("16-bit: a child overruns its message")
        << 2 << hex("0D 00 01 F0 03 00 01 20 01 09 00 01 30 41 42")
        << QStringList{"len 000D tag F001 Message", "  len 0003 tag 2001 Bool | 01 = true",
                       "  len 0009 tag 3001 overruns its parent by 5: 41 42"};
    QTest::newRow("16-bit: a stub after the last child")
        << 2 << hex("08 00 01 F0 03 00 01 20 01 AA")
        << QStringList{"len 0008 tag F001 Message", "  len 0003 tag 2001 Bool | 01 = true",
                       "  remainder of 1 bytes: AA"};
    QTest::newRow("16-bit: a child of a size its type cannot have")
        << 2 << hex("0D 00 01 F0 03 00 01 20 01 04 00 01 20 01 01")
        << QStringList{"len 000D tag F001 Message", "  len 0003 tag 2001 Bool | 01 = true",
                       "  len 0004 tag 2001 Bool bad size 2 | 01 01"};
    QTest::newRow("16-bit: noise, then a message")
        << 2 << hex("41 42 07 00 01 F0 03 00 01 20 01")
        << QStringList{"noise 41 42", "len 0007 tag F001 Message", "  len 0003 tag 2001 Bool | 01 = true"};
    QTest::newRow("16-bit: a message whose first child does not fit is noise")
        << 2 << hex("06 00 01 F0 09 00 01 20") << QStringList{"noise 06 00 01 F0 09 00 01 20"};
    QTest::newRow("16-bit: unknown types are noise")
        << 2 << hex("03 00 01 A0 01") << QStringList{"noise 03 00 01 A0 01"};
    QTest::newRow("16-bit: a long string at the top is noise")
        << 2 << QByteArray(hex("FF 00 01 30") + QByteArray(253, 'x')).left(20)
        << QStringList{"noise FF 00 01 30 78 78 78 78 78 78 78 78 78 78 78 78", "noise 78 78 78 78"};
    QTest::newRow("8-bit: a message with a child")
        << 1 << hex("07 F1 02 21 01 02 11 05")
        << QStringList{"len 07 tag F1 Message", "  len 02 tag 21 Bool | 01 = true", "  len 02 tag 11 Integer | 05 = 5"};
    QTest::newRow("8-bit: no extended types")
        << 1 << hex("03 81 01 02") << QStringList{"noise 03 81", "len 01 tag 02 Binary"};
    QTest::newRow("8-bit: a child overruns its message")
        << 1 << hex("07 F1 02 21 01 09 31 41")
        << QStringList{"len 07 tag F1 Message", "  len 02 tag 21 Bool | 01 = true",
                       "  len 09 tag 31 overruns its parent by 7: 41"};
}

void TestElementTrace::printsElements()
{
    QFETCH(int, width);
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, lines);
    auto printer = makePrinter(width);
    Printout out(*printer);
    printer->receive(bytes);
    printer->reset();
    QCOMPARE(out.lines, lines);
}

void TestElementTrace::everySplitPrintsTheSame_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("16-bit conversation with noise and faults")
        << 2
        << hex("55 0C 00 01 F0 03 00 01 20 01 03 00 01 10 05 AA BB"
               "08 00 01 F0 09 00 01 30 41 42 06 00 01 80 01 00 02 00"
               "08 00 01 F0 03 00 01 20 01 AA 03 00 01 A0 01");
    QTest::newRow("8-bit conversation with noise and faults")
        << 1 << hex("81 05 F1 02 21 01 03 11 05 EE 04 F1 09 31 41 03 81 01 02 03 21 01 00");
}

// A listener's chunks fall anywhere: cut the same bytes at every point, in
// two and in three, and the lines never change.
void TestElementTrace::everySplitPrintsTheSame()
{
    QFETCH(int, width);
    QFETCH(QByteArray, bytes);
    auto whole = makePrinter(width);
    Printout reference(*whole);
    whole->receive(bytes);
    whole->reset();
    QVERIFY(reference.lines.size() > 4);

    for (int a = 1; a < bytes.size(); ++a) {
        for (int b = a; b <= bytes.size(); b += 3) {
            auto printer = makePrinter(width);
            Printout out(*printer);
            printer->receive(bytes.left(a));
            printer->receive(bytes.mid(a, b - a));
            printer->receive(bytes.mid(b));
            printer->reset();
            QVERIFY2(out.lines == reference.lines, qPrintable(QStringLiteral("cut at %1 and %2").arg(a).arg(b)));
        }
    }
}

void TestElementTrace::namesFromDefinitions()
{
    Fixture fixture;
    LTD16Trace printer;
    printer.setDefinitions(fixture.lut.get());
    Printout out(printer);
    QStringList colored;
    QObject::connect(&printer, &ElementTrace::trace, [&](const QString& line) { colored << line; });
    printer.receive(hex("0C 00 01 F0 03 00 01 20 01 03 00 02 10 01"));
    QCOMPARE(out.lines, (QStringList{"len 000C tag F001 Status Message", "  len 0003 tag 2001 Enabled Bool | 01 = true",
                                     "  len 0003 tag 1002 Mode Integer | 01 = On"}));

    // The name is painted in its own colour.
    QList<AnsiText::Run> runs;
    const QString plain = AnsiText::parse(colored.at(1), &runs);
    QList<AnsiText::Run> nameRuns;
    AnsiText::parse(AnsiText::colored(AnsiText::Name, u"x"), &nameRuns);
    const qsizetype at = plain.indexOf(QLatin1String("Enabled"));
    bool painted = false;
    for (const AnsiText::Run& run : std::as_const(runs))
        painted |= run.start == at && run.length == 7 && run.format == nameRuns.at(0).format;
    QVERIFY(painted);

    printer.setDefinitions(nullptr);
    printer.receive(hex("03 00 01 20 01"));
    QCOMPARE(out.lines.last(), QStringLiteral("len 0003 tag 2001 Bool | 01 = true"));
}

void TestElementTrace::incompleteElementIsShownWhileArriving()
{
    LTD16Trace printer;
    Printout out(printer);
    // Whether a message starts here shows at its first child's header.
    printer.receive(hex("0C 00 01 F0 03 00 01"));
    QCOMPARE(out.open, QString());
    printer.receive(hex("20"));
    QVERIFY(out.lines.isEmpty());
    QCOMPARE(out.open, QStringLiteral("len 000C tag F001 … 8 of 14 bytes"));
    printer.receive(hex("01 03 00 01 10"));
    QCOMPARE(out.open, QStringLiteral("len 000C tag F001 … 13 of 14 bytes"));
    printer.receive(hex("05"));
    QCOMPARE(out.lines.size(), 3);
    QCOMPARE(out.lines.at(0), QStringLiteral("len 000C tag F001 Message"));
}

void TestElementTrace::resetEndsTheElementInProgress()
{
    LTD16Trace printer;
    Printout out(printer);
    printer.receive(hex("0C 00 01 F0 03 00 01 20 01"));
    printer.reset();
    QCOMPARE(out.lines, QStringList{"len 000C tag F001 … 9 of 14 bytes cut"});
    // Bytes too few to tell are noise.
    printer.receive(hex("0C 00 01"));
    printer.reset();
    QCOMPARE(out.lines.last(), QStringLiteral("noise 0C 00 01"));
    // Nothing of the cut element is left over.
    printer.receive(hex("03 00 01 20 01"));
    QCOMPARE(out.lines.last(), QStringLiteral("len 0003 tag 2001 Bool | 01 = true"));
}

void TestElementTrace::longPayloadIsCounted()
{
    QByteArray bytes = hex("06 04 01 F0 02 04 01 00");
    bytes += QByteArray(0x400, '\x11');
    LTD16Trace printer;
    Printout out(printer);
    printer.receive(bytes);
    QCOMPARE(out.lines.size(), 2);
    QVERIFY(out.lines.at(1).endsWith(QStringLiteral("… %1 more").arg(0x400 - ElementTrace::MaxShownBytes)));
    QCOMPARE(out.lines.at(1).count(QLatin1String(" 11")), ElementTrace::MaxShownBytes);
}

void TestElementTrace::deepNestingStaysFlat()
{
    // 1000 messages inside each other, a bool at the bottom.
    QByteArray bytes = hex("03 00 01 20 01");
    for (int i = 0; i < 1000; ++i) {
        const int length = bytes.size() + 2;
        bytes.prepend(hex("01 F0"));
        bytes.prepend(char(length >> 8));
        bytes.prepend(char(length & 0xFF));
    }
    LTD16Trace printer;
    Printout out(printer);
    printer.receive(bytes);
    QCOMPARE(out.lines.size(), ElementTrace::MaxDepth + 1);
    QVERIFY(out.lines.last().contains(QLatin1String("nested too deep")));
}

void TestElementTrace::onePrinterReportPerChunk()
{
    LTD16Trace printer;
    Printout out(printer);
    printer.receive(QByteArray(10, '\x41'));
    QCOMPARE(out.reports, 1);
    printer.receive(QByteArray(3, '\x41'));
    QCOMPARE(out.reports, 2);
    // The last three bytes could still start an element.
    QCOMPARE(out.open, QStringLiteral("noise") + QString(" 41").repeated(10));
}

void TestElementTrace::randomBytes_data()
{
    QTest::addColumn<int>("width");
    QTest::newRow("16-bit") << 2;
    QTest::newRow("8-bit") << 1;
}

// A million random bytes rich in plausible headers, in random chunks: the
// sanitizer build proves the printer stays in its buffers, and what it holds
// back never exceeds one element.
void TestElementTrace::randomBytes()
{
    QFETCH(int, width);
    auto printer = makePrinter(width);
    Printout out(*printer);
    QRandomGenerator rng(2024);
    qint64 fed = 0;
    while (fed < 1000000) {
        QByteArray chunk(int(rng.bounded(1, 3000)), Qt::Uninitialized);
        for (char& c : chunk) {
            const int pick = int(rng.bounded(8));
            c = pick == 0 ? char(0xF0 + rng.bounded(2)) : pick == 1 ? char(rng.bounded(8)) : char(rng.bounded(256));
        }
        printer->receive(chunk);
        fed += chunk.size();
        out.lines.clear();
    }
    QVERIFY(out.reports > 100);
}

QTEST_GUILESS_MAIN(TestElementTrace)
#include "tst_elementtrace.moc"
