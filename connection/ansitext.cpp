// SPDX-License-Identifier: MIT
#include "connection/ansitext.h"

namespace {

constexpr char16_t Escape = 0x1B;

// SGR parameters of each role; the trace view maps them to colours that read
// on its background.
const char* const roleSequences[] = {
    "\x1b[36m",   // Marker: cyan
    "\x1b[35m",   // Address: magenta
    "\x1b[94m",   // Sequence: bright blue
    "\x1b[39m",   // Payload: the text colour
    "\x1b[33m",   // Length: yellow
    "\x1b[1;33m", // Name: bold yellow
    "\x1b[32m",   // Good: green
    "\x1b[1;91m", // Bad: bold bright red
    "\x1b[90m",   // Noise: dim (bright black)
};

void applySgr(QStringView params, AnsiText::Format& format)
{
    if (params.isEmpty()) {
        format = {};
        return;
    }
    const auto parts = params.split(u';');
    for (qsizetype i = 0; i < parts.size(); ++i) {
        bool ok = false;
        const int code = parts.at(i).isEmpty() ? 0 : parts.at(i).toInt(&ok);
        if (!ok && !parts.at(i).isEmpty())
            continue;
        if (code == 0)
            format = {};
        else if (code == 1)
            format.bold = true;
        else if (code == 2)
            format.faint = true;
        else if (code == 22)
            format.bold = format.faint = false;
        else if (code >= 30 && code <= 37)
            format.color = code - 30;
        else if (code >= 90 && code <= 97)
            format.color = code - 90 + 8;
        else if (code == 39)
            format.color = -1;
        else if (code == 38 || code == 48) {
            // 256-colour and true-colour forms: skip their arguments.
            if (i + 1 < parts.size()) {
                const int kind = parts.at(i + 1).toInt();
                i += kind == 5 ? 2 : kind == 2 ? 4 : 1;
            }
        }
    }
}

} // namespace

QLatin1StringView AnsiText::start(Role role)
{
    const int i = int(role);
    if (i < 0 || i >= int(std::size(roleSequences)))
        return reset();
    return QLatin1StringView(roleSequences[i]);
}

QLatin1StringView AnsiText::reset()
{
    return QLatin1StringView("\x1b[0m");
}

void AnsiText::append(QString& line, Role role, QStringView text)
{
    line += start(role);
    line += text;
    line += reset();
}

QString AnsiText::colored(Role role, QStringView text)
{
    QString line;
    append(line, role, text);
    return line;
}

bool AnsiText::hasEscapes(QStringView text)
{
    return text.contains(QChar(Escape));
}

QString AnsiText::strip(QStringView text)
{
    if (!hasEscapes(text))
        return text.toString();
    return parse(text, nullptr);
}

QString AnsiText::parse(QStringView text, QList<Run>* runs)
{
    QString plain;
    plain.reserve(text.size());
    Format format;
    qsizetype runStart = 0;
    auto closeRun = [&] {
        if (runs && plain.size() > runStart)
            runs->append(Run{runStart, plain.size() - runStart, format});
        runStart = plain.size();
    };

    const qsizetype n = text.size();
    qsizetype i = 0;
    while (i < n) {
        const qsizetype escape = text.indexOf(QChar(Escape), i);
        const qsizetype stop = escape < 0 ? n : escape;
        plain += text.mid(i, stop - i);
        if (escape < 0)
            break;
        i = escape + 1;
        if (i >= n)
            break; // a lone escape at the end
        if (text.at(i) != u'[') {
            // A two-character escape we do not know: drop both.
            ++i;
            continue;
        }
        ++i;
        const qsizetype paramsStart = i;
        while (i < n && text.at(i).unicode() >= 0x30 && text.at(i).unicode() <= 0x3F)
            ++i;
        const qsizetype paramsEnd = i;
        while (i < n && text.at(i).unicode() >= 0x20 && text.at(i).unicode() <= 0x2F)
            ++i;
        if (i >= n)
            break; // truncated
        const char16_t final = text.at(i).unicode();
        if (final < 0x40 || final > 0x7E)
            continue; // malformed: the offending character stays text
        ++i;
        if (final != u'm' || paramsEnd != i - 1)
            continue; // not a colour sequence, or one with intermediates
        Format next = format;
        applySgr(text.mid(paramsStart, paramsEnd - paramsStart), next);
        if (!(next == format)) {
            closeRun();
            format = next;
        }
    }
    closeRun();
    return plain;
}
