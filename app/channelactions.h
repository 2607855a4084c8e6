// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

class Channel;
class QAction;
class QWidget;

// The window's actions of one channel: its settings dialog, connect and
// disconnect, the TLS information and the modem-line pulse. Their icons and
// tool tips follow the link's state.
class ChannelActions : public QObject
{
    Q_OBJECT

public:
    // Neither is owned; the window parents the dialogs.
    ChannelActions(Channel* channel, QWidget* window);

    QAction* settingsAction() const { return m_act_connection; }
    QAction* connectAction() const { return m_act_connect; }
    QAction* sslAction() const { return m_act_ssl; }
    QAction* disturbAction() const { return m_act_disturb; }

public Q_SLOTS:
    void editConnection();
    void showSslInformation();
    // Disturb is enabled while the link has modem lines to pulse.
    void updateState();

private:
    Channel* m_channel; // Not owned.
    QWidget* m_window;  // Not owned.
    QAction* m_act_connection; // Owned (children).
    QAction* m_act_connect;
    QAction* m_act_ssl;
    QAction* m_act_disturb;
};
