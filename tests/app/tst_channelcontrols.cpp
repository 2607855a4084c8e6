// SPDX-License-Identifier: MIT
// What the window shows of its channels: each channel's actions with their
// state, and the status bar's links, counts, log and replay.
#include "app/channelactions.h"
#include "app/linkstatusbar.h"

#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "connection/widgets/certificatedialog.h"
#include "libserial/serframing.h"
#include "tests/support/files.h"
#include "trace/channel.h"
#include "trace/replayer.h"
#include "trace/tracemodel.h"
#include "trace/widgets/tracelogging.h"
#include "widgets/elidedlabel.h"

#include <QAction>
#include <QDir>
#include <QLabel>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

bool sameImage(const QIcon& icon, const QString& resource)
{
    return icon.pixmap(24).toImage() == QIcon(resource).pixmap(24).toImage();
}

} // namespace

class TestChannelControls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void stateIcons_data();
    void stateIcons();
    void linkNamesThePortOrPeer_data();
    void linkNamesThePortOrPeer();
    void peerShowsOpenAndBytesAreCountedExactly();
    void logAndReplayAreShownWhileTheyRun();

private:
    QTemporaryDir m_dir;
};

void TestChannelControls::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_dir.isValid());
}

void TestChannelControls::init()
{
    QSettings().clear();
}

void TestChannelControls::stateIcons_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("ssl");
    QTest::addColumn<bool>("active");
    QTest::addColumn<QString>("connectIcon");
    QTest::addColumn<QString>("sslTip");
    QTest::newRow("client, closed, no TLS")
        << 1 << int(ConnectionSettings::ClientMode) << false << false << QStringLiteral(":/icons/i24_disconnect1.png")
        << QStringLiteral("Encryption disabled.");
    QTest::newRow("server 2, closed, TLS configured")
        << 2 << int(ConnectionSettings::ServerMode) << true << false
        << QStringLiteral(":/icons/i24_server_disconnect2.png") << QStringLiteral("Encryption is NOT active.");
    QTest::newRow("server 1, listening") << 1 << int(ConnectionSettings::ServerMode) << false << true
                                         << QStringLiteral(":/icons/i24_server_connect1.png")
                                         << QStringLiteral("Encryption disabled.");
}

void TestChannelControls::stateIcons()
{
    QFETCH(int, number);
    QFETCH(int, mode);
    QFETCH(bool, ssl);
    QFETCH(bool, active);
    QFETCH(QString, connectIcon);
    QFETCH(QString, sslTip);
    QWidget window;
    Channel channel(number);
    ChannelActions actions(&channel, &window);
    // Saved toolbars find the actions by these names.
    QCOMPARE(window.findChild<QAction*>(QStringLiteral("m_act_connection%1").arg(number)), actions.settingsAction());
    QCOMPARE(window.findChild<QAction*>(QStringLiteral("m_act_connect%1").arg(number)), actions.connectAction());
    QCOMPARE(window.findChild<QAction*>(QStringLiteral("m_act_ssl%1").arg(number)), actions.sslAction());
    QCOMPARE(window.findChild<QAction*>(QStringLiteral("m_act_disturb%1").arg(number)), actions.disturbAction());
    ConnectionSettings settings;
    settings.setMode(mode);
    settings.setServerAddress(QStringLiteral("127.0.0.1"));
    settings.setServerPort(0);
    settings.setSslEnabled(ssl);
    channel.setSettings(settings);
    actions.updateState();
    if (active)
        actions.connectAction()->trigger();
    QCOMPARE(channel.connection()->isListening(), active);
    QVERIFY(!QIcon(connectIcon).isNull());
    QVERIFY(sameImage(actions.connectAction()->icon(), connectIcon));
    QVERIFY(sameImage(actions.sslAction()->icon(), QStringLiteral(":/icons/i24_lock_open.png")));
    QCOMPARE(actions.sslAction()->toolTip(), sslTip);
    // A TCP link has no modem lines to pulse.
    QVERIFY(!actions.disturbAction()->isEnabled());
    if (active) {
        // The same action takes the link down again.
        actions.connectAction()->trigger();
        QVERIFY(!channel.connection()->isListening());
        QVERIFY(sameImage(actions.connectAction()->icon(), QStringLiteral(":/icons/i24_server_disconnect1.png")));
    }
    // The encryption's details are for this channel; what the dialog shows
    // of a session is its own test's.
    actions.sslAction()->trigger();
    auto* dialog = window.findChild<CertificateDialog*>();
    QVERIFY(dialog);
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Channel %1 encryption information").arg(number));
    QStringList labels;
    for (QLabel* label : dialog->findChildren<QLabel*>())
        labels << label->text();
    QVERIFY(labels.join(QLatin1Char('\n')).contains(QStringLiteral("Channel %1 at ").arg(number)));
    dialog->close();
}

