// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>

class QAction;
class QMainWindow;
class QToolBar;

// The actions and toolbars of a main window that the user may rearrange.
// Default toolbars are the program's own, with their content at
// registration as the default; user toolbars are created and deleted here.
// In action lists a null pointer stands for a separator. Only registered
// actions are ever put on a toolbar.
class QtToolBarManager : public QObject
{
    Q_OBJECT
public:
    explicit QtToolBarManager(QObject* parent = nullptr);

    // The window that user toolbars are created in.
    void setMainWindow(QMainWindow* mainWindow);
    QMainWindow* mainWindow() const;

    // Categories keep the order in which they are first named.
    void addAction(QAction* action, const QString& category);
    // Takes the action off every toolbar as well.
    void removeAction(QAction* action);
    // Registers a default toolbar; its actions that are not yet registered
    // join the category.
    void addToolBar(QToolBar* toolBar, const QString& category);

    QStringList categories() const;
    QList<QAction*> categoryActions(const QString& category) const;

    // Default toolbars in the order of registration, then user toolbars.
    QList<QToolBar*> toolBars() const;
    bool isDefaultToolBar(QToolBar* toolBar) const;
    QList<QAction*> defaultToolBarActions(QToolBar* toolBar) const;
    QList<QAction*> toolBarActions(QToolBar* toolBar) const;
    void setToolBarActions(QToolBar* toolBar, const QList<QAction*>& actions);

    // A new, empty user toolbar in the main window, with an object name of
    // its own so that window and toolbar states can find it; null without
    // a main window.
    QToolBar* createToolBar(const QString& title);
    // Deletes a user toolbar at once; default toolbars are refused.
    void deleteToolBar(QToolBar* toolBar);
    void resetToolBar(QToolBar* toolBar);

    // The content of every toolbar and the user toolbars themselves (with
    // their title and dock area), by object name: default toolbars and
    // actions without one are not saved. Restoring skips names it does not
    // know; a state of another version, or one that does not read exactly
    // to its end, is refused and changes nothing.
    QByteArray saveState(int version = 0) const;
    bool restoreState(const QByteArray& state, int version = 0);

Q_SIGNALS:
    // A toolbar came, went or holds other actions now.
    void toolBarsChanged();
    // An action was registered or removed.
    void actionsChanged();

private:
    // Takes the action out of the categories and the default toolbars.
    void forget(QAction* action);
    void watch(QToolBar* toolBar);
    // True, and toolBarsChanged() emitted, when the content differed.
    bool replaceActions(QToolBar* toolBar, const QList<QAction*>& actions);
    QToolBar* newUserToolBar(const QString& title, const QString& objectName, int area);
    QString uniqueToolBarName() const;
    QAction* findAction(const QString& objectName) const;
    QToolBar* findToolBar(const QList<QToolBar*>& toolBars, const QString& objectName) const;

    QPointer<QMainWindow> m_mainWindow;
    QStringList m_categories;
    QHash<QString, QList<QAction*>> m_categoryActions;
    QHash<QAction*, QString> m_actionCategory;
    QList<QToolBar*> m_defaultToolBars;
    QHash<QToolBar*, QList<QAction*>> m_defaultActions;
    QList<QToolBar*> m_userToolBars;
};
