// SPDX-License-Identifier: MIT
#include "app/linkstatusbar.h"

#include "connection/connection.h"
#include "connection/connectionsettings.h"
#include "trace/channel.h"
#include "trace/logwriter.h"
#include "trace/replayer.h"
#include "trace/widgets/tracelogging.h"
#include "widgets/elidedlabel.h"

#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QTimer>

LinkStatusBar::LinkStatusBar(QWidget* parent)
    : QStatusBar(parent), m_log(new ElidedLabel(this)), m_replay(new QLabel(this)), m_timer(new QTimer(this))
{
    setObjectName(QStringLiteral("m_statusbar"));
    m_log->setObjectName(QStringLiteral("m_lbl_log"));
    m_replay->setObjectName(QStringLiteral("m_lbl_replay"));
    m_log->hide();
    m_replay->hide();
    addWidget(m_log, 1);
    addPermanentWidget(m_replay);
    m_timer->setSingleShot(true);
    m_timer->setInterval(Interval);
    connect(m_timer, &QTimer::timeout, this, &LinkStatusBar::refresh);
}

void LinkStatusBar::addChannel(Channel* channel)
{
    auto* label = new QLabel(this);
    label->setObjectName(QStringLiteral("m_lbl_link") + channel->label());
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // Two channels side by side must not read as one line.
    label->setFrameShape(QFrame::StyledPanel);
    label->setContentsMargins(4, 0, 4, 0);
    // Before the log: the links are what the bar is first about.
    insertWidget(int(m_links.size()), label);
    m_links.push_back({channel, label, QString()});
    const size_t index = m_links.size() - 1;
    Connection* connection = channel->connection();
    connect(channel, &Channel::stateChanged, this, &LinkStatusBar::schedule);
    connect(connection, &Connection::rawReceived, this, &LinkStatusBar::schedule);
    connect(connection, &Connection::rawSent, this, &LinkStatusBar::schedule);
    connect(connection, &Connection::message, this, &LinkStatusBar::schedule);
    connect(connection, &Connection::attemptFailed, this, [this, index](const QString& reason) {
        m_links[index].failure = reason;
        schedule();
    });
    showLink(m_links.back());
}

void LinkStatusBar::setLogging(TraceLogging* logging)
{
    m_logging = logging;
    connect(logging, &TraceLogging::loggingChanged, this, &LinkStatusBar::showLog);
    connect(logging->replayer(), &Replayer::progress, this, &LinkStatusBar::showReplay);
    connect(logging->replayer(), &Replayer::finished, m_replay, &QWidget::hide);
    showLog(logging->isLogging() ? logging->writer()->fileName() : QString());
}

QLabel* LinkStatusBar::channelLabel(int index) const
{
    return index >= 0 && size_t(index) < m_links.size() ? m_links[size_t(index)].label : nullptr;
}

QString LinkStatusBar::linkText(const ConnectionSettings& settings)
{
    const QString tls = settings.sslEnabled() ? QStringLiteral(" TLS") : QString();
    switch (settings.mode()) {
    case ConnectionSettings::SerialMode: {
        QString port = settings.serialPort();
        if (settings.isRemoteSerialPort())
            port = QStringLiteral("rfc2217 ") + port.mid(port.indexOf(QLatin1String("://")) + 3);
        else
            port = QFileInfo(port).fileName();
        if (port.isEmpty())
            port = tr("no port");
        return QStringLiteral("%1 %2 %3").arg(port).arg(settings.serialSpeed()).arg(settings.serialFraming().text());
    }
    case ConnectionSettings::ClientMode:
        return QStringLiteral("client %1:%2").arg(settings.clientAddress()).arg(settings.clientPort()) + tls;
    case ConnectionSettings::ServerMode:
        return QStringLiteral("server %1:%2").arg(settings.serverAddress()).arg(settings.serverPort()) + tls;
    default:
        return tr("not configured");
    }
}

void LinkStatusBar::schedule()
{
    if (!m_timer->isActive())
        m_timer->start();
}

void LinkStatusBar::refresh()
{
    m_timer->stop();
    for (Link& link : m_links) {
        const Connection* connection = link.channel->connection();
        if (connection->isConnected() || connection->isListening())
            link.failure.clear();
        showLink(link);
    }
}

void LinkStatusBar::showLink(const Link& link)
{
    const Connection* connection = link.channel->connection();
    const ConnectionSettings& settings = link.channel->settings();
    const bool server = settings.mode() == ConnectionSettings::ServerMode;
    QString state;
    if (connection->isConnected())
        state = server ? tr("open, 1 client") : tr("open");
    else if (connection->isListening())
        state = tr("listening");
    else if (connection->isAttempting())
        state = tr("connecting");
    else if (!link.failure.isEmpty())
        state = tr("error");
    else
        state = tr("closed");
    const QLocale locale;
    const QString in = locale.toString(connection->bytesReceived());
    const QString out = locale.toString(connection->bytesSent());
    QString bis = connection->bisModeText().trimmed();
    if (bis.startsWith(QLatin1Char('(')) && bis.endsWith(QLatin1Char(')')))
        bis = bis.mid(1, bis.size() - 2);

    QString text = tr("%1: %2, %3, in %4, out %5").arg(link.channel->label(), linkText(settings), state, in, out);
    if (!bis.isEmpty())
        text += QStringLiteral(", ") + bis;
    link.label->setText(text);
    QStringList tip{tr("Channel %1").arg(link.channel->label()), tr("Link: %1").arg(linkText(settings)),
                    tr("State: %1").arg(state)};
    if (!link.failure.isEmpty() && !connection->isConnected())
        tip << tr("Last failure: %1").arg(link.failure);
    tip << tr("Received: %1 bytes").arg(in) << tr("Sent: %1 bytes").arg(out);
    if (!bis.isEmpty())
        tip << bis;
    link.label->setToolTip(tip.join(QLatin1Char('\n')));
}

void LinkStatusBar::showLog(const QString& path)
{
    m_log->setVisible(!path.isEmpty());
    m_log->setFullText(path.isEmpty() ? QString() : tr("Logging to %1").arg(QDir::toNativeSeparators(path)));
}

void LinkStatusBar::showReplay(qint64 done, qint64 total)
{
    const bool lines = m_logging && m_logging->replayer()->mode() == Replayer::LogFile;
    const QString unit = lines ? tr("lines") : tr("bytes");
    m_replay->setText(total > 0 ? tr("Replay: %1 of %2 %3").arg(done).arg(total).arg(unit)
                                : tr("Replay: %1 %2").arg(done).arg(unit));
    m_replay->show();
}
