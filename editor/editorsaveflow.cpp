// SPDX-License-Identifier: MIT
#include "editor/editorsaveflow.h"

#include "editor/editormodel.h"
#include "editor/filechangedwidget.h"
#include "writers/writerxml.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QSettings>
#include <QUndoStack>

namespace QRV16 {

namespace {

const QString lastSaveAsKey = QStringLiteral("QRV16Editor/LastSaveAsPath");

// The app library's "All Files" filter, which this library does not link.
QString allFilesFilter()
{
    return QCoreApplication::translate("Tools", "All Files") + QStringLiteral(" (*)");
}

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
    return tr("QRV16 Definition Files") + QStringLiteral(" (*.qrvdef);;") + allFilesFilter();
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
    const QString tmp = path + QStringLiteral(".tmp");
    const QString bak = path + QStringLiteral(".bak");
    WriterXml writer;
    if (!writer.write(m_model->root(), tmp)) {
        Q_EMIT error(writer.formatError());
        return false;
    }
    if (QFile::exists(bak)) {
        QFile old(bak);
        if (!old.remove()) {
            Q_EMIT error(tr("Could not delete old backup %1: %2").arg(bak, old.errorString()));
            return false;
        }
    }
    if (QFile::exists(path)) {
        QFile current(path);
        if (!current.rename(bak)) {
            Q_EMIT error(tr("Could not rename %1 to %2: %3").arg(path, bak, current.errorString()));
            return false;
        }
    }
    QFile written(tmp);
    if (!written.rename(path)) {
        Q_EMIT error(tr("Could not rename %1 to %2: %3").arg(tmp, path, written.errorString()));
        return false;
    }
    m_undo->setClean();
    Q_EMIT popupMessage(tr("Saved to %1").arg(QDir::toNativeSeparators(path)));
    Q_EMIT saved(path);
    return true;
}

} // namespace QRV16