void TestChannelControls::linkNamesThePortOrPeer_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("where"); // serial port, or host:port
    QTest::addColumn<QString>("framing");
    QTest::addColumn<bool>("tls");
    QTest::addColumn<QString>("expected");
    QTest::newRow("local serial port") << int(ConnectionSettings::SerialMode) << "/dev/ttyUSB0"
                                       << "8E1" << false << "ttyUSB0 115200 8E1";
    QTest::newRow("remote serial port") << int(ConnectionSettings::SerialMode) << "rfc2217://rack4:7001"
                                        << "7O2" << false << "rfc2217 rack4:7001 115200 7O2";
    QTest::newRow("no port chosen") << int(ConnectionSettings::SerialMode) << ""
                                    << "8N1" << false << "no port 115200 8N1";
    QTest::newRow("client") << int(ConnectionSettings::ClientMode) << "10.0.0.5:10000"
                            << "" << false << "client 10.0.0.5:10000";
    QTest::newRow("client with TLS") << int(ConnectionSettings::ClientMode) << "rack4:443"
                                     << "" << true << "client rack4:443 TLS";
    QTest::newRow("server on every address") << int(ConnectionSettings::ServerMode) << ":10001"
                                             << "" << false << "server :10001";
    QTest::newRow("disabled") << int(ConnectionSettings::DisabledMode) << ""
                              << "" << false << "not configured";
}

void TestChannelControls::linkNamesThePortOrPeer()
{
    QFETCH(int, mode);
    QFETCH(QString, where);
    QFETCH(QString, framing);
    QFETCH(bool, tls);
    QFETCH(QString, expected);
    ConnectionSettings settings;
    settings.setMode(mode);
    settings.setSslEnabled(tls);
    if (mode == ConnectionSettings::SerialMode) {
        settings.setSerialPort(where);
        settings.setSerialSpeed(115200);
        settings.setSerialFraming(SerFraming::fromText(framing));
    } else {
        const int colon = int(where.lastIndexOf(QLatin1Char(':')));
        settings.setClientAddress(where.left(colon));
        settings.setServerAddress(where.left(colon));
        settings.setClientPort(where.mid(colon + 1).toInt());
        settings.setServerPort(where.mid(colon + 1).toInt());
    }
    QCOMPARE(LinkStatusBar::linkText(settings), expected);
}

