// SPDX-License-Identifier: MIT
#pragma once

#include <QStatusBar>
#include <QString>

#include <vector>

class Channel;
class ConnectionSettings;
class ElidedLabel;
class QLabel;
class QTimer;
class TraceLogging;

// The state of the links in sight: for each channel its mode and port or
// peer, its state, the bytes each way and its BiS role; beside them the
// file the trace is logged to and a replay's progress. The links count
// their bytes as they pass; the labels are redrawn at most every
// Interval ms, however fast the bytes come.
class LinkStatusBar : public QStatusBar
{
    Q_OBJECT

public:
    static constexpr int Interval = 250;

    explicit LinkStatusBar(QWidget* parent = nullptr);

    // Not owned; each gets a label, in the order added.
    void addChannel(Channel* channel);
    // Not owned.
    void setLogging(TraceLogging* logging);

    // The channel's label, null past the last one.
    QLabel* channelLabel(int index) const;
    ElidedLabel* logLabel() const { return m_log; }
    QLabel* replayLabel() const { return m_replay; }

    // "ttyUSB0 115200 8N1", "rfc2217 rack4:7001 9600 8E1",
    // "client 10.0.0.5:10000 TLS", "server :10000".
    static QString linkText(const ConnectionSettings& settings);

public Q_SLOTS:
    // Redraws the channels now; otherwise they wait for the timer.
    void refresh();

private:
    struct Link
    {
        Channel* channel;
        QLabel* label;
        QString failure; // the last failed attempt, until the link is up
    };

    void schedule();
    void showLink(const Link& link);
    void showLog(const QString& path);
    void showReplay(qint64 done, qint64 total);

    std::vector<Link> m_links;
    ElidedLabel* m_log;   // Owned (children).
    QLabel* m_replay;
    QTimer* m_timer;
    TraceLogging* m_logging = nullptr; // Not owned.
};
