// SPDX-License-Identifier: MIT
#include "textfixture.h"

#include "qrv16/messagecollector.h"

using namespace QRV16;

class TestMessageCollector : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void chunks_data();
    void chunks();
    void rawPointerAppend();
    void manyMessagesInOneBuffer();
    void takenMessagesStayIntact();
};

void TestMessageCollector::chunks_data()
{
    // Chunks fed in order (separated by '|', "reset" resets the collector);
    // after each chunk every ready message is taken out. Expected: the
    // messages, then what is left pending.
    QTest::addColumn<QString>("chunks");
    QTest::addColumn<QStringList>("messages");
    QTest::addColumn<int>("pending");
    QTest::newRow("one whole message") << "05000110 2A0000" << QStringList{"050001102a0000"} << 0;
    QTest::newRow("two in one chunk")
        << "0300011001 0400011002 03" << QStringList{"0300011001", "040001100203"} << 0;
    QTest::newRow("one and a half") << "0300011001 040001" << QStringList{"0300011001"} << 3;
    QTest::newRow("half then rest")
        << "040001|100203 03000110" << QStringList{"040001100203"} << 4;
    QTest::newRow("zero length is a 2-byte message")
        << "0000 0300" << QStringList{"0000"} << 2;
    QTest::newRow("length one is a 3-byte message")
        << "0100 AA 02000110" << QStringList{"0100aa", "02000110"} << 0;
    QTest::newRow("header split over three chunks")
        << "03|00|0110|01" << QStringList{"0300011001"} << 0;
    QTest::newRow("three bytes are never a message") << "020001" << QStringList{} << 3;
    QTest::newRow("byte by byte") << "05|00|01|10|2A|00|00" << QStringList{"050001102a0000"} << 0;
    QTest::newRow("nothing") << "" << QStringList{} << 0;
    QTest::newRow("a false length holds up what follows")
        << "00FF|0300011001" << QStringList{} << 7;
    QTest::newRow("reset drops a false length")
        << "FFFF0110|reset|0300011007" << QStringList{"0300011007"} << 0;
}

void TestMessageCollector::chunks()
{
    QFETCH(QString, chunks);
    QFETCH(QStringList, messages);
    QFETCH(int, pending);
    MessageCollector c;
    QStringList got;
    for (const QString& chunk : chunks.split('|')) {
        if (chunk == QLatin1String("reset"))
            c.reset();
        else
            c.append(hexBytes(QString(chunk).remove(' ')));
        while (c.hasMessage())
            got << QString::fromLatin1(c.nextMessage().bytes().toHex());
        QVERIFY(c.nextMessage().isEmpty());
    }
    QCOMPARE(got, messages);
    QCOMPARE(c.pending(), pending);
}

void TestMessageCollector::rawPointerAppend()
{
    const char bytes[] = {3, 0, 1, 0x10, 9, 3, 0};
    MessageCollector c;
    c.append(bytes, sizeof bytes);
    QCOMPARE(c.nextMessage().bytes(), QByteArray(bytes, 5));
    QCOMPARE(c.pending(), 2);
    c.append(bytes + 2, 3);
    QCOMPARE(c.nextMessage().bytes(), hexBytes("0300011009"));
}

void TestMessageCollector::manyMessagesInOneBuffer()
{
    // Messages taken out of a long buffer are cut from the front without
    // disturbing the ones behind them, also across appends.
    QByteArray stream;
    for (int i = 0; i < 30000; ++i) {
        Message m;
        m.appendInt(0x1001, i);
        stream += m.bytes();
    }
    MessageCollector c;
    c.append(stream.left(stream.size() / 2 + 1));
    int next = 0;
    auto drain = [&] {
        while (c.hasMessage()) {
            const Message m = c.nextMessage();
            QVERIFY(m.isValid());
            QCOMPARE(m.topLevelIterator().getInt(), next);
            ++next;
        }
    };
    drain();
    c.append(stream.mid(stream.size() / 2 + 1));
    drain();
    QCOMPARE(next, 30000);
    QCOMPARE(c.pending(), 0);
}

void TestMessageCollector::takenMessagesStayIntact()
{
    // Messages taken out share the received chunk; writing to one of them,
    // to the chunk or to the collector must leave the others as they were.
    QByteArray chunk = hexBytes("0300011001 0400011002 03 0300011003 0300");
    MessageCollector c;
    c.append(chunk);
    Message first = c.nextMessage();
    const Message second = c.nextMessage();
    const Message third = c.nextMessage();
    QVERIFY(!c.hasMessage());
    first.appendInt(0x1004, 0x7F);
    chunk[4] = 'X';
    c.append(hexBytes("011004"));
    QVERIFY(c.hasMessage());
    const Message fourth = c.nextMessage();
    c.reset();
    c.append(hexBytes("0300011009"));
    QCOMPARE(first.bytes().toHex(), QByteArray("0300011001030004107f"));
    QCOMPARE(second.bytes().toHex(), QByteArray("040001100203"));
    QCOMPARE(third.bytes().toHex(), QByteArray("0300011003"));
    QCOMPARE(fourth.bytes().toHex(), QByteArray("0300011004"));
    QCOMPARE(c.nextMessage().bytes().toHex(), QByteArray("0300011009"));
    QVERIFY(second.isValid());
}

QTEST_APPLESS_MAIN(TestMessageCollector)
#include "tst_messagecollector.moc"
