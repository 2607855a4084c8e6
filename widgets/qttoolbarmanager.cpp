// SPDX-License-Identifier: MIT
#include "widgets/qttoolbarmanager.h"

#include <QAction>
#include <QDataStream>
#include <QIODevice>
#include <QMainWindow>
#include <QSet>
#include <QToolBar>

namespace {

const quint32 stateMagic = 0x6b54424d;
const QDataStream::Version streamVersion = QDataStream::Qt_6_0;

enum EntryKind : quint8 { SeparatorEntry = 0, ActionEntry = 1 };

struct SavedEntry
{
    bool separator = false;
    QString action;
};

struct SavedToolBar
{
    QString name;
    QString title;
    qint32 area = Qt::TopToolBarArea;
    QList<SavedEntry> entries;
};

void writeEntries(QDataStream& out, const QList<QAction*>& actions)
{
    QList<QAction*> kept;
    kept.reserve(actions.size());
    for (QAction* action : actions) {
        // Without an object name an action cannot be found again.
        if (!action || !action->objectName().isEmpty())
            kept.append(action);
    }
    out << quint32(kept.size());
    for (QAction* action : kept) {
        if (action)
            out << quint8(ActionEntry) << action->objectName();
        else
            out << quint8(SeparatorEntry);
    }
}

bool readEntries(QDataStream& in, QList<SavedEntry>* entries)
{
    quint32 count = 0;
    in >> count;
    // Every entry takes at least a byte, so a huge count of a damaged state
    // runs past the end soon; nothing is reserved for it.
    for (quint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        quint8 kind = 0;
        in >> kind;
        SavedEntry entry;
        if (kind == ActionEntry)
            in >> entry.action;
        else if (kind == SeparatorEntry)
            entry.separator = true;
        else
            return false;
        entries->append(entry);
    }
    return in.status() == QDataStream::Ok;
}

bool isToolBarArea(qint32 area)
{
    return area == Qt::LeftToolBarArea || area == Qt::RightToolBarArea ||
           area == Qt::TopToolBarArea || area == Qt::BottomToolBarArea;
}

} // namespace

QtToolBarManager::QtToolBarManager(QObject* parent) : QObject(parent) {}

void QtToolBarManager::setMainWindow(QMainWindow* mainWindow)
{
    m_mainWindow = mainWindow;
}

QMainWindow* QtToolBarManager::mainWindow() const
{
    return m_mainWindow;
}

void QtToolBarManager::addAction(QAction* action, const QString& category)
{
    if (!action || m_actionCategory.contains(action))
        return;
    if (!m_categoryActions.contains(category))
        m_categories.append(category);
    m_categoryActions[category].append(action);
    m_actionCategory.insert(action, category);
    // By the time `destroyed` arrives the action has left every widget;
    // only the registry still names it.
    connect(action, &QObject::destroyed, this, [this, action] {
        forget(action);
        Q_EMIT actionsChanged();
        Q_EMIT toolBarsChanged();
    });
    Q_EMIT actionsChanged();
}

void QtToolBarManager::removeAction(QAction* action)
{
    if (!action || !m_actionCategory.contains(action))
        return;
    action->disconnect(this);
    forget(action);
    bool onToolBar = false;
    for (QToolBar* toolBar : toolBars()) {
        if (toolBar->actions().contains(action)) {
            toolBar->removeAction(action);
            onToolBar = true;
        }
    }
    Q_EMIT actionsChanged();
    if (onToolBar)
        Q_EMIT toolBarsChanged();
}

void QtToolBarManager::forget(QAction* action)
{
    const QString category = m_actionCategory.take(action);
    QList<QAction*>& actions = m_categoryActions[category];
    actions.removeAll(action);
    if (actions.isEmpty()) {
        m_categoryActions.remove(category);
        m_categories.removeAll(category);
    }
    for (QList<QAction*>& defaults : m_defaultActions)
        defaults.removeAll(action);
}

void QtToolBarManager::addToolBar(QToolBar* toolBar, const QString& category)
{
    if (!toolBar || toolBars().contains(toolBar))
        return;
    QList<QAction*> defaults;
    for (QAction* action : toolBar->actions()) {
        if (action->isSeparator()) {
            defaults.append(nullptr);
        } else {
            addAction(action, category);
            defaults.append(action);
        }
    }
    m_defaultToolBars.append(toolBar);
    m_defaultActions.insert(toolBar, defaults);
    watch(toolBar);
    Q_EMIT toolBarsChanged();
}

QStringList QtToolBarManager::categories() const
{
    return m_categories;
}

