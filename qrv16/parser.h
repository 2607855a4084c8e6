// SPDX-License-Identifier: MIT
#pragma once

// Reads a .qrvdef definitions file into a tree of items, keeping its blank
// lines and free-standing comments as layout items.

#include "qrv16/item.h"
#include "qrv16/xmlparser.h"

#include <QSet>

#include <memory>

namespace QRV16 {

class Parser : public XmlParser
{
public:
    Parser();
    ~Parser() override;

    bool parser() override;
    // The tree read by the last successful parse; the caller owns it.
    Item* takeRoot() { return m_root.release(); }
    const Item* root() const { return m_root.get(); }
    void clear();

    // Deepest nesting of definition elements accepted.
    static constexpr int MaxNesting = 100;

private:
    bool parseElements(Item* parent, int nesting);
    bool addElement(Item* parent, ItemType type, int nesting);
    bool readAttributes(ItemData& data, QString* idText);
    void addLayoutItem(Item* parent, const QString& comment);
    static void removeTrailingNewlines(Item* item);
    // Replaces the XML reader's own texts with the file format's where one fits.
    void raiseReaderError(const Item* parent);

    std::unique_ptr<Item> m_root;
    QSet<quint64> m_tagCodes;
    QSet<QString> m_tagNames;
    QString m_doctype;
    // Display of the nearest enclosing element that sets one.
    DisplayMode m_inherited;
};

} // namespace QRV16
