// SPDX-License-Identifier: MIT
#include "trace/widgets/findbar.h"

#include "trace/widgets/treeexpansion.h"

#include "trace/tracescan.h"
#include "widgets/elidedlabel.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QAbstractItemView>

namespace {

// Rows from the top-level line down to `index`.
QList<int> pathOf(QModelIndex index)
{
    QList<int> path;
    for (; index.isValid(); index = index.parent())
        path.prepend(index.row());
    return path;
}

// View order: a line comes before its element lines, which come before the
// next line.
bool before(const QModelIndex& a, const QModelIndex& b)
{
    const QList<int> pa = pathOf(a);
    const QList<int> pb = pathOf(b);
    return std::lexicographical_compare(pa.begin(), pa.end(), pb.begin(), pb.end());
}

} // namespace

FindBar::FindBar(QAbstractItemView* view, int column, QWidget* parent)
    : QWidget(parent), m_view(view), m_column(column), m_find(new TraceScan(this)), m_counting(new TraceScan(this))
{
    setObjectName(QStringLiteral("FindBar"));
    auto* label = new QLabel(tr("Find:"), this);
    m_le_find = new QLineEdit(this);
    m_le_find->setObjectName(QStringLiteral("m_le_find"));
    m_le_find->setClearButtonEnabled(true);
    m_le_find->setPlaceholderText(tr("Text in the trace (F3 next, Shift+F3 previous)"));
    label->setBuddy(m_le_find);
    m_pb_previous = new QPushButton(tr("Previous"), this);
    m_pb_previous->setObjectName(QStringLiteral("m_pb_previous"));
    m_pb_next = new QPushButton(tr("Next"), this);
    m_pb_next->setObjectName(QStringLiteral("m_pb_next"));
    m_cb_case = new QCheckBox(tr("Match case"), this);
    m_cb_case->setObjectName(QStringLiteral("m_cb_case"));
    m_cb_regexp = new QCheckBox(tr("Regular expression"), this);
    m_cb_regexp->setObjectName(QStringLiteral("m_cb_regexp"));
    m_lbl_status = new ElidedLabel(this);
    m_lbl_status->setObjectName(QStringLiteral("m_lbl_status"));
    m_pb_stop = new QPushButton(tr("Stop"), this);
    m_pb_stop->setObjectName(QStringLiteral("m_pb_stop"));
    m_pb_stop->setToolTip(tr("End the search (Escape)"));
    m_pb_stop->hide();
    m_pb_close = new QPushButton(QStringLiteral("✕"), this);
    m_pb_close->setObjectName(QStringLiteral("m_pb_close"));
    m_pb_close->setToolTip(tr("Close (Escape)"));
    m_pb_close->setFlat(true);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label);
    layout->addWidget(m_le_find, 1);
    layout->addWidget(m_pb_previous);
    layout->addWidget(m_pb_next);
    layout->addWidget(m_cb_case);
    layout->addWidget(m_cb_regexp);
    layout->addWidget(m_lbl_status, 1);
    layout->addWidget(m_pb_stop);
    layout->addWidget(m_pb_close);

    connect(m_le_find, &QLineEdit::textChanged, this, &FindBar::onTextChanged);
    connect(m_le_find, &QLineEdit::returnPressed, this, &FindBar::findNext);
    connect(m_pb_next, &QPushButton::clicked, this, &FindBar::findNext);
    connect(m_pb_previous, &QPushButton::clicked, this, &FindBar::findPrevious);
    connect(m_pb_close, &QPushButton::clicked, this, &FindBar::onClose);
    connect(m_pb_stop, &QPushButton::clicked, this, &FindBar::stop);
    connect(m_find, &TraceScan::finished, this, &FindBar::onFound);
    connect(m_find, &TraceScan::progress, this,
            [this](int percent) { setStatus(tr("Searching... %1%").arg(percent), false); });
    connect(m_find, &TraceScan::aborted, this, &FindBar::stop);
    connect(m_counting, &TraceScan::finished, this, &FindBar::onCounted);
    connect(m_counting, &TraceScan::progress, this,
            [this](int percent) { setStatus(tr("Counting... %1%").arg(percent), false); });
    connect(m_counting, &TraceScan::aborted, this, &FindBar::stop);
    for (QCheckBox* box : {m_cb_case, m_cb_regexp}) {
        connect(box, &QCheckBox::toggled, this, &FindBar::onTextChanged);
        connect(box, &QCheckBox::toggled, this, &FindBar::optionsChanged);
    }
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
    connect(escape, &QShortcut::activated, this, &FindBar::onEscape);
    compile();
}

