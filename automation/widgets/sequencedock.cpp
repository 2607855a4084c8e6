// SPDX-License-Identifier: MIT
#include "automation/widgets/sequencedock.h"

#include "automation/sequenceparser.h"
#include "automation/sequencewriter.h"
#include "automation/widgets/sequencedocument.h"
#include "automation/widgets/sequencestepdialog.h"
#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkmodel.h"
#include "widgets/documentactions.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

enum Column { StepColumn = 0, ResultColumn = 1 };

const QColor passColor(0x1b, 0x7f, 0x2a);
const QColor failColor(0xc0, 0x1c, 0x28);
const QColor currentColor(0xff, 0xe9, 0x8f);

QToolButton* toolButton(QAction* action, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setDefaultAction(action);
    button->setAutoRaise(true);
    return button;
}

} // namespace

SequenceDock::SequenceDock(QWidget* parent) : QDockWidget(tr("Sequences"), parent)
{
    setObjectName(QStringLiteral("m_dock_sequences"));
    m_document = new SequenceDocument(this);
    m_actions = new DocumentActions(m_document, this,
                                    {tr("Open Sequences"), tr("Save Sequences"), tr("Save Sequences As"),
                                     tr("There are unsaved sequences. What do you want to do?"), tr("Sequences")});
    m_actions->openAction()->setObjectName(QStringLiteral("m_act_open_sequences"));
    m_actions->openAction()->setToolTip(tr("Open a file of sequences to run"));
    m_actions->saveAction()->setObjectName(QStringLiteral("m_act_save_sequences"));
    m_actions->saveAsAction()->setObjectName(QStringLiteral("m_act_save_sequences_as"));
    connect(m_actions, &DocumentActions::message, this, &SequenceDock::message);
    connect(m_document, &SequenceDocument::aboutToReplace, this, &SequenceDock::stop);
    connect(m_document, &SequenceDocument::replaced, this, &SequenceDock::onReplaced);
    connect(m_document, &Document::modifiedChanged, this,
            [this](bool on) { setWindowTitle(on ? tr("Sequences*") : tr("Sequences")); });
    m_runner = new SequenceRunner(this);
    connect(m_runner, &SequenceRunner::stepStarted, this, &SequenceDock::onStepStarted);
    connect(m_runner, &SequenceRunner::expectFinished, this, &SequenceDock::onExpectFinished);
    connect(m_runner, &SequenceRunner::finished, this, &SequenceDock::onFinished);
    connect(m_runner, &SequenceRunner::message, this, [this](const QString& text, int step) {
        showResult(step, false, tr("error"), text);
        Q_EMIT message(text, true);
    });
    connect(m_runner, &SequenceRunner::stateChanged, this, &SequenceDock::updateActions);

    auto* body = new QWidget(this);
    m_cb_sequences = new QComboBox(body);
    m_cb_sequences->setObjectName(QStringLiteral("m_cb_sequences"));
    m_cb_sequences->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_ck_continue = new QCheckBox(tr("Go on after a failed expect"), body);
    m_ck_continue->setObjectName(QStringLiteral("m_ck_continue"));
    m_tw_steps = new QTreeWidget(body);
    m_tw_steps->setObjectName(QStringLiteral("m_tw_steps"));
    m_tw_steps->setColumnCount(2);
    m_tw_steps->setHeaderLabels({tr("Step"), tr("Result")});
    m_tw_steps->setRootIsDecorated(false);
    m_tw_steps->setUniformRowHeights(true);
    m_tw_steps->setAllColumnsShowFocus(true);
    // The result stays in sight however long the texts; both have tool tips.
    m_tw_steps->header()->setStretchLastSection(false);
    m_tw_steps->header()->setSectionResizeMode(StepColumn, QHeaderView::Stretch);
    m_tw_steps->header()->setSectionResizeMode(ResultColumn, QHeaderView::ResizeToContents);
    m_tw_steps->setDragEnabled(true);
    m_tw_steps->setAcceptDrops(true);
    m_tw_steps->setDropIndicatorShown(true);
    m_tw_steps->setDragDropMode(QAbstractItemView::DragDrop);
    // Drops are handled here: the list mirrors m_document->sequences(), never the reverse.
    m_tw_steps->viewport()->installEventFilter(this);
    m_tw_steps->setContextMenuPolicy(Qt::ActionsContextMenu);
    m_lbl_summary = new QLabel(body);
    m_lbl_summary->setObjectName(QStringLiteral("m_lbl_summary"));
    m_lbl_summary->setWordWrap(true);
    m_lbl_summary->setTextInteractionFlags(Qt::TextSelectableByMouse);

    setupActions();

    auto* top = new QHBoxLayout;
    top->addWidget(m_cb_sequences, 1);
    for (QAction* a : {m_act_new, m_act_rename, m_act_remove_sequence})
        top->addWidget(toolButton(a, body));
    auto* edit = new QHBoxLayout;
    for (QAction* a : {m_act_add_entry, m_act_add, m_act_edit_step, m_act_remove_step, m_act_up, m_act_down})
        edit->addWidget(toolButton(a, body));
    edit->addStretch(1);
    auto* control = new QHBoxLayout;
    for (QAction* a : {m_act_run, m_act_pause, m_act_stop}) {
        QToolButton* button = toolButton(a, body);
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        control->addWidget(button);
    }
    control->addStretch(1);
    auto* layout = new QVBoxLayout(body);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addLayout(top);
    layout->addWidget(m_ck_continue);
    layout->addLayout(edit);
    layout->addWidget(m_tw_steps, 1);
    layout->addLayout(control);
    layout->addWidget(m_lbl_summary);
    setWidget(body);

    connect(m_cb_sequences, &QComboBox::currentIndexChanged, this, &SequenceDock::setCurrentSequence);
    connect(m_ck_continue, &QCheckBox::toggled, this, [this](bool on) {
        if (m_current < 0 || m_document->sequences().at(m_current).continueOnFail == on)
            return;
        m_document->sequences()[m_current].continueOnFail = on;
        setModified();
    });
    connect(m_tw_steps, &QTreeWidget::itemDoubleClicked, this,
            [this](QTreeWidgetItem* item) { editStep(m_tw_steps->indexOfTopLevelItem(item)); });
    connect(m_tw_steps, &QTreeWidget::currentItemChanged, this, &SequenceDock::updateActions);
    fillSequences();
}