QList<QAction*> QtToolBarManager::categoryActions(const QString& category) const
{
    return m_categoryActions.value(category);
}

QList<QToolBar*> QtToolBarManager::toolBars() const
{
    return m_defaultToolBars + m_userToolBars;
}

bool QtToolBarManager::isDefaultToolBar(QToolBar* toolBar) const
{
    return toolBar && m_defaultToolBars.contains(toolBar);
}

QList<QAction*> QtToolBarManager::defaultToolBarActions(QToolBar* toolBar) const
{
    return m_defaultActions.value(toolBar);
}

QList<QAction*> QtToolBarManager::toolBarActions(QToolBar* toolBar) const
{
    QList<QAction*> actions;
    if (!toolBar || !toolBars().contains(toolBar))
        return actions;
    for (QAction* action : toolBar->actions()) {
        if (action->isSeparator())
            actions.append(nullptr);
        else if (m_actionCategory.contains(action))
            actions.append(action);
    }
    return actions;
}

void QtToolBarManager::setToolBarActions(QToolBar* toolBar, const QList<QAction*>& actions)
{
    if (!toolBar || !toolBars().contains(toolBar))
        return;
    replaceActions(toolBar, actions);
}

QToolBar* QtToolBarManager::createToolBar(const QString& title)
{
    if (!m_mainWindow)
        return nullptr;
    QToolBar* toolBar = newUserToolBar(title, uniqueToolBarName(), Qt::TopToolBarArea);
    m_userToolBars.append(toolBar);
    Q_EMIT toolBarsChanged();
    return toolBar;
}

void QtToolBarManager::deleteToolBar(QToolBar* toolBar)
{
    if (!toolBar || !m_userToolBars.contains(toolBar))
        return;
    toolBar->disconnect(this);
    m_userToolBars.removeAll(toolBar);
    if (m_mainWindow)
        m_mainWindow->removeToolBar(toolBar);
    delete toolBar;
    Q_EMIT toolBarsChanged();
}

void QtToolBarManager::resetToolBar(QToolBar* toolBar)
{
    if (isDefaultToolBar(toolBar))
        replaceActions(toolBar, m_defaultActions.value(toolBar));
}

QByteArray QtToolBarManager::saveState(int version) const
{
    QByteArray state;
    QDataStream out(&state, QIODevice::WriteOnly);
    out.setVersion(streamVersion);
    out << stateMagic << qint32(version);

    QList<QToolBar*> defaults;
    for (QToolBar* toolBar : m_defaultToolBars) {
        if (!toolBar->objectName().isEmpty())
            defaults.append(toolBar);
    }
    out << quint32(defaults.size());
    for (QToolBar* toolBar : defaults) {
        out << toolBar->objectName();
        writeEntries(out, toolBarActions(toolBar));
    }

    out << quint32(m_userToolBars.size());
    for (QToolBar* toolBar : m_userToolBars) {
        const Qt::ToolBarArea area =
            m_mainWindow ? m_mainWindow->toolBarArea(toolBar) : Qt::TopToolBarArea;
        out << toolBar->objectName() << toolBar->windowTitle()
            << qint32(isToolBarArea(area) ? area : Qt::TopToolBarArea);
        writeEntries(out, toolBarActions(toolBar));
    }
    return state;
}

