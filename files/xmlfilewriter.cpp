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
    // The characters of XML 1.0: tab, line feed, carriage return, the rest
    // from U+0020 on, but for lone surrogates, U+FFFE and U+FFFF.
    const auto keeps = [](char16_t c) {
        return c >= 0x20 ? c < 0xD800 || (c >= 0xE000 && c <= 0xFFFD) : c == 0x9 || c == 0xA || c == 0xD;
    };
    const qsizetype size = text.size();
    const QChar* data = text.constData();
    QString clean;
    qsizetype kept = 0; // text up to here is in `clean`, or all of it is still clean
    bool dropped = false;
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t c = data[i].unicode();
        if (keeps(c))
            continue;
        if (QChar::isHighSurrogate(c) && i + 1 < size && QChar::isLowSurrogate(data[i + 1].unicode())) {
            ++i;
            continue;
        }
        if (!dropped) {
            clean.reserve(size - 1);
            dropped = true;
        }
        clean.append(data + kept, i - kept);
        kept = i + 1;
    }
    if (!dropped)
        return text;
    clean.append(data + kept, size - kept);
    return clean;
}
