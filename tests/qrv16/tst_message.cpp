// SPDX-License-Identifier: MIT
#include "textfixture.h"

#include "qrv16/message.h"
#include "qrv16/types.h"
#include "tests/support/timezone.h"

#include <QRandomGenerator>

#include <climits>
#include <ctime>

using namespace QRV16;
using Iterator = Message::Iterator;

namespace {

QBitArray bitsFrom(const QString& pattern)
{
    QBitArray bits(pattern.size());
    for (int i = 0; i < pattern.size(); ++i)
        bits.setBit(i, pattern.at(i) == QLatin1Char('1'));
    return bits;
}

// Appends one element of the given kind; the kinds name the typed appends.
void appendKind(Message& m, const QString& kind, int tag, const QVariant& v)
{
    using Append = void (*)(Message&, int, const QVariant&);
    static const QHash<QString, Append> appends = {
        {"int", [](Message& m, int t, const QVariant& v) { m.appendInt(t, v.toInt()); }},
        {"int64", [](Message& m, int t, const QVariant& v) { m.appendInt64(t, v.toLongLong()); }},
        {"bool", [](Message& m, int t, const QVariant& v) { m.appendBool(t, v.toBool()); }},
        {"string", [](Message& m, int t, const QVariant& v) { m.appendString(t, v.toString()); }},
        {"binary",
         [](Message& m, int t, const QVariant& v) { m.appendByteArray(t, v.toByteArray()); }},
        {"date", [](Message& m, int t, const QVariant& v) { m.appendDate(t, v.toDate()); }},
        {"time", [](Message& m, int t, const QVariant& v) { m.appendTime(t, v.toTime()); }},
        {"bits", [](Message& m, int t, const QVariant& v) { m.appendBitArray(t, v.toBitArray()); }},
        {"point", [](Message& m, int t, const QVariant& v) { m.appendPoint(t, v.toPoint()); }},
        {"size", [](Message& m, int t, const QVariant& v) { m.appendSize(t, v.toSize()); }},
        {"rect", [](Message& m, int t, const QVariant& v) { m.appendRect(t, v.toRect()); }},
        {"ip",
         [](Message& m, int t, const QVariant& v) {
             IPv4 a;
             a.fromString(v.toString());
             m.appendIPAddress(t, a);
         }},
    };
    if (kind.startsWith("datetime"))
        m.appendDateTime(tag, v.toDateTime(),
                         kind == "datetime" ? Message::MillisecondsAuto
                                            : Message::MillisecondsAlways);
    else if (kind.startsWith("list"))
        m.appendIntList(tag, v.value<QList<int>>(), kind.mid(4).toInt());
    else if (const Append append = appends.value(kind))
        append(m, tag, v);
    else
        qFatal("unknown kind %s", qPrintable(kind));
}

// Reads the current element as the given kind, or through one of the
// views that read in place.
QVariant readKind(const Iterator& it, const QString& kind, bool* ok)
{
    using Read = QVariant (*)(const Iterator&, bool*);
    static const QHash<QString, Read> reads = {
        {"int", [](const Iterator& i, bool* b) -> QVariant { return i.getInt(b); }},
        {"int64", [](const Iterator& i, bool* b) -> QVariant { return i.getInt64(b); }},
        {"bool", [](const Iterator& i, bool* b) -> QVariant { return i.getBool(b); }},
        {"string", [](const Iterator& i, bool* b) -> QVariant { return i.getString(b); }},
        {"binary", [](const Iterator& i, bool* b) -> QVariant { return i.getByteArray(b); }},
        {"date", [](const Iterator& i, bool* b) -> QVariant { return i.getDate(b); }},
        {"time", [](const Iterator& i, bool* b) -> QVariant { return i.getTime(b); }},
        {"bits", [](const Iterator& i, bool* b) -> QVariant { return i.getBitArray(b); }},
        {"ip", [](const Iterator& i, bool* b) -> QVariant { return i.getIPAddress(b).toString(); }},
        {"point", [](const Iterator& i, bool* b) -> QVariant { return i.getPoint(b); }},
        {"size", [](const Iterator& i, bool* b) -> QVariant { return i.getSize(b); }},
        {"rect", [](const Iterator& i, bool* b) -> QVariant { return i.getRect(b); }},
        {"variant", [](const Iterator& i, bool* b) -> QVariant { return i.get(b); }},
        {"payload",
         [](const Iterator& i, bool* b) -> QVariant { return i.getPayload(b).toByteArray(); }},
        {"utf8",
         [](const Iterator& i, bool* b) -> QVariant {
             const QUtf8StringView text = i.getUtf8(b);
             return QByteArray(text.data(), text.size());
         }},
        {"days", [](const Iterator& i, bool* b) -> QVariant { return qint64(i.getDays(b)); }},
        {"msecs",
         [](const Iterator& i, bool* b) -> QVariant { return qint64(i.getMSecsOfDay(b)); }},
        {"epoch", [](const Iterator& i, bool* b) -> QVariant { return i.getEpochMSecs(b); }},
        {"mask", [](const Iterator& i, bool* b) -> QVariant { return qint64(i.getBits(b)); }},
    };
    if (kind.startsWith("datetime"))
        return it.getDateTime(ok);
    if (kind.startsWith("list"))
        return QVariant::fromValue(it.getIntList(ok, kind.mid(4).toInt()));
    const Read read = reads.value(kind);
    if (!read)
        qFatal("unknown kind %s", qPrintable(kind));
    return read(it, ok);
}

} // namespace

