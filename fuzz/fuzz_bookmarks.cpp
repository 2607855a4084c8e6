// SPDX-License-Identifier: MIT
// Bookmark files: any bytes end in a list or a positioned error and an
// empty list; what is read is written, and what is written reads back and
// writes the same bytes again. A mismatch aborts.

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkparser.h"
#include "bookmarks/bookmarkwriter.h"

#include <QGuiApplication>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    // Icons are pixmaps, which want a GUI application, not a screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    BookmarkList list;
    BookmarkParser parser(&list);
    if (!parser.parse(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)))) {
        parser.formatError();
        if (!list.isEmpty() || list.isDirty())
            std::abort();
        return 0;
    }
    const QByteArray written = BookmarkWriter().encode(&list);
    BookmarkList again;
    BookmarkParser reader(&again);
    if (!reader.parse(written)) {
        std::fprintf(stderr, "%s\n%s\n", written.constData(), qPrintable(reader.formatError()));
        std::abort();
    }
    const QByteArray rewritten = BookmarkWriter().encode(&again);
    if (rewritten != written) {
        std::fprintf(stderr, "%s\n----\n%s\n", written.constData(), rewritten.constData());
        std::abort();
    }
    return 0;
}
