#include "app/sequencewriter.h"

#include "app/savefile.h"

#include <QBuffer>
#include <QXmlStreamWriter>

namespace {

// XML 1.0 cannot hold control characters; a file holding one could not be
// read back.
QString xmlText(const QString& text)
{
    QString clean;
    clean.reserve(text.size());
    for (QChar c : text) {
        if (c.unicode() >= 0x20 || c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\r'))
            clean.append(c);
    }
    return clean;
}

void writeStep(QXmlStreamWriter& xml, const SequenceStep& step)
{
    switch (step.kind) {
    case SequenceStep::Send:
        xml.writeStartElement(QStringLiteral("send"));
        xml.writeAttribute(QStringLiteral("channel"), QString::number(step.channel));
        xml.writeCharacters(xmlText(step.text));
        break;
    case SequenceStep::Expect:
        xml.writeStartElement(QStringLiteral("expect"));
        xml.writeAttribute(QStringLiteral("channel"), QString::number(step.channel));
        xml.writeAttribute(QStringLiteral("within"), QString::number(step.ms));
        xml.writeCharacters(xmlText(step.text));
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
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QXmlStreamWriter xml(&buffer);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument(QStringLiteral("1.0"));
    xml.writeStartElement(QStringLiteral("qrvsequences"));
    for (const Sequence& sequence : sequences) {
        xml.writeStartElement(QStringLiteral("sequence"));
        xml.writeAttribute(QStringLiteral("name"), xmlText(sequence.name));
        if (sequence.continueOnFail)
            xml.writeAttribute(QStringLiteral("continue"), QStringLiteral("true"));
        for (const SequenceStep& step : sequence.steps)
            writeStep(xml, step);
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

bool SequenceWriter::save(const QVector<Sequence>& sequences, const QString& path)
{
    m_error.clear();
    return SaveFile::write(path, encode(sequences), &m_error);
}