class TestMessage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void encode_data();
    void encode();
    void decode_data();
    void decode();
    void readersRefuseMissingPayload_data();
    void readersRefuseMissingPayload();
    void variantAppendFollowsTagType_data();
    void variantAppendFollowsTagType();
    void nestedBuilding();
    void appendMessageForms();
    void validity_data();
    void validity();
    void walk_data();
    void walk();
    void findOnlyDirectChildren();
    void getIteratorFailures_data();
    void getIteratorFailures();
    void convenienceReaders();
    void hooks();
    void dateTimeAcrossZoneRules_data();
    void dateTimeAcrossZoneRules();
    void randomBytesNeverReadOutOfRange();
};

void TestMessage::encode_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("tag");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("bytes");

    const QDateTime dt1(QDate(1990, 1, 2), QTime(0, 0, 1));
    QTest::newRow("int zero is one byte") << "int" << 0x1001 << QVariant(0) << "03 00 01 10 00";
    QTest::newRow("int 255") << "int" << 0x1001 << QVariant(255) << "03 00 01 10 FF";
    QTest::newRow("int 256 two bytes") << "int" << 0x1001 << QVariant(256) << "04 00 01 10 00 01";
    QTest::newRow("int three bytes") << "int" << 0x1001 << QVariant(0x10000) << "05 00 01 10 00 00 01";
    QTest::newRow("int high byte only") << "int" << 0x1001 << QVariant(0x01000000)
                                        << "06 00 01 10 00 00 00 01";
    QTest::newRow("negative int four bytes") << "int" << 0x1001 << QVariant(-1)
                                             << "06 00 01 10 FF FF FF FF";
    QTest::newRow("int64 five bytes") << "int64" << 0x1002 << QVariant(0x100000000ll)
                                      << "07 00 02 10 00 00 00 00 01";
    QTest::newRow("int64 small") << "int64" << 0x1002 << QVariant(5ll) << "03 00 02 10 05";
    QTest::newRow("int64 negative eight bytes") << "int64" << 0x1002 << QVariant(-2ll)
                                                << "0A 00 02 10 FE FF FF FF FF FF FF FF";
    QTest::newRow("bool true") << "bool" << 0x2001 << QVariant(true) << "03 00 01 20 01";
    QTest::newRow("bool false") << "bool" << 0x2001 << QVariant(false) << "03 00 01 20 00";
    QTest::newRow("string utf8") << "string" << 0x3001 << QVariant(QString::fromUtf8("Aé"))
                                 << "05 00 01 30 41 C3 A9";
    QTest::newRow("empty string") << "string" << 0x3001 << QVariant(QString()) << "02 00 01 30";
    QTest::newRow("binary") << "binary" << 0x0003 << QVariant(hexBytes("00 FF 7F"))
                            << "05 00 03 00 00 FF 7F";
    QTest::newRow("empty binary") << "binary" << 0x0003 << QVariant(QByteArray()) << "02 00 03 00";
    QTest::newRow("date as day count") << "date" << 0x4001 << QVariant(QDate(1990, 1, 2))
                                       << "03 00 01 40 01";
    QTest::newRow("date y2k") << "date" << 0x4001 << QVariant(QDate(2000, 1, 1))
                              << "04 00 01 40 44 0E";
    QTest::newRow("time drops milliseconds") << "time" << 0x5001 << QVariant(QTime(1, 0, 0, 999))
                                             << "04 00 01 50 10 0E";
    QTest::newRow("datetime auto without ms") << "datetime" << 0x6001 << QVariant(dt1)
                                              << "0A 00 01 60 01 00 00 00 01 00 00 00";
    QTest::newRow("datetime always") << "datetime-always" << 0x6001 << QVariant(dt1)
                                     << "0C 00 01 60 01 00 00 00 01 00 00 00 00 00";
    QTest::newRow("datetime auto with ms")
        << "datetime" << 0x6001 << QVariant(dt1.addMSecs(250))
        << "0C 00 01 60 01 00 00 00 01 00 00 00 FA 00";
    QTest::newRow("ten bits, bit 9") << "bits" << 0x7001 << QVariant(bitsFrom("0000000001"))
                                     << "04 00 01 70 00 02";
    QTest::newRow("bits lsb first") << "bits" << 0x7001 << QVariant(bitsFrom("10000001"))
                                    << "03 00 01 70 81";
    QTest::newRow("empty bits") << "bits" << 0x7001 << QVariant(QBitArray()) << "02 00 01 70";
    QTest::newRow("address network order") << "ip" << 0x9001 << QVariant("192.168.1.2")
                                           << "06 00 01 90 C0 A8 01 02";
    QTest::newRow("point narrow") << "point" << 0x8001 << QVariant(QPoint(-32768, 32767))
                                  << "06 00 01 80 00 80 FF 7F";
    QTest::newRow("point wide") << "point" << 0x8001 << QVariant(QPoint(40000, 1))
                                << "0A 00 01 80 40 9C 00 00 01 00 00 00";
    QTest::newRow("size narrow") << "size" << 0x8201 << QVariant(QSize(640, 480))
                                 << "06 00 01 82 80 02 E0 01";
    QTest::newRow("size wide") << "size" << 0x8201 << QVariant(QSize(1, -40000))
                               << "0A 00 01 82 01 00 00 00 C0 63 FF FF";
    QTest::newRow("rect narrow") << "rect" << 0x8101 << QVariant(QRect(QPoint(10, 20), QPoint(19, 29)))
                                 << "0A 00 01 81 0A 00 14 00 0A 00 0A 00";
    QTest::newRow("rect wide") << "rect" << 0x8101 << QVariant(QRect(0, 0, 70000, 1))
                               << "12 00 01 81 00 00 00 00 00 00 00 00 70 11 01 00 01 00 00 00";
    QTest::newRow("int list width 1 truncates") << "list1" << 0x0005
                                                << QVariant::fromValue(QList<int>{1, 0x1FF})
                                                << "04 00 05 00 01 FF";
    QTest::newRow("int list width 3") << "list3" << 0x0005
                                      << QVariant::fromValue(QList<int>{0x010203, -1})
                                      << "08 00 05 00 03 02 01 FF FF FF";
    QTest::newRow("empty int list") << "list2" << 0x0005 << QVariant::fromValue(QList<int>())
                                    << "02 00 05 00";
}

