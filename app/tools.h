// SPDX-License-Identifier: MIT
#pragma once

// Small helpers shared by the windows and dialogs: window geometry that
// lands on a visible screen, common paths and filters, HTML escaping,
// comma-separated records and system error texts.

#include <QByteArray>
#include <QString>
#include <QStringList>

class QWidget;

namespace Tools {

// Position, frame-less size and maximised flag, in a binary data stream.
QByteArray saveWidgetGeometry(const QWidget* widget);
// Applies a saved record when it fits on a screen; false when nothing was
// applied (empty, unreadable, too small or off every screen).
bool restoreWidgetGeometry(QWidget* widget, const QByteArray& record);

QString escaped(const QString& text);
QString documentsPath();
QString appDataPath();
QString ensureDirectorySeparator(const QString& path);
QString allFilesFilter();
void raiseWindow(QWidget* widget);

// The fields of one record: quoted fields may hold commas, line breaks and
// doubled quotes; line endings at the end are ignored.
QStringList splitCSV(const QString& line);

QString systemErrorString(int errorNumber);
QString systemErrorString();

} // namespace Tools
