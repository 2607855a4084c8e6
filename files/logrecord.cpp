// SPDX-License-Identifier: MIT
#include "files/logrecord.h"

namespace {

void appendQuoted(QString& out, const QString& text)
{
    if (text.isEmpty())
        return;
    out += QLatin1Char('"');
    for (const QChar c : text) {
        if (c == QLatin1Char('"'))
            out += QLatin1Char('"');
        out += c;
    }
    out += QLatin1Char('"');
}

void appendNumber(QString& out, int value)
{
    if (value >= 0)
        out += QString::number(value);
}

} // namespace

QString LogRecord::format(const QDateTime& time, const QString& source, const QString& text, int color,
                          int src, int dst)
{
    QString out;
    out.reserve(text.size() + source.size() + 48);
    if (time.isValid())
        out += time.toString(QStringLiteral("yyyy-MM-dd'T'hh:mm:ss.zzz"));
    out += QLatin1Char(',');
    appendQuoted(out, source);
    out += QLatin1Char(',');
    appendQuoted(out, text);
    out += QLatin1Char(',');
    appendNumber(out, color);
    out += QLatin1Char(',');
    appendNumber(out, src);
    out += QLatin1Char(',');
    appendNumber(out, dst);
    out += QLatin1Char('\n');
    return out;
}

QStringList LogRecord::split(const QString& line)
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
