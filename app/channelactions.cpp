// SPDX-License-Identifier: MIT
#include "app/channelactions.h"

#include "trace/channel.h"

#include "connection/connection.h"
#include "connection/widgets/certificatedialog.h"
#include "connection/widgets/connectionsettingsdialog.h"
#include "libserial/serserialport.h"

#include <QAction>
#include <QIcon>
#include <QSslCipher>
#include <QSslSocket>

namespace {

QIcon icon(const QString& name)
{
    return QIcon(QStringLiteral(":/icons/") + name);
}

} // namespace

ChannelActions::ChannelActions(Channel* channel, QWidget* window)
    : QObject(window), m_channel(channel), m_window(window)
{
    const QString n = channel->label();
    m_act_connection = new QAction(icon(QStringLiteral("i16_connect.png")), tr("Connection &%1").arg(n), this);
    m_act_connection->setObjectName(QStringLiteral("m_act_connection") + n);
    m_act_connect = new QAction(icon(QStringLiteral("i24_disconnect%1.png").arg(n)), tr("Connect %1").arg(n), this);
    m_act_connect->setObjectName(QStringLiteral("m_act_connect") + n);
    m_act_connect->setToolTip(tr("Open/close connection %1").arg(n));
    m_act_ssl = new QAction(icon(QStringLiteral("i24_lock_open.png")), tr("SSL Information"), this);
    m_act_ssl->setObjectName(QStringLiteral("m_act_ssl") + n);
    m_act_ssl->setToolTip(tr("SSL Information"));
    m_act_disturb = new QAction(icon(QStringLiteral("i24_disturb%1.png").arg(n)), tr("Disturb Channel %1").arg(n), this);
    m_act_disturb->setObjectName(QStringLiteral("m_act_disturb") + n);
    m_act_disturb->setToolTip(tr("Generates DTR+RTS pulses on channel %1").arg(n));

    connect(m_act_connection, &QAction::triggered, this, &ChannelActions::editConnection);
    connect(m_act_connect, &QAction::triggered, channel, &Channel::toggleConnected);
    connect(m_act_ssl, &QAction::triggered, this, &ChannelActions::showSslInformation);
    connect(m_act_disturb, &QAction::triggered, channel, &Channel::disturb);
    connect(channel, &Channel::stateChanged, this, &ChannelActions::updateState);
    updateState();
}

void ChannelActions::editConnection()
{
    ConnectionSettingsDialog dialog(m_window);
    dialog.setWindowTitle(tr("Connection %1 settings").arg(m_channel->number()));
    dialog.setSettings(m_channel->settings());
    if (dialog.exec() != QDialog::Accepted)
        return;
    ConnectionSettings edited = m_channel->settings();
    dialog.getSettings(&edited);
    m_channel->setSettings(edited);
}

void ChannelActions::showSslInformation()
{
    auto* dialog = new CertificateDialog(m_window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    const int number = m_channel->number();
    dialog->setWindowTitle(tr("Channel %1 encryption information").arg(number));
    Connection* connection = m_channel->connection();
    QString peer;
    if (SerSerialPort* port = connection->serialPort())
        peer = port->device();
    else if (QSslSocket* socket = connection->socket(); socket && socket->state() == QAbstractSocket::ConnectedState)
        peer = socket->peerAddress().toString() + QLatin1Char(':') + QString::number(socket->peerPort());
    else
        peer = tr("no peer");
    dialog->setHeading(tr("Channel %1 at %2").arg(number).arg(peer));
    if (QSslSocket* socket = connection->socket()) {
        dialog->setSession(*socket);
    } else {
        dialog->addCertificates(tr("Peer certificate"), {});
        dialog->addCertificates(tr("Peer CA chain"), {});
        dialog->setCipher(QSslCipher());
    }
    dialog->show();
}

void ChannelActions::updateState()
{
    m_act_disturb->setEnabled(m_channel->hasModemLines());
    const Connection* connection = m_channel->connection();
    const ConnectionSettings& settings = m_channel->settings();
    const bool server = settings.mode() == ConnectionSettings::ServerMode;
    const bool active = connection->isConnected() || connection->isListening();
    const QString name = QLatin1String(server ? (active ? "i24_server_connect" : "i24_server_disconnect")
                                              : (active ? "i24_connect" : "i24_disconnect"));
    m_act_connect->setIcon(icon(name + m_channel->label() + QLatin1String(".png")));
    const QSslSocket* socket = connection->socket();
    const bool encrypted = socket && socket->isEncrypted();
    m_act_ssl->setIcon(icon(encrypted ? QStringLiteral("i24_lock.png") : QStringLiteral("i24_lock_open.png")));
    m_act_ssl->setToolTip(encrypted                  ? tr("Connection is encrypted.")
                          : settings.sslEnabled() ? tr("Encryption is NOT active.")
                                                  : tr("Encryption disabled."));
}
