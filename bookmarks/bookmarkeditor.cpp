// SPDX-License-Identifier: MIT
#include "bookmarks/bookmarkeditor.h"

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkmodel.h"
#include "qrv16/messageparser.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QImageReader>
#include <QKeySequenceEdit>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSignalBlocker>
#include <QSplitter>
#include <QTextBlock>
#include <QVBoxLayout>

namespace {

// Icons are shown at toolbar size; a photo chosen as an icon would only
// bloat the bookmark file.
constexpr int MaxIconSize = 64;

const QColor errorColor(0xC0, 0x10, 0x10);

void setErrorColor(QLabel* label)
{
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, errorColor);
    label->setPalette(palette);
}

} // namespace

BookmarkEditor::BookmarkEditor(QWidget* parent)
    : QDialog(parent), m_model(new BookmarkModel(nullptr, this))
{
    setWindowTitle(tr("Edit Bookmarks"));

    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(createListSide());
    splitter->addWidget(createFieldSide());
    splitter->setStretchFactor(0, 2);
    splitter->setStretchFactor(1, 3);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(splitter, 1);
    layout->addWidget(buttons);
    resize(820, 480);

    connect(m_lv_bookmarks->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &BookmarkEditor::showCurrent);
    connect(m_model, &QAbstractItemModel::modelReset, this, &BookmarkEditor::showCurrent);
    connect(m_model, &QAbstractItemModel::dataChanged, this, &BookmarkEditor::onDataChanged);
    connect(m_model, &QAbstractItemModel::rowsInserted, this, &BookmarkEditor::updateButtons);
    connect(m_model, &QAbstractItemModel::rowsRemoved, this, &BookmarkEditor::updateButtons);
    connect(m_model, &QAbstractItemModel::rowsMoved, this, &BookmarkEditor::updateButtons);
    showCurrent();
}

QWidget* BookmarkEditor::createListSide()
{
    auto* side = new QWidget(this);
    m_lv_bookmarks = new QListView(side);
    m_lv_bookmarks->setModel(m_model);
    m_lv_bookmarks->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lv_bookmarks->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_lv_bookmarks->setDragDropMode(QAbstractItemView::InternalMove);
    m_lv_bookmarks->setDefaultDropAction(Qt::MoveAction);

    m_pb_new = new QPushButton(tr("&New"), side);
    m_pb_separator = new QPushButton(tr("New &separator"), side);
    m_pb_delete = new QPushButton(tr("&Delete"), side);
    m_pb_up = new QPushButton(tr("&Up"), side);
    m_pb_down = new QPushButton(tr("Do&wn"), side);
    connect(m_pb_new, &QPushButton::clicked, this, &BookmarkEditor::onNew);
    connect(m_pb_separator, &QPushButton::clicked, this, &BookmarkEditor::onNewSeparator);
    connect(m_pb_delete, &QPushButton::clicked, this, &BookmarkEditor::onDelete);
    connect(m_pb_up, &QPushButton::clicked, this, &BookmarkEditor::onUp);
    connect(m_pb_down, &QPushButton::clicked, this, &BookmarkEditor::onDown);

    auto* buttons = new QVBoxLayout;
    for (QPushButton* button : {m_pb_new, m_pb_separator, m_pb_delete})
        buttons->addWidget(button);
    buttons->addSpacing(12);
    buttons->addWidget(m_pb_up);
    buttons->addWidget(m_pb_down);
    buttons->addStretch(1);
    for (QPushButton* button : {m_pb_new, m_pb_separator, m_pb_delete, m_pb_up, m_pb_down})
        button->setAutoDefault(false);

    auto* layout = new QHBoxLayout(side);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_lv_bookmarks, 1);
    layout->addLayout(buttons);
    return side;
}