QString FindBar::text() const
{
    return m_le_find->text();
}

void FindBar::setText(const QString& text)
{
    m_le_find->setText(text);
}

bool FindBar::isCaseSensitive() const
{
    return m_cb_case->isChecked();
}

void FindBar::setCaseSensitive(bool on)
{
    m_cb_case->setChecked(on);
}

bool FindBar::isRegularExpression() const
{
    return m_cb_regexp->isChecked();
}

void FindBar::setRegularExpression(bool on)
{
    m_cb_regexp->setChecked(on);
}

QString FindBar::status() const
{
    return m_lbl_status->fullText();
}

void FindBar::activate()
{
    QWidget::show();
    m_le_find->setFocus(Qt::ShortcutFocusReason);
    m_le_find->selectAll();
}

void FindBar::findNext()
{
    if (isHidden())
        activate();
    find(true, false);
}

void FindBar::findPrevious()
{
    if (isHidden())
        activate();
    find(false, false);
}

void FindBar::onTextChanged()
{
    m_find->cancel();
    m_counting->cancel();
    if (!compile())
        return updateBusy();
    // The first match is shown before every line is counted.
    m_countAfter = true;
    find(true, true);
}

bool FindBar::isBusy() const
{
    return m_find->isRunning() || m_counting->isRunning();
}

void FindBar::stop()
{
    const bool busy = isBusy();
    m_find->cancel();
    m_counting->cancel();
    m_countAfter = false;
    if (busy)
        setStatus(tr("Stopped"), false);
    updateBusy();
}

void FindBar::onEscape()
{
    if (isBusy())
        stop();
    else
        onClose();
}

void FindBar::onClose()
{
    stop();
    hide();
    m_view->setFocus(Qt::OtherFocusReason);
}

bool FindBar::compile()
{
    const QString text = m_le_find->text();
    m_valid = !text.isEmpty();
    m_matcher = QStringMatcher(text, m_cb_case->isChecked() ? Qt::CaseSensitive : Qt::CaseInsensitive);
    if (m_valid && m_cb_regexp->isChecked()) {
        QRegularExpression::PatternOptions options = QRegularExpression::UseUnicodePropertiesOption;
        if (!m_cb_case->isChecked())
            options |= QRegularExpression::CaseInsensitiveOption;
        m_regexp = QRegularExpression(text, options);
        m_valid = m_regexp.isValid();
        if (!m_valid) {
            m_count = 0;
            setStatus(tr("Error at %1: %2").arg(m_regexp.patternErrorOffset() + 1).arg(m_regexp.errorString()),
                      true);
        }
    }
    if (text.isEmpty()) {
        m_count = 0;
        setStatus(QString(), false);
    }
    return m_valid;
}

bool FindBar::matches(const QModelIndex& index) const
{
    const QString text = index.data(Qt::DisplayRole).toString();
    if (m_cb_regexp->isChecked())
        return m_regexp.match(text).hasMatch();
    return m_matcher.indexIn(text) >= 0;
}

void FindBar::recount()
{
    if (!m_valid)
        return;
    const QAbstractItemModel* model = m_view->model();
    m_count = 0;
    m_counting->start(model, 0, 1, false, [this, model](int row) {
        if (m_view->model() != model)
            return true;
        m_count += matches(model->index(row, m_column)) ? 1 : 0;
        return false;
    });
    updateBusy();
}

void FindBar::onCounted()
{
    setStatus(m_count == 0 ? tr("No match") : countText(), m_count == 0);
    updateBusy();
}

