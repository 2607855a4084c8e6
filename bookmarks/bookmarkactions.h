// SPDX-License-Identifier: MIT
#pragma once

#include <QFont>
#include <QObject>
#include <QPalette>
#include <QPointer>

class BookmarkDocument;
class BookmarkEditor;
class BookmarkList;
class BookmarkWidget;
class DocumentActions;
class QAction;
class QDockWidget;
class QMenu;
class QToolBar;
class QWidget;

namespace QRV16 {
class TagDataLut;
} // namespace QRV16

// The bookmarks in a window: the file with Open, Save and Save As, the
// panel in its dock, the toolbar and the menu that show them, and the
// bookmark editor. The window places the dock, toolbar and menu; a
// bookmark that is activated asks to be sent.
class BookmarkActions : public QObject
{
    Q_OBJECT

public:
    // `window` parents the dock, toolbar, menu and dialogs.
    explicit BookmarkActions(QWidget* window);

    BookmarkDocument* document() const { return m_document; }
    DocumentActions* documentActions() const { return m_actions; }
    BookmarkList* list() const;
    QMenu* menu() const { return m_mnu_bookmarks; }
    QToolBar* toolBar() const { return m_tb_bookmarks; }
    QDockWidget* dock() const { return m_dock_bookmarks; }
    QAction* editAction() const { return m_act_edit; }
    QAction* showAction() const { return m_act_show; }

    // Asks about unsaved bookmarks; false when the user cancels.
    bool canClose();

public Q_SLOTS:
    void edit();
    void showPanel();
    // Not owned; bookmarks are checked against these names in the editor.
    void setTags(const QRV16::TagDataLut* tags);
    void setLook(const QPalette& palette, const QFont& codeFont);

Q_SIGNALS:
    // `origin` names the bookmark for the trace line's tool tip.
    void sendRequested(const QString& text, const QString& origin);
    void listChanged(BookmarkList* list);
    void message(const QString& text, bool error);

private:
    void show(BookmarkList* list);

    QWidget* m_window; // Not owned.
    BookmarkDocument* m_document; // Owned (child).
    DocumentActions* m_actions;   // Owned (child of the document).
    // Owned by the window, which places them.
    QMenu* m_mnu_bookmarks;
    QToolBar* m_tb_bookmarks;
    QDockWidget* m_dock_bookmarks;
    BookmarkWidget* m_bookmarkwidget;
    QAction* m_act_edit; // Owned (children).
    QAction* m_act_show;
    QPointer<BookmarkEditor> m_editor;
    const QRV16::TagDataLut* m_tags = nullptr; // Not owned.
    QPalette m_palette;
    QFont m_codeFont;
};
