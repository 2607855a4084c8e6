// SPDX-License-Identifier: MIT
#include "editor/filechangedwidget.h"

#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

FileChangedWidget::FileChangedWidget(QWidget* parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("FileChangedWidget"));
    setWindowTitle(tr("Form"));
    resize(871, sizeHint().height());
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    QPalette p = palette();
    p.setColor(QPalette::Window, QColor(255, 244, 200));
    p.setColor(QPalette::WindowText, Qt::black);
    setPalette(p);

    auto* layout = new QHBoxLayout(this);
    layout->setObjectName(QStringLiteral("horizontalLayout"));
    layout->setContentsMargins(6, 3, 6, 3);
    m_lbl_message = new QLabel(tr("TextLabel"), this);
    m_lbl_message->setObjectName(QStringLiteral("m_lbl_message"));
    m_lbl_message->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    m_lbl_message->setWordWrap(true);
    m_pb_reload = new QPushButton(tr("Reload"), this);
    m_pb_reload->setObjectName(QStringLiteral("m_pb_reload"));
    m_pb_ignore = new QPushButton(tr("Ignore"), this);
    m_pb_ignore->setObjectName(QStringLiteral("m_pb_ignore"));
    m_pb_close = new QPushButton(tr("Close"), this);
    m_pb_close->setObjectName(QStringLiteral("m_pb_close"));
    layout->addWidget(m_lbl_message);
    layout->addWidget(m_pb_reload);
    layout->addWidget(m_pb_ignore);
    layout->addWidget(m_pb_close);

    connect(m_pb_reload, &QPushButton::clicked, this, &FileChangedWidget::onReload);
    connect(m_pb_ignore, &QPushButton::clicked, this, &FileChangedWidget::onIgnore);
    connect(m_pb_close, &QPushButton::clicked, this, &FileChangedWidget::onClose);
    hide();
}

QString FileChangedWidget::messageText() const
{
    return m_lbl_message->text();
}

QString FileChangedWidget::fileName() const
{
    return QFileInfo(m_path).fileName();
}

void FileChangedWidget::watchFile(const QString& path)
{
    if (path == m_path)
        return;
    if (m_poll)
        m_poll->stop();
    delete m_watcher;
    m_watcher = nullptr;
    m_path = path;
    if (path.isEmpty())
        return;
    m_watcher = new QFileSystemWatcher(this);
    m_watcher->addPath(path);
    connect(m_watcher, &QFileSystemWatcher::fileChanged, this, &FileChangedWidget::onFileChanged);
}

void FileChangedWidget::showMessage(const QString& text)
{
    // Saving by delete-and-rename can report one change twice.
    if (isVisibleTo(parentWidget()) && m_lbl_message->text() == text)
        return;
    m_lbl_message->setText(text);
    show();
    Q_EMIT messageShown(text);
}

void FileChangedWidget::onFileChanged()
{
    if (m_path.isEmpty())
        return;
    if (QFileInfo::exists(m_path)) {
        // A watch on a replaced file follows the old one; watch the new one.
        if (m_watcher && !m_watcher->files().contains(m_path))
            m_watcher->addPath(m_path);
        showMessage(tr("The file %1 has been changed outside this application. Do you want to reload?")
                        .arg(fileName()));
        return;
    }
    // Many programs save by deleting and renaming: the file may be back at once.
    m_pollCount = 0;
    if (!m_poll) {
        m_poll = new QTimer(this);
        m_poll->setInterval(1000);
        connect(m_poll, &QTimer::timeout, this, &FileChangedWidget::onPoll);
    }
    m_poll->start();
}

void FileChangedWidget::onPoll()
{
    if (QFileInfo::exists(m_path)) {
        const QString path = m_path;
        watchFile(QString());
        watchFile(path);
        showMessage(tr("The file %1 has been changed outside this application. Do you want to reload?")
                        .arg(fileName()));
        return;
    }
    if (++m_pollCount == 3)
        showMessage(tr("The file %1 has been removed.").arg(fileName()));
}

void FileChangedWidget::onReload()
{
    hide();
    Q_EMIT reloadClicked();
}

void FileChangedWidget::onIgnore()
{
    watchFile(QString());
    hide();
    Q_EMIT ignoreClicked();
}

void FileChangedWidget::onClose()
{
    watchFile(QString());
    hide();
    Q_EMIT closeClicked();
}
