// SPDX-License-Identifier: MIT
#include "widgets/qttoolbardialog.h"

#include "widgets/qttoolbarmanager.h"
#include "widgets/screenfitarea.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace {

enum ItemRole { ActionRole = Qt::UserRole, SeparatorRole };

// The text of an action without its mnemonic markers ("&Open" -> "Open",
// "Save && close" -> "Save & close").
QString plainText(const QAction* action)
{
    const QString text = action->text();
    QString plain;
    plain.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == QLatin1Char('&')) {
            if (i + 1 < text.size() && text.at(i + 1) == QLatin1Char('&'))
                plain.append(QLatin1Char('&'));
            else
                continue;
            ++i;
        } else {
            plain.append(text.at(i));
        }
    }
    return plain;
}

// A vertical bar as a toolbar draws it, for separator rows and the button
// that adds one.
QIcon separatorIcon(const QPalette& palette)
{
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setPen(palette.color(QPalette::Dark));
    painter.drawLine(7, 1, 7, 14);
    painter.setPen(palette.color(QPalette::Light));
    painter.drawLine(8, 1, 8, 14);
    return QIcon(pixmap);
}

QString separatorText()
{
    return QtToolBarDialog::tr("Separator");
}

QPushButton* iconButton(const QIcon& icon, const QString& toolTip, QWidget* parent)
{
    auto* button = new QPushButton(icon, QString(), parent);
    button->setToolTip(toolTip);
    button->setAccessibleName(toolTip);
    return button;
}

// Deletes the chosen toolbar action on the Delete key.
class DeleteKeyFilter : public QObject
{
public:
    DeleteKeyFilter(QPushButton* button, QObject* parent) : QObject(parent), m_button(button) {}

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::KeyPress &&
            static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
            if (m_button->isEnabled())
                m_button->click();
            return true;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    QPushButton* m_button;
};

} // namespace

