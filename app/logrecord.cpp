// SPDX-License-Identifier: MIT
#include "app/logrecord.h"

#include "connection/ansitext.h"

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
    appendQuoted(out, AnsiText::hasEscapes(text) ? AnsiText::strip(text) : text);
    out += QLatin1Char(',');
    appendNumber(out, color);
    out += QLatin1Char(',');
    appendNumber(out, src);
    out += QLatin1Char(',');
    appendNumber(out, dst);
    out += QLatin1Char('\n');
    return out;
}
