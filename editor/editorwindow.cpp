// SPDX-License-Identifier: MIT
#include "editor/editorwindow.h"

#include "editor/codeviewmenu.h"
#include "editor/editordelegate.h"
#include "editor/editoritemeditdialog.h"
#include "editor/editormodel.h"
#include "editor/editordocument.h"
#include "editor/filechangedwidget.h"
#include "editor/rowtreeview.h"
#include "widgets/documentactions.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFontDialog>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMetaMethod>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QSettings>
#include <QStatusBar>
#include <QToolBar>
#include <QUndoStack>
#include <QUndoView>
#include <QVBoxLayout>

namespace QRV16 {

namespace {

const char* const titleText = QT_TRANSLATE_NOOP("QRV16::EditorWindow", "QRV16 tag editor");

QString key(const char* name)
{
    return QStringLiteral("QRV16Editor/") + QLatin1String(name);
}

} // namespace

EditorWindow::EditorWindow(QWidget* parent)
    : QMainWindow(parent), m_model(new EditorModel(this)), m_undo(new QUndoStack(this))
{
    m_undo->setUndoLimit(1000);
    m_model->setUndoStack(m_undo);

    QSettings settings;
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    QFont comment = font();
    comment.setItalic(true);
    fixed.fromString(settings.value(key("FixedFont"), fixed.toString()).toString());
    comment.fromString(settings.value(key("CommentFont"), comment.toString()).toString());
    m_model->setFixedFont(fixed);
    m_model->setCommentFont(comment);

    m_wdg_file_changed = new FileChangedWidget(this);
    m_wdg_file_changed->setObjectName(QStringLiteral("m_wdg_file_changed"));
    m_document = new EditorDocument(m_model, m_undo, m_wdg_file_changed, this);
    m_documentActions = new DocumentActions(
        m_document, this,
        {tr("Open"), tr("Save"), tr("Save as..."), tr("There are unsaved changes. What do you want to do?"),
         tr(titleText), tr("Open QRV16 definitions"), tr("Save QRV16 definitions")});
    setupActions();
    setupUi();

    connect(m_document, &Document::pathChanged, this, &EditorWindow::updateCleanState);
    connect(m_document, &EditorDocument::opened, this, &EditorWindow::onOpened);
    connect(m_document, &EditorDocument::saved, this, &EditorWindow::onSaved);
    connect(m_document, &EditorDocument::warnings, this, &EditorWindow::message);
    connect(m_documentActions, &DocumentActions::message, this,
            [this](const QString& text, bool failed) { failed ? error(text) : popupMessage(text); });
    connect(m_codeViews, &CodeViewMenu::message, this, &EditorWindow::message);
    connect(m_codeViews, &CodeViewMenu::error, this, &EditorWindow::error);
    connect(m_undo, &QUndoStack::cleanChanged, this, &EditorWindow::updateCleanState);
    connect(m_undo, &QUndoStack::indexChanged, this, &EditorWindow::onUndoHistoryChanged);
    connect(m_model, &EditorModel::undone, this, &EditorWindow::setCurrentItem);
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &EditorWindow::spanComments);
    connect(m_view, &QTreeView::expanded, this, [this](const QModelIndex& index) {
        spanComments(index, 0, m_model->rowCount(index) - 1);
    });
    connect(m_model, &QAbstractItemModel::modelReset, this, [this] {
        spanComments(QModelIndex(), 0, m_model->rowCount() - 1);
        updateActions();
    });
    connect(m_model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex& topLeft, const QModelIndex& bottomRight) {
                spanComments(topLeft.parent(), topLeft.row(), bottomRight.row());
            });
    connect(m_model, &QAbstractItemModel::rowsRemoved, this, &EditorWindow::updateActions);
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &EditorWindow::updateActions);
    updateActions();
    updateCleanState();
}

EditorWindow::~EditorWindow()
{
    // Commands point into the model's tree; let them go while it exists.
    m_undo->clear();
}

