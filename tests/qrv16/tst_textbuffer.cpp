// SPDX-License-Identifier: MIT
#include "qrv16/messagewriter.h"
#include "qrv16/textbuffer.h"

#include <QtTest>

#include <climits>

using namespace QRV16;

Q_DECLARE_METATYPE(QRV16::DisplayMode)

// The buffer's fast printers stand in for the library's slower ones
// (formatNumber, escaped): each is held to the one it replaces.
class TestTextBuffer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void numberAsFormatNumber_data();
    void numberAsFormatNumber();
    void asciiStringAsEscaped();
    void datesAndTimes_data();
    void datesAndTimes();
    void bytes();
    void growsAcrossPieces();
};

void TestTextBuffer::numberAsFormatNumber_data()
{
    QTest::addColumn<quint64>("value");
    QTest::addColumn<DisplayMode>("mode");
    const quint64 minus5 = quint64(-5);
    QTest::newRow("zero") << quint64(0) << DisplayMode();
    QTest::newRow("negative by default") << minus5 << DisplayMode();
    QTest::newRow("signed minimum") << quint64(LLONG_MIN) << DisplayMode(DisplayMode::SignedDecimal);
    QTest::newRow("unsigned maximum") << ~quint64(0) << DisplayMode(DisplayMode::UnsignedDecimal);
    QTest::newRow("hex upper case") << quint64(0xBEEF) << DisplayMode(DisplayMode::Hex);
    QTest::newRow("hex of a negative") << minus5 << DisplayMode(DisplayMode::Hex);
    QTest::newRow("octal") << quint64(8) << DisplayMode(DisplayMode::Octal);
    QTest::newRow("binary of zero") << quint64(0) << DisplayMode(DisplayMode::Binary);
    QTest::newRow("binary, all 64 bits") << ~quint64(0) << DisplayMode(DisplayMode::Binary);
    QTest::newRow("padded hex") << quint64(0xA) << DisplayMode(DisplayMode::Hex, 4);
    QTest::newRow("the sign is padded too") << minus5 << DisplayMode(DisplayMode::Default, 4);
    QTest::newRow("width below the digits") << quint64(12345) << DisplayMode(DisplayMode::Default, 2);
    QTest::newRow("widest in place") << quint64(1) << DisplayMode(DisplayMode::Binary, 64);
    QTest::newRow("wider than the scratch") << quint64(7) << DisplayMode(DisplayMode::Default, 70);
}

void TestTextBuffer::numberAsFormatNumber()
{
    QFETCH(quint64, value);
    QFETCH(DisplayMode, mode);
    TextBuffer out(1);
    out.number(value, mode);
    QCOMPARE(out.take(), formatNumber(value, mode));
}

void TestTextBuffer::asciiStringAsEscaped()
{
    // Every ASCII byte, alone and amid text: the escapes differ by byte.
    for (int c = 0; c < 128; ++c) {
        const QByteArray one(1, char(c));
        for (const QByteArray& bytes : {one, QByteArray("a" + one + "z")}) {
            TextBuffer out(0);
            QVERIFY(out.asciiString(bytes));
            const QString expected =
                u'"' + escaped(QString::fromLatin1(bytes), QLatin1Char('"')) + u'"';
            QVERIFY2(out.take() == expected, qPrintable(QString::number(c)));
        }
    }
    // Past ASCII the library's printer takes over: nothing is written.
    TextBuffer out(4);
    out.literal("s=");
    QVERIFY(!out.asciiString(QByteArrayView("caf\xc3\xa9")));
    QCOMPARE(out.take(), QString("s="));
}

void TestTextBuffer::datesAndTimes_data()
{
    QTest::addColumn<int>("year");
    QTest::addColumn<int>("msecs");
    QTest::addColumn<bool>("withMs");
    QTest::addColumn<QString>("text");
    QTest::newRow("epoch, midnight") << 1990 << 0 << false << "1990-01-01T00:00:00";
    QTest::newRow("early year padded") << 5 << 1000 << false << "0005-01-01T00:00:01";
    QTest::newRow("last four-digit year") << 9999 << 86399999 << true << "9999-01-01T23:59:59.999";
    QTest::newRow("five-digit year") << 10000 << 0 << false << "10000-01-01T00:00:00";
    QTest::newRow("milliseconds padded") << 2024 << 61007 << true << "2024-01-01T00:01:01.007";
    QTest::newRow("past 99 hours") << 2024 << 100 * 3600000 << false << "2024-01-01T100:00:00";
}

void TestTextBuffer::datesAndTimes()
{
    QFETCH(int, year);
    QFETCH(int, msecs);
    QFETCH(bool, withMs);
    QFETCH(QString, text);
    TextBuffer out(0);
    out.isoDate(year, 1, 1);
    out.put('T');
    out.time(msecs, withMs);
    QCOMPARE(out.take(), text);
}

void TestTextBuffer::bytes()
{
    TextBuffer out(0);
    out.hex(QByteArrayView("\x00\x7f\xab", 3));
    out.put(' ');
    out.address(QByteArrayView("\xc0\xa8\x00\x01", 4));
    out.put(' ');
    out.hex16(0xbeef);
    QCOMPARE(out.take(), QString("007FAB 192.168.0.1 BEEF"));
}

void TestTextBuffer::growsAcrossPieces()
{
    // Pieces of every kind past many regrowths, one undone on the way,
    // against the same text built as strings.
    TextBuffer out(1);
    QString expected;
    const QString longName(40, u'n');
    for (int i = 0; i < 2000; ++i) {
        const QString name = i % 7 == 0 ? longName : QString("tag%1").arg(i);
        out.named(i == 0, name);
        expected += (i == 0 ? QString() : QString(" ")) + name + u'=';
        out.digits(quint64(i), 5);
        expected += QString::number(i).rightJustified(5, u'0');
        if (i == 1000) {
            const qsizetype mark = out.size();
            out.append(QString(500, u'x'));
            out.truncate(mark);
        }
    }
    QCOMPARE(out.size(), expected.size());
    QCOMPARE(out.take(), expected);
}

QTEST_APPLESS_MAIN(TestTextBuffer)
#include "tst_textbuffer.moc"
