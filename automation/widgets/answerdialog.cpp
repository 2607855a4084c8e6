// SPDX-License-Identifier: MIT
#include "automation/widgets/answerdialog.h"

#include "qrv16/messagepattern.h"
#include "widgets/screenfitarea.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

QTableWidgetItem* numberItem(int value)
{
    auto* item = new QTableWidgetItem;
    // An int in the edit role gets a spin box as its editor.
    item->setData(Qt::EditRole, value);
    return item;
}

QString channelText(int channel)
{
    return channel == AnswerRule::AnyChannel ? QStringLiteral("any") : QString::number(channel);
}

} // namespace

AnswerDialog::AnswerDialog(QWidget* parent) : QDialog(parent)
{
    setWindowTitle(tr("Answer Rules"));
    m_tw_rules = new QTableWidget(0, ColumnCount, this);
    m_tw_rules->setObjectName(QStringLiteral("m_tw_rules"));
    m_tw_rules->setHorizontalHeaderLabels({tr("On"), tr("Name"), tr("Channel"), tr("When received"),
                                           tr("Answer"), tr("Delay ms"), tr("Limit"), tr("Every ms")});
    m_tw_rules->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_tw_rules->setSelectionMode(QAbstractItemView::SingleSelection);
    // Patterns and answers get the room; the numbers only what they need.
    QHeaderView* header = m_tw_rules->horizontalHeader();
    for (int column : {OnColumn, ChannelColumn, DelayColumn, LimitColumn, EveryColumn})
        header->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    header->setSectionResizeMode(WhenColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(AnswerColumn, QHeaderView::Stretch);
    m_tw_rules->setColumnWidth(NameColumn, 140);
    m_tw_rules->setWordWrap(false);
    m_tw_rules->verticalHeader()->hide();
    m_tw_rules->setToolTip(tr("Channel: 1, 2 or any. Limit 0: no limit. A rule with Every ms "
                              "sends its answer periodically and needs no pattern. "
                              "${Tag} in an answer copies the request's value."));

    m_pb_add = new QPushButton(tr("Add"), this);
    m_pb_remove = new QPushButton(tr("Remove"), this);
    m_pb_up = new QPushButton(tr("Up"), this);
    m_pb_down = new QPushButton(tr("Down"), this);
    m_pb_test = new QPushButton(tr("Test Pattern"), this);
    m_pb_test->setToolTip(tr("Try the selected rule's pattern on the selected trace line"));
    m_lbl_test = new QLabel(this);
    m_lbl_test->setObjectName(QStringLiteral("m_lbl_test"));
    m_lbl_test->setWordWrap(true);

    auto* side = new QVBoxLayout;
    for (QPushButton* button : {m_pb_add, m_pb_remove, m_pb_up, m_pb_down, m_pb_test})
        side->addWidget(button);
    side->addStretch();
    auto* top = new QHBoxLayout;
    top->addWidget(m_tw_rules, 1);
    top->addLayout(side);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top, 1);
    layout->addWidget(m_lbl_test);
    layout->addWidget(buttons);
    resize(1000, 380);
    // Wider than a laptop's screen at twice the scale.
    ScreenFitArea::wrap(this);

    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_pb_add, &QPushButton::clicked, this, &AnswerDialog::onAdd);
    connect(m_pb_remove, &QPushButton::clicked, this, &AnswerDialog::onRemove);
    connect(m_pb_up, &QPushButton::clicked, this, &AnswerDialog::onUp);
    connect(m_pb_down, &QPushButton::clicked, this, &AnswerDialog::onDown);
    connect(m_pb_test, &QPushButton::clicked, this, &AnswerDialog::onTest);
    connect(m_tw_rules, &QTableWidget::itemSelectionChanged, this, &AnswerDialog::updateButtons);
    updateButtons();
}

void AnswerDialog::setRules(const QVector<AnswerRule>& rules)
{
    m_tw_rules->setRowCount(0);
    m_tw_rules->setRowCount(int(rules.size()));
    for (int row = 0; row < rules.size(); ++row)
        setRow(row, rules.at(row));
    updateButtons();
}

