// SPDX-License-Identifier: MIT
#include "trace/widgets/colorruleeditor.h"

#include "qrv16/messageexpression.h"
#include "widgets/colorbutton.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTableWidget>
#include <QVBoxLayout>

ColorRuleEditor::ColorRuleEditor(QWidget* parent)
    : QWidget(parent)
{
    m_tw_rules = new QTableWidget(0, ColumnCount, this);
    m_tw_rules->setHorizontalHeaderLabels({tr("On"), tr("Expression"), tr("Colour")});
    m_tw_rules->horizontalHeader()->setSectionResizeMode(ExpressionColumn, QHeaderView::Stretch);
    m_tw_rules->horizontalHeader()->setSectionResizeMode(EnabledColumn, QHeaderView::ResizeToContents);
    m_tw_rules->horizontalHeader()->setSectionResizeMode(ColorColumn, QHeaderView::ResizeToContents);
    m_tw_rules->verticalHeader()->hide();
    m_tw_rules->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_tw_rules->setSelectionMode(QAbstractItemView::SingleSelection);

    auto* add = new QPushButton(tr("Add"), this);
    m_pb_remove = new QPushButton(tr("Remove"), this);
    m_pb_up = new QPushButton(tr("Up"), this);
    m_pb_down = new QPushButton(tr("Down"), this);
    m_lbl_error = new QLabel(this);
    m_lbl_error->setStyleSheet(QStringLiteral("color: red"));
    m_lbl_error->setWordWrap(true);

    auto* buttons = new QVBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(m_pb_remove);
    buttons->addWidget(m_pb_up);
    buttons->addWidget(m_pb_down);
    buttons->addStretch(1);
    auto* row = new QHBoxLayout;
    row->addWidget(m_tw_rules, 1);
    row->addLayout(buttons);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(row, 1);
    layout->addWidget(m_lbl_error);

    connect(add, &QPushButton::clicked, this, &ColorRuleEditor::onAdd);
    connect(m_pb_remove, &QPushButton::clicked, this, &ColorRuleEditor::onRemove);
    connect(m_pb_up, &QPushButton::clicked, this, &ColorRuleEditor::onUp);
    connect(m_pb_down, &QPushButton::clicked, this, &ColorRuleEditor::onDown);
    connect(m_tw_rules, &QTableWidget::cellChanged, this, &ColorRuleEditor::onItemChanged);
    connect(m_tw_rules, &QTableWidget::currentCellChanged, this, [this] { updateState(); });
    updateState();
}

void ColorRuleEditor::setRules(const QVector<StyleSettings::ColorRule>& rules)
{
    m_rules = rules;
    rebuild(rules.isEmpty() ? -1 : 0);
}

void ColorRuleEditor::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    updateState();
}

QString ColorRuleEditor::errorText() const
{
    return m_lbl_error->text();
}

void ColorRuleEditor::onAdd()
{
    m_rules.append({QString(), QColor(Qt::red), true});
    rebuild(m_rules.size() - 1);
    m_tw_rules->editItem(m_tw_rules->item(m_rules.size() - 1, ExpressionColumn));
}

void ColorRuleEditor::onRemove()
{
    const int row = m_tw_rules->currentRow();
    if (row < 0 || row >= m_rules.size())
        return;
    m_rules.removeAt(row);
    rebuild(qMin(row, m_rules.size() - 1));
}

void ColorRuleEditor::onUp()
{
    moveCurrent(-1);
}

void ColorRuleEditor::onDown()
{
    moveCurrent(1);
}

void ColorRuleEditor::moveCurrent(int by)
{
    const int row = m_tw_rules->currentRow();
    const int to = row + by;
    if (row < 0 || to < 0 || to >= m_rules.size())
        return;
    m_rules.move(row, to);
    rebuild(to);
}

void ColorRuleEditor::onItemChanged(int row, int column)
{
    if (row < 0 || row >= m_rules.size())
        return;
    const QTableWidgetItem* item = m_tw_rules->item(row, column);
    if (column == EnabledColumn)
        m_rules[row].enabled = item->checkState() == Qt::Checked;
    else if (column == ExpressionColumn)
        m_rules[row].expression = item->text();
    updateState();
}

// Rows are few, so moving and removing simply lay the table out again.
void ColorRuleEditor::rebuild(int current)
{
    const QSignalBlocker blocker(m_tw_rules);
    m_tw_rules->setRowCount(m_rules.size());
    for (int row = 0; row < m_rules.size(); ++row) {
        const StyleSettings::ColorRule& rule = m_rules[row];
        auto* enabled = new QTableWidgetItem;
        enabled->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
        enabled->setCheckState(rule.enabled ? Qt::Checked : Qt::Unchecked);
        m_tw_rules->setItem(row, EnabledColumn, enabled);
        m_tw_rules->setItem(row, ExpressionColumn, new QTableWidgetItem(rule.expression));
        auto* color = new ColorButton(rule.color, m_tw_rules);
        connect(color, &ColorButton::colorChanged, this, [this, color](const QColor& c) {
            for (int r = 0; r < m_rules.size(); ++r) {
                if (m_tw_rules->cellWidget(r, ColorColumn) == color)
                    m_rules[r].color = c;
            }
        });
        m_tw_rules->setCellWidget(row, ColorColumn, color);
    }
    m_tw_rules->setCurrentCell(current, ExpressionColumn);
    updateState();
}

void ColorRuleEditor::updateState()
{
    const int row = m_tw_rules->currentRow();
    const bool valid = row >= 0 && row < m_rules.size();
    m_pb_remove->setEnabled(valid);
    m_pb_up->setEnabled(valid && row > 0);
    m_pb_down->setEnabled(valid && row + 1 < m_rules.size());

    // Every broken rule is marked; the current one's error is spelt out.
    QString error;
    for (int r = 0; r < m_rules.size(); ++r) {
        QRV16::MessageExpression expression;
        const bool ok = expression.parse(m_rules[r].expression, m_tags);
        if (QTableWidgetItem* item = m_tw_rules->item(r, ExpressionColumn)) {
            const QSignalBlocker blocker(m_tw_rules);
            item->setForeground(ok ? QBrush() : QBrush(Qt::red));
        }
        if (!ok && (r == row || error.isEmpty()))
            error = tr("Rule %1, at %2: %3").arg(r + 1).arg(expression.errorPosition() + 1).arg(expression.errorString());
    }
    m_lbl_error->setText(error);
}
