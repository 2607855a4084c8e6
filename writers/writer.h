#pragma once

// The frame of every generator that turns a definition tree into text: it
// opens the destination (a file, or standard output for "-"), hands the
// generator a device and reports errors. Files are written whole to a
// ".tmp" beside the target and renamed over it, the old one kept as ".bak".

#include <QIODevice>
#include <QString>
#include <QStringList>

namespace QRV16 {

class Item;

class Writer
{
public:
    Writer();
    virtual ~Writer();

    virtual bool writeDefinitions(const Item* root) = 0;

    bool write(const Item* root, const QString& fileName);
    QByteArray encode(const Item* root);
    QString errorString() const { return m_error; }
    QString formatError() const;
    void setIndent(int a, int b);

    // Free texts for the generators; each generator's header says which it
    // reads and how. The code generators agree on these places.
    enum TextIndex {
        HeaderText = 0,    // a comment at the top of the file
        PrefixText = 1,    // put before generated names
        NamespaceText = 2, // the namespace or module the names live in
    };
    void setTexts(const QStringList& texts) { m_texts = texts; }
    QStringList texts() const { return m_texts; }
    QString text(TextIndex index) const { return m_texts.value(index); }

protected:
    void beginUtf8();
    void write(const QString& text);
    QIODevice* device() const { return m_device; }
    QString fileName() const { return m_filename; }
    void setErrorString(const QString& error) { m_error = error; }
    const QString& indent1() const { return m_indent1; }
    const QString& indent2() const { return m_indent2; }

private:
    bool writeTo(QIODevice* device, const Item* root);
    bool writeFile(const Item* root, const QString& fileName);

    QString m_error;
    QString m_filename;
    QIODevice* m_device = nullptr; // not owned, set during a write
    QStringList m_texts;
    QString m_indent1;
    QString m_indent2 = QStringLiteral("  ");
};

} // namespace QRV16
