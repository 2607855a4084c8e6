// SPDX-License-Identifier: MIT
#include "editor/editorsaveflow.h"

#include "editor/editormodel.h"
#include "editor/filechangedwidget.h"
#include "files/savefile.h"
#include "widgets/documentflow.h"
#include "writers/writerxml.h"

#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QSettings>
#include <QUndoStack>

namespace QRV16 {

namespace {

const QString lastSaveAsKey = QStringLiteral("QRV16Editor/LastSaveAsPath");

} // namespace

EditorSaveFlow::EditorSaveFlow(EditorModel* model, QUndoStack* undo, FileChangedWidget* watch,
                               QWidget* window, const QString& title)
    : QObject(window), m_model(model), m_undo(undo), m_watch(watch), m_window(window),
      m_title(title)
{
}

void EditorSaveFlow::setPath(const QString& path)
{
    m_path = path;
    // A new watch for each file: a replaced file is a new one.
    m_watch->watchFile(QString());
    m_watch->watchFile(path);
    Q_EMIT pathChanged(m_path);
}

QString EditorSaveFlow::fileFilter()
{
    return tr("QRV16 Definition Files") + QStringLiteral(" (*.qrvdef);;") +
           DocumentFlow::allFilesFilter();
}

bool EditorSaveFlow::canDiscard()
{
    if (m_undo->isClean())
        return true;
    const auto answer = QMessageBox::question(
        m_window, m_title, tr("There are unsaved changes. What do you want to do?"),
        QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Cancel);
    switch (answer) {
    case QMessageBox::Discard: return true;
    case QMessageBox::Save: return save();
    default: return false;
    }
}

bool EditorSaveFlow::save()
{
    return m_path.isEmpty() ? saveWithDialog() : save(m_path);
}

bool EditorSaveFlow::saveAs()
{
    return saveWithDialog();
}

bool EditorSaveFlow::saveWithDialog()
{
    QSettings settings;
    QString start = settings.value(lastSaveAsKey).toString();
    if (start.isEmpty())
        start = m_path;
    const QString path =
        QFileDialog::getSaveFileName(m_window, tr("Save QRV16 definitions"), start, fileFilter());
    if (path.isEmpty())
        return false;
    settings.setValue(lastSaveAsKey, path);
    return save(path);
}

bool EditorSaveFlow::save(const QString& path)
{
    // Our own write is no change from outside.
    m_watch->watchFile(QString());
    const bool ok = dosave(path);
    if (ok)
        m_path = path;
    m_watch->watchFile(m_path);
    Q_EMIT pathChanged(m_path);
    return ok;
}

bool EditorSaveFlow::dosave(const QString& path)
{
    WriterXml writer;
    const QByteArray bytes = writer.encode(m_model->root(), path);
    QString failure = writer.formatError();
    if (!failure.isEmpty() || !SaveFile::write(path, bytes, &failure)) {
        Q_EMIT error(failure);
        return false;
    }
    m_undo->setClean();
    Q_EMIT popupMessage(tr("Saved to %1").arg(QDir::toNativeSeparators(path)));
    Q_EMIT saved(path);
    return true;
}

} // namespace QRV16
