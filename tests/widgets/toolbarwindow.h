// SPDX-License-Identifier: MIT
#pragma once

// Shared by the toolbar tests: a main window as a program sets it up,
// with named actions whose text is the name in capitals. "General" holds
// open, save, quit, zoomIn and zoomOut, "Edit" holds find; the default
// toolbars are "file" (open, save, separator, quit) and "view" (zoomIn,
// zoomOut). `extra` adds an action and a toolbar "tools" that another
// version of the program would not have.

#include "widgets/qttoolbarmanager.h"

#include <QAction>
#include <QHash>
#include <QMainWindow>
#include <QToolBar>
#include <QtTest>

struct ToolBarWindow
{
    explicit ToolBarWindow(bool extra = false)
    {
        manager.setMainWindow(&window);
        for (const char* name : {"open", "save", "quit", "zoomIn", "zoomOut", "find"})
            add(name, QString::fromLatin1(name) == QLatin1String("find") ? "Edit" : "General");
        addToolBar("file", "File", {"open", "save", "-", "quit"});
        addToolBar("view", "View", {"zoomIn", "zoomOut"});
        if (extra) {
            add("extra", "Edit");
            addToolBar("tools", "Tools", {"extra"});
        }
    }

    void add(const char* name, const char* category)
    {
        auto* action = new QAction(QString::fromLatin1(name).toUpper(), &window);
        action->setObjectName(QString::fromLatin1(name));
        actions.insert(action->objectName(), action);
        manager.addAction(action, QString::fromLatin1(category));
    }

    void addToolBar(const char* name, const char* title, std::initializer_list<const char*> content)
    {
        QToolBar* toolBar = window.addToolBar(QString::fromLatin1(title));
        toolBar->setObjectName(QString::fromLatin1(name));
        for (const char* action : content) {
            if (QLatin1String(action) == QLatin1String("-"))
                toolBar->addSeparator();
            else
                toolBar->addAction(actions.value(QString::fromLatin1(action)));
        }
        manager.addToolBar(toolBar, QString::fromLatin1(title));
    }

    QToolBar* toolBar(const QString& name) const
    {
        for (QToolBar* candidate : manager.toolBars()) {
            if (candidate->objectName() == name || candidate->windowTitle() == name)
                return candidate;
        }
        return nullptr;
    }

    // "open,save,-,quit" -> actions, "-" a separator, unknown names dropped.
    QList<QAction*> parse(const QString& list) const
    {
        QList<QAction*> result;
        for (const QString& name : list.split(QLatin1Char(','), Qt::SkipEmptyParts))
            result.append(name == QLatin1String("-") ? nullptr : actions.value(name));
        return result;
    }

    // Sets up the toolbars from lines "name=a,b,-,c"; a leading '+' makes a
    // user toolbar of that title.
    void apply(const QStringList& layout)
    {
        for (const QString& line : layout) {
            const QString name = line.section(QLatin1Char('='), 0, 0);
            const QString content = line.section(QLatin1Char('='), 1);
            QToolBar* target = name.startsWith(QLatin1Char('+')) ? manager.createToolBar(name.mid(1)) : toolBar(name);
            QVERIFY2(target, qPrintable(name));
            manager.setToolBarActions(target, parse(content));
        }
    }

    // What the toolbars hold, read from the widgets, in the format of
    // apply(): those the manager lists, or all the window has.
    QStringList describe(bool wholeWindow = false) const
    {
        QStringList lines;
        const QList<QToolBar*> toolBars = wholeWindow ? window.findChildren<QToolBar*>() : manager.toolBars();
        for (QToolBar* toolBar : toolBars) {
            QStringList names;
            for (QAction* action : toolBar->actions())
                names << (action->isSeparator() ? QStringLiteral("-") : action->objectName());
            const QString name = manager.isDefaultToolBar(toolBar) ? toolBar->objectName()
                                                                   : QLatin1Char('+') + toolBar->windowTitle();
            lines << name + QLatin1Char('=') + names.join(QLatin1Char(','));
        }
        return lines;
    }

    // Everything a refused state must leave alone, down to the widgets.
    QString snapshot() const
    {
        QStringList parts = describe();
        for (QToolBar* toolBar : window.findChildren<QToolBar*>()) {
            parts << QStringLiteral("%1@%2:%3")
                         .arg(toolBar->objectName())
                         .arg(quintptr(toolBar))
                         .arg(int(window.toolBarArea(toolBar)));
        }
        return parts.join(QLatin1Char('\n'));
    }

    QMainWindow window;
    QtToolBarManager manager;
    QHash<QString, QAction*> actions;
};