QtToolBarDialog::QtToolBarDialog(QWidget* parent)
    : QDialog(parent), m_tw_actions(new QTreeWidget(this)),
      m_pb_add(
          iconButton(style()->standardIcon(QStyle::SP_ArrowRight), tr("Add to the toolbar"), this)),
      m_pb_remove(iconButton(style()->standardIcon(QStyle::SP_ArrowLeft),
                             tr("Remove from the toolbar"), this)),
      m_pb_up(iconButton(style()->standardIcon(QStyle::SP_ArrowUp), tr("Move up"), this)),
      m_pb_down(iconButton(style()->standardIcon(QStyle::SP_ArrowDown), tr("Move down"), this)),
      m_pb_separator(iconButton(separatorIcon(palette()), tr("Add a separator"), this)),
      m_lw_toolbars(new QListWidget(this)), m_pb_new(new QPushButton(tr("New"), this)),
      m_pb_delete(new QPushButton(tr("Remove"), this)),
      m_pb_rename(new QPushButton(tr("Rename"), this)),
      m_pb_restore(new QPushButton(tr("Restore default"), this)),
      m_lw_actions(new QListWidget(this))
{
    setWindowTitle(tr("Customize Toolbars"));

    m_tw_actions->setObjectName(QStringLiteral("actions"));
    m_tw_actions->setHeaderHidden(true);
    m_tw_actions->setColumnCount(1);
    m_tw_actions->setMinimumWidth(220);
    m_lw_toolbars->setObjectName(QStringLiteral("toolBars"));
    m_lw_toolbars->setMinimumWidth(180);
    m_lw_actions->setObjectName(QStringLiteral("toolBarActions"));
    m_lw_actions->installEventFilter(new DeleteKeyFilter(m_pb_remove, this));

    auto* actionsLabel = new QLabel(tr("&Actions"), this);
    actionsLabel->setBuddy(m_tw_actions);
    auto* toolBarsLabel = new QLabel(tr("&Toolbars"), this);
    toolBarsLabel->setBuddy(m_lw_toolbars);
    auto* contentLabel = new QLabel(tr("Actions of the &chosen toolbar"), this);
    contentLabel->setBuddy(m_lw_actions);

    auto* middle = new QVBoxLayout;
    middle->addStretch(1);
    middle->addWidget(m_pb_add);
    middle->addWidget(m_pb_remove);
    middle->addSpacing(12);
    middle->addWidget(m_pb_up);
    middle->addWidget(m_pb_down);
    middle->addSpacing(12);
    middle->addWidget(m_pb_separator);
    middle->addStretch(1);

    auto* toolBarButtons = new QVBoxLayout;
    toolBarButtons->addWidget(m_pb_new);
    toolBarButtons->addWidget(m_pb_delete);
    toolBarButtons->addWidget(m_pb_rename);
    toolBarButtons->addWidget(m_pb_restore);
    toolBarButtons->addStretch(1);

    auto* grid = new QGridLayout;
    grid->addWidget(actionsLabel, 0, 0);
    grid->addWidget(m_tw_actions, 1, 0, 3, 1);
    grid->addLayout(middle, 3, 1);
    grid->addWidget(toolBarsLabel, 0, 2);
    auto* toolBarRow = new QHBoxLayout;
    toolBarRow->addWidget(m_lw_toolbars, 1);
    toolBarRow->addLayout(toolBarButtons);
    grid->addLayout(toolBarRow, 1, 2);
    grid->addWidget(contentLabel, 2, 2);
    grid->addWidget(m_lw_actions, 3, 2);
    grid->setRowStretch(1, 2);
    grid->setRowStretch(3, 3);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(2, 1);

    auto* buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Apply |
                                 QDialogButtonBox::Cancel | QDialogButtonBox::RestoreDefaults,
                             this);
    m_pb_ok = buttons->button(QDialogButtonBox::Ok);
    m_pb_apply = buttons->button(QDialogButtonBox::Apply);
    m_pb_restoreall = buttons->button(QDialogButtonBox::RestoreDefaults);
    m_pb_restoreall->setText(tr("Restore All"));

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid, 1);
    layout->addWidget(buttons);

    connect(buttons, &QDialogButtonBox::accepted, this, &QtToolBarDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_pb_apply, &QPushButton::clicked, this, &QtToolBarDialog::onApply);
    connect(m_pb_restoreall, &QPushButton::clicked, this, &QtToolBarDialog::onRestoreAll);
    connect(m_pb_add, &QPushButton::clicked, this, &QtToolBarDialog::onAddAction);
    connect(m_pb_remove, &QPushButton::clicked, this, &QtToolBarDialog::onRemoveAction);
    connect(m_pb_up, &QPushButton::clicked, this, &QtToolBarDialog::onMoveUp);
    connect(m_pb_down, &QPushButton::clicked, this, &QtToolBarDialog::onMoveDown);
    connect(m_pb_separator, &QPushButton::clicked, this, &QtToolBarDialog::onAddSeparator);
    connect(m_pb_new, &QPushButton::clicked, this, &QtToolBarDialog::onNewToolBar);
    connect(m_pb_delete, &QPushButton::clicked, this, &QtToolBarDialog::onRemoveToolBar);
    connect(m_pb_rename, &QPushButton::clicked, this, &QtToolBarDialog::onRenameToolBar);
    connect(m_pb_restore, &QPushButton::clicked, this, &QtToolBarDialog::onRestoreToolBar);

    connect(m_tw_actions, &QTreeWidget::currentItemChanged, this, &QtToolBarDialog::updateButtons);
    connect(m_tw_actions, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        if (item->childCount() == 0 && m_pb_add->isEnabled())
            onAddAction();
    });
    connect(m_lw_toolbars, &QListWidget::currentRowChanged, this, [this] {
        fillActionList(-1);
        fillActionTree();
    });
    connect(m_lw_toolbars, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        const int row = m_lw_toolbars->row(item);
        if (row < 0 || row >= m_entries.size())
            return;
        const QString title = item->text().trimmed();
        if (title.isEmpty()) {
            const QSignalBlocker blocker(m_lw_toolbars);
            item->setText(m_entries.at(row).title);
        } else {
            m_entries[row].title = title;
        }
        updateButtons();
    });
    connect(m_lw_actions, &QListWidget::currentRowChanged, this, &QtToolBarDialog::updateButtons);
    connect(m_lw_actions, &QListWidget::itemDoubleClicked, this, &QtToolBarDialog::onRemoveAction);

    resize(760, 520);
    ScreenFitArea::wrap(this);
    updateButtons();
}