void FindBar::updateBusy()
{
    m_pb_stop->setVisible(isBusy());
}

QList<QModelIndex> FindBar::hits(int row) const
{
    QList<QModelIndex> out;
    const QModelIndex line = m_view->model()->index(row, m_column);
    if (!matches(line))
        return out;
    // Element lines are built only for lines that match.
    collectHits(line.siblingAtColumn(0), &out);
    if (out.isEmpty())
        out.append(line.siblingAtColumn(0));
    return out;
}

void FindBar::collectHits(const QModelIndex& parent, QList<QModelIndex>* out) const
{
    const QAbstractItemModel* model = m_view->model();
    if (!model->hasChildren(parent))
        return;
    const int rows = model->rowCount(parent);
    for (int row = 0; row < rows; ++row) {
        const QModelIndex child = model->index(row, 0, parent);
        if (matches(child.siblingAtColumn(m_column)))
            out->append(child);
        collectHits(child, out);
    }
}

void FindBar::find(bool forward, bool includeCurrent)
{
    const QAbstractItemModel* model = m_view->model();
    if (!m_valid || !model)
        return;
    m_find->cancel();
    const int rows = model->rowCount();
    const QModelIndex current = m_view->currentIndex().siblingAtColumn(0);
    QModelIndex top = current;
    while (top.parent().isValid())
        top = top.parent();
    const int start = top.isValid() ? top.row() : (forward ? -1 : rows);

    if (top.isValid()) {
        const QList<QModelIndex> same = hits(start);
        if (forward) {
            for (const QModelIndex& h : same) {
                if (includeCurrent ? !before(h, current) : before(current, h))
                    return reveal(h, false);
            }
        } else {
            for (auto it = same.rbegin(); it != same.rend(); ++it) {
                if (includeCurrent ? !before(current, *it) : before(*it, current))
                    return reveal(*it, false);
            }
        }
    }
    m_forward = forward;
    m_hit = QPersistentModelIndex();
    m_find->start(model, forward ? start + 1 : start - 1, forward ? 1 : -1, true, [this, model](int row) {
        // The view shows another model now: the search ends.
        if (m_view->model() != model)
            return true;
        const QList<QModelIndex> h = hits(row);
        if (h.isEmpty())
            return false;
        m_hit = m_forward ? h.first() : h.last();
        return true;
    });
    updateBusy();
}

void FindBar::onFound(int row, bool wrapped)
{
    const QModelIndex hit = m_hit;
    m_hit = QPersistentModelIndex();
    if (hit.isValid())
        return reveal(hit, wrapped);
    m_countAfter = false;
    // Every line was read: nothing to count. Otherwise the view changed
    // its model under the search.
    if (row < 0) {
        m_count = 0;
        setStatus(tr("No match"), true);
    }
    updateBusy();
}

void FindBar::reveal(const QModelIndex& hit, bool wrapped)
{
    show(hit);
    if (wrapped)
        setStatus(countText() + QStringLiteral(" — ") +
                      (m_forward ? tr("passed the end, continued from the top")
                                 : tr("passed the top, continued from the bottom")),
                  false);
    if (m_countAfter) {
        m_countAfter = false;
        recount();
    }
    updateBusy();
}

void FindBar::show(const QModelIndex& hit)
{
    for (QModelIndex p = hit.parent(); p.isValid(); p = p.parent())
        TreeExpansion::setExpanded(m_view, p, true);
    m_view->setCurrentIndex(hit);
    m_view->scrollTo(hit);
    setStatus(countText(), false);
}

QString FindBar::countText() const
{
    return m_count == 1 ? tr("1 matching line") : tr("%1 matching lines").arg(m_count);
}

void FindBar::setStatus(const QString& text, bool error)
{
    m_lbl_status->setFullText(text);
    m_lbl_status->setStyleSheet(error ? QStringLiteral("color: red") : QString());
    m_le_find->setStyleSheet(error && !m_le_find->text().isEmpty() ? QStringLiteral("background: #ffd0d0")
                                                                   : QString());
}
