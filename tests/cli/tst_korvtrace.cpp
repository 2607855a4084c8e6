// SPDX-License-Identifier: MIT
// korv trace: captured bytes printed by the three trace printers.

#include "tests/cli/korvrun.h"
#include "tests/support/files.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(QByteArray(text).replace(' ', ""));
}

const QString demo = QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef");

} // namespace

class TestKorvTrace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void statuses_data();
    void statuses();
    void printsEachFraming_data();
    void printsEachFraming();
    void readsAFile();
    void colourOnlyForATerminal();
};

void TestKorvTrace::statuses_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("status");
    QTest::newRow("no framing") << QStringList{"trace"} << 2;
    QTest::newRow("two framings") << QStringList{"trace", "--bis", "--ltd"} << 2;
    QTest::newRow("two files") << QStringList{"trace", "--bis", "a", "b"} << 2;
    QTest::newRow("missing file") << QStringList{"trace", "--ltd16", "/nonexistent.bin"} << 1;
    QTest::newRow("missing definitions") << QStringList{"trace", "--ltd16", "-d", "/nonexistent.qrvdef"} << 1;
    QTest::newRow("empty input") << QStringList{"trace", "--bis"} << 0;
}

void TestKorvTrace::statuses()
{
    QFETCH(QStringList, args);
    QFETCH(int, status);
    const KorvRun r = runKorv(args);
    QCOMPARE(r.status, status);
    if (status == 2)
        QVERIFY(r.err.contains("Usage: korv trace"));
    if (status == 1)
        QVERIFY(r.err.contains("nonexistent"));
}

void TestKorvTrace::printsEachFraming_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("bis: a query, noise, a bad CRC")
        << QStringList{"trace", "--bis"}
        << hex("91 89 01 05 00 01 02 A8 9B 93 00 FF 91 89 02 05 00 94 D3 05 58 06 93")
        << QByteArray("query ctl 89 type 34 seq 01 dst 5 src 0 | 01 02 | CRC ok | end\n"
                      "noise 00 FF\n"
                      "query ctl 89 type 34 seq 02 dst 5 src 0 | 93 05 | CRC BAD 5806, expected 4827 | end\n");
    QTest::newRow("ltd16 with names from the definitions")
        << QStringList{"trace", "--ltd16", "-d", demo} << hex("07 00 01 D0 03 00 01 10 02 EE")
        << QByteArray("len 0007 tag D001 GetStatus Request\n"
                      "  len 0003 tag 1001 PumpId Integer | 02 = 2\n"
                      "noise EE\n");
    QTest::newRow("ltd, a frame cut at the end")
        << QStringList{"trace", "--ltd"} << hex("05 F1 02 21 01 03 F1 02")
        << QByteArray("len 05 tag F1 Message\n"
                      "  len 02 tag 21 Bool | 01 = true\n"
                      "  remainder of 1 bytes: 03\n"
                      "noise F1 02\n");
}

void TestKorvTrace::printsEachFraming()
{
    QFETCH(QStringList, args);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, output);
    const KorvRun r = runKorv(args, input);
    QCOMPARE(r.status, 0);
    QCOMPARE(r.out, output);
}

void TestKorvTrace::readsAFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("capture.bin"));
    // More than one read's worth, so that elements straddle the reads.
    QVERIFY(writeFile(path, hex("07 00 01 F0 03 00 01 20 01").repeated(30000)));
    const KorvRun r = runKorv({"trace", "--ltd16", path});
    QCOMPARE(r.status, 0);
    QCOMPARE(r.out.count("len 0007 tag F001 Message\n"), 30000);
    QCOMPARE(r.out.count("  len 0003 tag 2001 Bool | 01 = true\n"), 30000);
    QVERIFY(!r.out.contains("noise"));
}

// A pipe is not a terminal: no escape bytes, whatever NO_COLOR says.
void TestKorvTrace::colourOnlyForATerminal()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("NO_COLOR"));
    const KorvRun r = runKorv({"trace", "--bis"}, hex("91 89 01 05 00 01 02 A8 9B 93"), env);
    QCOMPARE(r.status, 0);
    QVERIFY(!r.out.contains('\x1b'));
    QVERIFY(r.out.contains("CRC ok"));
}

QTEST_GUILESS_MAIN(TestKorvTrace)
#include "tst_korvtrace.moc"