QWidget* BookmarkEditor::createFieldSide()
{
    m_fields = new QWidget(this);
    m_le_text = new QLineEdit(m_fields);
    m_le_tooltip = new QLineEdit(m_fields);
    m_te_message = new QPlainTextEdit(m_fields);
    m_te_message->setTabChangesFocus(true);
    m_te_message->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_te_message->setPlaceholderText(tr("The message to send, e.g. GetStatus=()"));
    m_lbl_error = new QLabel(m_fields);
    m_lbl_error->setWordWrap(true);
    m_lbl_error->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // A line is kept for it, so that the fields do not jump as errors come and go.
    m_lbl_error->setMinimumHeight(m_lbl_error->fontMetrics().lineSpacing());
    setErrorColor(m_lbl_error);

    m_pb_icon = new QPushButton(tr("Choose..."), m_fields);
    m_pb_icon->setIconSize(QSize(16, 16));
    m_pb_iconclear = new QPushButton(tr("Clear"), m_fields);
    m_lbl_iconerror = new QLabel(m_fields);
    m_lbl_iconerror->setWordWrap(true);
    setErrorColor(m_lbl_iconerror);
    for (QPushButton* button : {m_pb_icon, m_pb_iconclear})
        button->setAutoDefault(false);
    auto* iconRow = new QHBoxLayout;
    iconRow->addWidget(m_pb_icon);
    iconRow->addWidget(m_pb_iconclear);
    iconRow->addWidget(m_lbl_iconerror, 1);

    m_kse_shortcut = new QKeySequenceEdit(m_fields);
    m_kse_shortcut->setClearButtonEnabled(true);

    auto* form = new QFormLayout(m_fields);
    form->setContentsMargins(0, 0, 0, 0);
    form->addRow(tr("&Text:"), m_le_text);
    form->addRow(tr("Tool &tip:"), m_le_tooltip);
    form->addRow(tr("&Message:"), m_te_message);
    form->addRow(QString(), m_lbl_error);
    form->addRow(tr("&Icon:"), iconRow);
    form->addRow(tr("S&hortcut:"), m_kse_shortcut);
    // The icon row's label names the button that chooses the icon.
    if (auto* label = qobject_cast<QLabel*>(form->labelForField(iconRow)))
        label->setBuddy(m_pb_icon);

    connect(m_le_text, &QLineEdit::textEdited, this, &BookmarkEditor::onTextEdited);
    connect(m_le_tooltip, &QLineEdit::textEdited, this, &BookmarkEditor::onToolTipEdited);
    connect(m_te_message, &QPlainTextEdit::textChanged, this, &BookmarkEditor::onMessageChanged);
    connect(m_pb_icon, &QPushButton::clicked, this, &BookmarkEditor::onChooseIcon);
    connect(m_pb_iconclear, &QPushButton::clicked, this, &BookmarkEditor::onClearIcon);
    connect(m_kse_shortcut, &QKeySequenceEdit::keySequenceChanged, this,
            &BookmarkEditor::onShortcutChanged);
    return m_fields;
}

void BookmarkEditor::setBookmarks(BookmarkList* list)
{
    m_model->setBookmarks(list);
    setCurrentRow(m_model->rowCount() > 0 ? 0 : -1);
}

void BookmarkEditor::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    checkMessage();
}

void BookmarkEditor::setStyle(const QPalette& palette, const QFont& codeFont)
{
    m_te_message->setPalette(palette);
    m_te_message->setFont(codeFont);
}

void BookmarkEditor::setCurrentRow(int row)
{
    if (row < 0 || row >= m_model->rowCount())
        m_lv_bookmarks->setCurrentIndex(QModelIndex());
    else
        m_lv_bookmarks->setCurrentIndex(m_model->index(row));
    showCurrent();
}

int BookmarkEditor::currentRow() const
{
    const QModelIndex index = m_lv_bookmarks->currentIndex();
    return index.isValid() ? index.row() : -1;
}

QAction* BookmarkEditor::currentAction() const
{
    return m_model->index2action(m_lv_bookmarks->currentIndex());
}

void BookmarkEditor::insertAction(QAction* action)
{
    if (!m_model->bookmarks()) {
        delete action;
        return;
    }
    const int row = currentRow() >= 0 ? currentRow() + 1 : m_model->rowCount();
    m_model->insertRow(row, action);
    setCurrentRow(m_model->action2index(action).row());
}

void BookmarkEditor::onNew()
{
    insertAction(new QAction(tr("New bookmark")));
    m_le_text->setFocus();
    m_le_text->selectAll();
}

void BookmarkEditor::onNewSeparator()
{
    auto* separator = new QAction;
    separator->setSeparator(true);
    insertAction(separator);
}

void BookmarkEditor::onDelete()
{
    const int row = currentRow();
    if (row < 0 || !m_model->removeRow(row))
        return;
    setCurrentRow(qMin(row, m_model->rowCount() - 1));
}

void BookmarkEditor::onUp()
{
    const int row = currentRow();
    if (row > 0 && m_model->moveRow(row, row - 1))
        setCurrentRow(row - 1);
}

void BookmarkEditor::onDown()
{
    const int row = currentRow();
    if (row >= 0 && m_model->moveRow(row, row + 1))
        setCurrentRow(row + 1);
}

void BookmarkEditor::onChooseIcon()
{
    QStringList patterns;
    const QList<QByteArray> formats = QImageReader::supportedImageFormats();
    for (const QByteArray& format : formats)
        patterns << QStringLiteral("*.") + QString::fromLatin1(format);
    const QString fileName = QFileDialog::getOpenFileName(
        this, tr("Choose Icon"), QString(),
        tr("Images (%1);;All files (*)").arg(patterns.join(QLatin1Char(' '))));
    if (!fileName.isEmpty())
        setIconFile(fileName);
}

