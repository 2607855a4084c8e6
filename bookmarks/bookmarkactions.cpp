// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkactions.h"

#include "bookmarks/bookmarkdocument.h"
#include "bookmarks/bookmarkeditor.h"
#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkwidget.h"
#include "widgets/documentactions.h"
#include "widgets/windowplacement.h"

#include <QAction>
#include <QDockWidget>
#include <QMenu>
#include <QToolBar>

namespace {

QIcon icon(const char* name)
{
    return QIcon(QStringLiteral(":/icons/") + QLatin1String(name));
}

} // namespace

BookmarkActions::BookmarkActions(QWidget* window)
    : QObject(window),
      m_window(window),
      m_document(new BookmarkDocument(this)),
      m_actions(new DocumentActions(m_document, window,
                                    {tr("Open Bookmarks"), tr("Save Bookmarks"), tr("Save Bookmarks as ..."),
                                     tr("There are unsaved bookmarks. What do you want to do?"), QString()})),
      m_mnu_bookmarks(new QMenu(tr("Bookmarks"), window)),
      m_tb_bookmarks(new QToolBar(tr("Bookmarks"), window)),
      m_dock_bookmarks(new QDockWidget(tr("Bookmarks"), window)),
      m_bookmarkwidget(new BookmarkWidget(m_dock_bookmarks)),
      m_act_edit(new QAction(icon("i16_book_edit.png"), tr("Edit Bookmarks"), this)),
      m_act_show(new QAction(icon("i16_bookmark.png"), tr("Show Bookmarks"), this))
{
    QAction* open = m_actions->openAction();
    open->setObjectName(QStringLiteral("m_act_open_bookmarks"));
    open->setIcon(icon("i16_book.png"));
    open->setShortcut(QKeySequence(QStringLiteral("Ctrl+B, Ctrl+O")));
    QAction* save = m_actions->saveAction();
    save->setObjectName(QStringLiteral("m_act_save_bookmarks"));
    save->setIcon(icon("i16_save.png"));
    save->setShortcut(QKeySequence(QStringLiteral("Ctrl+B, Ctrl+S")));
    QAction* saveAs = m_actions->saveAsAction();
    saveAs->setObjectName(QStringLiteral("m_act_save_bookmarks_as"));
    saveAs->setIcon(icon("i16_save_as.png"));
    saveAs->setToolTip(tr("Save Bookmarks as"));
    m_act_edit->setObjectName(QStringLiteral("m_act_edit_bookmarks"));
    m_act_edit->setShortcut(QKeySequence(QStringLiteral("Ctrl+B, Ctrl+E")));
    m_act_show->setObjectName(QStringLiteral("m_act_show_bookmarks"));
    m_act_show->setToolTip(tr("Show bookmark panel"));

    m_mnu_bookmarks->setObjectName(QStringLiteral("m_mnu_bookmarks"));
    m_mnu_bookmarks->addActions({open, save, saveAs, m_act_edit, m_act_show});
    m_tb_bookmarks->setObjectName(QStringLiteral("m_tb_bookmarks"));
    m_tb_bookmarks->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_bookmarkwidget->setObjectName(QStringLiteral("m_bookmarkwidget"));
    m_dock_bookmarks->setObjectName(QStringLiteral("m_dock_bookmarks"));
    m_dock_bookmarks->setWidget(m_bookmarkwidget);

    connect(m_actions, &DocumentActions::message, this, &BookmarkActions::message);
    connect(m_document, &BookmarkDocument::listChanged, this, &BookmarkActions::show);
    connect(m_act_edit, &QAction::triggered, this, &BookmarkActions::edit);
    connect(m_act_show, &QAction::triggered, this, &BookmarkActions::showPanel);
    show(m_document->list());
}

BookmarkList* BookmarkActions::list() const
{
    return m_document->list();
}

void BookmarkActions::show(BookmarkList* list)
{
    list->setMenu(m_mnu_bookmarks);
    list->setToolBar(m_tb_bookmarks);
    m_bookmarkwidget->setBookmarks(list);
    if (m_editor)
        m_editor->setBookmarks(list);
    connect(list, &BookmarkList::activated, this, [this](QAction* action) {
        const QString text = BookmarkList::message(action);
        if (!text.isEmpty())
            Q_EMIT sendRequested(text, tr("Bookmark \"%1\"").arg(action->text()));
    });
    Q_EMIT listChanged(list);
}

bool BookmarkActions::canClose()
{
    return m_actions->canClose();
}

void BookmarkActions::edit()
{
    if (m_editor) {
        WindowPlacement::raise(m_editor);
        return;
    }
    m_editor = new BookmarkEditor(m_window);
    m_editor->setAttribute(Qt::WA_DeleteOnClose);
    m_editor->setTags(m_tags);
    m_editor->setStyle(m_palette, m_codeFont);
    m_editor->setBookmarks(list());
    m_editor->show();
}

void BookmarkActions::showPanel()
{
    m_dock_bookmarks->show();
    m_dock_bookmarks->raise();
}

void BookmarkActions::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    if (m_editor)
        m_editor->setTags(tags);
}

void BookmarkActions::setLook(const QPalette& palette, const QFont& codeFont)
{
    m_palette = palette;
    m_codeFont = codeFont;
    m_bookmarkwidget->setPalette(palette);
    if (m_editor)
        m_editor->setStyle(palette, codeFont);
}