void TestMessage::encode()
{
    QFETCH(QString, kind);
    QFETCH(int, tag);
    QFETCH(QVariant, value);
    QFETCH(QString, bytes);
    Message m;
    appendKind(m, kind, tag, value);
    QCOMPARE(spacedHex(m.bytes()), bytes);
    QVERIFY(m.isValid());
    QCOMPARE(m.tag(), tag);

    // Every encoding reads back to the value it was made from.
    bool ok = false;
    const QVariant back = readKind(m.topLevelIterator(), kind, &ok);
    QVERIFY(ok);
    if (kind == "time")
        QCOMPARE(back.toTime(), QTime(value.toTime().hour(), value.toTime().minute(),
                                      value.toTime().second()));
    else if (kind == "bits")
        QCOMPARE(back.toBitArray().size(), (value.toBitArray().size() + 7) / 8 * 8);
    else if (kind == "list1")
        QCOMPARE(back.value<QList<int>>(), (QList<int>{1, 0xFF}));
    else if (kind == "list3")
        QCOMPARE(back.value<QList<int>>(), (QList<int>{0x010203, 0xFFFFFF}));
    else
        QCOMPARE(back, value);
}

void TestMessage::decode_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("element");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QVariant>("value");
    // Beside the encodings encode() reads back: short, long and odd payloads.

    QTest::newRow("bytes past four ignored") << "int" << "08 00 01 10 01 00 00 00 99 99" << true
                                             << QVariant(1);
    QTest::newRow("empty int fails") << "int" << "02 00 01 10" << false << QVariant(0);
    QTest::newRow("int64 not sign extended") << "int64" << "03 00 01 10 FF" << true
                                             << QVariant(255ll);
    QTest::newRow("int64 bytes past eight ignored")
        << "int64" << "0B 00 01 10 01 00 00 00 00 00 00 80 77" << true
        << QVariant(qint64(0x8000000000000001ull));
    QTest::newRow("empty int64 fails") << "int64" << "02 00 01 10" << false << QVariant(0ll);
    QTest::newRow("bool any non-zero") << "bool" << "03 00 01 20 7F" << true << QVariant(true);
    QTest::newRow("bool two bytes fails") << "bool" << "04 00 01 20 01 00" << false
                                          << QVariant(false);
    QTest::newRow("bool empty fails") << "bool" << "02 00 01 20" << false << QVariant(false);
    QTest::newRow("date zero is null but read") << "date" << "03 00 01 40 00" << true
                                                << QVariant(QDate());
    QTest::newRow("date empty fails") << "date" << "02 00 01 40" << false << QVariant(QDate());
    QTest::newRow("time wraps at a day") << "time" << "05 00 01 50 81 51 01" << true
                                         << QVariant(QTime(0, 0, 1));
    QTest::newRow("datetime nine bytes has no ms")
        << "datetime" << "0B 00 01 60 01 00 00 00 01 00 00 00 05" << true
        << QVariant(QDateTime(QDate(1990, 1, 2), QTime(0, 0, 1)));
    QTest::newRow("datetime day zero is null but read")
        << "datetime" << "0A 00 01 60 00 00 00 00 01 00 00 00" << true << QVariant(QDateTime());
    QTest::newRow("datetime seven bytes fails")
        << "datetime" << "09 00 01 60 01 00 00 00 01 00 00" << false << QVariant(QDateTime());
    QTest::newRow("bits are eight per byte") << "bits" << "03 00 01 70 01" << true
                                             << QVariant(bitsFrom("10000000"));
    QTest::newRow("empty address is null") << "ip" << "02 00 01 90" << true
                                           << QVariant("0.0.0.0");
    QTest::newRow("three byte address fails") << "ip" << "05 00 01 90 0A 00 00" << false
                                              << QVariant("0.0.0.0");
    QTest::newRow("empty point") << "point" << "02 00 01 80" << true << QVariant(QPoint(0, 0));
    QTest::newRow("six byte point fails") << "point" << "08 00 01 80 01 00 02 00 03 00" << false
                                          << QVariant(QPoint(0, 0));
    QTest::newRow("empty rect is null") << "rect" << "02 00 01 81" << true << QVariant(QRect());
    QTest::newRow("rect ending at the int limit")
        << "rect" << "12 00 01 81 FF FF FF 7F 00 00 00 80 01 00 00 00 01 00 00 00" << true
        << QVariant(QRect(QPoint(INT_MAX, INT_MIN), QPoint(INT_MAX, INT_MIN)));
    QTest::newRow("rect past the int limit fails")
        << "rect" << "12 00 01 81 FF FF FF 7F 00 00 00 00 02 00 00 00 01 00 00 00" << false
        << QVariant(QRect());
    QTest::newRow("rect before the int limit fails")
        << "rect" << "12 00 01 81 00 00 00 80 00 00 00 00 00 00 00 00 01 00 00 00" << false
        << QVariant(QRect());
    QTest::newRow("rect with a side of no int fails")
        << "rect" << "12 00 01 81 01 00 00 00 00 00 00 00 00 00 00 80 01 00 00 00" << false
        << QVariant(QRect());
    QTest::newRow("variant of a rect past the limit is invalid")
        << "variant" << "12 00 01 81 00 00 00 00 FF FF FF 7F 01 00 00 00 02 00 00 00" << false
        << QVariant();
    QTest::newRow("twelve byte rect fails")
        << "rect" << "0E 00 01 81 00 00 00 00 00 00 00 00 00 00 00 00" << false
        << QVariant(QRect());
    QTest::newRow("int list remainder ignored") << "list2" << "07 00 05 00 01 00 FF FF 09" << true
                                                << QVariant::fromValue(QList<int>{1, 0xFFFF});
    QTest::newRow("int list width 4 signed") << "list4" << "06 00 05 00 FF FF FF FF" << true
                                             << QVariant::fromValue(QList<int>{-1});
    QTest::newRow("int list width 5 fails") << "list5" << "06 00 05 00 FF FF FF FF" << false
                                            << QVariant::fromValue(QList<int>());
    QTest::newRow("int list width 0 fails") << "list0" << "03 00 05 00 01" << false
                                            << QVariant::fromValue(QList<int>());

    // The views that read in place.
    // Day 1 (1990-01-02), 3661 s, 250 ms; then without milliseconds.
    const char* stamp = "0C 00 01 60 01 00 00 00 4D 0E 00 00 FA 00";
    const char* stampNoMs = "0A 00 01 60 01 00 00 00 4D 0E 00 00";
    const char* shortStamp = "09 00 01 60 01 00 00 00 4D 0E 00";
    const qint64 day1 = (7305 + 1) * 86400000ll;

    QTest::newRow("payload view") << "payload"
                                  << "04 00 01 10 34 12" << true << QVariant(hexBytes("3412"));
    QTest::newRow("empty payload") << "payload"
                                   << "02 00 01 00" << true << QVariant(QByteArray());
    QTest::newRow("payload past the end") << "payload"
                                          << "09 00 01 10 05" << false << QVariant(QByteArray());
    QTest::newRow("length below 2") << "payload"
                                    << "01 00 01 10 05" << false << QVariant(QByteArray());
    QTest::newRow("utf8 view") << "utf8"
                               << "07 00 01 30 C3 A4 62 63 64" << true
                               << QVariant(QByteArray("\xC3\xA4"
                                                      "bcd"));
    QTest::newRow("utf8 past the end") << "utf8"
                                       << "08 00 01 30 61 62" << false << QVariant(QByteArray());
    QTest::newRow("days view") << "days" << stamp << true << QVariant(1ll);
    QTest::newRow("msecs of day") << "msecs" << stamp << true << QVariant(3661250ll);
    QTest::newRow("msecs without ms") << "msecs" << stampNoMs << true << QVariant(3661000ll);
    QTest::newRow("seconds wrap into the day")
        << "msecs"
        << "0A 00 01 60 01 00 00 00 81 51 01 00" << true << QVariant(1000ll);
    QTest::newRow("epoch") << "epoch" << stamp << true << QVariant(day1 + 3661250);
    QTest::newRow("epoch of day 0 has no date")
        << "epoch"
        << "0A 00 01 60 00 00 00 00 4D 0E 00 00" << false << QVariant(0ll);
    QTest::newRow("short days") << "days" << shortStamp << false << QVariant(0ll);
    QTest::newRow("short msecs") << "msecs" << shortStamp << false << QVariant(0ll);
    QTest::newRow("short epoch") << "epoch" << shortStamp << false << QVariant(0ll);
    QTest::newRow("days past the end") << "days"
                                       << "0C 00 01 60 01 00 00 00" << false << QVariant(0ll);
    QTest::newRow("mask") << "mask"
                          << "04 00 01 70 0B 01" << true << QVariant(0x010Bll);
    QTest::newRow("mask of 64 bits")
        << "mask"
        << "0A 00 01 70 01 00 00 00 00 00 00 80" << true << QVariant(qint64(0x8000000000000001ull));
    QTest::newRow("mask of no bits") << "mask"
                                     << "02 00 01 70" << true << QVariant(0ll);
    QTest::newRow("mask of more than 64 bits")
        << "mask"
        << "0B 00 01 70 01 00 00 00 00 00 00 00 01" << false << QVariant(0ll);
    QTest::newRow("mask past the end") << "mask"
                                       << "06 00 01 70 01" << false << QVariant(0ll);
}

