// SPDX-License-Identifier: MIT
#include "app/tools.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDebug>
#include <QDir>
#include <QGuiApplication>
#include <QRect>
#include <QScreen>
#include <QWidget>

#include <cerrno>
#include <cstring>

namespace Tools {

namespace {

QString rectText(const QSize& size, const QPoint& pos)
{
    return QString::asprintf("%ux%d%+d%+d", unsigned(size.width()), size.height(), pos.x(), pos.y());
}

void diagnose(const QString& text)
{
    qDebug().noquote() << QStringLiteral("\033[31m") + text + QStringLiteral("\033[0m");
}

} // namespace

QByteArray saveWidgetGeometry(const QWidget* widget)
{
    QByteArray record;
    QDataStream out(&record, QIODevice::WriteOnly);
    out << widget->pos() << widget->geometry().size() << widget->isMaximized();
    return record;
}

bool restoreWidgetGeometry(QWidget* widget, const QByteArray& record)
{
    if (record.isEmpty() || !widget)
        return false;
    QDataStream in(record);
    QPoint pos;
    QSize size;
    bool maximized = false;
    in >> pos >> size >> maximized;
    if (in.status() != QDataStream::Ok)
        return false;

    const QString saved = QStringLiteral("Restore ") + rectText(size, pos);
    QScreen* screen = QGuiApplication::screenAt(pos);
    if (!screen) {
        diagnose(saved + QStringLiteral(": Not on any screen"));
        // Centre on the primary screen instead, if the window fits there.
        screen = QGuiApplication::primaryScreen();
        if (!screen)
            return false;
    }
    const QRect area = screen->availableGeometry().adjusted(-16, 0, 16, -50);

    if (!maximized && (size.width() <= 48 || size.height() <= 48)) {
        diagnose(saved + QStringLiteral(": Too small"));
        return false;
    }

    bool usePosition = true;
    bool useSize = true;
    if (!area.contains(QRect(pos, size))) {
        const QString areaText = rectText(area.size(), area.topLeft());
        diagnose(saved + QStringLiteral(": Does not fit ") + areaText + QStringLiteral(", trying centered"));
        QRect centred(QPoint(0, 0), size);
        centred.moveCenter(area.center());
        if (size.isValid() && area.contains(centred)) {
            pos = centred.topLeft();
        } else if (maximized) {
            diagnose(saved + QStringLiteral(": Does not fit ") + areaText +
                     QStringLiteral(", maximizing anyway"));
            usePosition = false;
            useSize = false;
        } else {
            diagnose(saved + QStringLiteral(": Does not fit ") + areaText);
            return false;
        }
    }

    if (usePosition)
        widget->move(pos);
    if (useSize)
        widget->resize(size);
    if (maximized)
        widget->showMaximized();
    return true;
}

QString escaped(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '<': out += QLatin1String("&lt;"); break;
        case '>': out += QLatin1String("&gt;"); break;
        case '&': out += QLatin1String("&amp;"); break;
        default: out += c;
        }
    }
    return out;
}

QString documentsPath()
{
    return ensureDirectorySeparator(QDir::homePath()) + QStringLiteral("Documents");
}

QString appDataPath()
{
    return QDir::homePath();
}

QString ensureDirectorySeparator(const QString& path)
{
    if (path.isEmpty() || path.endsWith(QLatin1Char('/')))
        return path;
    return path + QLatin1Char('/');
}

QString allFilesFilter()
{
    return QCoreApplication::translate("Tools", "All Files") + QStringLiteral(" (*)");
}

void raiseWindow(QWidget* widget)
{
    if (!widget)
        return;
    if (widget->isMinimized())
        widget->showNormal();
    widget->raise();
    widget->activateWindow();
}

QStringList splitCSV(const QString& line)
{
    qsizetype end = line.size();
    while (end > 0 && (line.at(end - 1) == QLatin1Char('\n') || line.at(end - 1) == QLatin1Char('\r')))
        --end;
    QStringList fields;
    if (end == 0)
        return fields;

    const QChar quote = QLatin1Char('"');
    const QChar comma = QLatin1Char(',');
    qsizetype pos = 0;
    while (true) {
        QString field;
        if (pos < end && line.at(pos) == quote) {
            ++pos;
            while (pos < end) {
                if (line.at(pos) == quote) {
                    if (pos + 1 < end && line.at(pos + 1) == quote) {
                        field += quote;
                        pos += 2;
                        continue;
                    }
                    ++pos;
                    break;
                }
                field += line.at(pos++);
            }
            // Text between a closing quote and the comma is malformed; keep
            // it rather than lose it.
            const qsizetype next = line.indexOf(comma, pos);
            const qsizetype stop = next < 0 || next > end ? end : next;
            field += QStringView(line).mid(pos, stop - pos);
            pos = stop;
        } else {
            const qsizetype next = line.indexOf(comma, pos);
            const qsizetype stop = next < 0 || next > end ? end : next;
            field = line.mid(pos, stop - pos);
            pos = stop;
        }
        fields << field;
        if (pos >= end)
            break;
        ++pos; // the comma
        if (pos == end) {
            fields << QString();
            break;
        }
    }
    return fields;
}

QString systemErrorString(int errorNumber)
{
    char buffer[256];
    buffer[0] = '\0';
    // The GNU strerror_r returns the text, which may or may not be in `buffer`.
    const char* text = strerror_r(errorNumber, buffer, sizeof buffer);
    return QString::fromLocal8Bit(text ? text : buffer);
}

QString systemErrorString()
{
    return systemErrorString(errno);
}

} // namespace Tools
