#include "app/answerwriter.h"

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

} // namespace

QByteArray AnswerWriter::encode(const QVector<AnswerRule>& rules) const
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QXmlStreamWriter xml(&buffer);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument(QStringLiteral("1.0"));
    xml.writeStartElement(QStringLiteral("qrvanswers"));
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
            xml.writeTextElement(QStringLiteral("name"), xmlText(rule.name));
        if (!rule.isPeriodic())
            xml.writeTextElement(QStringLiteral("when"), xmlText(rule.when));
        xml.writeTextElement(QStringLiteral("answer"), xmlText(rule.answer));
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

bool AnswerWriter::save(const QVector<AnswerRule>& rules, const QString& path)
{
    m_error.clear();
    return SaveFile::write(path, encode(rules), &m_error);
}