void TestMessage::decode()
{
    QFETCH(QString, kind);
    QFETCH(QString, element);
    QFETCH(bool, ok);
    QFETCH(QVariant, value);
    // Each buffer alone on the heap, so that the sanitizer sees overruns.
    const QByteArray bytes = hexBytes(element);
    const Message m(QByteArray(bytes.constData(), bytes.size()));
    bool got = !ok;
    const QVariant v = readKind(m.topLevelIterator(), kind, &got);
    QCOMPARE(got, ok);
    QCOMPARE(v, value);
}

void TestMessage::readersRefuseMissingPayload_data()
{
    QTest::addColumn<QString>("kind");
    for (const char* k : {"int",      "int64", "bool", "string", "binary", "date", "time",
                          "datetime", "bits",  "ip",   "point",  "size",   "rect", "list1",
                          "payload",  "utf8",  "days", "msecs",  "epoch",  "mask"})
        QTest::newRow(k) << QString(k);
}

void TestMessage::readersRefuseMissingPayload()
{
    // An iterator at its end, a dead one, and one over a length that runs past the range.
    QFETCH(QString, kind);
    const Message m(hexBytes("03 00 01 10 05"));
    Iterator end = m.iterator();
    Iterator dead = m.topLevelIterator();
    dead.die();
    const Message overrun(hexBytes("09 00 01 10 05"));
    for (const Iterator& it : {end, dead, overrun.topLevelIterator(), Iterator()}) {
        bool ok = true;
        readKind(it, kind, &ok);
        QVERIFY(!ok);
    }
}