QAction* EditorWindow::makeAction(const char* name, const QString& text, const QString& shortcut,
                                  const char* icon)
{
    auto* action = new QAction(text, this);
    action->setObjectName(QLatin1String(name));
    if (!shortcut.isEmpty())
        action->setShortcut(QKeySequence(shortcut));
    if (icon)
        action->setIcon(QIcon(QLatin1String(icon)));
    return action;
}

void EditorWindow::setupActions()
{
    m_act_new = makeAction("m_act_new", tr("Clear all"), QString(), ":/icons/i16_bomb.png");
    const auto decorate = [](QAction* action, const char* name, const char* shortcut, const char* icon) {
        action->setObjectName(QLatin1String(name));
        action->setShortcut(QKeySequence(QLatin1String(shortcut)));
        action->setIcon(QIcon(QLatin1String(icon)));
        return action;
    };
    m_act_open = decorate(m_documentActions->openAction(), "m_act_open", "Ctrl+O", ":/icons/i16_folder_open.png");
    m_act_save = decorate(m_documentActions->saveAction(), "m_act_save", "Ctrl+S", ":/icons/i16_save.png");
    m_act_save_as = decorate(m_documentActions->saveAsAction(), "m_act_save_as", "", ":/icons/i16_save_as.png");
    m_act_close = makeAction("m_act_close", tr("Close"), QStringLiteral("Ctrl+Q"), ":/icons/i16_exit.png");

    m_act_undo = m_undo->createUndoAction(this, tr("Undo"));
    m_act_undo->setObjectName(QStringLiteral("m_act_undo"));
    m_act_undo->setShortcut(QKeySequence(QStringLiteral("Ctrl+Z")));
    m_act_undo->setIcon(QIcon(QStringLiteral(":/icons/i16_undo.png")));
    m_act_redo = m_undo->createRedoAction(this, tr("Redo"));
    m_act_redo->setObjectName(QStringLiteral("m_act_redo"));
    m_act_redo->setShortcut(QKeySequence(QStringLiteral("Ctrl+Y")));
    m_act_redo->setIcon(QIcon(QStringLiteral(":/icons/i16_redo.png")));
    m_act_undo_history = makeAction("m_act_undo_history", tr("Undo history"), QString(),
                                    ":/icons/i16_undo_history.png");
    m_act_undo_history->setCheckable(true);

    m_act_insert_before = makeAction("m_act_insert_before", tr("Insert before"), QStringLiteral("Ins"),
                                     ":/icons/i16_add.png");
    m_act_insert_after = makeAction("m_act_insert_after", tr("Insert after"),
                                    QStringLiteral("Shift+Ins"), nullptr);
    m_act_delete = makeAction("m_act_delete", tr("Delete"), QStringLiteral("Del"), ":/icons/i16_remove.png");
    m_act_add_enums = makeAction("m_act_add_enums", tr("Add enums"), QStringLiteral("Ctrl+E"),
                                 ":/icons/i16_list.png");
    m_act_add_bits = makeAction("m_act_add_bits", tr("Add bits"), QStringLiteral("Ctrl+B"),
                                ":/icons/i16_list_bullets.png");
    m_act_cut = makeAction("m_act_cut", tr("Cut"), QStringLiteral("Ctrl+X"), ":/icons/i16_cut.png");
    m_act_copy = makeAction("m_act_copy", tr("Copy"), QStringLiteral("Ctrl+C"), ":/icons/i16_copy.png");
    m_act_paste = makeAction("m_act_paste", tr("Paste"), QStringLiteral("Ctrl+V"), ":/icons/i16_paste.png");

    m_act_fixed_font = makeAction("m_act_fixed_font", tr("Chose Code Font"), QString(),
                                  ":/icons/i16_font.png");
    m_act_comment_font = makeAction("m_act_comment_font", tr("Chose Comment Font"), QString(), nullptr);
    m_act_expand = makeAction("m_act_expand", tr("Expand subtree"), QStringLiteral("Ctrl++"),
                              ":/icons/i16_expand_all.png");
    m_act_collapse = makeAction("m_act_collapse", tr("Collapse subtree"), QStringLiteral("Ctrl+-"),
                                ":/icons/i16_collapse_all.png");

    connect(m_act_new, &QAction::triggered, this, &EditorWindow::onNew);
    connect(m_act_close, &QAction::triggered, this, &QWidget::close);
    connect(m_act_insert_before, &QAction::triggered, this, &EditorWindow::onInsertBefore);
    connect(m_act_insert_after, &QAction::triggered, this, &EditorWindow::onInsertAfter);
    connect(m_act_delete, &QAction::triggered, this, &EditorWindow::onDelete);
    connect(m_act_add_enums, &QAction::triggered, this, &EditorWindow::onAddEnums);
    connect(m_act_add_bits, &QAction::triggered, this, &EditorWindow::onAddBits);
    connect(m_act_cut, &QAction::triggered, this, &EditorWindow::onCut);
    connect(m_act_copy, &QAction::triggered, this, &EditorWindow::onCopy);
    connect(m_act_paste, &QAction::triggered, this, &EditorWindow::onPaste);
    connect(m_act_fixed_font, &QAction::triggered, this, &EditorWindow::onFixedFont);
    connect(m_act_comment_font, &QAction::triggered, this, &EditorWindow::onCommentFont);
}

