// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QKeySequence>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

class QAction;
class QMenu;
class QToolBar;
class QWidget;

// The user's bookmarks: stored messages as actions, in order. The list owns
// its actions, tells whether they changed since the last save, and keeps a
// menu and a toolbar showing them in the same order. A bookmark's message is
// its action's data, a string in the text notation.
class BookmarkList : public QObject
{
    Q_OBJECT
public:
    explicit BookmarkList(QObject* parent = nullptr);
    ~BookmarkList() override;

    int count() const { return int(m_actions.size()); }
    bool isEmpty() const { return m_actions.isEmpty(); }
    // Null when `index` is out of range.
    QAction* action(int index) const;
    const QList<QAction*>& actions() const { return m_actions; }
    // -1 when the action is not in the list.
    int indexOf(const QAction* action) const;

    // Takes ownership; a position outside 0..count() appends. An action
    // already in the list stays where it is.
    void addAction(QAction* action, int position = -1);
    // Hands the action to the caller, who then owns it.
    QAction* takeAction(int index);
    void removeAction(int index);
    // Afterwards the action stands at `to`.
    void moveAction(int from, int to);
    void clear();

    bool isDirty() const { return m_dirty; }
    void setDirty();
    void setClean();

    // The bookmarks follow whatever the menu or toolbar held when it was
    // set, behind a separator (none in a toolbar that held nothing); only
    // those actions are maintained. Null takes them away again.
    void setMenu(QMenu* menu);
    void setToolBar(QToolBar* toolBar);

    static QString message(const QAction* action);
    // The tool tip that was set, empty where the action shows its text.
    static QString toolTip(const QAction* action);

Q_SIGNALS:
    void activated(QAction* action);
    void dirtyChanged(bool dirty);
    // Any change of the bookmarks' content or order.
    void changed();

    // Fine-grained notifications for item models.
    void actionAboutToBeInserted(int position);
    void actionInserted(int position);
    void actionAboutToBeRemoved(int index);
    void actionRemoved(int index);
    void actionAboutToBeMoved(int from, int to);
    void actionMoved(int from, int to);
    void aboutToBeCleared();
    void cleared();
    // Anything shown changed, saved or not (enabled state, say).
    void actionChanged(int index);

public Q_SLOTS:
    // Connected to each action's triggered().
    void onActivated();

private:
    // What the file keeps of an action; a change of anything else (enabled,
    // checked) leaves the list clean.
    struct Saved
    {
        QString text;
        QString toolTip;
        QString message;
        qint64 icon = 0;
        QKeySequence shortcut;
        bool separator = false;
        bool operator==(const Saved& other) const;
    };
    struct Entry
    {
        int row = 0;
        Saved saved;
    };
    // A menu or toolbar that shows the bookmarks.
    struct View
    {
        QPointer<QWidget> widget;
        QAction* separator = nullptr; // Owned by the list.
    };

    static Saved savedState(const QAction* action);
    void renumber(int from, int to);
    void detach(QAction* action);
    void onActionChanged(QAction* action);
    void onActionDestroyed(QObject* object);
    void modified();
    void setView(View& view, QWidget* widget, bool alwaysSeparate);
    void showIn(View& view, int index);
    void hideIn(View& view, QAction* action);

    QList<QAction*> m_actions;
    // The row of every action, so that finding one needs no search.
    QHash<const QObject*, Entry> m_entries;
    bool m_dirty = false;
    View m_menu;
    View m_toolbar;
};
