// SPDX-License-Identifier: MIT
#include "widgets/documentflow.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QSettings>

DocumentFlow::DocumentFlow(const QString& settingsKey, const QString& filter)
    : m_key(settingsKey), m_filter(filter + QStringLiteral(";;") + allFilesFilter())
{
}

QString DocumentFlow::lastPath() const
{
    return QSettings().value(m_key).toString();
}

QString DocumentFlow::startPath(const QString& current) const
{
    if (!current.isEmpty())
        return current;
    const QString last = lastPath();
    return last.isEmpty() ? documentsPath() : last;
}

QString DocumentFlow::openFileName(QWidget* parent, const QString& title) const
{
    return QFileDialog::getOpenFileName(parent, title, startPath(QString()), m_filter);
}

QString DocumentFlow::saveFileName(QWidget* parent, const QString& title, const QString& current) const
{
    return QFileDialog::getSaveFileName(parent, title, startPath(current), m_filter);
}

void DocumentFlow::remember(const QString& path) const
{
    QSettings settings;
    settings.setValue(m_key, path);
    settings.sync();
}

DocumentFlow::Answer DocumentFlow::askToSave(QWidget* parent, const QString& title, const QString& question)
{
    const auto answer = QMessageBox::question(parent, title, question,
                                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel,
                                              QMessageBox::Cancel);
    if (answer == QMessageBox::Save)
        return Save;
    return answer == QMessageBox::Discard ? Discard : Cancel;
}

QString DocumentFlow::documentsPath()
{
    QString home = QDir::homePath();
    if (!home.endsWith(QLatin1Char('/')))
        home += QLatin1Char('/');
    return home + QStringLiteral("Documents");
}

QString DocumentFlow::allFilesFilter()
{
    return QCoreApplication::translate("DocumentFlow", "All Files") + QStringLiteral(" (*)");
}