void AnswerDialog::setRow(int row, const AnswerRule& rule)
{
    auto* on = new QTableWidgetItem;
    on->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    on->setCheckState(rule.enabled ? Qt::Checked : Qt::Unchecked);
    m_tw_rules->setItem(row, OnColumn, on);
    m_tw_rules->setItem(row, NameColumn, new QTableWidgetItem(rule.name));
    m_tw_rules->setItem(row, ChannelColumn, new QTableWidgetItem(channelText(rule.channel)));
    m_tw_rules->setItem(row, WhenColumn, new QTableWidgetItem(rule.when));
    m_tw_rules->setItem(row, AnswerColumn, new QTableWidgetItem(rule.answer));
    m_tw_rules->setItem(row, DelayColumn, numberItem(rule.delay));
    m_tw_rules->setItem(row, LimitColumn, numberItem(rule.limit));
    m_tw_rules->setItem(row, EveryColumn, numberItem(rule.every));
}

QVector<AnswerRule> AnswerDialog::rules() const
{
    QVector<AnswerRule> rules;
    rules.reserve(m_tw_rules->rowCount());
    const auto text = [this](int row, int column) {
        const QTableWidgetItem* item = m_tw_rules->item(row, column);
        return item ? item->text().trimmed() : QString();
    };
    const auto number = [this](int row, int column) {
        const QTableWidgetItem* item = m_tw_rules->item(row, column);
        return item ? qMax(0, item->data(Qt::EditRole).toInt()) : 0;
    };
    for (int row = 0; row < m_tw_rules->rowCount(); ++row) {
        AnswerRule rule;
        rule.enabled = m_tw_rules->item(row, OnColumn)->checkState() == Qt::Checked;
        rule.name = text(row, NameColumn);
        const QString channel = text(row, ChannelColumn);
        rule.channel = channel == QLatin1String("1") ? 1 : channel == QLatin1String("2") ? 2 : AnswerRule::AnyChannel;
        rule.when = text(row, WhenColumn);
        rule.answer = text(row, AnswerColumn);
        rule.delay = number(row, DelayColumn);
        rule.limit = number(row, LimitColumn);
        rule.every = number(row, EveryColumn);
        rules.append(rule);
    }
    return rules;
}

void AnswerDialog::onAdd()
{
    const int row = m_tw_rules->rowCount();
    m_tw_rules->insertRow(row);
    AnswerRule rule;
    rule.channel = 2;
    setRow(row, rule);
    m_tw_rules->setCurrentCell(row, WhenColumn);
    m_tw_rules->editItem(m_tw_rules->item(row, WhenColumn));
}

void AnswerDialog::onRemove()
{
    const int row = m_tw_rules->currentRow();
    if (row >= 0)
        m_tw_rules->removeRow(row);
    updateButtons();
}

void AnswerDialog::onUp()
{
    moveRow(m_tw_rules->currentRow(), m_tw_rules->currentRow() - 1);
}

void AnswerDialog::onDown()
{
    moveRow(m_tw_rules->currentRow(), m_tw_rules->currentRow() + 1);
}

void AnswerDialog::moveRow(int from, int to)
{
    if (from < 0 || to < 0 || from >= m_tw_rules->rowCount() || to >= m_tw_rules->rowCount())
        return;
    for (int column = 0; column < ColumnCount; ++column) {
        QTableWidgetItem* a = m_tw_rules->takeItem(from, column);
        QTableWidgetItem* b = m_tw_rules->takeItem(to, column);
        m_tw_rules->setItem(from, column, b);
        m_tw_rules->setItem(to, column, a);
    }
    m_tw_rules->setCurrentCell(to, m_tw_rules->currentColumn());
    updateButtons();
}

void AnswerDialog::onTest()
{
    m_lbl_test->setText(testResult());
}

QString AnswerDialog::testResult() const
{
    const int row = m_tw_rules->currentRow();
    if (row < 0)
        return tr("Select a rule to test.");
    const QTableWidgetItem* when = m_tw_rules->item(row, WhenColumn);
    QRV16::MessagePattern pattern;
    if (!pattern.parse(when ? when->text() : QString(), m_tags))
        return tr("Pattern error at column %1: %2").arg(pattern.errorStart() + 1).arg(pattern.errorMessage());
    if (m_message.isEmpty())
        return tr("Select a message line in the trace to test the pattern on.");
    const QString text = m_message.toText(m_tags);
    return pattern.matches(m_message) ? tr("Matches %1").arg(text) : tr("Does not match %1").arg(text);
}

void AnswerDialog::updateButtons()
{
    const int row = m_tw_rules->currentRow();
    const bool selected = row >= 0 && !m_tw_rules->selectedItems().isEmpty();
    m_pb_remove->setEnabled(selected);
    m_pb_up->setEnabled(selected && row > 0);
    m_pb_down->setEnabled(selected && row + 1 < m_tw_rules->rowCount());
    m_pb_test->setEnabled(selected);
}