SequenceDock::~SequenceDock() = default;

void SequenceDock::setupActions()
{
    const auto make = [this](const char* name, const QString& text, const QString& toolTip, const char* icon) {
        auto* action = new QAction(text, this);
        action->setObjectName(QLatin1String(name));
        action->setToolTip(toolTip);
        if (icon)
            action->setIcon(QIcon(QStringLiteral(":/icons/") + QLatin1String(icon)));
        return action;
    };
    m_act_run = make("m_act_sequence_run", tr("Run"), tr("Run the sequence from the top"), "i16_play.png");
    m_act_pause = make("m_act_sequence_pause", tr("Pause"), tr("Hold the sequence; again to go on"), "i16_pause.png");
    m_act_pause->setCheckable(true);
    m_act_stop = make("m_act_sequence_stop", tr("Stop"), tr("End the run"), "i16_log_stop.png");
    m_act_new = make("m_act_sequence_new", tr("New Sequence"), tr("New sequence"), "i16_new.png");
    m_act_rename = make("m_act_sequence_rename", tr("Rename Sequence"), tr("Rename the sequence"), "i16_table_edit.png");
    m_act_remove_sequence = make("m_act_sequence_remove", tr("Remove Sequence"), tr("Remove the sequence"),
                                 "i16_cross.png");
    m_act_add_entry = make("m_act_sequence_add_entry", tr("Add Entry Line"),
                           tr("Add the text of the entry line as a send step on the channel Return sends to (or drop a bookmark on the list)"),
                           "i16_message.png");
    m_act_add = make("m_act_sequence_add", tr("Add Step"), tr("Add a step"), "i16_add.png");
    auto* kinds = new QMenu(this);
    const std::pair<SequenceStep::Kind, QString> entries[] = {
        {SequenceStep::Send, tr("Send")},         {SequenceStep::Wait, tr("Wait")},
        {SequenceStep::Expect, tr("Expect")},     {SequenceStep::Repeat, tr("Repeat")},
        {SequenceStep::End, tr("End of repeat")}, {SequenceStep::Stop, tr("Stop")},
    };
    for (const auto& [kind, text] : entries) {
        const SequenceStep::Kind k = kind;
        connect(kinds->addAction(text), &QAction::triggered, this, [this, k] { addStep(k); });
    }
    m_act_add->setMenu(kinds);
    connect(m_act_add, &QAction::triggered, this, [this] { addStep(SequenceStep::Expect); });
    m_act_edit_step = make("m_act_sequence_edit_step", tr("Edit Step"), tr("Edit the step"), "i16_book_edit.png");
    m_act_remove_step = make("m_act_sequence_remove_step", tr("Remove Step"), tr("Remove the step"), "i16_delete.png");
    m_act_remove_step->setShortcut(QKeySequence(Qt::Key_Delete));
    // Del is the trace's and the bookmark panel's elsewhere.
    m_act_remove_step->setShortcutContext(Qt::WidgetShortcut);
    m_act_up = make("m_act_sequence_up", tr("Move Up"), tr("Move the step up"), "i16_up.png");
    m_act_down = make("m_act_sequence_down", tr("Move Down"), tr("Move the step down"), "i16_down.png");
    m_tw_steps->addActions({m_act_edit_step, m_act_remove_step, m_act_up, m_act_down});

    connect(m_act_run, &QAction::triggered, this, &SequenceDock::run);
    connect(m_act_pause, &QAction::toggled, this, [this](bool on) {
        if (on)
            m_runner->pause();
        else
            m_runner->resume();
    });
    connect(m_act_stop, &QAction::triggered, this, &SequenceDock::stop);
    connect(m_act_new, &QAction::triggered, this, &SequenceDock::newSequence);
    connect(m_act_rename, &QAction::triggered, this, &SequenceDock::renameSequence);
    connect(m_act_remove_sequence, &QAction::triggered, this, &SequenceDock::removeSequence);
    connect(m_act_add_entry, &QAction::triggered, this, [this] {
        const QString text = m_entry ? m_entry->text().trimmed() : QString();
        if (text.isEmpty())
            Q_EMIT message(tr("The entry line is empty: nothing to add"), true);
        else
            insertStep(SequenceStep::send(m_sendChannel, text));
    });
    connect(m_act_edit_step, &QAction::triggered, this, [this] { editStep(currentStep()); });
    connect(m_act_remove_step, &QAction::triggered, this, [this] { removeStep(currentStep()); });
    connect(m_act_up, &QAction::triggered, this, [this] { moveStep(currentStep(), currentStep() - 1); });
    connect(m_act_down, &QAction::triggered, this, [this] { moveStep(currentStep(), currentStep() + 1); });
}

