// SPDX-License-Identifier: MIT
#pragma once

// Reads a sequence file (.qrvseq):
//   <qrvsequences>
//     <sequence name="..." continue="false">
//       <send channel="1|2">TEXT</send>
//       <wait ms="MS"/>
//       <expect channel="1|2" within="MS">PATTERN</expect>
//       <repeat times="K"/> ... <end/>
//       <stop/>
//     </sequence>
//   </qrvsequences>
// Whatever is missing, wrong, unknown or repeated is warned about with its
// position; a step keeps what could be read and takes defaults for the
// rest, so that saving the file again loses none of it.

#include "automation/sequence.h"

#include "qrv16/xmlparser.h"

#include <QVector>

class SequenceParser : public QRV16::XmlParser
{
public:
    bool parser() override;
    // The sequences read; empty after an error.
    const QVector<Sequence>& sequences() const { return m_sequences; }

    static constexpr int MaxMilliseconds = 24 * 3600 * 1000;
    static constexpr int MaxTimes = 1000000;
    // Taken for an expect without a usable within="".
    static constexpr int DefaultWithin = 1000;

private:
    bool parseSequences();
    bool parseSequence();
    bool parseStep(Sequence* sequence);
    bool readText(QString* text);
    bool readEmpty();
    int number(const QString& attribute, const QString& text, int min, int max, int fallback);
    bool failed();

    QVector<Sequence> m_sequences;
    int m_open = 0; // repeats of the current sequence not yet ended
};
