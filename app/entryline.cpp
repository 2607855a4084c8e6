// SPDX-License-Identifier: MIT
#include "app/entryline.h"

#include "qrv16/messageparser.h"
#include "qrv16/namecompletion.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCompleter>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QStringListModel>
#include <QToolTip>

EntryLine::EntryLine(QWidget* parent) : QWidget(parent)
{
    m_lbl_target = new QLabel(this);
    m_lbl_target->setObjectName(QStringLiteral("m_lbl_target"));
    m_lbl_target->setFixedSize(16, 16);
    m_cb_message = new QComboBox(this);
    m_cb_message->setObjectName(QStringLiteral("m_cb_message"));
    m_cb_message->setEditable(true);
    // The history is kept by send(): the combo box adds nothing by itself,
    // and has no completer, which would finish the text while it is typed.
    m_cb_message->setInsertPolicy(QComboBox::NoInsert);
    m_cb_message->setCompleter(nullptr);
    m_cb_message->setMaxCount(HistoryLimit);
    m_cb_message->setMaxVisibleItems(HistoryLimit);
    m_cb_message->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_toolTip = tr("A message in the text notation, e.g. F001=(1001=1500 3001=\"north\");\n"
                   "Tab or Ctrl+Space offers the names that fit at the cursor");
    m_cb_message->setToolTip(m_toolTip);
    lineEdit()->setPlaceholderText(tr("Type a message and press Return"));
    m_pb_go1 = new QPushButton(QStringLiteral("⇨ 1"), this);
    m_pb_go1->setObjectName(QStringLiteral("m_pb_go1"));
    m_pb_go1->setToolTip(QStringLiteral("⇨ 1"));
    m_pb_go1->setIcon(QIcon(QStringLiteral(":/icons/i16_send1.png")));
    m_pb_go2 = new QPushButton(QStringLiteral("⇨ 2"), this);
    m_pb_go2->setObjectName(QStringLiteral("m_pb_go2"));
    m_pb_go2->setToolTip(QStringLiteral("⇨ 2"));
    m_pb_go2->setIcon(QIcon(QStringLiteral(":/icons/i16_send2.png")));

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_lbl_target);
    layout->addWidget(m_cb_message, 1);
    layout->addWidget(m_pb_go1);
    layout->addWidget(m_pb_go2);
    setFocusProxy(m_cb_message);

    m_names = new QStringListModel(this);
    m_completer = new QCompleter(m_names, this);
    m_completer->setCompletionMode(QCompleter::UnfilteredPopupCompletion);
    m_completer->setWidget(m_cb_message);
    // After the completer's own filter, so that this one sees the keys first.
    m_completer->popup()->installEventFilter(this);
    m_completer->popup()->setObjectName(QStringLiteral("m_lv_names"));
    connect(m_completer, qOverload<const QString&>(&QCompleter::activated), this, &EntryLine::take);
    m_cb_message->installEventFilter(this);
    lineEdit()->installEventFilter(this);

    connect(lineEdit(), &QLineEdit::returnPressed, this, [this] {
        if (!m_completer->popup()->isVisible())
            send(m_target);
    });
    connect(lineEdit(), &QLineEdit::textChanged, this, &EntryLine::clearErrorMark);
    // The open list follows the typing.
    connect(lineEdit(), &QLineEdit::textEdited, this, [this] {
        if (m_completer->popup()->isVisible() && !complete())
            m_completer->popup()->hide();
    });
    connect(m_pb_go1, &QPushButton::clicked, this, [this] { send(1); });
    connect(m_pb_go2, &QPushButton::clicked, this, [this] { send(2); });
    setTarget(1);
}

QString EntryLine::text() const
{
    return m_cb_message->currentText();
}

void EntryLine::setText(const QString& text)
{
    m_cb_message->setEditText(text);
    m_cb_message->setFocus();
}

QLineEdit* EntryLine::lineEdit() const
{
    return m_cb_message->lineEdit();
}

void EntryLine::setTags(const QRV16::TagDataLut* tags)
{
    m_tags = tags;
    m_completer->popup()->hide();
}

void EntryLine::setTarget(int channel)
{
    m_target = channel == 2 ? 2 : 1;
    const QPushButton* button = m_target == 2 ? m_pb_go2 : m_pb_go1;
    m_lbl_target->setPixmap(button->icon().pixmap(16, 16));
    m_lbl_target->setToolTip(tr("Return sends to channel %1").arg(m_target));
}

void EntryLine::setLook(const QPalette& palette, const QFont& font, const QColor& error)
{
    m_cb_message->setPalette(palette);
    m_cb_message->setFont(font);
    m_completer->popup()->setFont(font);
    m_errorColor = error;
    updateFrame();
}

