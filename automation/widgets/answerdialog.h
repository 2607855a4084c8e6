// SPDX-License-Identifier: MIT
#pragma once

#include "automation/answerrule.h"

#include "qrv16/message.h"

#include <QDialog>
#include <QVector>

class QLabel;
class QPushButton;
class QTableWidget;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// Edits the answer rules as a table, one rule a row: add, remove, move,
// and try a rule's pattern on the message of the selected trace line.
class AnswerDialog : public QDialog
{
    Q_OBJECT

public:
    enum Column { OnColumn, NameColumn, ChannelColumn, WhenColumn, AnswerColumn, DelayColumn, LimitColumn,
                  EveryColumn, ColumnCount };

    explicit AnswerDialog(QWidget* parent = nullptr);

    void setRules(const QVector<AnswerRule>& rules);
    QVector<AnswerRule> rules() const;
    // Not owned; used by the pattern test only.
    void setTags(const QRV16::TagDataLut* tags) { m_tags = tags; }
    // The message the pattern test tries; an empty one when no message
    // line is selected.
    void setTestMessage(const QRV16::Message& message) { m_message = message; }
    QString testResult() const;

public Q_SLOTS:
    void onAdd();
    void onRemove();
    void onUp();
    void onDown();
    void onTest();

private:
    void setRow(int row, const AnswerRule& rule);
    void moveRow(int from, int to);
    void updateButtons();

    QTableWidget* m_tw_rules = nullptr;
    QPushButton* m_pb_add = nullptr;
    QPushButton* m_pb_remove = nullptr;
    QPushButton* m_pb_up = nullptr;
    QPushButton* m_pb_down = nullptr;
    QPushButton* m_pb_test = nullptr;
    QLabel* m_lbl_test = nullptr;
    const QRV16::TagDataLut* m_tags = nullptr;
    QRV16::Message m_message;
};
