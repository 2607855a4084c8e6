// SPDX-License-Identifier: MIT
#pragma once

#include "automation/messageport.h"
#include "trace/stylecolor.h"
#include "trace/traceoptions.h"

#include "connection/connectionsettings.h"
#include "qrv16/message.h"
#include "qrv16/messagecollector.h"

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QPersistentModelIndex>
#include <QStringList>

class BiSTrace;
class Connection;
class ElementTrace;
class TraceModel;

// One of the main window's two communication paths: owns a connection and
// the collector of its received bytes, turns typed text into messages and
// writes what it sends, receives and learns about its link into the trace.
// Every line it adds is announced by the model's appended() signal and,
// for the channel's own listeners, by appended() here too.
class Channel : public MessagePort
{
    Q_OBJECT

public:
    explicit Channel(int number, QObject* parent = nullptr);
    ~Channel() override;

    bool isConnected() const override;
    // "1" or "2": the source of the channel's trace lines, with suffixes.
    QString label() const { return m_label; }
    // "Connection1", "Connection2".
    static QString settingsGroup(int number);

    Connection* connection() const { return m_connection; }
    const ConnectionSettings& settings() const { return m_settings; }
    // Stores the settings in the channel's group and applies them.
    void setSettings(const ConnectionSettings& settings);

    // Not owned; lines go nowhere until a model is set.
    void setModel(TraceModel* model);
    TraceModel* model() const { return m_model; }

    // What to trace and what to relay; read as each byte comes.
    TraceOptions options() const { return m_options; }

    // While the link option is on, what this channel receives is sent on
    // `other` too: the program then sits between two peers as a tracing
    // relay. Not owned.
    void setLinkedChannel(Channel* other) { m_linked = other; }

    void setColors(StyleColor rawRx, StyleColor rawTx, StyleColor messageRx, StyleColor messageTx,
                   StyleColor hexRx, StyleColor hexTx);

    // A repeat is merged only into the last or last-but-one line.
    bool tooOld(const QModelIndex& index) const;
    void clearLastData();
    // A serial port is open: a TCP link has no control lines.
    bool hasModemLines() const;

public Q_SLOTS:
    void setOptions(const TraceOptions& options) { m_options = options; }
    void connect();
    void disconnect();
    void toggleConnected();

    // False, with an " Err" line, when the text does not parse: the place
    // and the parser's error, after `origin` (what the text came from) if
    // given.
    bool sendMessage(const QString& text, const QString& origin = QString());
    // A non-empty `note` heads the line's tool tip, e.g. for what was sent
    // automatically.
    void sendMessage(const QRV16::Message& message, const QString& note = QString()) override;
    void send(const QByteArray& bytes);
    void receive(int src, int dst, const QByteArray& bytes);
    // Bytes received at `time`, from a hex-dump replay: traced, also while
    // paused, and nothing else. They are not relayed, not announced by
    // received() and never cause a transmission; they are collected apart
    // from live input, so neither cuts into the other's messages.
    void replay(const QDateTime& time, const QByteArray& bytes);

    QModelIndex traceMessage(int src, int dst, const QRV16::Message& message, StyleColor color);
    void memdump(const QString& source, const QByteArray& bytes, StyleColor color);

    void connectionMessage(const QString& text);
    void blockStarted();
    void rawReceive(const QByteArray& bytes);
    void rawSend(const QByteArray& bytes);
    void onTrace(const QString& text);
    void onTraceNext();
    void onPrinterLine(const QString& text);
    void onPrinterNext();

    // An " Err" line instead where the link has no modem lines.
    void disturb();

Q_SIGNALS:
    void stateChanged();
    void appended(const QModelIndex& index);

private:
    // What one stream of input has collected and last shown.
    struct Inbound
    {
        QRV16::MessageCollector collector;
        // For hide duplicates.
        QByteArray lastBytes;
        int lastSrc = -1;
        int lastDst = -1;
        QPersistentModelIndex lastLine;
        // The lines of the annotating printers while they grow.
        QPersistentModelIndex pendingTrace;
        QPersistentModelIndex pendingPrinterLine;
    };
    Inbound& inbound() { return m_replaying ? m_replayed : m_live; }
    void collect(Inbound& in, int src, int dst, const QByteArray& bytes);
    bool paused() const;
    QModelIndex appendLine(const QString& source, const QString& text, StyleColor color);
    void announce(const QModelIndex& index);
    void traceRaw(const QByteArray& bytes, StyleColor color);
    // The annotating printers of received bytes that the settings choose,
    // one for live input and one for replays.
    void choosePrinter();
    void resetPrinter();
    // A printer's line that is still growing, and its end.
    void growLine(QPersistentModelIndex& pending, const QString& suffix, const QString& text, StyleColor color);
    void endLine(QPersistentModelIndex& pending);
    bool busTraceMode() const;
    // False, with an " Err" line, when there is no link to send on.
    bool linkUp();

    const QString m_label;
    ConnectionSettings m_settings;
    // Stored values that were out of range, until a trace shows them.
    QStringList m_settingsWarnings;
    Connection* m_connection; // Owned.
    Inbound m_live;
    Inbound m_replayed;
    bool m_replaying = false;
    TraceModel* m_model = nullptr; // Not owned.
    Channel* m_linked = nullptr;   // Not owned.
    TraceOptions m_options;

    StyleColor m_rawRx;
    StyleColor m_rawTx;
    StyleColor m_messageRx;
    StyleColor m_messageTx;
    StyleColor m_hexRx;
    StyleColor m_hexTx;

    // For hide duplicates: what was last sent, and the line that shows it.
    QByteArray m_lastTx;
    QPersistentModelIndex m_lastTxLine;

    // At most one kind, owned, when received bytes are not shown as hex;
    // the second of each kind reads replays.
    BiSTrace* m_bisprinter[2] = {};
    ElementTrace* m_elementprinter[2] = {};
    int m_printerkind = ConnectionSettings::HexPrinter;
};
