// SPDX-License-Identifier: MIT
#include "trace/widgets/filterbar.h"

#include "trace/tracefilter.h"

#include "qrv16/messageexpression.h"
#include "widgets/elidedlabel.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QTimer>

namespace {

// Refiltering 100,000 lines on every key would make typing stutter.
constexpr int TypingMilliseconds = 300;

} // namespace

FilterBar::FilterBar(TraceFilter* filter, QWidget* parent)
    : QWidget(parent), m_filter(filter)
{
    setObjectName(QStringLiteral("FilterBar"));
    auto* label = new QLabel(tr("Show:"), this);
    m_cb_channel = new QComboBox(this);
    m_cb_channel->setObjectName(QStringLiteral("m_cb_channel"));
    m_cb_channel->addItems({tr("Both channels"), tr("Channel 1"), tr("Channel 2")});
    m_cb_direction = new QComboBox(this);
    m_cb_direction->setObjectName(QStringLiteral("m_cb_direction"));
    m_cb_direction->addItems({tr("Sent and received"), tr("Sent"), tr("Received")});
    m_cb_kind = new QComboBox(this);
    m_cb_kind->setObjectName(QStringLiteral("m_cb_kind"));
    m_cb_kind->addItems({tr("All kinds"), tr("Status"), tr("Raw"), tr("Hex"), tr("Message"), tr("Error")});
    m_le_source = new QLineEdit(this);
    m_le_source->setObjectName(QStringLiteral("m_le_source"));
    m_le_source->setPlaceholderText(tr("Source"));
    m_le_source->setClearButtonEnabled(true);
    m_le_source->setMaximumWidth(120);
    m_le_expression = new QLineEdit(this);
    m_le_expression->setObjectName(QStringLiteral("m_le_expression"));
    m_le_expression->setPlaceholderText(tr("PumpMode=Service and not (ResultCode=Ok or Temperature>700)"));
    m_le_expression->setClearButtonEnabled(true);
    m_lbl_error = new ElidedLabel(this);
    m_lbl_error->setObjectName(QStringLiteral("m_lbl_error"));
    m_lbl_error->setStyleSheet(QStringLiteral("color: red"));
    m_lbl_error->hide();
    m_lbl_progress = new QLabel(this);
    m_lbl_progress->setObjectName(QStringLiteral("m_lbl_progress"));
    m_lbl_progress->hide();
    m_pb_stop = new QPushButton(tr("Stop"), this);
    m_pb_stop->setObjectName(QStringLiteral("m_pb_stop"));
    m_pb_stop->setToolTip(tr("Keep the filter as it was (Escape)"));
    m_pb_stop->hide();
    m_pb_clear = new QPushButton(tr("Clear"), this);
    m_pb_clear->setObjectName(QStringLiteral("m_pb_clear"));
    m_pb_close = new QPushButton(QStringLiteral("✕"), this);
    m_pb_close->setObjectName(QStringLiteral("m_pb_close"));
    m_pb_close->setToolTip(tr("Close and show all lines (Escape)"));
    m_pb_close->setFlat(true);
    m_typing = new QTimer(this);
    m_typing->setSingleShot(true);
    m_typing->setInterval(TypingMilliseconds);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label);
    layout->addWidget(m_cb_channel);
    layout->addWidget(m_cb_direction);
    layout->addWidget(m_cb_kind);
    layout->addWidget(m_le_source);
    // Room for a long error goes to the error, but the expression keeps
    // most of it.
    layout->addWidget(m_le_expression, 3);
    layout->addWidget(m_lbl_error, 2);
    layout->addWidget(m_lbl_progress);
    layout->addWidget(m_pb_stop);
    layout->addWidget(m_pb_clear);
    layout->addWidget(m_pb_close);

    for (QComboBox* box : {m_cb_channel, m_cb_direction, m_cb_kind})
        connect(box, &QComboBox::currentIndexChanged, this, &FilterBar::apply);
    for (QLineEdit* edit : {m_le_source, m_le_expression}) {
        connect(edit, &QLineEdit::textChanged, m_typing, qOverload<>(&QTimer::start));
        connect(edit, &QLineEdit::returnPressed, this, &FilterBar::apply);
    }
    connect(m_typing, &QTimer::timeout, this, &FilterBar::apply);
    connect(m_pb_clear, &QPushButton::clicked, this, &FilterBar::clear);
    connect(m_pb_close, &QPushButton::clicked, this, &FilterBar::onClose);
    connect(m_pb_stop, &QPushButton::clicked, this, &FilterBar::stop);
    connect(m_filter, &TraceFilter::prepared, this, &FilterBar::onPrepared);
    connect(m_filter, &TraceFilter::progress, this, &FilterBar::onProgress);
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
    connect(escape, &QShortcut::activated, this, &FilterBar::onEscape);
}

void FilterBar::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    apply();
}

QString FilterBar::expression() const
{
    return m_le_expression->text();
}

void FilterBar::setExpression(const QString& text)
{
    m_le_expression->setText(text);
    apply();
}

QString FilterBar::error() const
{
    return m_lbl_error->fullText();
}

bool FilterBar::isBusy() const
{
    return m_filter->isPreparing();
}

void FilterBar::clear()
{
    stop();
    // One refilter, not one per field.
    m_clearing = true;
    m_cb_channel->setCurrentIndex(0);
    m_cb_direction->setCurrentIndex(0);
    m_cb_kind->setCurrentIndex(0);
    m_le_source->clear();
    m_le_expression->clear();
    m_clearing = false;
    m_typing->stop();
    m_lbl_error->setFullText(QString());
    m_lbl_error->hide();
    m_le_expression->setStyleSheet(QString());
    Q_EMIT aboutToApply();
    m_filter->clear();
    Q_EMIT applied();
}

void FilterBar::activate()
{
    show();
    m_le_expression->setFocus(Qt::ShortcutFocusReason);
}

void FilterBar::apply()
{
    if (m_clearing)
        return;
    m_typing->stop();
    QRV16::MessageExpression expression;
    if (!expression.parse(m_le_expression->text(), m_tags)) {
        m_lbl_error->setFullText(
            tr("Column %1: %2").arg(expression.errorPosition() + 1).arg(expression.errorString()));
        m_le_expression->setStyleSheet(QStringLiteral("color: red"));
    } else {
        m_lbl_error->setFullText(QString());
        m_le_expression->setStyleSheet(QString());
    }
    m_lbl_error->setVisible(!m_lbl_error->fullText().isEmpty());
    TraceFilter::Conditions conditions;
    conditions.channel = m_cb_channel->currentIndex();
    conditions.direction = TraceFilter::Direction(m_cb_direction->currentIndex());
    conditions.kind = TraceFilter::Kind(m_cb_kind->currentIndex());
    conditions.source = m_le_source->text().trimmed();
    conditions.expression = expression;
    m_filter->prepare(conditions);
}

void FilterBar::onPrepared()
{
    m_lbl_progress->hide();
    m_pb_stop->hide();
    Q_EMIT aboutToApply();
    m_filter->commit();
    Q_EMIT applied();
}

void FilterBar::onProgress(int percent)
{
    m_lbl_progress->setText(tr("Filtering... %1%").arg(percent));
    m_lbl_progress->show();
    m_pb_stop->show();
}

void FilterBar::stop()
{
    m_filter->cancelPrepare();
    m_lbl_progress->hide();
    m_pb_stop->hide();
}

void FilterBar::onEscape()
{
    if (isBusy())
        stop();
    else
        onClose();
}

void FilterBar::onClose()
{
    clear();
    hide();
    Q_EMIT closed();
}