void SequenceDock::setPorts(MessagePort* one, MessagePort* two)
{
    m_runner->setPorts(one, two);
}

void SequenceDock::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    m_runner->setTags(tags);
    checkSteps();
}

void SequenceDock::checkSteps()
{
    for (const Sequence& sequence : std::as_const(m_document->sequences())) {
        for (int i = 0; i < sequence.steps.size(); ++i) {
            const QString problem = SequenceRunner::stepProblem(sequence.steps.at(i), m_tags);
            if (!problem.isEmpty())
                Q_EMIT message(tr("Sequence \"%1\", step %2: %3").arg(sequence.name).arg(i + 1).arg(problem), true);
        }
    }
}

void SequenceDock::setBookmarks(BookmarkList* bookmarks)
{
    m_bookmarks = bookmarks;
}

void SequenceDock::setEntryLine(QLineEdit* entry)
{
    m_entry = entry;
}

bool SequenceDock::load(const QString& path)
{
    return m_actions->load(path);
}

bool SequenceDock::save(const QString& path)
{
    return m_actions->saveTo(path);
}

QString SequenceDock::path() const
{
    return m_document->path();
}

bool SequenceDock::isModified() const
{
    return m_document->isModified();
}

const QVector<Sequence>& SequenceDock::sequences() const
{
    return std::as_const(*m_document).sequences();
}

void SequenceDock::setSequences(const QVector<Sequence>& sequences)
{
    m_document->setSequences(sequences);
}

void SequenceDock::onReplaced()
{
    m_current = m_document->sequences().isEmpty() ? -1 : 0;
    fillSequences();
    // Names need definitions: without them, the steps are read when they come.
    if (m_tags)
        checkSteps();
}