QtToolBarDialog::~QtToolBarDialog()
{
    // The child widgets outlive this part of the dialog and may still
    // signal on their way out (an open title editor commits).
    for (QObject* child : findChildren<QObject*>())
        child->disconnect(this);
    if (m_manager)
        m_manager->disconnect(this);
}

void QtToolBarDialog::setToolBarManager(QtToolBarManager* manager)
{
    if (m_manager == manager)
        return;
    if (m_manager)
        m_manager->disconnect(this);
    m_manager = manager;
    if (m_manager) {
        // The manager changed under us: start again from what it holds.
        const auto changedOutside = [this] {
            if (!m_applying)
                reload();
        };
        connect(m_manager, &QtToolBarManager::toolBarsChanged, this, changedOutside);
        connect(m_manager, &QtToolBarManager::actionsChanged, this, changedOutside);
    }
    reload();
}

void QtToolBarDialog::accept()
{
    onApply();
    QDialog::accept();
}

void QtToolBarDialog::onApply()
{
    if (!m_manager || !hasChanges())
        return;
    m_applying = true;
    QList<QToolBar*> kept;
    for (const ToolBarEntry& entry : std::as_const(m_entries)) {
        if (entry.toolBar)
            kept.append(entry.toolBar);
    }
    for (QToolBar* toolBar : m_manager->toolBars()) {
        if (!m_manager->isDefaultToolBar(toolBar) && !kept.contains(toolBar))
            m_manager->deleteToolBar(toolBar);
    }
    for (ToolBarEntry& entry : m_entries) {
        if (!entry.toolBar) {
            if (entry.isDefault)
                continue;
            entry.toolBar = m_manager->createToolBar(entry.title);
            if (!entry.toolBar)
                continue;
        }
        if (entry.toolBar->windowTitle() != entry.title)
            entry.toolBar->setWindowTitle(entry.title);
        m_manager->setToolBarActions(entry.toolBar, entry.actions);
    }
    m_applying = false;
    reload();
    Q_EMIT changed();
}

void QtToolBarDialog::onRestoreAll()
{
    if (!m_manager)
        return;
    QList<ToolBarEntry> restored;
    for (const ToolBarEntry& entry : std::as_const(m_entries)) {
        if (!entry.isDefault || !entry.toolBar)
            continue;
        ToolBarEntry defaults = entry;
        defaults.actions = m_manager->defaultToolBarActions(entry.toolBar);
        restored.append(defaults);
    }
    m_entries = restored;
    fillToolBarList(0);
}

void QtToolBarDialog::onAddAction()
{
    const QTreeWidgetItem* item = m_tw_actions->currentItem();
    if (!item || !m_pb_add->isEnabled())
        return;
    if (item->data(0, SeparatorRole).toBool())
        insertAction(nullptr);
    else if (auto* action = item->data(0, ActionRole).value<QAction*>())
        insertAction(action);
}

void QtToolBarDialog::onRemoveAction()
{
    ToolBarEntry* entry = currentEntry();
    const int row = m_lw_actions->currentRow();
    if (!entry || row < 0 || row >= entry->actions.size())
        return;
    entry->actions.removeAt(row);
    fillActionList(qMin(row, int(entry->actions.size()) - 1));
    fillActionTree();
}

void QtToolBarDialog::onMoveUp()
{
    moveAction(-1);
}

void QtToolBarDialog::onMoveDown()
{
    moveAction(1);
}

void QtToolBarDialog::onAddSeparator()
{
    insertAction(nullptr);
}

void QtToolBarDialog::onNewToolBar()
{
    if (!m_manager || !m_manager->mainWindow())
        return;
    const QString base = tr("Custom Toolbar");
    QString title = base;
    for (int n = 2;; ++n) {
        const bool taken =
            std::any_of(m_entries.cbegin(), m_entries.cend(),
                        [&title](const ToolBarEntry& entry) { return entry.title == title; });
        if (!taken)
            break;
        title = base + QLatin1Char(' ') + QString::number(n);
    }
    ToolBarEntry entry;
    entry.title = title;
    m_entries.append(entry);
    fillToolBarList(int(m_entries.size()) - 1);
    onRenameToolBar();
}

