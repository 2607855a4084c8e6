// SPDX-License-Identifier: MIT
#include "qrv16/xmlparser.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QtDebug>

namespace QRV16 {

XmlParser::XmlParser() = default;

XmlParser::~XmlParser()
{
    // The base reader must not outlive the device it points to.
    setDevice(nullptr);
}

bool XmlParser::start(std::unique_ptr<QIODevice> device, const QString& name)
{
    setDevice(device.get());
    m_input = std::move(device);
    m_filename = name;
    return parser();
}

bool XmlParser::parse(const QString& path)
{
    m_depth = 0;
    m_warnings.clear();
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly | QIODevice::Text)) {
        setDevice(nullptr);
        m_input.reset();
        m_filename = path;
        raiseError(QCoreApplication::translate("XmlParser", "Failed to open input file"));
        return false;
    }
    return start(std::move(file), path);
}

bool XmlParser::parse(const QByteArray& data)
{
    return parse(data, QStringLiteral("data"));
}

bool XmlParser::parse(const QByteArray& data, const QString& name)
{
    m_depth = 0;
    m_warnings.clear();
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly | QIODevice::Text);
    return start(std::move(buffer), name);
}

void XmlParser::warning(const QString& text)
{
    m_warnings += text;
    m_warnings += QLatin1Char('\n');
}

void XmlParser::debugToken(TokenType type) const
{
    qDebug("tt=%s name=\"%s\" text=\"%s\"", qPrintable(tokenName(type)),
           name().toLocal8Bit().constData(), text().toLocal8Bit().constData());
}

QXmlStreamReader::TokenType XmlParser::readNext(ReadMode mode)
{
    for (;;) {
        const TokenType type = QXmlStreamReader::readNext();
        if (type == ProcessingInstruction)
            continue;
        if (mode == SkipLayout && (type == Comment || (type == Characters && isWhitespace())))
            continue;
        if (m_debug)
            debugToken(type);
        return type;
    }
}

bool XmlParser::skipElement()
{
    if (++m_depth > MaxDepth) {
        raiseError(QCoreApplication::translate("XmlParser", "File too deeply nested"));
        return false;
    }
    for (;;) {
        switch (readNext(SkipLayout)) {
        case StartElement:
            if (!skipElement())
                return false;
            break;
        case EndElement:
            --m_depth;
            return true;
        case Invalid:
        case NoToken:
            --m_depth;
            return false;
        default:
            break;
        }
    }
}

QString XmlParser::readCharacters()
{
    const QString element = name().toString();
    const TokenType first = QXmlStreamReader::readNext();
    if (m_debug)
        debugToken(first);
    if (first == EndElement)
        return QString(QLatin1String(""));
    if (first == Characters) {
        const QString text = this->text().toString();
        if (readNext(SkipLayout) == EndElement)
            return text;
        raiseError(QStringLiteral("End of <%1> element expected.").arg(element));
        return QString();
    }
    raiseError(QStringLiteral("Characters for <%1> element expected.").arg(element));
    return QString();
}

void XmlParser::raiseError(const QString& message)
{
    if (device())
        QXmlStreamReader::raiseError(QLatin1Char('(') + tokenName(tokenType()) +
                                     QStringLiteral(") ") + message);
    else
        QXmlStreamReader::raiseError(message);
}

void XmlParser::raiseWarning(const QString& message)
{
    const QString text = formatWarning(message);
    if (m_debug)
        qDebug("%s", text.toLocal8Bit().constData());
    warning(text);
}

QString XmlParser::formatError() const
{
    return formatError(errorString());
}

QString XmlParser::formatError(const QString& message) const
{
    return formatEW(QStringLiteral("Error"), message);
}

QString XmlParser::formatWarning(const QString& message) const
{
    return formatEW(QStringLiteral("Warning"), message);
}

QString XmlParser::formatEW(const QString& kind, const QString& message) const
{
    QString text = kind + QStringLiteral(": ");
    if (!m_filename.isEmpty())
        text += m_filename + QStringLiteral(", ");
    if (device())
        text += QStringLiteral("Line %1, Column %2:\n  ").arg(lineNumber()).arg(columnNumber());
    return text + message;
}

void XmlParser::raiseUnexpectedCharactersWarning()
{
    raiseWarning(QCoreApplication::translate("XmlParser", "Unexpected characters encountered"));
}

void XmlParser::raiseUnexpectedElementWarning(const QString& expected)
{
    QString text = QStringLiteral("Unexpected element <%1>.").arg(name().toString());
    if (!expected.isEmpty())
        text += QStringLiteral(" Expected ") + expected + QLatin1Char('.');
    raiseWarning(text);
}

void XmlParser::raiseUnexpectedEndError()
{
    raiseError(QCoreApplication::translate("XmlParser", "Unexpected end of document"));
}

void XmlParser::raiseTruncatedError()
{
    if (!hasError() || error() == PrematureEndOfDocumentError)
        raiseUnexpectedEndError();
}

bool XmlParser::readChildren(const std::function<bool()>& child)
{
    for (;;) {
        switch (readNext(SkipLayout)) {
        case StartElement:
            if (!child())
                return false;
            break;
        case EndElement:
            return true;
        case Characters:
            raiseUnexpectedCharactersWarning();
            break;
        case Invalid:
        case NoToken:
        case EndDocument:
            return false;
        default:
            break;
        }
    }
}

void XmlParser::raiseEndElementExpectedError()
{
    raiseError(QCoreApplication::translate("XmlParser", "End element expected."));
}

void XmlParser::raiseStartElementExpectedError()
{
    raiseError(QCoreApplication::translate("XmlParser", "Start of element expected."));
}

QString XmlParser::tokenName(TokenType type)
{
    static const char* const names[] = {"NoToken",    "Invalid", "StartDocument",
                                        "EndDocument", "StartElement", "EndElement",
                                        "Characters", "Comment", "DTD",
                                        "EntityReference", "ProcessingInstruction"};
    const int i = int(type);
    if (i >= 0 && i <= 10)
        return QString::fromLatin1(names[i]);
    return QString::number(i);
}

} // namespace QRV16
