// Typed text against demo.qrvdef's names.

#include "qrv16/item.h"
#include "qrv16/messageparser.h"
#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"

#include <cstdint>
#include <memory>

using namespace QRV16;

static const TagDataLut* demoTables()
{
    static std::unique_ptr<Item> root;
    static std::unique_ptr<TagDataLut> lut;
    if (!lut) {
        Parser parser;
        parser.parse(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef"));
        root.reset(parser.takeRoot());
        lut = std::make_unique<TagDataLut>(root.get());
    }
    return lut.get();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    MessageParser parser(demoTables());
    const QList<Message> messages = parser.parseList(text);
    for (const Message& m : messages)
        m.toText(demoTables(), Hungarian);
    if (parser.hasError())
        parser.errorColumnEnd();
    return 0;
}