void QtToolBarDialog::onRemoveToolBar()
{
    const ToolBarEntry* entry = currentEntry();
    if (!entry || entry->isDefault)
        return;
    const int row = m_lw_toolbars->currentRow();
    m_entries.removeAt(row);
    fillToolBarList(qMin(row, int(m_entries.size()) - 1));
}

void QtToolBarDialog::onRenameToolBar()
{
    const ToolBarEntry* entry = currentEntry();
    if (entry && !entry->isDefault)
        m_lw_toolbars->editItem(m_lw_toolbars->currentItem());
}

void QtToolBarDialog::onRestoreToolBar()
{
    ToolBarEntry* entry = currentEntry();
    if (!m_manager || !entry || !entry->isDefault || !entry->toolBar)
        return;
    entry->actions = m_manager->defaultToolBarActions(entry->toolBar);
    fillActionList(-1);
    fillActionTree();
}

void QtToolBarDialog::reload()
{
    const ToolBarEntry* current = currentEntry();
    const QToolBar* currentToolBar = current ? current->toolBar.data() : nullptr;
    m_entries.clear();
    int row = 0;
    if (m_manager) {
        for (QToolBar* toolBar : m_manager->toolBars()) {
            if (toolBar == currentToolBar)
                row = int(m_entries.size());
            ToolBarEntry entry;
            entry.toolBar = toolBar;
            entry.isDefault = m_manager->isDefaultToolBar(toolBar);
            entry.title = toolBar->windowTitle();
            entry.actions = m_manager->toolBarActions(toolBar);
            m_entries.append(entry);
        }
    }
    fillToolBarList(row);
}

void QtToolBarDialog::fillActionTree()
{
    // Keep the chosen action chosen across the rebuild.
    const QTreeWidgetItem* previous = m_tw_actions->currentItem();
    const QVariant previousAction = previous ? previous->data(0, ActionRole) : QVariant();
    const bool previousSeparator = previous && previous->data(0, SeparatorRole).toBool();
    const QString previousCategory =
        previous && previous->childCount() > 0 ? previous->text(0) : QString();

    const QSignalBlocker blocker(m_tw_actions);
    m_tw_actions->clear();
    if (!m_manager) {
        updateButtons();
        return;
    }
    const ToolBarEntry* entry = currentEntry();
    QTreeWidgetItem* current = nullptr;

    auto* separator = new QTreeWidgetItem(m_tw_actions, {separatorText()});
    separator->setIcon(0, separatorIcon(palette()));
    QFont italic = separator->font(0);
    italic.setItalic(true);
    separator->setFont(0, italic);
    separator->setData(0, SeparatorRole, true);
    separator->setToolTip(0, tr("A separator can be added any number of times"));
    if (previousSeparator)
        current = separator;

    for (const QString& category : m_manager->categories()) {
        auto* categoryItem = new QTreeWidgetItem(m_tw_actions, {category});
        QFont bold = categoryItem->font(0);
        bold.setBold(true);
        categoryItem->setFont(0, bold);
        categoryItem->setFlags(Qt::ItemIsEnabled);
        for (QAction* action : m_manager->categoryActions(category)) {
            auto* item = new QTreeWidgetItem(categoryItem, {plainText(action)});
            item->setIcon(0, action->icon());
            item->setToolTip(0, action->toolTip());
            item->setData(0, ActionRole, QVariant::fromValue(action));
            // An action already on the chosen toolbar cannot go there twice.
            if (entry && entry->actions.contains(action)) {
                item->setForeground(0, palette().brush(QPalette::Disabled, QPalette::Text));
                item->setToolTip(0, tr("Already on the toolbar"));
            }
            if (previousAction.isValid() && previousAction.value<QAction*>() == action)
                current = item;
        }
        if (category == previousCategory)
            current = categoryItem;
    }
    m_tw_actions->expandAll();
    if (current)
        m_tw_actions->setCurrentItem(current);
    updateButtons();
}

void QtToolBarDialog::fillToolBarList(int currentRow)
{
    {
        const QSignalBlocker blocker(m_lw_toolbars);
        m_lw_toolbars->clear();
        for (const ToolBarEntry& entry : std::as_const(m_entries)) {
            // A default toolbar without a title still needs a name here.
            const QString text =
                entry.title.isEmpty() && entry.toolBar ? entry.toolBar->objectName() : entry.title;
            auto* item = new QListWidgetItem(text, m_lw_toolbars);
            if (!entry.isDefault)
                item->setFlags(item->flags() | Qt::ItemIsEditable);
        }
        if (currentRow >= 0 && currentRow < m_entries.size())
            m_lw_toolbars->setCurrentRow(currentRow);
    }
    fillActionList(-1);
    fillActionTree();
}

