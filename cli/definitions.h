// SPDX-License-Identifier: MIT
#pragma once

// A tag definitions file loaded for a command: its item tree and the
// lookup table made from it.

#include "qrv16/item.h"
#include "qrv16/tagdatalut.h"

#include <QString>

#include <memory>

class Definitions
{
public:
    // Reports on stderr and returns false on failure; warnings only when asked.
    bool load(const QString& path, bool showWarnings);

    const QRV16::Item* root() const { return m_root.get(); }
    // Null when nothing is loaded: messages then go by tag numbers.
    const QRV16::TagDataLut* lut() const { return m_lut.get(); }

private:
    std::unique_ptr<QRV16::Item> m_root;
    std::unique_ptr<QRV16::TagDataLut> m_lut;
};