bool QtToolBarManager::restoreState(const QByteArray& state, int version)
{
    // Read everything before touching anything: a state refused halfway
    // must leave the toolbars as they were.
    QDataStream in(state);
    in.setVersion(streamVersion);
    quint32 magic = 0;
    qint32 savedVersion = 0;
    in >> magic >> savedVersion;
    if (in.status() != QDataStream::Ok || magic != stateMagic || savedVersion != version)
        return false;

    QList<SavedToolBar> defaults;
    quint32 count = 0;
    in >> count;
    for (quint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        SavedToolBar saved;
        in >> saved.name;
        if (!readEntries(in, &saved.entries))
            return false;
        defaults.append(saved);
    }
    QList<SavedToolBar> users;
    in >> count;
    for (quint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        SavedToolBar saved;
        in >> saved.name >> saved.title >> saved.area;
        if (!readEntries(in, &saved.entries) || !isToolBarArea(saved.area))
            return false;
        users.append(saved);
    }
    if (in.status() != QDataStream::Ok || !in.atEnd())
        return false;

    QSet<QString> names;
    for (const QList<SavedToolBar>* list : {&defaults, &users}) {
        for (const SavedToolBar& saved : *list) {
            if (saved.name.isEmpty() || names.contains(saved.name))
                return false;
            names.insert(saved.name);
        }
    }

    const auto resolve = [this](const QList<SavedEntry>& entries) {
        QList<QAction*> actions;
        for (const SavedEntry& entry : entries) {
            if (entry.separator)
                actions.append(nullptr);
            else if (QAction* action = findAction(entry.action))
                actions.append(action);
        }
        return actions;
    };

    bool changed = false;
    QSignalBlocker blocker(this);
    for (const SavedToolBar& saved : defaults) {
        if (QToolBar* toolBar = findToolBar(m_defaultToolBars, saved.name))
            changed |= replaceActions(toolBar, resolve(saved.entries));
    }
    QList<QToolBar*> kept;
    for (const SavedToolBar& saved : users) {
        if (findToolBar(m_defaultToolBars, saved.name))
            continue;
        QToolBar* toolBar = findToolBar(m_userToolBars, saved.name);
        if (toolBar) {
            changed |= toolBar->windowTitle() != saved.title;
            toolBar->setWindowTitle(saved.title);
        } else if (m_mainWindow) {
            toolBar = newUserToolBar(saved.title, saved.name, saved.area);
            changed = true;
        } else {
            continue;
        }
        changed |= replaceActions(toolBar, resolve(saved.entries));
        kept.append(toolBar);
    }
    const QList<QToolBar*> previous = m_userToolBars;
    m_userToolBars = kept;
    for (QToolBar* toolBar : previous) {
        if (!kept.contains(toolBar)) {
            toolBar->disconnect(this);
            if (m_mainWindow)
                m_mainWindow->removeToolBar(toolBar);
            delete toolBar;
            changed = true;
        }
    }
    changed |= previous != kept;
    blocker.unblock();
    if (changed)
        Q_EMIT toolBarsChanged();
    return true;
}

void QtToolBarManager::watch(QToolBar* toolBar)
{
    connect(toolBar, &QObject::destroyed, this, [this, toolBar] {
        m_defaultToolBars.removeAll(toolBar);
        m_defaultActions.remove(toolBar);
        m_userToolBars.removeAll(toolBar);
        Q_EMIT toolBarsChanged();
    });
}

bool QtToolBarManager::replaceActions(QToolBar* toolBar, const QList<QAction*>& actions)
{
    QList<QAction*> wanted;
    wanted.reserve(actions.size());
    QSet<QAction*> seen;
    for (QAction* action : actions) {
        if (!action) {
            wanted.append(nullptr);
        } else if (m_actionCategory.contains(action) && !seen.contains(action)) {
            // A widget holds an action once; a second copy would only move it.
            wanted.append(action);
            seen.insert(action);
        }
    }
    if (wanted == toolBarActions(toolBar))
        return false;

    for (QAction* action : toolBar->actions()) {
        toolBar->removeAction(action);
        if (action->isSeparator() && action->parent() == toolBar)
            delete action;
    }
    for (QAction* action : wanted) {
        if (action)
            toolBar->addAction(action);
        else
            toolBar->addSeparator();
    }
    Q_EMIT toolBarsChanged();
    return true;
}

QToolBar* QtToolBarManager::newUserToolBar(const QString& title, const QString& objectName,
                                           int area)
{
    auto* toolBar = new QToolBar(title, m_mainWindow);
    toolBar->setObjectName(objectName);
    m_mainWindow->addToolBar(Qt::ToolBarArea(area), toolBar);
    watch(toolBar);
    return toolBar;
}

QString QtToolBarManager::uniqueToolBarName() const
{
    QSet<QString> taken;
    for (QToolBar* toolBar : toolBars())
        taken.insert(toolBar->objectName());
    if (m_mainWindow) {
        for (QToolBar* toolBar : m_mainWindow->findChildren<QToolBar*>())
            taken.insert(toolBar->objectName());
    }
    for (int n = 1;; ++n) {
        const QString name = QStringLiteral("UserToolBar%1").arg(n);
        if (!taken.contains(name))
            return name;
    }
}

QAction* QtToolBarManager::findAction(const QString& objectName) const
{
    if (objectName.isEmpty())
        return nullptr;
    for (const QString& category : m_categories) {
        for (QAction* action : m_categoryActions.value(category)) {
            if (action->objectName() == objectName)
                return action;
        }
    }
    return nullptr;
}

QToolBar* QtToolBarManager::findToolBar(const QList<QToolBar*>& toolBars,
                                        const QString& objectName) const
{
    for (QToolBar* toolBar : toolBars) {
        if (toolBar->objectName() == objectName)
            return toolBar;
    }
    return nullptr;
}