// A peer that connects shows as open; every byte each way is counted, and
// none twice; an attempt that fails shows as an error.
void TestChannelControls::peerShowsOpenAndBytesAreCountedExactly()
{
    QTcpServer peer;
    QVERIFY(peer.listen(QHostAddress::LocalHost));
    Channel channel(1);
    ConnectionSettings settings;
    settings.setMode(ConnectionSettings::ClientMode);
    settings.setClientAddress(QStringLiteral("127.0.0.1"));
    settings.setClientPort(peer.serverPort());
    settings.setReconnect(false);
    channel.setSettings(settings);
    LinkStatusBar bar;
    bar.addChannel(&channel);
    QLabel* label = bar.channelLabel(0);
    QVERIFY(label);
    QVERIFY(!bar.channelLabel(1));
    QCOMPARE(label->text(), QStringLiteral("1: client 127.0.0.1:%1, closed, in 0, out 0").arg(peer.serverPort()));

    channel.connect();
    QVERIFY(peer.waitForNewConnection(5000));
    std::unique_ptr<QTcpSocket> far(peer.nextPendingConnection());
    QTRY_VERIFY_WITH_TIMEOUT(label->text().contains(QLatin1String(", open, ")), 10000);
    QVERIFY2(label->text().startsWith(QStringLiteral("1: client 127.0.0.1:%1, open").arg(peer.serverPort())),
             qPrintable(label->text()));

    // In many small pieces: the count is the sum, whatever the reads.
    QByteArray sent;
    for (int i = 0; i < 100; ++i) {
        const QByteArray piece = QByteArray(i % 7 + 1, char(i));
        far->write(piece);
        far->flush();
        sent += piece;
    }
    const QByteArray out(1234, 'x');
    channel.send(out);
    QByteArray arrived;
    QTRY_VERIFY_WITH_TIMEOUT((arrived += far->readAll(), arrived.size() == out.size()), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(channel.connection()->bytesReceived(), qint64(sent.size()), 10000);
    QCOMPARE(channel.connection()->bytesSent(), qint64(out.size()));
    const QString counts =
        QStringLiteral("in %1, out %2").arg(QLocale().toString(sent.size()), QLocale().toString(out.size()));
    QTRY_VERIFY_WITH_TIMEOUT(label->text().endsWith(counts), 5000);
    QVERIFY(label->toolTip().contains(QStringLiteral("Received: %1 bytes").arg(QLocale().toString(sent.size()))));

    // The peer goes: the link is closed, the counts stay.
    far->disconnectFromHost();
    QTRY_VERIFY_WITH_TIMEOUT(label->text().contains(QLatin1String(", closed, ")), 10000);
    QVERIFY(label->text().endsWith(counts));

    // An attempt with nobody there is an error, and says why.
    peer.close();
    QSignalSpy failed(channel.connection(), &Connection::attemptFailed);
    channel.connect();
    QVERIFY(failed.wait(10000));
    QTRY_VERIFY_WITH_TIMEOUT(label->text().contains(QLatin1String(", error, ")), 5000);
    QVERIFY2(label->toolTip().contains(QStringLiteral("Last failure: ") + failed.at(0).at(0).toString()),
             qPrintable(label->toolTip()));
    channel.disconnect();
}

// The log's file is shown while it is written, a replay's progress while
// it runs.
void TestChannelControls::logAndReplayAreShownWhileTheyRun()
{
    QWidget window;
    TraceModel model;
    TraceLogging logging(&model, &window);
    LinkStatusBar bar;
    bar.setLogging(&logging);
    ElidedLabel* log = bar.logLabel();
    QVERIFY(log->isHidden());
    const QString path = m_dir.filePath(QStringLiteral("a rather long name of a trace log.csv"));
    QVERIFY(logging.startLog(path));
    QVERIFY(!log->isHidden());
    QCOMPARE(log->fullText(), QStringLiteral("Logging to %1").arg(QDir::toNativeSeparators(path)));
    QVERIFY(log->toolTip().contains(QDir::toNativeSeparators(path)));
    // A file that cannot be opened leaves the running log shown.
    QVERIFY(!logging.startLog(m_dir.filePath(QStringLiteral("no/such/dir/x.csv"))));
    QCOMPARE(log->fullText(), QStringLiteral("Logging to %1").arg(QDir::toNativeSeparators(path)));
    logging.stopLog();
    QVERIFY(log->isHidden());
    QVERIFY(log->fullText().isEmpty());

    const QString replayed = m_dir.filePath(QStringLiteral("long.csv"));
    QVERIFY(writeFile(replayed, QByteArray("2011-03-04T10:20:30.045,\"Main\",\"x\",1,,\n").repeated(5000)));
    QLabel* replay = bar.replayLabel();
    QVERIFY(replay->isHidden());
    // As each step of the replay is announced, after the bar has heard it.
    QStringList shown;
    connect(logging.replayer(), &Replayer::progress, this,
            [&] { shown << (replay->isHidden() ? QString() : replay->text()); });
    QSignalSpy finished(logging.replayer(), &Replayer::finished);
    QVERIFY(logging.replayLog(replayed));
    QVERIFY(finished.wait(120000));
    QVERIFY(!shown.isEmpty());
    for (const QString& text : std::as_const(shown))
        QVERIFY2(text.startsWith(QLatin1String("Replay: ")) && text.endsWith(QLatin1String(" of 5000 lines")),
                 qPrintable(text));
    QVERIFY(replay->isHidden());
}

QTEST_MAIN(TestChannelControls)
#include "tst_channelcontrols.moc"
