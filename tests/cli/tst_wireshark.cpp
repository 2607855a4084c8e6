// SPDX-License-Identifier: MIT
// A trace exported as pcapng, dissected by tshark with the dissector that
// `korv generate --lang wireshark` writes for the sample definitions.
#include "qrv16/messageparser.h"
#include "qrv16/parser.h"
#include "qrv16/pcapngwriter.h"
#include "qrv16/tagdatalut.h"
#include "tests/support/files.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using QRV16::PcapngWriter;

namespace {

const QString demo = QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef");

QByteArray run(const QString& program, const QStringList& args, int* status)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    if (!p.waitForStarted() || !p.waitForFinished(120000)) {
        *status = -1;
        return p.errorString().toUtf8();
    }
    *status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    return p.readAll();
}

} // namespace

class TestWireshark : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void dissected_data();
    void dissected();
    void noDissectorError();
    void tcpStream();

private:
    struct Row
    {
        QByteArray name;
        PcapngWriter::Packet packet;
        QStringList expected;
    };
    QByteArray bytes(const char* text) const
    {
        return QRV16::MessageParser(m_lut.get()).parse(QLatin1String(text)).bytes();
    }
    QList<Row> rows() const;

    QString m_tshark;
    QString m_lua;
    std::unique_ptr<QRV16::Item> m_root;
    std::unique_ptr<QRV16::TagDataLut> m_lut;
    QTemporaryDir m_dir;
    QByteArray m_output; // tshark -V of the whole capture
    QList<QByteArray> m_frames;
};

QList<TestWireshark::Row> TestWireshark::rows() const
{
    const QDateTime t = QDateTime::fromMSecsSinceEpoch(1700000000000, Qt::UTC);
    auto packet = [&](const QByteArray& data) {
        PcapngWriter::Packet p;
        p.time = t;
        p.data = data;
        return p;
    };
    QList<Row> out;

    Row r{"enum names",
          packet(bytes("GetStatusReply=(PumpId=2 PumpMode=Service ResultCode=Ok)")),
          {}};
    r.packet.channel = 2;
    r.packet.source = 5;
    r.packet.destination = 0;
    r.expected = {"Tag: GetStatusReply (0xe001)", "PumpId = 2", "PumpMode = Service (3)",
                  "ResultCode = Ok (0)", "Type: Integer", "channel 2, received, message, src 5, dst 0",
                  "Source address: 5"};
    out.append(r);

    r = {"bits, strings, secure and nesting",
         packet(bytes(
             "StatusReport=(Alarms=HighLevel|LowLevel StationName=\"North\" Password=\"secret\" "
             "Pumps=(Running=true))")),
         {}};
    r.packet.direction = PcapngWriter::Sent;
    r.expected = {"Alarms = {HighLevel, LowLevel}", "StationName = \"North\"",
                  "Password = <hidden>", "Pumps", "Running = true", "channel 1, sent, message"};
    out.append(r);

    r = {"unknown tag by code", packet(bytes("GetStatus=(1FFF=5)")), {"0x1FFF = 5"}};
    out.append(r);

    // GetStatusReply whose PumpId claims 9 bytes where 3 are left.
    r = {"element runs past its container", packet(QByteArray::fromHex("070001e0" "09000110" "02")),
         {"Expert Info (Error/Malformed)", "malformed: length 9 does not fit its container"}};
    out.append(r);

    r = {"bool of two bytes", packet(QByteArray::fromHex("0800 01e0 0400 0120 0101")),
         {"Running [malformed: a bool is one byte]", "Expert Info (Error/Malformed)"}};
    out.append(r);

    r = {"stub after the last element", packet(QByteArray::fromHex("0700 01e0 0300 0110 02 0000")),
         {"PumpId = 2", "Element header cut short"}};
    out.append(r);

    r = {"raw bytes", packet(QByteArray::fromHex("7e0102037e")), {"Raw bytes: 7e0102037e", "raw bytes"}};
    r.packet.kind = PcapngWriter::RawBytes;
    out.append(r);
    return out;
}

