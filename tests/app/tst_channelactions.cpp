// SPDX-License-Identifier: MIT
#include "app/channelactions.h"
#include "trace/channel.h"

#include "connection/connection.h"
#include "connection/widgets/certificatedialog.h"

#include <QAction>
#include <QLabel>
#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

namespace {

bool sameImage(const QIcon& icon, const QString& resource)
{
    return icon.pixmap(24).toImage() == QIcon(resource).pixmap(24).toImage();
}

} // namespace

class TestChannelActions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void stateIcons_data();
    void stateIcons();
    void sslInformationDialog();
};

void TestChannelActions::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestChannelActions::init()
{
    QSettings().clear();
}

void TestChannelActions::stateIcons_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("ssl");
    QTest::addColumn<bool>("active");
    QTest::addColumn<QString>("connectIcon");
    QTest::addColumn<QString>("sslTip");
    QTest::newRow("client, closed, no TLS") << 1 << int(ConnectionSettings::ClientMode) << false << false
                                            << QStringLiteral(":/icons/i24_disconnect1.png")
                                            << QStringLiteral("Encryption disabled.");
    QTest::newRow("server 2, closed, TLS configured")
        << 2 << int(ConnectionSettings::ServerMode) << true << false
        << QStringLiteral(":/icons/i24_server_disconnect2.png") << QStringLiteral("Encryption is NOT active.");
    QTest::newRow("server 1, listening") << 1 << int(ConnectionSettings::ServerMode) << false << true
                                         << QStringLiteral(":/icons/i24_server_connect1.png")
                                         << QStringLiteral("Encryption disabled.");
}

void TestChannelActions::stateIcons()
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
}

void TestChannelActions::sslInformationDialog()
{
    QWidget window;
    Channel channel(2);
    ChannelActions actions(&channel, &window);
    actions.sslAction()->trigger();
    auto* dialog = window.findChild<CertificateDialog*>();
    QVERIFY(dialog);
    // What the dialog shows of a session is its own test's.
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Channel 2 encryption information"));
    QStringList labels;
    for (QLabel* label : dialog->findChildren<QLabel*>())
        labels << label->text();
    QVERIFY(labels.join(QLatin1Char('\n')).contains(QLatin1String("Channel 2 at ")));
    dialog->close();
}

QTEST_MAIN(TestChannelActions)
#include "tst_channelactions.moc"