void QtToolBarDialog::fillActionList(int currentRow)
{
    const QSignalBlocker blocker(m_lw_actions);
    m_lw_actions->clear();
    if (const ToolBarEntry* entry = currentEntry()) {
        QFont separatorFont = m_lw_actions->font();
        separatorFont.setItalic(true);
        for (QAction* action : entry->actions) {
            auto* item = new QListWidgetItem(m_lw_actions);
            if (action) {
                item->setText(plainText(action));
                item->setIcon(action->icon());
                item->setToolTip(action->toolTip());
            } else {
                item->setText(separatorText());
                item->setIcon(separatorIcon(palette()));
                item->setFont(separatorFont);
                item->setForeground(palette().brush(QPalette::Disabled, QPalette::Text));
            }
        }
        if (currentRow >= 0 && currentRow < entry->actions.size())
            m_lw_actions->setCurrentRow(currentRow);
    }
    updateButtons();
}

void QtToolBarDialog::updateButtons()
{
    const ToolBarEntry* entry = currentEntry();
    const QTreeWidgetItem* item = m_tw_actions->currentItem();
    const int row = m_lw_actions->currentRow();
    const int count = entry ? int(entry->actions.size()) : 0;

    bool canAdd = false;
    if (entry && item) {
        if (item->data(0, SeparatorRole).toBool())
            canAdd = true;
        else if (auto* action = item->data(0, ActionRole).value<QAction*>())
            canAdd = !entry->actions.contains(action);
    }
    m_pb_add->setEnabled(canAdd);
    m_pb_remove->setEnabled(entry && row >= 0 && row < count);
    m_pb_up->setEnabled(entry && row > 0 && row < count);
    m_pb_down->setEnabled(entry && row >= 0 && row + 1 < count);
    m_pb_separator->setEnabled(entry != nullptr);
    m_pb_new->setEnabled(m_manager && m_manager->mainWindow());
    m_pb_delete->setEnabled(entry && !entry->isDefault);
    m_pb_rename->setEnabled(entry && !entry->isDefault);
    m_pb_restore->setEnabled(m_manager && entry && entry->isDefault && entry->toolBar &&
                             entry->actions != m_manager->defaultToolBarActions(entry->toolBar));
    m_pb_restoreall->setEnabled(m_manager != nullptr);
    m_pb_apply->setEnabled(hasChanges());
}

bool QtToolBarDialog::hasChanges() const
{
    if (!m_manager)
        return false;
    const QList<QToolBar*> toolBars = m_manager->toolBars();
    if (toolBars.size() != m_entries.size())
        return true;
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        const ToolBarEntry& entry = m_entries.at(i);
        if (entry.toolBar != toolBars.at(i) || entry.title != entry.toolBar->windowTitle() ||
            entry.actions != m_manager->toolBarActions(entry.toolBar))
            return true;
    }
    return false;
}

QtToolBarDialog::ToolBarEntry* QtToolBarDialog::currentEntry()
{
    const int row = m_lw_toolbars->currentRow();
    return row >= 0 && row < m_entries.size() ? &m_entries[row] : nullptr;
}

void QtToolBarDialog::insertAction(QAction* action)
{
    ToolBarEntry* entry = currentEntry();
    if (!entry || (action && entry->actions.contains(action)))
        return;
    const int row = m_lw_actions->currentRow();
    const int at = row >= 0 && row < entry->actions.size() ? row + 1 : int(entry->actions.size());
    entry->actions.insert(at, action);
    fillActionList(at);
    fillActionTree();
}

void QtToolBarDialog::moveAction(int by)
{
    ToolBarEntry* entry = currentEntry();
    const int row = m_lw_actions->currentRow();
    if (!entry || row < 0 || row >= entry->actions.size())
        return;
    const int to = row + by;
    if (to < 0 || to >= entry->actions.size())
        return;
    entry->actions.move(row, to);
    fillActionList(to);
}
