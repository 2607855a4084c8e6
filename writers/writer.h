// SPDX-License-Identifier: MIT
#pragma once

// The frame of every generator that turns a definition tree into text: it
// opens the destination (a file, or standard output for "-"), hands the
// generator a device and reports errors. A file is written whole to a
// temporary beside it, synced and renamed over it: exactly the target
// changes, and a failed write leaves it as it was.

#include "writers/identifierset.h"

#include <QIODevice>
#include <QPair>
#include <QSet>
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
    // The text write() would put into `fileName` (which may name the include
    // guard), with clashes() filled in.
    QByteArray encode(const Item* root, const QString& fileName = QString());
    // Writes `bytes` as write() does.
    bool save(const QByteArray& bytes, const QString& fileName);
    // The generated names that two entries share, from the last encode() or
    // write(); the code then does not compile, or means the wrong entry.
    const QList<IdentifierSet::Clash>& clashes() const { return m_clashes; }
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
    // Adds the clashes of `names`, each pair of entries once.
    void noteClashes(const IdentifierSet& names);
    const QString& indent1() const { return m_indent1; }
    const QString& indent2() const { return m_indent2; }

private:
    bool writeTo(QIODevice* device, const Item* root);

    QString m_error;
    QString m_filename;
    QIODevice* m_device = nullptr; // not owned, set during a write
    QStringList m_texts;
    QList<IdentifierSet::Clash> m_clashes;
    QSet<QPair<const Item*, const Item*>> m_clashPairs;
    QString m_indent1;
    QString m_indent2 = QStringLiteral("  ");
};

} // namespace QRV16
