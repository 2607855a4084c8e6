// SPDX-License-Identifier: MIT
#pragma once

#include <QBuffer>
#include <QByteArray>
#include <QString>
#include <QXmlStreamWriter>

// The XML of a file the user keeps: a document with one root element,
// indented by two, whose texts always read back.
class XmlFileWriter
{
public:
    // Starts the document and its `root` element.
    explicit XmlFileWriter(const QString& root);

    QXmlStreamWriter& xml() { return m_xml; }
    // Ends the root element and the document.
    QByteArray finish();

    // The text without what XML 1.0 cannot hold (control characters, lone
    // surrogates, U+FFFE and U+FFFF): a file holding one could not be read
    // back. Every text a file keeps goes through here.
    static QString text(const QString& text);

private:
    QByteArray m_bytes;
    QBuffer m_buffer;
    QXmlStreamWriter m_xml;
};