void TestMessage::variantAppendFollowsTagType_data()
{
    QTest::addColumn<int>("tag");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("bytes");
    QTest::newRow("binary") << 0x0001 << QVariant(QByteArray("ab")) << "04 00 01 00 61 62";
    QTest::newRow("integer from text") << 0x1001 << QVariant("300") << "04 00 01 10 2C 01";
    QTest::newRow("bool") << 0x2001 << QVariant(true) << "03 00 01 20 01";
    QTest::newRow("string from int") << 0x3001 << QVariant(42) << "04 00 01 30 34 32";
    QTest::newRow("date") << 0x4001 << QVariant(QDate(1990, 1, 3)) << "03 00 01 40 02";
    QTest::newRow("time") << 0x5001 << QVariant(QTime(0, 1, 0)) << "03 00 01 50 3C";
    QTest::newRow("datetime auto ms")
        << 0x6001 << QVariant(QDateTime(QDate(1990, 1, 2), QTime(0, 0, 1)))
        << "0A 00 01 60 01 00 00 00 01 00 00 00";
    QTest::newRow("bitarray") << 0x7001 << QVariant(bitsFrom("01")) << "03 00 01 70 02";
    QTest::newRow("ext point") << 0x8001 << QVariant(QPoint(1, 2)) << "06 00 01 80 01 00 02 00";
    QTest::newRow("ext rect") << 0x8101 << QVariant(QRect(1, 2, 3, 4))
                              << "0A 00 01 81 01 00 02 00 03 00 04 00";
    QTest::newRow("ext size") << 0x8201 << QVariant(QSize(5, 6)) << "06 00 01 82 05 00 06 00";
    QTest::newRow("address appends nothing") << 0x9001 << QVariant("1.2.3.4") << "";
    QTest::newRow("list appends nothing") << 0xC001 << QVariant(1) << "";
    QTest::newRow("message appends nothing") << 0xF001 << QVariant(1) << "";
    QTest::newRow("unused type appends nothing") << 0xA001 << QVariant(1) << "";
}

void TestMessage::variantAppendFollowsTagType()
{
    QFETCH(int, tag);
    QFETCH(QVariant, value);
    QFETCH(QString, bytes);
    Message m;
    m.append(tag, value);
    QCOMPARE(spacedHex(m.bytes()), bytes);
    if (!bytes.isEmpty()) {
        bool ok = false;
        const QVariant back = m.topLevelIterator().get(&ok);
        QVERIFY(ok);
        // What get() returns appends to the same bytes again.
        Message again;
        again.append(tag, back);
        QCOMPARE(again.bytes(), m.bytes());
    }
}

void TestMessage::nestedBuilding()
{
    Message m;
    m.beginMessage(0xF001);
    QCOMPARE(m.openElements(), 1);
    m.appendBool(0x2001, true);
    m.endMessage();
    QCOMPARE(m.openElements(), 0);
    QCOMPARE(spacedHex(m.bytes()), QString("07 00 01 F0 03 00 01 20 01"));
    QVERIFY(m.isValid());

    Message deep;
    deep.beginMessage(0xF002);
    deep.appendInt(0x1001, 1);
    deep.beginMessage(0xC001);
    deep.beginMessage(0xC002);
    deep.endMessage(); // an empty list
    deep.appendString(0x3001, "x");
    QVERIFY(!deep.isValid());
    deep.endMessage();
    deep.appendInt(0x1002, 2);
    deep.endMessage();
    QCOMPARE(spacedHex(deep.bytes()),
             QString("19 00 02 F0 03 00 01 10 01 0B 00 01 C0 02 00 02 C0 03 00 01 30 78 "
                     "03 00 02 10 02"));
    QVERIFY(deep.isValid());

    // An unmatched end is ignored rather than corrupting the buffer.
    const QByteArray before = deep.bytes();
    deep.endMessage();
    QCOMPARE(deep.bytes(), before);
}

