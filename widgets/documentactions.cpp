// SPDX-License-Identifier: MIT
#include "widgets/documentactions.h"

#include "widgets/document.h"

#include <QAction>
#include <QDir>
#include <QWidget>

DocumentActions::DocumentActions(Document* document, QWidget* window, const Texts& texts)
    : QObject(document),
      m_document(document),
      m_window(window),
      m_texts(texts),
      m_openFlow(document->lastPathKey(), document->fileFilter()),
      m_saveFlow(document->saveAsPathKey(), document->fileFilter()),
      m_act_open(new QAction(texts.open, this)),
      m_act_save(new QAction(texts.save, this)),
      m_act_save_as(new QAction(texts.saveAs, this))
{
    if (m_texts.openTitle.isEmpty())
        m_texts.openTitle = texts.open;
    if (m_texts.saveTitle.isEmpty())
        m_texts.saveTitle = texts.save;
    m_act_save->setEnabled(document->isModified());
    connect(document, &Document::modifiedChanged, m_act_save, &QAction::setEnabled);
    connect(document, &Document::message, this, &DocumentActions::message);
    connect(m_act_open, &QAction::triggered, this, &DocumentActions::open);
    connect(m_act_save, &QAction::triggered, this, &DocumentActions::save);
    connect(m_act_save_as, &QAction::triggered, this, &DocumentActions::saveAs);
}

bool DocumentActions::load(const QString& path)
{
    return m_document->load(path);
}

bool DocumentActions::saveTo(const QString& path)
{
    QString error;
    if (!m_document->save(path, &error)) {
        Q_EMIT message(error, true);
        return false;
    }
    Q_EMIT message(tr("Saved to %1").arg(QDir::toNativeSeparators(path)), false);
    return true;
}

bool DocumentActions::canClose()
{
    if (!m_document->isModified())
        return true;
    const QString caption = m_texts.caption.isEmpty() && m_window ? m_window->windowTitle() : m_texts.caption;
    switch (DocumentFlow::askToSave(m_window, caption, m_texts.question)) {
    case DocumentFlow::Save: return save();
    case DocumentFlow::Discard: return true;
    case DocumentFlow::Cancel: break;
    }
    return false;
}

void DocumentActions::open()
{
    if (!canClose())
        return;
    const QString path = m_openFlow.openFileName(m_window, m_texts.openTitle);
    if (!path.isEmpty() && load(path))
        m_openFlow.remember(path);
}

bool DocumentActions::save()
{
    const QString path = m_document->path();
    return path.isEmpty() ? saveAs() : saveTo(path);
}

bool DocumentActions::saveAs()
{
    const QString path = m_saveFlow.saveFileName(m_window, m_texts.saveTitle, m_document->path());
    if (path.isEmpty() || !saveTo(path))
        return false;
    m_saveFlow.remember(path);
    return true;
}