void TestWireshark::initTestCase()
{
    const QString tshark = QStandardPaths::findExecutable(QStringLiteral("tshark"));
    m_tshark = tshark;
    if (tshark.isEmpty())
        QSKIP("tshark is not installed (Debian package tshark; make test installs it)");
    QVERIFY(m_dir.isValid());

    QRV16::Parser parser;
    QVERIFY(parser.parse(demo));
    m_root.reset(parser.takeRoot());
    m_lut = std::make_unique<QRV16::TagDataLut>(m_root.get());

    const QString lua = m_dir.filePath(QStringLiteral("qrv16.lua"));
    m_lua = lua;
    int status = 0;
    QByteArray out = run(QStringLiteral(KORV_BINARY),
                         {"generate", "--lang", "wireshark", "-o", lua, demo}, &status);
    QVERIFY2(status == 0, out.constData());

    const QString capture = m_dir.filePath(QStringLiteral("trace.pcapng"));
    QFile file(capture);
    QVERIFY(file.open(QIODevice::WriteOnly));
    PcapngWriter writer;
    QVERIFY(writer.begin(&file, QStringLiteral("tst_wireshark")));
    for (const Row& row : rows())
        QVERIFY2(writer.write(row.packet), qPrintable(writer.errorString()));
    file.close();

    // No preferences or plugins of the user running the test.
    qputenv("WIRESHARK_CONFIG_DIR", m_dir.path().toUtf8());
    m_output = run(tshark, {"-n", "-X", "lua_script:" + lua, "-r", capture, "-V"}, &status);
    QVERIFY2(status == 0, m_output.constData());
    if (qEnvironmentVariableIsSet("KORV_SHOW_TSHARK"))
        qDebug().noquote() << m_output;
    // A frame's comments come before its "Frame N:" line.
    bool commentsOpen = false;
    for (const QByteArray& part : m_output.split('\n')) {
        if (part.startsWith("Packet comments") || (part.startsWith("Frame ") && !commentsOpen))
            m_frames.append(QByteArray());
        commentsOpen = part.startsWith("Packet comments") || (commentsOpen && part.startsWith(' '));
        if (!m_frames.isEmpty())
            m_frames.last() += part + '\n';
    }
    QCOMPARE(m_frames.size(), rows().size());
}

void TestWireshark::dissected_data()
{
    QTest::addColumn<int>("frame");
    QTest::addColumn<QStringList>("expected");
    // Rows need the definitions, which initTestCase reads.
    if (!m_lut)
        return;
    const QList<Row> all = rows();
    for (int i = 0; i < all.size(); ++i)
        QTest::newRow(all[i].name.constData()) << i << all[i].expected;
}

void TestWireshark::dissected()
{
    QFETCH(int, frame);
    QFETCH(QStringList, expected);
    const QString text = QString::fromUtf8(m_frames.value(frame));
    for (const QString& e : expected)
        QVERIFY2(text.contains(e), qPrintable(QStringLiteral("no \"%1\" in:\n%2").arg(e, text)));
}

void TestWireshark::noDissectorError()
{
    // A malformed element is reported by the dissector itself, never as an
    // error of the script or an exception of Wireshark's.
    QVERIFY2(!m_output.contains("Lua Error"), m_output.constData());
    QVERIFY2(!m_output.contains("Malformed Packet"), m_output.constData());
    QVERIFY2(!m_output.contains("Dissector bug"), m_output.constData());
}

namespace {

// One Ethernet, IPv4 and TCP frame from port 40000 to 10000 (checksums are
// left 0: tshark does not check them by default).
QByteArray tcpFrame(const QByteArray& payload, quint32 seq)
{
    QByteArray tcp(20, '\0');
    qToBigEndian<quint16>(40000, tcp.data());
    qToBigEndian<quint16>(10000, tcp.data() + 2);
    qToBigEndian<quint32>(seq, tcp.data() + 4);
    tcp[12] = char(5 << 4);
    tcp[13] = char(0x18); // PSH, ACK
    qToBigEndian<quint16>(65535, tcp.data() + 14);
    QByteArray ip(20, '\0');
    ip[0] = char(0x45);
    qToBigEndian<quint16>(quint16(40 + payload.size()), ip.data() + 2);
    ip[8] = char(64);
    ip[9] = char(6);
    const char localhost[] = {127, 0, 0, 1};
    ip.replace(12, 4, localhost, 4);
    ip.replace(16, 4, localhost, 4);
    return QByteArray(12, '\0') + QByteArray::fromHex("0800") + ip + tcp + payload;
}

} // namespace

void TestWireshark::tcpStream()
{
    // Messages cut anywhere by TCP are put together again: one message
    // across two segments, then two in one segment.
    const QByteArray msg = bytes("GetStatusReply=(ResultCode=Denied)");
    const QList<QByteArray> segments = {msg.left(3), msg.mid(3), msg + msg};

    QByteArray pcap;
    auto put32 = [&pcap](quint32 v) { pcap.append(reinterpret_cast<const char*>(&v), 4); };
    put32(0xA1B2C3D4);
    put32(2 | 4 << 16); // version 2.4
    put32(0);
    put32(0);
    put32(65535);
    put32(1); // Ethernet
    quint32 seq = 1;
    for (int i = 0; i < segments.size(); ++i) {
        const QByteArray frame = tcpFrame(segments[i], seq);
        seq += quint32(segments[i].size());
        put32(quint32(1700000000 + i));
        put32(0);
        put32(quint32(frame.size()));
        put32(quint32(frame.size()));
        pcap += frame;
    }
    const QString capture = m_dir.filePath(QStringLiteral("tcp.pcap"));
    QVERIFY(writeFile(capture, pcap));
    int status = 0;
    const QByteArray out =
        run(m_tshark,
            {"-n", "-X", "lua_script:" + m_lua, "-o", "qrv16.tcp_port:10000", "-r", capture, "-V"},
            &status);
    QVERIFY2(status == 0, out.constData());
    QCOMPARE(out.count("ResultCode = Denied (2)"), 3);
    QVERIFY2(!out.contains("Lua Error") && !out.contains("malformed"), out.constData());
}

QTEST_GUILESS_MAIN(TestWireshark)
#include "tst_wireshark.moc"
