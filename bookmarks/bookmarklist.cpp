// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarklist.h"

#include <QAction>
#include <QMenu>
#include <QToolBar>

#include <algorithm>
#include <utility>

BookmarkList::BookmarkList(QObject* parent) : QObject(parent) {}

BookmarkList::~BookmarkList()
{
    // The actions die with the list; nobody is to hear about each of them.
    for (QAction* action : std::as_const(m_actions))
        disconnect(action, nullptr, this, nullptr);
}

QAction* BookmarkList::action(int index) const
{
    return index >= 0 && index < count() ? m_actions.at(index) : nullptr;
}

int BookmarkList::indexOf(const QAction* action) const
{
    const auto it = m_entries.constFind(action);
    return it == m_entries.constEnd() ? -1 : it->row;
}

void BookmarkList::addAction(QAction* action, int position)
{
    if (!action || m_entries.contains(action))
        return;
    // An action belongs to one list only.
    if (auto* other = qobject_cast<BookmarkList*>(action->parent()); other && other != this)
        other->takeAction(other->indexOf(action));
    if (position < 0 || position > count())
        position = count();

    Q_EMIT actionAboutToBeInserted(position);
    action->setParent(this);
    m_actions.insert(position, action);
    m_entries.insert(action, Entry{position, savedState(action)});
    renumber(position + 1, count());
    connect(action, &QAction::triggered, this, &BookmarkList::onActivated);
    connect(action, &QAction::changed, this, [this, action] { onActionChanged(action); });
    connect(action, &QObject::destroyed, this, &BookmarkList::onActionDestroyed);
    showIn(m_menu, position);
    showIn(m_toolbar, position);
    Q_EMIT actionInserted(position);
    modified();
}

QAction* BookmarkList::takeAction(int index)
{
    if (index < 0 || index >= count())
        return nullptr;
    Q_EMIT actionAboutToBeRemoved(index);
    QAction* action = m_actions.takeAt(index);
    m_entries.remove(action);
    renumber(index, count());
    detach(action);
    action->setParent(nullptr);
    Q_EMIT actionRemoved(index);
    modified();
    return action;
}

void BookmarkList::removeAction(int index)
{
    delete takeAction(index);
}

void BookmarkList::moveAction(int from, int to)
{
    if (from < 0 || from >= count() || to < 0 || to >= count() || from == to)
        return;
    Q_EMIT actionAboutToBeMoved(from, to);
    m_actions.move(from, to);
    renumber(qMin(from, to), qMax(from, to) + 1);
    QAction* action = m_actions.at(to);
    for (View* view : {&m_menu, &m_toolbar}) {
        hideIn(*view, action);
        showIn(*view, to);
    }
    Q_EMIT actionMoved(from, to);
    modified();
}

void BookmarkList::clear()
{
    if (m_actions.isEmpty())
        return;
    Q_EMIT aboutToBeCleared();
    const QList<QAction*> actions = std::exchange(m_actions, {});
    m_entries.clear();
    for (QAction* action : actions) {
        disconnect(action, nullptr, this, nullptr);
        // Deleting an action takes it out of every menu and toolbar.
        delete action;
    }
    Q_EMIT cleared();
    modified();
}

void BookmarkList::setDirty()
{
    if (m_dirty)
        return;
    m_dirty = true;
    Q_EMIT dirtyChanged(true);
}

void BookmarkList::setClean()
{
    if (!m_dirty)
        return;
    m_dirty = false;
    Q_EMIT dirtyChanged(false);
}

void BookmarkList::setMenu(QMenu* menu)
{
    // A menu hides a separator that leads or trails, so it can always be there.
    setView(m_menu, menu, true);
}

void BookmarkList::setToolBar(QToolBar* toolBar)
{
    setView(m_toolbar, toolBar, false);
}

QString BookmarkList::message(const QAction* action)
{
    return action ? action->data().toString() : QString();
}

QString BookmarkList::toolTip(const QAction* action)
{
    if (!action)
        return QString();
    // QAction falls back to its text for a tool tip that was never set; a
    // plain action with the same texts tells the two apart.
    QAction plain;
    plain.setText(action->text());
    plain.setIconText(action->iconText());
    const QString tip = action->toolTip();
    return tip == plain.toolTip() ? QString() : tip;
}

