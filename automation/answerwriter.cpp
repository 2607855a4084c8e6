// SPDX-License-Identifier: MIT
#include "automation/answerwriter.h"

#include "files/savefile.h"
#include "files/xmlfilewriter.h"

#include <QXmlStreamWriter>

QByteArray AnswerWriter::encode(const QVector<AnswerRule>& rules) const
{
    XmlFileWriter file(QStringLiteral("qrvanswers"));
    QXmlStreamWriter& xml = file.xml();
    for (const AnswerRule& rule : rules) {
        xml.writeStartElement(QStringLiteral("rule"));
        if (!rule.enabled)
            xml.writeAttribute(QStringLiteral("enabled"), QStringLiteral("false"));
        xml.writeAttribute(QStringLiteral("channel"), rule.channel == AnswerRule::AnyChannel
                                                          ? QStringLiteral("any")
                                                          : QString::number(rule.channel));
        if (rule.delay > 0)
            xml.writeAttribute(QStringLiteral("delay"), QString::number(rule.delay));
        if (rule.limit > 0)
            xml.writeAttribute(QStringLiteral("limit"), QString::number(rule.limit));
        if (rule.every > 0)
            xml.writeAttribute(QStringLiteral("every"), QString::number(rule.every));
        if (!rule.name.isEmpty())
            xml.writeTextElement(QStringLiteral("name"), XmlFileWriter::text(rule.name));
        if (!rule.isPeriodic())
            xml.writeTextElement(QStringLiteral("when"), XmlFileWriter::text(rule.when));
        xml.writeTextElement(QStringLiteral("answer"), XmlFileWriter::text(rule.answer));
        xml.writeEndElement();
    }
    return file.finish();
}

bool AnswerWriter::save(const QVector<AnswerRule>& rules, const QString& path)
{
    m_error.clear();
    return SaveFile::write(path, encode(rules), &m_error);
}