void SequenceDock::setCurrentSequence(int index)
{
    if (index < -1 || index >= m_document->sequences().size() || m_runner->isRunning())
        index = m_current;
    m_current = index;
    if (m_cb_sequences->currentIndex() != index) {
        const QSignalBlocker block(m_cb_sequences);
        m_cb_sequences->setCurrentIndex(index);
    }
    {
        const QSignalBlocker block(m_ck_continue);
        m_ck_continue->setChecked(index >= 0 && m_document->sequences().at(index).continueOnFail);
    }
    fillSteps();
}

void SequenceDock::fillSequences()
{
    {
        const QSignalBlocker block(m_cb_sequences);
        m_cb_sequences->clear();
        for (const Sequence& sequence : std::as_const(m_document->sequences()))
            m_cb_sequences->addItem(sequence.name);
    }
    setCurrentSequence(m_current);
}

void SequenceDock::fillSteps()
{
    const int keep = currentStep();
    m_tw_steps->clear();
    m_highlighted = -1;
    if (m_current >= 0) {
        QList<QTreeWidgetItem*> items;
        int depth = 0;
        for (const SequenceStep& step : m_document->sequences().at(m_current).steps) {
            if (step.kind == SequenceStep::End && depth > 0)
                --depth;
            items.append(new QTreeWidgetItem);
            items.last()->setText(StepColumn, QString(depth * 4, QLatin1Char(' ')) + step.toText());
            items.last()->setToolTip(StepColumn, step.toText());
            if (step.kind == SequenceStep::Repeat)
                ++depth;
        }
        m_tw_steps->addTopLevelItems(items);
    }
    setCurrentStep(qMin(keep, m_tw_steps->topLevelItemCount() - 1));
    updateActions();
}

int SequenceDock::currentStep() const
{
    return m_tw_steps->indexOfTopLevelItem(m_tw_steps->currentItem());
}

void SequenceDock::setCurrentStep(int row)
{
    m_tw_steps->setCurrentItem(row >= 0 ? m_tw_steps->topLevelItem(row) : nullptr);
}

void SequenceDock::setModified()
{
    m_document->setModified(true);
}

void SequenceDock::updateActions()
{
    const bool running = m_runner->isRunning();
    const bool has = m_current >= 0;
    const int row = currentStep();
    const int count = has ? m_document->sequences().at(m_current).steps.size() : 0;
    m_act_run->setEnabled(has && !running);
    m_act_pause->setEnabled(running);
    {
        const QSignalBlocker block(m_act_pause);
        m_act_pause->setChecked(m_runner->state() == SequenceRunner::Paused);
    }
    m_act_stop->setEnabled(running);
    m_cb_sequences->setEnabled(!running);
    m_ck_continue->setEnabled(has && !running);
    m_act_new->setEnabled(!running);
    m_act_rename->setEnabled(has && !running);
    m_act_remove_sequence->setEnabled(has && !running);
    m_act_add_entry->setEnabled(!running);
    m_act_add->setEnabled(!running);
    m_act_edit_step->setEnabled(row >= 0 && !running);
    m_act_remove_step->setEnabled(row >= 0 && !running);
    m_act_up->setEnabled(row > 0 && !running);
    m_act_down->setEnabled(row >= 0 && row + 1 < count && !running);
}

void SequenceDock::insertStep(const SequenceStep& step, int row)
{
    if (m_runner->isRunning())
        return;
    if (m_current < 0) {
        Sequence sequence;
        sequence.name = tr("Sequence %1").arg(m_document->sequences().size() + 1);
        m_document->sequences().append(sequence);
        m_current = m_document->sequences().size() - 1;
        fillSequences();
    }
    QVector<SequenceStep>& steps = m_document->sequences()[m_current].steps;
    if (row < 0 || row > steps.size())
        row = currentStep() < 0 ? steps.size() : currentStep() + 1;
    steps.insert(row, step);
    setModified();
    fillSteps();
    setCurrentStep(row);
}

void SequenceDock::removeStep(int row)
{
    if (m_current < 0 || row < 0 || row >= m_document->sequences().at(m_current).steps.size() || m_runner->isRunning())
        return;
    m_document->sequences()[m_current].steps.removeAt(row);
    setModified();
    fillSteps();
    setCurrentStep(qMin(row, m_tw_steps->topLevelItemCount() - 1));
}

void SequenceDock::moveStep(int from, int to)
{
    if (m_current < 0 || m_runner->isRunning())
        return;
    QVector<SequenceStep>& steps = m_document->sequences()[m_current].steps;
    if (from < 0 || from >= steps.size() || to < 0 || to >= steps.size() || from == to)
        return;
    steps.move(from, to);
    setModified();
    fillSteps();
    setCurrentStep(to);
}

