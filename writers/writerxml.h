// SPDX-License-Identifier: MIT
#pragma once

// Writes a definition tree back as a .qrvdef file, with its blank lines and
// comments, in a stable layout: reading and writing again gives the same bytes.

#include "writers/writer.h"

#include <QXmlStreamWriter>

#include <memory>

namespace QRV16 {

class WriterXml : public Writer
{
public:
    bool writeDefinitions(const Item* root) override;

private:
    bool writeItem(const Item* item);
    void writeItemAttributes(const Item* item);
    void writeIndent();

    std::unique_ptr<QXmlStreamWriter> m_xml;
    int m_depth = 0;
};

} // namespace QRV16
