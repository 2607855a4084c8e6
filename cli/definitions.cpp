// SPDX-License-Identifier: MIT
#include "cli/definitions.h"

#include "cli/console.h"
#include "qrv16/parser.h"

bool Definitions::load(const QString& path, bool showWarnings)
{
    QRV16::Parser parser;
    const bool ok = parser.parse(path);
    if (showWarnings && !parser.warnings().isEmpty())
        Console::err(parser.warnings());
    if (!ok) {
        Console::err(parser.formatError() + QLatin1Char('\n'));
        return false;
    }
    m_root.reset(parser.takeRoot());
    m_lut = std::make_unique<QRV16::TagDataLut>(m_root.get());
    return true;
}
