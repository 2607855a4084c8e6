#include "app/answerwriter.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QXmlStreamWriter>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("AnswerWriter", text);
}

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

QString errnoText()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

QString native(const QString& path)
{
    return QDir::toNativeSeparators(path);
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
    const QString temporary = path + QStringLiteral(".tmp");
    const QString backup = path + QStringLiteral(".bak");
    const QByteArray bytes = encode(rules);
    QFile file(temporary);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        m_error = tr("Cannot open %1 for writing: %2").arg(native(temporary), file.errorString());
        return false;
    }
    // Synced before the rename, or a crash could leave neither file.
    if (file.write(bytes) != bytes.size() || !file.flush() || ::fsync(file.handle()) != 0) {
        m_error = tr("Cannot write %1: %2").arg(native(temporary), file.errorString());
        return false;
    }
    file.close();
    const QByteArray target = QFile::encodeName(path);
    const QByteArray old = QFile::encodeName(backup);
    if (QFile::exists(backup) && std::remove(old.constData()) != 0) {
        m_error = tr("Could not delete old backup %1: %2").arg(native(backup), errnoText());
        return false;
    }
    if (QFile::exists(path) && std::rename(target.constData(), old.constData()) != 0) {
        m_error = tr("Could not rename %1 to %2: %3").arg(native(path), native(backup), errnoText());
        return false;
    }
    if (std::rename(QFile::encodeName(temporary).constData(), target.constData()) != 0) {
        m_error = tr("Could not rename %1 to %2: %3").arg(native(temporary), native(path), errnoText());
        return false;
    }
    return true;
}
