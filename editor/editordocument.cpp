// SPDX-License-Identifier: MIT
#include "editor/editordocument.h"

#include "editor/editormodel.h"
#include "editor/filechangedwidget.h"
#include "files/savefile.h"
#include "qrv16/parser.h"
#include "writers/writerxml.h"

#include <QUndoStack>

namespace QRV16 {

EditorDocument::EditorDocument(EditorModel* model, QUndoStack* undo, FileChangedWidget* watch, QObject* parent)
    : Document(parent), m_model(model), m_undo(undo), m_watch(watch)
{
    connect(undo, &QUndoStack::cleanChanged, this, [this](bool clean) { Q_EMIT modifiedChanged(!clean); });
}

Item* EditorDocument::read(const QString& path)
{
    Parser parser;
    if (!parser.parse(path)) {
        Q_EMIT message(parser.formatError(), true);
        return nullptr;
    }
    if (!parser.warnings().isEmpty())
        Q_EMIT warnings(parser.warnings().trimmed());
    return parser.takeRoot();
}

void EditorDocument::replace(Item* root, const QString& path)
{
    m_model->undoableSetTags(root);
    m_undo->setClean();
    setFile(path);
    Q_EMIT opened(path);
}

void EditorDocument::setFile(const QString& path)
{
    setPath(path);
    m_watch->watchFile(QString());
    m_watch->watchFile(path);
}

bool EditorDocument::load(const QString& path)
{
    Item* root = read(path);
    if (!root)
        return false;
    replace(root, path);
    return true;
}

bool EditorDocument::save(const QString& path, QString* error)
{
    WriterXml writer;
    const QByteArray bytes = writer.encode(m_model->root(), path);
    *error = writer.formatError();
    // Our own write is no change from outside.
    m_watch->watchFile(QString());
    const bool ok = error->isEmpty() && SaveFile::write(path, bytes, error);
    if (ok) {
        m_undo->setClean();
        setPath(path);
    }
    m_watch->watchFile(this->path());
    if (ok)
        Q_EMIT saved(path);
    return ok;
}

bool EditorDocument::isModified() const
{
    return !m_undo->isClean();
}

QString EditorDocument::fileFilter() const
{
    return tr("QRV16 Definition Files") + QStringLiteral(" (*.qrvdef)");
}

QString EditorDocument::lastPathKey() const
{
    return QStringLiteral("QRV16Editor/LastOpenPath");
}

QString EditorDocument::saveAsPathKey() const
{
    return QStringLiteral("QRV16Editor/LastSaveAsPath");
}

} // namespace QRV16