void TestMessage::appendMessageForms()
{
    Message inner;
    inner.beginMessage(0xC001);
    inner.appendInt(0x1001, 7);
    inner.endMessage();

    Message wrapped;
    wrapped.beginMessage(0xF001);
    wrapped.appendMessage(0x0009, inner); // as a binary payload
    wrapped.appendMessage(inner);         // as a child element
    wrapped.endMessage();
    QCOMPARE(spacedHex(wrapped.bytes()),
             QString("18 00 01 F0 0B 00 09 00 07 00 01 C0 03 00 01 10 07 "
                     "07 00 01 C0 03 00 01 10 07"));
    bool ok = false;
    const Message child = wrapped.getMessage(0xC001, &ok);
    QVERIFY(ok);
    QCOMPARE(child, inner);
    QCOMPARE(Message(wrapped.getByteArray(0x0009)), inner);

    // The copy is the element's own: growing it leaves the message alone.
    Message copy = wrapped.iterator().getMessage(&ok);
    QVERIFY(ok);
    QCOMPARE(spacedHex(copy.bytes()), QString("0B 00 09 00 07 00 01 C0 03 00 01 10 07"));
    QVERIFY(copy.isValid());
    copy.appendInt(0x1001, 1);
    QCOMPARE(wrapped.getByteArray(0x0009), inner.bytes());
    Iterator end = wrapped.iterator();
    while (!end.atEnd())
        ++end;
    QCOMPARE(end.getMessage(&ok), Message());
    QVERIFY(!ok);
}

void TestMessage::validity_data()
{
    QTest::addColumn<QString>("bytes");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<int>("tag");
    QTest::newRow("empty") << "" << false << -1;
    QTest::newRow("three bytes") << "02 00 01" << false << -1;
    QTest::newRow("bare header") << "02 00 01 F0" << true << 0xF001;
    QTest::newRow("length too small") << "02 00 01 F0 00" << false << -1;
    QTest::newRow("length too big") << "05 00 01 F0 00" << false << -1;
    QTest::newRow("good") << "03 00 34 12 00" << true << 0x1234;
}

void TestMessage::validity()
{
    QFETCH(QString, bytes);
    QFETCH(bool, valid);
    QFETCH(int, tag);
    const Message m(hexBytes(bytes));
    QCOMPARE(m.isValid(), valid);
    QCOMPARE(m.tag(), tag);
}

void TestMessage::walk_data()
{
    // The children of a message, walked with iterator(): each visited tag,
    // then "end" when the walk finished cleanly or "dead" when it died.
    QTest::addColumn<QString>("bytes");
    QTest::addColumn<QString>("visited");
    QTest::newRow("three children") << "12 00 01 F0 03 00 01 10 01 03 00 02 10 02 04 00 01 30 41 42"
                                    << "1001 1002 3001 end";
    QTest::newRow("no children") << "02 00 01 F0" << "end";
    QTest::newRow("nested not entered") << "0B 00 01 F0 07 00 01 C0 03 00 01 10 01"
                                        << "C001 end";
    QTest::newRow("empty children") << "0A 00 01 F0 02 00 01 00 02 00 02 00" << "0001 0002 end";
    QTest::newRow("length past the parent") << "0C 00 01 F0 03 00 01 10 01 09 00 02 10 02"
                                            << "1001 1002 dead";
    QTest::newRow("one byte stub after child") << "08 00 01 F0 03 00 01 10 01 AA"
                                               << "1001 dead";
    QTest::newRow("two byte stub") << "09 00 01 F0 03 00 01 10 01 AA BB" << "1001 dead";
    QTest::newRow("three byte stub") << "0A 00 01 F0 03 00 01 10 01 AA BB CC" << "1001 dead";
    // A stub is visited (no tag can be read there) and kills the walk.
    QTest::newRow("stub only") << "04 00 01 F0 AA AA" << "stub dead";
    // A zero length steps two bytes: the tag bytes are read as the next header.
    QTest::newRow("zero length") << "0A 00 01 F0 00 00 02 00 01 10 05 00" << "0002 1001 dead";
    QTest::newRow("zero length landing on end") << "06 00 01 F0 00 00 01 10" << "1001 dead";
}

void TestMessage::walk()
{
    QFETCH(QString, bytes);
    QFETCH(QString, visited);
    const Message m(hexBytes(bytes));
    QStringList seen;
    Iterator it = m.iterator();
    int guard = 0;
    while (!it.atEnd() && ++guard < 100) {
        QVERIFY(it.isValid());
        seen << (it.tag() < 0 ? QString("stub")
                              : QString::number(it.tag(), 16).toUpper().rightJustified(4, '0'));
        ++it;
    }
    seen << (it.position() < 0 ? "dead" : "end");
    QCOMPARE(seen.join(' '), visited);
    if (it.position() < 0) {
        QVERIFY(!it.isValid());
        QCOMPARE(it.tag(), -1);
        QCOMPARE(it.size(), -1);
        it.rewind();
        QVERIFY(it.atEnd());
        ++it;
        QVERIFY(it.atEnd());
    } else {
        it.rewind();
        QCOMPARE(it.atEnd(), visited == "end");
    }
}