void BookmarkList::onActivated()
{
    auto* action = qobject_cast<QAction*>(sender());
    if (action && m_entries.contains(action))
        Q_EMIT activated(action);
}

bool BookmarkList::Saved::operator==(const Saved& other) const
{
    return text == other.text && toolTip == other.toolTip && message == other.message &&
           icon == other.icon && shortcut == other.shortcut && separator == other.separator;
}

BookmarkList::Saved BookmarkList::savedState(const QAction* action)
{
    Saved saved;
    saved.text = action->text();
    saved.toolTip = toolTip(action);
    saved.message = message(action);
    saved.icon = action->icon().cacheKey();
    saved.shortcut = action->shortcut();
    saved.separator = action->isSeparator();
    return saved;
}

void BookmarkList::renumber(int from, int to)
{
    for (int i = from; i < to; ++i)
        m_entries[m_actions.at(i)].row = i;
}

void BookmarkList::detach(QAction* action)
{
    disconnect(action, nullptr, this, nullptr);
    hideIn(m_menu, action);
    hideIn(m_toolbar, action);
}

void BookmarkList::onActionChanged(QAction* action)
{
    const auto it = m_entries.find(action);
    if (it == m_entries.end())
        return;
    const Saved now = savedState(action);
    const bool modifiedNow = !(now == it->saved);
    if (modifiedNow)
        it->saved = now;
    Q_EMIT actionChanged(it->row);
    if (modifiedNow)
        modified();
}

void BookmarkList::onActionDestroyed(QObject* object)
{
    // Deleted by someone else: the list must not keep a dangling pointer. The
    // action has already left its menus.
    const auto it = m_entries.constFind(object);
    if (it == m_entries.constEnd())
        return;
    const int row = it->row;
    // Only its QObject part is left; views that look at the row while they
    // hear of its removal see a blank action instead.
    QAction placeholder;
    m_actions[row] = &placeholder;
    Q_EMIT actionAboutToBeRemoved(row);
    m_actions.removeAt(row);
    m_entries.remove(object);
    renumber(row, count());
    Q_EMIT actionRemoved(row);
    modified();
}

void BookmarkList::modified()
{
    setDirty();
    Q_EMIT changed();
}

void BookmarkList::setView(View& view, QWidget* widget, bool alwaysSeparate)
{
    if (view.widget == widget)
        return;
    if (view.widget) {
        for (QAction* action : std::as_const(m_actions))
            view.widget->removeAction(action);
    }
    delete view.separator;
    view.separator = nullptr;
    view.widget = widget;
    if (!widget)
        return;
    // Another list's bookmarks, still shown while it is being replaced, are
    // not the owner's actions and need no separator of their own.
    const QList<QAction*> shown = widget->actions();
    const bool ownerActions = std::any_of(shown.begin(), shown.end(), [](const QAction* action) {
        return !qobject_cast<const BookmarkList*>(action->parent());
    });
    if (alwaysSeparate || ownerActions) {
        view.separator = new QAction(this);
        view.separator->setSeparator(true);
        widget->addAction(view.separator);
    }
    widget->addActions(m_actions);
}

void BookmarkList::showIn(View& view, int index)
{
    QWidget* widget = view.widget;
    if (!widget)
        return;
    QAction* before = action(index + 1);
    if (!before) {
        // The last bookmark goes behind the one before it, ahead of anything
        // the owner added to the widget after the bookmarks.
        const QList<QAction*> shown = widget->actions();
        QAction* previous = index > 0 ? m_actions.at(index - 1) : view.separator;
        if (previous) {
            const int at = int(shown.indexOf(previous));
            before = at >= 0 ? shown.value(at + 1) : nullptr;
        } else {
            before = shown.value(0);
        }
    }
    widget->insertAction(before, m_actions.at(index));
}

void BookmarkList::hideIn(View& view, QAction* action)
{
    if (view.widget)
        view.widget->removeAction(action);
}
