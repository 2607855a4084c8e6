// SPDX-License-Identifier: MIT
#pragma once

// Colour for the trace printers' text. The printers mark the parts of a frame
// with ANSI SGR escape sequences, one colour per role and the same in every
// printer; a terminal shows them as they are, the trace view paints the runs
// that parse() finds, and the log, the clipboard and the text column take the
// text without them (strip()).

#include <QList>
#include <QString>
#include <QStringView>

class AnsiText
{
public:
    enum Role {
        Marker,   // frame markers and control bytes
        Address,  // bus addresses
        Sequence, // sequence numbers
        Payload,  // payload bytes
        Length,   // lengths and tag codes
        Name,     // names from the definitions and data types
        Good,     // a verdict that holds (CRC ok)
        Bad,      // a verdict that fails, cut or overrunning frames
        Noise,    // bytes outside any frame
    };

    // The escape sequence that starts a role, and the one that ends it.
    static QLatin1StringView start(Role role);
    static QLatin1StringView reset();
    static void append(QString& line, Role role, QStringView text);
    static QString colored(Role role, QStringView text);

    // A colour index 0..7 for the basic colours, 8..15 for the bright ones,
    // -1 for the view's own text colour.
    struct Format
    {
        int color = -1;
        bool bold = false;
        bool faint = false;
        bool operator==(const Format& o) const
        {
            return color == o.color && bold == o.bold && faint == o.faint;
        }
    };
    struct Run
    {
        qsizetype start = 0; // in the plain text
        qsizetype length = 0;
        Format format;
    };

    // The text without escape sequences, and its runs of one format (runs of
    // the default format included). Unknown and truncated sequences are
    // dropped; nothing in the text can make it fail.
    static QString parse(QStringView text, QList<Run>* runs);
    static QString strip(QStringView text);
    static bool hasEscapes(QStringView text);
};
