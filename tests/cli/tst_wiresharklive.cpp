// SPDX-License-Identifier: MIT
// Wireshark capturing live through korv: tshark finds korv's interfaces in
// its personal extcap folder (under a scratch HOME), captures a TCP
// interface fed from loopback and dissects the messages by name with the
// generated dissector; stopping the capture ends korv.
#include "qrv16/messageparser.h"
#include "tests/support/definitions.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString demo = QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef");

} // namespace

class TestWiresharkLive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void listsInterfaces();
    void capturesLive();

private:
    QString m_tshark;
    QString m_lua;
    QTemporaryDir m_dir;
    QProcessEnvironment m_env;
};

void TestWiresharkLive::initTestCase()
{
    m_tshark = QStandardPaths::findExecutable(QStringLiteral("tshark"));
    if (m_tshark.isEmpty())
        QSKIP("tshark is not installed (Debian package tshark; make test installs it)");
    QVERIFY(m_dir.isValid());
    // Wireshark's personal extcap folder of this Wireshark (4.0), under a
    // HOME of the test's own: no preferences or plugins of the user.
    const QString home = m_dir.filePath(QStringLiteral("home"));
    const QString extcap = home + QStringLiteral("/.config/wireshark/extcap");
    QVERIFY(QDir().mkpath(extcap));
    QVERIFY(QFile::link(QStringLiteral(KORV_BINARY), extcap + QStringLiteral("/korv")));
    m_env = QProcessEnvironment::systemEnvironment();
    m_env.insert(QStringLiteral("HOME"), home);
    m_env.remove(QStringLiteral("XDG_CONFIG_HOME"));
    m_env.remove(QStringLiteral("WIRESHARK_CONFIG_DIR"));

    m_lua = m_dir.filePath(QStringLiteral("qrv16.lua"));
    QProcess generate;
    generate.start(QStringLiteral(KORV_BINARY),
                   {"generate", "--lang", "wireshark", "-o", m_lua, demo});
    QVERIFY(generate.waitForFinished(60000));
    QCOMPARE(generate.exitCode(), 0);
}

void TestWiresharkLive::listsInterfaces()
{
    QProcess tshark;
    tshark.setProcessEnvironment(m_env);
    tshark.start(m_tshark, {"-D"});
    QVERIFY(tshark.waitForFinished(120000));
    QCOMPARE(tshark.exitCode(), 0);
    const QString out = QString::fromUtf8(tshark.readAllStandardOutput());
    for (const char* line : {"korv-serial (QRV16 on a serial port (korv))",
                             "korv-tcp (QRV16 from a TCP server, korv connects (korv))",
                             "korv-listen (QRV16 from a TCP client, korv listens (korv))"})
        QVERIFY2(out.contains(QLatin1String(line)), qPrintable(out));
}

void TestWiresharkLive::capturesLive()
{
    const auto lut = demoTags();
    const QStringList texts{"GetStatus", "SetPumpMode=(PumpId=2 PumpMode=Auto)",
                            "GetStatusReply=(ResultCode=Ok StationName=\"North well\")",
                            "StatusReport=(WellLevel=85 Alarms=HighLevel)", "PumpId=7"};
    QRV16::MessageParser messages(lut.get());

    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QProcess tshark;
    tshark.setProcessEnvironment(m_env);
    QElapsedTimer clock;
    clock.start();
    tshark.start(m_tshark,
                 {"-i", "korv-tcp", "-o",
                  QStringLiteral("extcap.korv_tcp.tcp:127.0.0.1:%1").arg(server.serverPort()), "-c",
                  QString::number(texts.size()), "-l", "-n", "-X", "lua_script:" + m_lua, "-T",
                  "fields", "-e", "_ws.col.Info"});
    QVERIFY2(server.waitForNewConnection(120000), tshark.readAllStandardError().constData());
    const qint64 connected = clock.elapsed();
    QTcpSocket* peer = server.nextPendingConnection();
    QSignalSpy closed(peer, &QTcpSocket::disconnected);
    for (const QString& text : texts)
        peer->write(messages.parse(text).bytes());
    QVERIFY(peer->waitForBytesWritten(30000));

    QByteArray out;
    qint64 first = -1;
    const auto dissected = [&] {
        out += tshark.readAllStandardOutput();
        if (first < 0 && !out.isEmpty())
            first = clock.elapsed();
        return out.count('\n');
    };
    QTRY_VERIFY_WITH_TIMEOUT(dissected() >= texts.size(), 120000);
    qInfo("tshark: korv connected after %lld ms, first packet dissected after %lld ms", connected, first);
    // -c: tshark stops the capture itself, and with it korv; it may have
    // ended while the events above were processed.
    QVERIFY(tshark.state() == QProcess::NotRunning || tshark.waitForFinished(120000));
    QCOMPARE(tshark.exitCode(), 0);
    const QByteArray err = tshark.readAllStandardError();
    QVERIFY2(!err.contains("Error by extcap pipe"), err.constData());
    const QStringList lines = QString::fromUtf8(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), texts.size());
    const QStringList names{"GetStatus", "SetPumpMode", "GetStatusReply", "StatusReport", "PumpId"};
    for (int i = 0; i < lines.size(); ++i)
        QVERIFY2(lines.at(i).contains(QStringLiteral("received ") + names.at(i)), qPrintable(lines.at(i)));
    // korv closed the link when the capture stopped.
    QVERIFY(closed.count() > 0 || closed.wait(60000));
}

QTEST_GUILESS_MAIN(TestWiresharkLive)
#include "tst_wiresharklive.moc"