void SequenceDock::replaceStep(int row, const SequenceStep& step)
{
    if (m_current < 0 || row < 0 || row >= m_document->sequences().at(m_current).steps.size() || m_runner->isRunning())
        return;
    if (m_document->sequences().at(m_current).steps.at(row) == step)
        return;
    m_document->sequences()[m_current].steps[row] = step;
    setModified();
    fillSteps();
    setCurrentStep(row);
}

void SequenceDock::editStep(int row)
{
    if (m_current < 0 || row < 0 || row >= m_document->sequences().at(m_current).steps.size() || m_runner->isRunning())
        return;
    SequenceStepDialog dialog(this);
    dialog.setStep(m_document->sequences().at(m_current).steps.at(row));
    if (dialog.exec() == QDialog::Accepted)
        replaceStep(row, dialog.step());
}

void SequenceDock::addStep(SequenceStep::Kind kind)
{
    SequenceStep step;
    step.kind = kind;
    if (kind == SequenceStep::Expect)
        step.ms = SequenceParser::DefaultWithin;
    if (kind == SequenceStep::Wait)
        step.ms = 100;
    if (kind == SequenceStep::Repeat)
        step.times = 2;
    if (kind != SequenceStep::End && kind != SequenceStep::Stop) {
        SequenceStepDialog dialog(this);
        dialog.setStep(step);
        if (dialog.exec() != QDialog::Accepted)
            return;
        step = dialog.step();
    }
    insertStep(step);
}

void SequenceDock::newSequence()
{
    bool ok = false;
    const QString name = QInputDialog::getText(this, tr("New Sequence"), tr("Name"), QLineEdit::Normal,
                                               tr("Sequence %1").arg(m_document->sequences().size() + 1), &ok)
                             .trimmed();
    if (!ok || name.isEmpty())
        return;
    Sequence sequence;
    sequence.name = name;
    m_document->sequences().append(sequence);
    m_current = m_document->sequences().size() - 1;
    setModified();
    fillSequences();
}

void SequenceDock::renameSequence()
{
    if (m_current < 0)
        return;
    bool ok = false;
    const QString name = QInputDialog::getText(this, tr("Rename Sequence"), tr("Name"), QLineEdit::Normal,
                                               m_document->sequences().at(m_current).name, &ok)
                             .trimmed();
    if (!ok || name.isEmpty() || name == m_document->sequences().at(m_current).name)
        return;
    m_document->sequences()[m_current].name = name;
    setModified();
    fillSequences();
}

void SequenceDock::removeSequence()
{
    if (m_current < 0 || m_runner->isRunning())
        return;
    m_document->sequences().removeAt(m_current);
    m_current = qMin(m_current, int(m_document->sequences().size()) - 1);
    setModified();
    fillSequences();
}

QString SequenceDock::dropText(const QMimeData* data) const
{
    if (!data)
        return QString();
    if (data->hasFormat(BookmarkModel::MimeType)) {
        // "pid list row", as the bookmark panel drags them.
        const QList<QByteArray> parts = data->data(BookmarkModel::MimeType).split(' ');
        if (!m_bookmarks || parts.size() != 3 ||
            parts.at(0) != QByteArray::number(QCoreApplication::applicationPid()) ||
            parts.at(1) != QByteArray::number(quintptr(m_bookmarks.data())))
            return QString();
        bool ok = false;
        const int row = parts.at(2).toInt(&ok);
        if (!ok || row < 0 || row >= m_bookmarks->count())
            return QString();
        const QString text = BookmarkList::message(m_bookmarks->actions().at(row)).trimmed();
        return text.isEmpty() ? QString() : text;
    }
    if (data->hasText()) {
        const QString text = data->text().trimmed();
        return text.isEmpty() ? QString() : text;
    }
    return QString();
}

int SequenceDock::dropRow(const QPoint& position) const
{
    QTreeWidgetItem* item = m_tw_steps->itemAt(position);
    if (!item)
        return m_tw_steps->topLevelItemCount();
    const int row = m_tw_steps->indexOfTopLevelItem(item);
    const QRect rect = m_tw_steps->visualItemRect(item);
    return position.y() > rect.center().y() ? row + 1 : row;
}

