// SPDX-License-Identifier: MIT
#pragma once

// The common frame of the XML readers: opens a file or a buffer, reads
// tokens with or without layout (comments, whitespace), skips unwanted
// elements up to a nesting limit, and formats every error and warning with
// file name, line and column.

#include <QIODevice>
#include <QString>
#include <QXmlStreamReader>

#include <functional>
#include <memory>

namespace QRV16 {

class XmlParser : public QXmlStreamReader
{
public:
    enum ReadMode { SkipLayout = 0, KeepLayout = 1 };

    XmlParser();
    virtual ~XmlParser();

    bool parse(const QString& path);
    bool parse(const QByteArray& data);
    // The same, with errors and warnings naming `name` instead of "data".
    bool parse(const QByteArray& data, const QString& name);

    // Reads the whole document once the device is set.
    virtual bool parser() = 0;
    // Receives each formatted warning; the default collects them.
    virtual void warning(const QString& text);

    const QString& warnings() const { return m_warnings; }
    QString fileName() const { return m_filename; }
    void setDebug(bool on) { m_debug = on; }
    bool debug() const { return m_debug; }

    TokenType readNext(ReadMode mode);
    bool skipElement();
    QString readCharacters();
    // Reads the children of the current element up to its end, layout
    // skipped: `child` runs at each start element and returns false to
    // stop; stray text is warned about. False when `child` stops or the
    // document ends or breaks first.
    bool readChildren(const std::function<bool()>& child);

    void raiseError(const QString& message);
    void raiseWarning(const QString& message);
    QString formatError() const;
    QString formatError(const QString& message) const;
    QString formatWarning(const QString& message) const;
    QString formatEW(const QString& kind, const QString& message) const;

    void raiseUnexpectedCharactersWarning();
    void raiseUnexpectedElementWarning(const QString& expected = QString());
    void raiseUnexpectedEndError();
    // A document that ended early gets the format's own text (the reader's
    // differs between library versions); any other error stays.
    void raiseTruncatedError();
    void raiseEndElementExpectedError();
    void raiseStartElementExpectedError();

    static QString tokenName(TokenType type);

    // Deepest nesting of unknown elements that skipElement() accepts.
    static constexpr int MaxDepth = 100;

protected:
    void debugToken(TokenType type) const;

    QString m_filename;
    bool m_debug = false;
    QString m_warnings;
    int m_depth = 0;

private:
    bool start(std::unique_ptr<QIODevice> device, const QString& name);

    std::unique_ptr<QIODevice> m_input;
};

} // namespace QRV16