void EntryLine::restoreHistory()
{
    QSettings settings;
    const QVariant stored = settings.value(QStringLiteral("MainWindow/History"));
    QStringList history;
    if (stored.canConvert<QStringList>())
        history = stored.toStringList();
    for (const QString& item : std::as_const(history).mid(0, HistoryLimit))
        m_cb_message->addItem(item);
    m_cb_message->setCurrentIndex(qBound(
        -1, settings.value(QStringLiteral("MainWindow/HistoryIndex"), 0).toInt(), m_cb_message->count() - 1));
}

void EntryLine::saveHistory() const
{
    QStringList history;
    history.reserve(m_cb_message->count());
    for (int i = 0; i < m_cb_message->count(); ++i)
        history << m_cb_message->itemText(i);
    QSettings settings;
    settings.setValue(QStringLiteral("MainWindow/History"), history);
    settings.setValue(QStringLiteral("MainWindow/HistoryIndex"), m_cb_message->currentIndex());
}

void EntryLine::send(int channel)
{
    m_completer->popup()->hide();
    setTarget(channel);
    const QString text = this->text();
    if (!text.trimmed().isEmpty()) {
        const int known = m_cb_message->findText(text, Qt::MatchExactly | Qt::MatchCaseSensitive);
        if (known >= 0) {
            m_cb_message->setCurrentIndex(known);
        } else if (m_cb_message->count() < HistoryLimit) {
            m_cb_message->addItem(text);
            m_cb_message->setCurrentIndex(m_cb_message->count() - 1);
        }
    }
    Q_EMIT sendRequested(text, m_target);
    if (text.trimmed().isEmpty())
        return;
    // The channel reports the error in the trace; the line shows where it is.
    QRV16::MessageParser parser(m_tags);
    parser.parseList(text);
    if (parser.hasError())
        markError(parser.errorReport(), parser.errorStart());
}

bool EntryLine::complete()
{
    QLineEdit* edit = lineEdit();
    const QRV16::NameCompletion offer =
        QRV16::NameCompletion::at(edit->text(), edit->cursorPosition(), m_tags);
    if (offer.names().isEmpty())
        return false;
    m_names->setStringList(offer.names());
    QAbstractItemView* popup = m_completer->popup();
    // Below the word, as wide as the longest name.
    const QRect cursor = edit->inputMethodQuery(Qt::ImCursorRectangle).toRect();
    QRect below(edit->mapTo(m_cb_message, cursor.topLeft()), cursor.size());
    below.setWidth(popup->sizeHintForColumn(0) + popup->verticalScrollBar()->sizeHint().width() +
                   2 * popup->frameWidth() + 8);
    m_completer->complete(below);
    popup->setCurrentIndex(m_names->index(0, 0));
    return true;
}

void EntryLine::take(const QString& name)
{
    QLineEdit* edit = lineEdit();
    // The offer was made for this text; a changed text is asked again.
    const QRV16::NameCompletion offer =
        QRV16::NameCompletion::at(edit->text(), edit->cursorPosition(), m_tags);
    edit->setSelection(offer.start(), offer.end() - offer.start());
    edit->insert(name);
    m_completer->popup()->hide();
}

bool EntryLine::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    QAbstractItemView* popup = m_completer->popup();
    if (watched == popup) {
        // A name goes in only when chosen: Return, Enter, Tab or a click.
        switch (key->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Tab: {
            const QModelIndex chosen = popup->currentIndex();
            popup->hide();
            if (chosen.isValid())
                take(chosen.data().toString());
            return true;
        }
        case Qt::Key_Escape:
            popup->hide();
            return true;
        default:
            return false;
        }
    }
    if (watched == m_cb_message || watched == lineEdit()) {
        const bool asked = key->key() == Qt::Key_Space && key->modifiers() == Qt::ControlModifier;
        // Tab on an empty line, or with nothing to offer, moves on as anywhere.
        const bool tab = key->key() == Qt::Key_Tab && key->modifiers() == Qt::NoModifier &&
                         !text().isEmpty();
        if (asked || tab) {
            const bool offered = complete();
            return asked || offered;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void EntryLine::markError(const QString& report, int position)
{
    m_errorMark = report;
    m_cb_message->setToolTip(report);
    updateFrame();
    lineEdit()->deselect();
    lineEdit()->setCursorPosition(position);
    m_cb_message->setFocus();
}

void EntryLine::clearErrorMark()
{
    if (m_errorMark.isEmpty())
        return;
    if (QToolTip::isVisible() && QToolTip::text() == m_errorMark)
        QToolTip::hideText();
    m_errorMark.clear();
    m_cb_message->setToolTip(m_toolTip);
    updateFrame();
}

void EntryLine::updateFrame()
{
    m_cb_message->setStyleSheet(
        m_errorMark.isEmpty()
            ? QString()
            : QStringLiteral("QComboBox#m_cb_message { border: 2px solid %1; }").arg(m_errorColor.name()));
}
