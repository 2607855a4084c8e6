// SPDX-License-Identifier: MIT
#include "automation/sequencewriter.h"

#include "files/savefile.h"
#include "files/xmlfilewriter.h"

#include <QXmlStreamWriter>

namespace {

void writeStep(QXmlStreamWriter& xml, const SequenceStep& step)
{
    switch (step.kind) {
    case SequenceStep::Send:
        xml.writeStartElement(QStringLiteral("send"));
        xml.writeAttribute(QStringLiteral("channel"), QString::number(step.channel));
        xml.writeCharacters(XmlFileWriter::text(step.text));
        break;
    case SequenceStep::Expect:
        xml.writeStartElement(QStringLiteral("expect"));
        xml.writeAttribute(QStringLiteral("channel"), QString::number(step.channel));
        xml.writeAttribute(QStringLiteral("within"), QString::number(step.ms));
        xml.writeCharacters(XmlFileWriter::text(step.text));
        break;
    case SequenceStep::Wait:
        xml.writeEmptyElement(QStringLiteral("wait"));
        xml.writeAttribute(QStringLiteral("ms"), QString::number(step.ms));
        return;
    case SequenceStep::Repeat:
        xml.writeEmptyElement(QStringLiteral("repeat"));
        xml.writeAttribute(QStringLiteral("times"), QString::number(step.times));
        return;
    case SequenceStep::End:
        xml.writeEmptyElement(QStringLiteral("end"));
        return;
    case SequenceStep::Stop:
        xml.writeEmptyElement(QStringLiteral("stop"));
        return;
    }
    xml.writeEndElement();
}

} // namespace

QByteArray SequenceWriter::encode(const QVector<Sequence>& sequences) const
{
    XmlFileWriter file(QStringLiteral("qrvsequences"));
    QXmlStreamWriter& xml = file.xml();
    for (const Sequence& sequence : sequences) {
        xml.writeStartElement(QStringLiteral("sequence"));
        xml.writeAttribute(QStringLiteral("name"), XmlFileWriter::text(sequence.name));
        if (sequence.continueOnFail)
            xml.writeAttribute(QStringLiteral("continue"), QStringLiteral("true"));
        for (const SequenceStep& step : sequence.steps)
            writeStep(xml, step);
        xml.writeEndElement();
    }
    return file.finish();
}

bool SequenceWriter::save(const QVector<Sequence>& sequences, const QString& path)
{
    m_error.clear();
    return SaveFile::write(path, encode(sequences), &m_error);
}