bool SequenceDock::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_tw_steps->viewport())
        return QDockWidget::eventFilter(watched, event);
    const bool internal = [event, this] {
        const auto* drop = dynamic_cast<QDropEvent*>(event);
        return drop && drop->source() == m_tw_steps;
    }();
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDragMoveEvent*>(event);
        if (!m_runner->isRunning() && (internal || !dropText(drag->mimeData()).isNull())) {
            drag->setDropAction(internal || !(drag->possibleActions() & Qt::CopyAction) ? Qt::MoveAction
                                                                                        : Qt::CopyAction);
            drag->accept();
        } else {
            drag->ignore();
        }
        return true;
    }
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        const int row = dropRow(drop->position().toPoint());
        if (internal) {
            const int from = currentStep();
            moveStep(from, row > from ? row - 1 : row);
            // Taken here: the view must not move or remove rows itself.
            drop->setDropAction(Qt::IgnoreAction);
            drop->accept();
            return true;
        }
        const QString text = dropText(drop->mimeData());
        if (text.isNull() || m_runner->isRunning()) {
            drop->ignore();
            return true;
        }
        insertStep(SequenceStep::send(m_sendChannel, text), row);
        drop->setDropAction(drop->possibleActions() & Qt::CopyAction ? Qt::CopyAction : Qt::MoveAction);
        drop->accept();
        return true;
    }
    default:
        return QDockWidget::eventFilter(watched, event);
    }
}

void SequenceDock::run()
{
    if (m_current < 0 || m_runner->isRunning())
        return;
    m_running = m_document->sequences().at(m_current);
    for (int row = 0; row < m_tw_steps->topLevelItemCount(); ++row) {
        QTreeWidgetItem* item = m_tw_steps->topLevelItem(row);
        item->setText(ResultColumn, QString());
        item->setToolTip(ResultColumn, QString());
        item->setBackground(StepColumn, QBrush());
        item->setBackground(ResultColumn, QBrush());
    }
    m_highlighted = -1;
    m_lbl_summary->clear();
    Q_EMIT message(tr("Sequence \"%1\" started").arg(m_running.name), false);
    m_runner->start(m_running);
}

void SequenceDock::stop()
{
    m_runner->stop();
}

void SequenceDock::onStepStarted(int step)
{
    if (QTreeWidgetItem* old = m_tw_steps->topLevelItem(m_highlighted)) {
        old->setBackground(StepColumn, QBrush());
        old->setBackground(ResultColumn, QBrush());
    }
    m_highlighted = step;
    if (QTreeWidgetItem* item = m_tw_steps->topLevelItem(step)) {
        item->setBackground(StepColumn, currentColor);
        item->setBackground(ResultColumn, currentColor);
        m_tw_steps->scrollToItem(item);
    }
}

void SequenceDock::showResult(int row, bool good, const QString& text, const QString& toolTip)
{
    QTreeWidgetItem* item = m_tw_steps->topLevelItem(row);
    if (!item)
        return;
    item->setText(ResultColumn, text);
    item->setToolTip(ResultColumn, toolTip);
    item->setForeground(ResultColumn, good ? passColor : failColor);
}

void SequenceDock::onExpectFinished(int step, bool passed, const QString& pattern, const QString& arrived,
                                    qint64 elapsedMs)
{
    if (passed) {
        showResult(step, true, tr("passed, %1 ms").arg(elapsedMs), arrived);
        return;
    }
    const QString line = tr("Sequence \"%1\", step %2: expected %3, arrived instead: %4")
                             .arg(m_running.name)
                             .arg(step + 1)
                             .arg(pattern, arrived);
    showResult(step, false, tr("failed"), line);
    Q_EMIT message(line, true);
}

void SequenceDock::onFinished(const SequenceRunner::Summary& summary, const QString& line)
{
    if (QTreeWidgetItem* old = m_tw_steps->topLevelItem(m_highlighted)) {
        old->setBackground(StepColumn, QBrush());
        old->setBackground(ResultColumn, QBrush());
    }
    m_highlighted = -1;
    m_lbl_summary->setText(line);
    QPalette palette = m_lbl_summary->palette();
    palette.setColor(QPalette::WindowText, summary.passed() ? passColor : failColor);
    m_lbl_summary->setPalette(palette);
    Q_EMIT message(line, !summary.passed());
    updateActions();
}