bool BookmarkEditor::setIconFile(const QString& fileName)
{
    QAction* action = currentAction();
    if (!action || action->isSeparator())
        return false;
    QImageReader reader(fileName);
    reader.setAutoTransform(true);
    QImage image = reader.read();
    if (image.isNull()) {
        m_lbl_iconerror->setText(
            tr("Cannot read %1: %2").arg(QFileInfo(fileName).fileName(), reader.errorString()));
        return false;
    }
    if (image.width() > MaxIconSize || image.height() > MaxIconSize)
        image =
            image.scaled(MaxIconSize, MaxIconSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    m_lbl_iconerror->clear();
    action->setIcon(QIcon(QPixmap::fromImage(image)));
    return true;
}

void BookmarkEditor::onClearIcon()
{
    if (QAction* action = currentAction())
        action->setIcon(QIcon());
    m_lbl_iconerror->clear();
}

void BookmarkEditor::showCurrent()
{
    const QAction* action = currentAction();
    const bool editable = action && !action->isSeparator();
    m_fields->setEnabled(editable);
    {
        const QSignalBlocker b1(m_le_text);
        const QSignalBlocker b2(m_le_tooltip);
        const QSignalBlocker b3(m_te_message);
        const QSignalBlocker b4(m_kse_shortcut);
        const QString text = editable ? action->text() : QString();
        const QString toolTip = editable ? BookmarkList::toolTip(action) : QString();
        const QString message = editable ? BookmarkList::message(action) : QString();
        // Only what differs is set, so that a field keeps its cursor when
        // the same bookmark is shown again.
        if (m_le_text->text() != text)
            m_le_text->setText(text);
        if (m_le_tooltip->text() != toolTip)
            m_le_tooltip->setText(toolTip);
        // QAction shows its text where no tool tip was set.
        m_le_tooltip->setPlaceholderText(editable ? action->toolTip() : QString());
        if (m_te_message->toPlainText() != message)
            m_te_message->setPlainText(message);
        const QKeySequence shortcut = editable ? action->shortcut() : QKeySequence();
        if (m_kse_shortcut->keySequence() != shortcut)
            m_kse_shortcut->setKeySequence(shortcut);
    }
    showIcon(editable ? action->icon() : QIcon());
    m_lbl_iconerror->clear();
    checkMessage();
    updateButtons();
}

void BookmarkEditor::showIcon(const QIcon& icon)
{
    m_pb_icon->setIcon(icon);
    m_pb_iconclear->setEnabled(!icon.isNull());
}

void BookmarkEditor::updateButtons()
{
    const bool hasList = m_model->bookmarks();
    const int row = currentRow();
    const int rows = m_model->rowCount();
    m_pb_new->setEnabled(hasList);
    m_pb_separator->setEnabled(hasList);
    m_pb_delete->setEnabled(row >= 0);
    m_pb_up->setEnabled(row > 0);
    m_pb_down->setEnabled(row >= 0 && row + 1 < rows);
}

void BookmarkEditor::checkMessage()
{
    QList<QTextEdit::ExtraSelection> marks;
    QString error;
    const QAction* action = currentAction();
    const QString text = m_te_message->toPlainText();
    if (action && !action->isSeparator()) {
        if (text.trimmed().isEmpty()) {
            error = tr("No message: this bookmark sends nothing.");
        } else {
            QRV16::MessageParser parser(m_tags);
            parser.parseList(text);
            if (parser.hasError()) {
                const QString hint = parser.errorHint();
                error = tr("Line %1, column %2: %3")
                            .arg(parser.errorLineStart())
                            .arg(parser.errorColumnStart())
                            .arg(hint.isEmpty() ? parser.errorMessage()
                                                : parser.errorMessage() + QLatin1String("; ") + hint);
                // The faulty span, at least one character wide so that an
                // error at the end shows too.
                int start = parser.errorStart();
                int length = qMax(1, parser.errorLength());
                if (start >= text.size())
                    start = qMax(0, int(text.size()) - 1);
                QTextEdit::ExtraSelection mark;
                mark.cursor = QTextCursor(m_te_message->document());
                mark.cursor.setPosition(start);
                mark.cursor.setPosition(qMin(start + length, int(text.size())),
                                        QTextCursor::KeepAnchor);
                mark.format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
                mark.format.setUnderlineColor(errorColor);
                marks << mark;
            }
        }
    }
    m_lbl_error->setText(error);
    m_te_message->setExtraSelections(marks);
}

void BookmarkEditor::onDataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight)
{
    const int row = currentRow();
    if (!m_writing && row >= topLeft.row() && row <= bottomRight.row())
        showCurrent();
}

void BookmarkEditor::onTextEdited(const QString& text)
{
    if (QAction* action = currentAction()) {
        const QScopedValueRollback<bool> writing(m_writing, true);
        action->setText(text);
        m_le_tooltip->setPlaceholderText(action->toolTip());
    }
}

void BookmarkEditor::onToolTipEdited(const QString& text)
{
    if (QAction* action = currentAction()) {
        const QScopedValueRollback<bool> writing(m_writing, true);
        action->setToolTip(text);
    }
}

void BookmarkEditor::onMessageChanged()
{
    if (QAction* action = currentAction()) {
        const QScopedValueRollback<bool> writing(m_writing, true);
        action->setData(m_te_message->toPlainText());
    }
    checkMessage();
}

void BookmarkEditor::onShortcutChanged(const QKeySequence& shortcut)
{
    if (QAction* action = currentAction()) {
        const QScopedValueRollback<bool> writing(m_writing, true);
        action->setShortcut(shortcut);
    }
}
