// SPDX-License-Identifier: MIT
#include "files/xmlfilewriter.h"

XmlFileWriter::XmlFileWriter(const QString& root) : m_buffer(&m_bytes), m_xml(&m_buffer)
{
    m_buffer.open(QIODevice::WriteOnly);
    m_xml.setAutoFormatting(true);
    m_xml.setAutoFormattingIndent(2);
    m_xml.writeStartDocument(QStringLiteral("1.0"));
    m_xml.writeStartElement(root);
}

QByteArray XmlFileWriter::finish()
{
    m_xml.writeEndElement();
    m_xml.writeEndDocument();
    m_buffer.close();
    return m_bytes;
}

QString XmlFileWriter::text(const QString& text)
{
    QString clean;
    clean.reserve(text.size());
    for (QChar c : text) {
        if (c.unicode() >= 0x20 || c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\r'))
            clean.append(c);
    }
    return clean;
}