void TestMessage::findOnlyDirectChildren()
{
    Message m;
    m.beginMessage(0xF001);
    m.beginMessage(0xC001);
    m.appendInt(0x1005, 1);
    m.endMessage();
    m.appendInt(0x1006, 2);
    m.endMessage();

    QVERIFY(!m.contains(0x1005));
    QVERIFY(m.find(0x1005).atEnd());
    QVERIFY(m.contains(0x1006));
    QCOMPARE(m.getInt(0x1006), 2);
    bool ok = true;
    QCOMPARE(m.getInt(0x1005, &ok), 0);
    QVERIFY(!ok);

    Iterator list = m.getIterator(0xC001, &ok);
    QVERIFY(ok);
    QCOMPARE(list.tag(), 0x1005);
    QCOMPARE(list.getInt(), 1);
    ++list;
    QVERIFY(list.atEnd());
    QVERIFY(list.position() >= 0);
}

void TestMessage::getIteratorFailures_data()
{
    // The element under test is the first child of the message.
    QTest::addColumn<QString>("bytes");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<int>("children");
    QTest::newRow("list with one child") << "09 00 01 F0 05 00 01 C0 03 00 01 10 07" << true << 1;
    QTest::newRow("empty last element") << "06 00 01 F0 02 00 01 C0" << false << 0;
    QTest::newRow("length one") << "07 00 01 F0 01 00 01 C0 00" << false << 0;
    QTest::newRow("length past the range") << "08 00 01 F0 07 00 01 C0 00 00" << false << 0;
    QTest::newRow("not nested but walkable") << "0B 00 01 F0 07 00 01 00 03 00 01 10 07"
                                             << true << 1;
}

void TestMessage::getIteratorFailures()
{
    QFETCH(QString, bytes);
    QFETCH(bool, ok);
    QFETCH(int, children);
    const Message m(hexBytes(bytes));
    bool got = !ok;
    Iterator it = m.iterator().getIterator(&got);
    QCOMPARE(got, ok);
    if (!ok) {
        QCOMPARE(it.position(), -1);
        QCOMPARE(it.start(), 0);
        QCOMPARE(it.end(), 0);
        QVERIFY(it.atEnd());
    }
    int n = 0;
    for (; !it.atEnd(); ++it)
        ++n;
    QCOMPARE(n, children);

    // The bare top-level message: an empty payload has nothing to walk.
    const Message bare(hexBytes("02 00 01 F0"));
    bare.topLevelIterator().getIterator(&got);
    QVERIFY(!got);
}

void TestMessage::convenienceReaders()
{
    // The readers by tag are the iterator's at find(tag), checked above; here
    // the forms with no iterator test of their own.
    Message m;
    m.beginMessage(0xF010);
    m.appendPair(0x8001, qMakePair(3, -4));
    m.appendIPAddress(0x9001, IPv4(0x0A000001));
    m.appendIntList(0x0002, {1, 2, 3}, 2);
    m.endMessage();
    QVERIFY(m.isValid());
    QCOMPARE(m.getPair(0x8001), qMakePair(3, -4));
    QCOMPARE(m.getPoint(0x8001), QPoint(3, -4));
    QCOMPARE(m.getIPAddress(0x9001), IPv4(0x0A000001));
    bool ok = false;
    QCOMPARE(m.getIntList(0x0002, &ok, 2), (QList<int>{1, 2, 3}));
    QVERIFY(ok);
    QVERIFY(!m.get(0x9001, &ok).isValid()); // addresses have no variant form
    QVERIFY(!ok);
    QVERIFY(!m.get(0x1234, &ok).isValid());
    QVERIFY(!ok);
}

namespace {
QByteArray reverseHook(int, const QByteArray& payload)
{
    QByteArray r(payload);
    std::reverse(r.begin(), r.end());
    return r;
}
QByteArray nullHook(int, const QByteArray&)
{
    return QByteArray();
}
} // namespace

void TestMessage::hooks()
{
    Message::encipher = reverseHook;
    Message m;
    m.beginMessage(0xF001);
    m.appendString(0x3001, "abc");
    m.endMessage();
    Message::encipher = nullptr;
    QCOMPARE(spacedHex(m.bytes()), QString("09 00 01 F0 05 00 01 30 63 62 61"));

    Message::decipher = reverseHook;
    QCOMPARE(m.getString(0x3001), QString("abc"));
    int size = 0;
    const char* p = m.getData(0x3001, &size);
    QCOMPARE(QByteArray(p, size), QByteArray("abc"));
    Message::decipher = nullHook; // a null result keeps the stored bytes
    QCOMPARE(m.getString(0x3001), QString("cba"));
    Message::decipher = nullptr;
    QCOMPARE(m.getString(0x3001), QString("cba"));

    // The views in place read deciphered too.
    const Iterator it = m.iterator();
    Message::decipher = reverseHook;
    bool ok = false;
    const QString text = it.getUtf8(&ok).toString();
    const QByteArray payload = it.getPayload().toByteArray();
    Message::decipher = nullptr;
    QVERIFY(ok);
    QCOMPARE(text, QString("abc"));
    QCOMPARE(payload, QByteArray("abc"));
    QCOMPARE(it.getPayload().toByteArray(), QByteArray("cba"));
}

