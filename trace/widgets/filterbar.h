// SPDX-License-Identifier: MIT
#pragma once

#include <QWidget>

class ElidedLabel;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTimer;
class TraceFilter;

namespace QRV16 {
class TagDataLut;
}

// The filter bar under the trace: channel, direction, kind, source and an
// expression over decoded messages, all of which a line must pass. A
// malformed expression is shown in red with its error and filters nothing.
// A long trace is filtered in slices of the event loop, with the progress
// shown and Stop (or Escape) to keep the filter as it was.
class FilterBar : public QWidget
{
    Q_OBJECT

public:
    explicit FilterBar(TraceFilter* filter, QWidget* parent = nullptr);

    // Not owned; must stay valid until replaced. The expression is read
    // again with the new names.
    void setTags(const QRV16::TagDataLut* tags);
    QString expression() const;
    void setExpression(const QString& text);
    // The parser's complaint, empty when the expression is fine.
    QString error() const;
    // Lines are still being judged for the conditions set last.
    bool isBusy() const;

public Q_SLOTS:
    // Shows the bar with the cursor in the expression.
    void activate();
    // Drops every condition: the whole trace shows again.
    void clear();
    // Keeps the filter as it was before the conditions being applied.
    void stop();

Q_SIGNALS:
    // Before and after the filter changes: the view keeps its current line,
    // or else its top line, in sight.
    void aboutToApply();
    void applied();
    void closed();

private Q_SLOTS:
    void apply();
    void onPrepared();
    void onProgress(int percent);
    void onEscape();
    void onClose();

private:
    TraceFilter* m_filter; // Not owned.
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    QComboBox* m_cb_channel = nullptr;
    QComboBox* m_cb_direction = nullptr;
    QComboBox* m_cb_kind = nullptr;
    QLineEdit* m_le_source = nullptr;
    QLineEdit* m_le_expression = nullptr;
    ElidedLabel* m_lbl_error = nullptr;
    QLabel* m_lbl_progress = nullptr;
    QPushButton* m_pb_stop = nullptr;
    QPushButton* m_pb_clear = nullptr;
    QPushButton* m_pb_close = nullptr;
    QTimer* m_typing = nullptr; // Owned (child).
    bool m_clearing = false;
};