void EditorWindow::setupUi()
{
    setObjectName(QStringLiteral("QRV16EditorWindow"));
    setWindowTitle(QStringLiteral("xyzzy"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/i16_table_edit.png")));
    resize(900, 640);

    auto* central = new QWidget(this);
    central->setObjectName(QStringLiteral("centralwidget"));
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_view = new RowTreeView(central);
    m_view->setObjectName(QStringLiteral("m_view"));
    layout->addWidget(m_wdg_file_changed);
    layout->addWidget(m_view);
    setCentralWidget(central);
    m_codeViews = new CodeViewMenu(m_model, this);

    m_delegate = new EditorDelegate(this);
    m_view->setModel(m_model);
    m_view->setItemDelegate(m_delegate);
    m_view->setSelectionMode(QAbstractItemView::SingleSelection);
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setAllColumnsShowFocus(true);
    // A double click opens the item dialog; F2 or a second click edits in place.
    m_view->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
    m_view->setDragDropMode(QAbstractItemView::DragDrop);
    m_view->setDefaultDropAction(Qt::MoveAction);
    m_view->setDropIndicatorShown(true);
    m_view->setContextMenuPolicy(Qt::ActionsContextMenu);
    m_view->header()->setStretchLastSection(true);
    m_view->header()->setSectionsMovable(false);
    m_view->setColumnWidth(EditorModel::NameColumn, 300);
    m_view->setColumnWidth(EditorModel::IdColumn, 130);

    m_dock_undo = new QDockWidget(tr("Undo History"), this);
    m_dock_undo->setObjectName(QStringLiteral("UndoDock"));
    m_undo_view = new QUndoView(m_undo, m_dock_undo);
    m_undo_view->setObjectName(QStringLiteral("m_undo_view"));
    m_undo_view->setEmptyLabel(tr("<original>"));
    m_undo_view->setCleanIcon(QIcon(QStringLiteral(":/icons/i16_save.png")));
    m_dock_undo->setWidget(m_undo_view);
    addDockWidget(Qt::RightDockWidgetArea, m_dock_undo);
    m_dock_undo->hide();

    m_dock_messages = new QDockWidget(tr("Messages"), this);
    m_dock_messages->setObjectName(QStringLiteral("MessageDock"));
    m_te_messages = new QPlainTextEdit(m_dock_messages);
    m_te_messages->setObjectName(QStringLiteral("m_te_messages"));
    m_te_messages->setReadOnly(true);
    m_te_messages->setFont(m_model->fixedFont());
    m_dock_messages->setWidget(m_te_messages);
    addDockWidget(Qt::BottomDockWidgetArea, m_dock_messages);
    m_dock_messages->hide();

    m_menu_file = menuBar()->addMenu(tr("File"));
    m_menu_file->setObjectName(QStringLiteral("m_menu_file"));
    m_menu_file->addActions({m_act_new, m_act_open, m_act_save, m_act_save_as});
    m_menu_file->addSeparator();
    m_menu_file->addAction(m_act_close);

    m_menu_edit = menuBar()->addMenu(tr("Edit"));
    m_menu_edit->setObjectName(QStringLiteral("m_menu_edit"));
    m_menu_edit->addActions({m_act_undo, m_act_redo});
    m_menu_edit->addSeparator();
    m_menu_edit->addActions({m_act_insert_before, m_act_insert_after, m_act_delete, m_act_add_enums,
                             m_act_add_bits});
    m_menu_edit->addSeparator();
    m_menu_edit->addActions({m_act_cut, m_act_copy, m_act_paste});

    m_menu_view = menuBar()->addMenu(tr("View"));
    m_menu_view->setObjectName(QStringLiteral("m_menu_view"));
    m_menu_view->addActions({m_act_undo_history, m_dock_messages->toggleViewAction()});
    m_menu_view->addSeparator();
    m_menu_view->addActions({m_act_expand, m_act_collapse});
    m_menu_view->addSeparator();
    m_menu_view->addActions({m_act_fixed_font, m_act_comment_font});
    m_menu_view->addSeparator();
    m_menu_view->addActions(m_codeViews->actions());

    m_tb_edit = addToolBar(tr("Edit"));
    m_tb_edit->setObjectName(QStringLiteral("m_tb_edit"));
    m_tb_edit->addActions({m_act_open, m_act_save});
    m_tb_edit->addSeparator();
    m_tb_edit->addActions({m_act_undo, m_act_redo});
    m_tb_edit->addSeparator();
    m_tb_edit->addActions({m_act_insert_before, m_act_delete, m_act_add_enums, m_act_add_bits});
    m_tb_edit->addSeparator();
    m_tb_edit->addActions({m_act_cut, m_act_copy, m_act_paste});
    m_tb_edit->addSeparator();
    m_tb_edit->addActions({m_codeViews->headerAction(), m_codeViews->luaAction()});

    // The view's own actions work only while it has the focus, so the text
    // fields of docks and editors keep their Ctrl+C and Del.
    m_view->addActions({m_act_insert_before, m_act_insert_after, m_act_delete, m_act_add_enums,
                        m_act_add_bits, m_act_cut, m_act_copy, m_act_paste, m_act_expand,
                        m_act_collapse});
    for (QAction* a : {m_act_insert_before, m_act_insert_after, m_act_delete, m_act_cut, m_act_copy,
                       m_act_paste})
        a->setShortcutContext(Qt::WidgetWithChildrenShortcut);

    connect(m_act_undo_history, &QAction::toggled, m_dock_undo, &QDockWidget::setVisible);
    connect(m_dock_undo, &QDockWidget::visibilityChanged, m_act_undo_history, [this](bool) {
        m_act_undo_history->setChecked(m_dock_undo->isVisibleTo(this));
    });
    connect(m_act_expand, &QAction::triggered, m_view, &RowTreeView::expandCurrentSubtree);
    connect(m_act_collapse, &QAction::triggered, m_view, &RowTreeView::collapseCurrentSubtree);
    connect(m_view, &RowTreeView::currentIndexChanged, this, &EditorWindow::updateActions);
    connect(m_view, &QAbstractItemView::doubleClicked, this, &EditorWindow::onDoubleClicked);
    connect(m_delegate, &EditorDelegate::message, this, &EditorWindow::popupMessage);
    connect(m_wdg_file_changed, &FileChangedWidget::reloadClicked, this, &EditorWindow::onReloadClicked);
}

void EditorWindow::initialize(const QString& path, const QString& fallbackPath)
{
    QString file = path;
    if (file.isEmpty())
        file = QSettings().value(key("LastOpenPath")).toString();
    if (file.isEmpty() || !QFileInfo(file).isFile())
        file = path.isEmpty() ? fallbackPath : file;
    if (!file.isEmpty()) {
        if (Item* root = loadDefinitionFile(file)) {
            m_model->setTags(root);
            m_document->setFile(file);
        }
    }
    m_undo->setClean();
    updateCleanState();
}

QString EditorWindow::currentFile() const
{
    return m_document->path();
}

Item* EditorWindow::loadDefinitionFile(const QString& path)
{
    return m_document->read(path);
}

void EditorWindow::onOpened(const QString& path)
{
    // The receiver owns the copy; with none, there is nothing to hand over.
    if (isSignalConnected(QMetaMethod::fromSignal(&EditorWindow::opened)))
        Q_EMIT opened(m_model->root()->clone(), path);
}

void EditorWindow::onNew()
{
    m_model->undoableClear(currentRow());
}

void EditorWindow::onOpen()
{
    m_documentActions->open();
}

void EditorWindow::onSave()
{
    m_documentActions->save();
}

void EditorWindow::onSaveAs()
{
    m_documentActions->saveAs();
}

bool EditorWindow::save(const QString& path)
{
    return m_documentActions->saveTo(path);
}

void EditorWindow::onSaved(const QString& path)
{
    // The receiver owns the copy; with none, there is nothing to hand over.
    if (isSignalConnected(QMetaMethod::fromSignal(&EditorWindow::saved)))
        Q_EMIT saved(m_model->root()->clone(), path);
}

QModelIndex EditorWindow::currentRow() const
{
    return m_view->currentIndex().siblingAtColumn(0);
}

void EditorWindow::insertAt(bool after)
{
    const QModelIndex current = currentRow();
    const Item* item = m_model->index2item(current);
    const ItemType type = item->data().type;
    QModelIndex parent;
    int row;
    if (!current.isValid() || isContainerType(type)) {
        // Into the container (or the file) the cursor is on.
        parent = current;
        row = after ? m_model->rowCount(parent) : 0;
    } else {
        parent = current.parent();
        row = current.row() + (after ? 1 : 0);
    }
    if (!m_model->insertRow(row, parent))
        return;
    const QModelIndex made = m_model->index(row, 0, parent);
    m_view->expand(parent);
    m_view->setCurrentIndex(made);
    m_view->scrollTo(made);
    m_view->edit(made);
}

void EditorWindow::onInsertBefore()
{
    insertAt(false);
}

void EditorWindow::onInsertAfter()
{
    insertAt(true);
}

void EditorWindow::onDelete()
{
    const QModelIndex current = currentRow();
    if (current.isValid())
        m_model->removeRow(current.row(), current.parent());
}

void EditorWindow::addList(int type)
{
    const QModelIndex current = currentRow();
    const QModelIndex list = m_model->insertList(current, ItemType(type));
    if (!list.isValid())
        return;
    m_view->expand(current);
    m_view->setCurrentIndex(list);
    m_view->scrollTo(list);
}

void EditorWindow::onAddEnums()
{
    addList(int(ItemType::Enums));
}

void EditorWindow::onAddBits()
{
    addList(int(ItemType::Bits));
}

void EditorWindow::onCut()
{
    m_model->cut(currentRow());
}

void EditorWindow::onCopy()
{
    if (QMimeData* data = m_model->copy(currentRow()))
        QApplication::clipboard()->setMimeData(data);
}

void EditorWindow::onPaste()
{
    if (!m_model->paste(currentRow(), QApplication::clipboard()->mimeData()))
        popupMessage(tr("The clipboard holds no definitions that fit here."));
}

void EditorWindow::onFixedFont()
{
    bool ok = false;
    const QFont font = QFontDialog::getFont(&ok, m_model->fixedFont(), this, tr("Chose font for code"));
    if (!ok)
        return;
    m_model->setFixedFont(font);
    QSettings().setValue(key("FixedFont"), font.toString());
}

void EditorWindow::onCommentFont()
{
    bool ok = false;
    const QFont font =
        QFontDialog::getFont(&ok, m_model->commentFont(), this, tr("Chose font for comments"));
    if (!ok)
        return;
    m_model->setCommentFont(font);
    QSettings().setValue(key("CommentFont"), font.toString());
}

void EditorWindow::onReloadClicked()
{
    const QString path = m_document->path();
    if (!path.isEmpty())
        m_document->load(path);
}

void EditorWindow::onDoubleClicked(const QModelIndex& index)
{
    if (!index.isValid())
        return;
    const Item* item = m_model->index2item(index);
    const ItemType type = item->data().type;
    if (!isDefinitionType(type) || item->isComment())
        return;
    auto* dialog = new EditorItemEditDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setData(item);
    connect(dialog, &EditorItemEditDialog::apply, this, &EditorWindow::onApplyItem);
    dialog->open();
}

void EditorWindow::onApplyItem(const Item* item, const ItemData& data)
{
    m_model->setItemData(m_model->item2index(item), data);
}

void EditorWindow::setCurrentItem(const QModelIndex& index)
{
    if (!index.isValid())
        return;
    const QModelIndex row = index.siblingAtColumn(0);
    m_view->setCurrentIndex(row);
    m_view->scrollTo(row);
}

void EditorWindow::updateActions()
{
    const QModelIndex current = currentRow();
    const bool row = current.isValid();
    const Item* item = m_model->index2item(current);
    const bool tag = row && item->data().type == ItemType::Tag && !item->isComment();
    // Inserting needs no row: an empty file gets its first tag this way.
    m_act_insert_before->setEnabled(true);
    m_act_insert_after->setEnabled(true);
    m_act_delete->setEnabled(row);
    m_act_cut->setEnabled(row);
    m_act_copy->setEnabled(row);
    m_act_add_enums->setEnabled(tag && !item->findInTagByItemType(ItemType::Enums));
    m_act_add_bits->setEnabled(tag && !item->findInTagByItemType(ItemType::Bits));
}

void EditorWindow::updateCleanState()
{
    QString title;
    if (!m_undo->isClean())
        title += QStringLiteral("* ");
    if (!m_document->path().isEmpty())
        title += QDir::toNativeSeparators(m_document->path()) + QLatin1Char(' ');
    title += QLatin1Char('[') + tr(titleText) + QLatin1Char(']');
    setWindowTitle(title);
}

void EditorWindow::onUndoHistoryChanged()
{
    updateCleanState();
    updateActions();
}

void EditorWindow::popupMessage(const QString& text)
{
    if (!text.isEmpty())
        statusBar()->showMessage(text, 5000);
}

void EditorWindow::message(const QString& text)
{
    m_te_messages->appendPlainText(text);
    m_dock_messages->show();
}

void EditorWindow::error(const QString& text)
{
    message(text);
    QMessageBox::critical(this, tr(titleText), text, QMessageBox::Close);
}

void EditorWindow::spanComments(const QModelIndex& parent, int first, int last)
{
    // Free-standing comments read across the whole row. Each change of a
    // row's span costs the view a search of its rows, so only comments are
    // spanned, only when their span is not yet right, and only where the
    // view shows them: rows under a collapsed parent follow when it expands.
    QList<QPair<QModelIndex, QPair<int, int>>> ranges{{parent, {first, last}}};
    while (!ranges.isEmpty()) {
        const auto range = ranges.takeLast();
        for (int r = range.second.first; r <= range.second.second; ++r) {
            const QModelIndex index = m_model->index(r, 0, range.first);
            if (!index.isValid())
                continue;
            const bool comment = m_model->index2item(index)->isComment();
            if (comment != m_view->isFirstColumnSpanned(r, range.first))
                m_view->setFirstColumnSpanned(r, range.first, comment);
            const int children = m_model->rowCount(index);
            if (children > 0 && m_view->isExpanded(index))
                ranges.append({index, {0, children - 1}});
        }
    }
}

void EditorWindow::closeEvent(QCloseEvent* event)
{
    if (!m_documentActions->canClose()) {
        event->ignore();
        return;
    }
    QMainWindow::closeEvent(event);
}

void EditorWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    if (m_restored)
        return;
    m_restored = true;
    QSettings settings;
    restoreGeometry(settings.value(key("Geometry")).toByteArray());
    restoreState(settings.value(key("State")).toByteArray());
    m_view->header()->restoreState(settings.value(key("TreeHeader")).toByteArray());
    m_act_undo_history->setChecked(m_dock_undo->isVisibleTo(this));
}

void EditorWindow::hideEvent(QHideEvent* event)
{
    QMainWindow::hideEvent(event);
    if (event->spontaneous())
        return;
    QSettings settings;
    settings.setValue(key("Geometry"), saveGeometry());
    settings.setValue(key("State"), saveState());
    settings.setValue(key("TreeHeader"), m_view->header()->saveState());
}

} // namespace QRV16