void TestMessage::dateTimeAcrossZoneRules_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::newRow("UTC") << QByteArray("UTC");
    QTest::newRow("Berlin") << QByteArray("Europe/Berlin");
    QTest::newRow("New York") << QByteArray("America/New_York");
    QTest::newRow("Lord Howe half hours") << QByteArray("Australia/Lord_Howe");
    QTest::newRow("Dublin, summer as standard time") << QByteArray("Europe/Dublin");
    QTest::newRow("Chatham, 45 minutes") << QByteArray("Pacific/Chatham");
    QTest::newRow("pinned as the program pins it") << QByteArray(":/etc/localtime");
}

void TestMessage::dateTimeAcrossZoneRules()
{
    // Every value reads as the local date-time built from its date and time,
    // also on the days the rules change, and after the zone itself changes.
    QFETCH(QByteArray, zone);
    Message m;
    for (int day = 0; day < 400; ++day)
        for (int ms : {0, 1, 2 * 3600000 + 1800000, 3 * 3600000 - 1, 12 * 3600000, 86399999})
            m.appendDateTime(0x6001, QDateTime(QDate(2025, 10, 1).addDays(day),
                                               QTime::fromMSecsSinceStartOfDay(ms), Qt::UTC),
                             Message::MillisecondsAlways);
    for (const QByteArray& tz : {zone, zone == "UTC" ? QByteArray("Europe/Berlin") : "UTC"}) {
        const LocalZone local(tz);
        int checked = 0;
        for (Iterator it = m.topLevelIterator(); !it.atEnd(); ++it, ++checked) {
            const QDateTime expected(QDate(1990, 1, 1).addDays(it.getDays()),
                                     QTime::fromMSecsSinceStartOfDay(it.getMSecsOfDay()));
            const QDateTime got = it.getDateTime();
            if (got != expected || got.offsetFromUtc() != expected.offsetFromUtc() ||
                got.date() != expected.date() || got.time() != expected.time() ||
                got.isDaylightTime() != expected.isDaylightTime() ||
                got.timeSpec() != Qt::LocalTime)
                QFAIL(qPrintable(QString("%1: %2 read as %3")
                                     .arg(QString(tz), expected.toString(Qt::ISODateWithMs),
                                          got.toString(Qt::ISODateWithMs))));
        }
        QCOMPARE(checked, 2400);
    }
}

namespace {
// Calls every reader at every position; returns the elements visited, or
// -1 once a payload reaches outside [begin, end).
int exhaust(Iterator it, int depth, const char* begin, const char* end)
{
    int visited = 0;
    for (int guard = 0; !it.atEnd() && guard < 70000; ++guard, ++it) {
        ++visited;
        bool ok;
        int size;
        const char* data = it.getData(&size);
        if (data && (data < begin || data + size > end || size < 0))
            return -1;
        it.getByteArray(&ok);
        it.getString(&ok);
        it.getDateTime(&ok);
        it.getBool(&ok);
        it.getInt(&ok);
        it.getTime(&ok);
        it.getDate(&ok);
        it.getInt64(&ok);
        it.getBitArray(&ok);
        it.getIPAddress(&ok);
        it.getPair(&ok);
        it.getRect(&ok);
        it.getPayload(&ok);
        it.getUtf8(&ok);
        it.getDays(&ok);
        it.getMSecsOfDay(&ok);
        it.getEpochMSecs(&ok);
        it.getBits(&ok);
        for (int w = 0; w <= 5; ++w)
            it.getIntList(&ok, w);
        it.getMessage(&ok);
        it.get(&ok);
        const Iterator inner = it.getIterator(&ok);
        if (ok && depth < 50) {
            const int below = exhaust(inner, depth + 1, begin, end);
            if (below < 0)
                return -1;
            visited += below;
        }
    }
    return visited;
}
} // namespace

void TestMessage::randomBytesNeverReadOutOfRange()
{
    QRandomGenerator rng(42);
    int visited = 0;
    for (int round = 0; round < 20000; ++round) {
        // Small lengths make headers that land inside the buffer often.
        QByteArray bytes(int(rng.bounded(48)), Qt::Uninitialized);
        for (char& c : bytes)
            c = char(rng.bounded(4) == 0 ? rng.bounded(256) : rng.bounded(12));
        // Each buffer lives on the heap alone so that the sanitizer sees overruns.
        const Message m(QByteArray(bytes.constData(), bytes.size()));
        const char* begin = m.bytes().constData();
        const char* end = begin + m.bytes().size();
        for (const Iterator& it : {m.topLevelIterator(), m.iterator()}) {
            const int n = exhaust(it, 0, begin, end);
            QVERIFY2(n >= 0, bytes.toHex(' ').constData());
            visited += n;
        }
        for (int tag : {0x0000, 0x1000, 0x0A0B, 0x0102})
            m.find(tag).getString();
    }
    QVERIFY(visited > 20000);
}

QTEST_APPLESS_MAIN(TestMessage)
#include "tst_message.moc"
