// SPDX-License-Identifier: MIT
#pragma once

// Prints a raw byte stream cut into tagged elements (length, tag, payload),
// the way a listener on the line sees it: one line per top-level element with
// its length, tag, name, type and payload, nested elements on indented lines
// of their own. Bytes that cannot start an element (unknown type, a size the
// type cannot have, a message whose first child does not fit) are noise, and
// the printer moves on byte by byte until an element starts;
// a nested element whose length overruns its parent, or that leaves a stub
// too short for a header, is marked. The state is kept across chunks, and
// the line being built is reported once per chunk. LTD16Trace and LTDTrace
// choose the width of the length and tag fields.

#include "connection/ansitext.h"

#include <QByteArray>
#include <QObject>
#include <QString>

namespace QRV16 {
class TagDataLut;
}

class ElementTrace : public QObject
{
    Q_OBJECT
public:
    // Names tags when set; not owned, and set again (or to null) by the
    // owner before the table goes away.
    void setDefinitions(const QRV16::TagDataLut* lut) { m_lut = lut; }

    void receive(const QByteArray& bytes);
    void receive(const void* data, unsigned len);
    // Ends the current line and forgets a half-read element.
    void reset();

    int fieldWidth() const { return m_width; }

    // Payload bytes shown one by one; the rest of a longer payload is counted.
    static constexpr int MaxShownBytes = 256;
    static constexpr int NoiseBytesPerLine = 16;
    // Deeper nesting is shown as bytes: a hostile stream cannot exhaust the stack.
    static constexpr int MaxDepth = 32;
    // Binary, string and bit-array payloads start a top-level line only up
    // to this size: elsewhere a false length would stall the printer.
    static constexpr int MaxLooseBytes = 64;

Q_SIGNALS:
    // The current line as far as it is known, again after every chunk that
    // changes it.
    void trace(const QString& line);
    // The current line is complete.
    void next();

protected:
    // width: bytes of the length field and of the tag field (1 or 2).
    ElementTrace(int width, QObject* parent);

private:
    enum Verdict { NeedMore, Noise, Element };
    // Whether the bytes at p start an element; decided on the first bytes
    // alone, so that the verdict does not depend on how the stream is cut.
    Verdict judgeStart(const char* p, qsizetype available) const;
    bool plausibleElement(const char* p, qsizetype size) const;
    unsigned readField(const char* p) const;
    // The 16-bit code under which a tag is named and typed.
    unsigned code(unsigned tag) const;
    void printElement(const char* p, qsizetype size, int depth);
    void printChildren(const char* p, qsizetype size, int depth);
    void printPending(qsizetype available);
    void noise(unsigned char byte);
    void endLine();
    void showLine();
    QString hex(unsigned value, int bytes) const;

    const int m_width;
    const QRV16::TagDataLut* m_lut = nullptr;
    // Received bytes not yet printed, from m_read on.
    QByteArray m_pending;
    qsizetype m_read = 0;
    QString m_line;
    bool m_lineopen = false;
    int m_noisecount = 0;
    QString m_shown;
};
