// SPDX-License-Identifier: MIT
// The bookmark file: what the writer puts in it byte by byte (the demo's
// own test writes a whole file back), what the reader makes of good and bad
// documents, and the round trip between them.

#include "bookmarks/bookmarklist.h"
#include "bookmarks/bookmarkparser.h"
#include "bookmarks/bookmarkwriter.h"
#include "tests/bookmarks/letters.h"

#include <QAction>
#include <QBuffer>
#include <QFileInfo>
#include <QPainter>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>

namespace {

const QByteArray head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?> <!-- -*- nxml -*- -->\n";

QAction* bookmark(const QString& text, const QString& message, const QString& toolTip = QString(),
                  const QString& shortcut = QString())
{
    auto* action = new QAction(text);
    if (!message.isEmpty())
        action->setData(message);
    if (!toolTip.isEmpty())
        action->setToolTip(toolTip);
    if (!shortcut.isEmpty())
        action->setShortcut(QKeySequence::fromString(shortcut, QKeySequence::PortableText));
    return action;
}

// An image with a gradient and an odd size, so that any scaling or
// cropping shows in the pixels; a translucent one also has an invisible corner.
QImage drawnImage(int width, int height, bool opaque = true)
{
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int alpha = opaque ? 255 : x < 3 && y < 3 ? 0 : 100 + x * 9;
            image.setPixel(x, y, qRgba(x * 255 / width, y * 255 / height, (x * y) % 256, alpha));
        }
    }
    return image;
}

QImage iconImage(const QAction* action)
{
    const QIcon icon = action->icon();
    if (icon.isNull())
        return QImage();
    return icon.pixmap(icon.availableSizes().value(0), 1.0)
        .toImage()
        .convertToFormat(QImage::Format_ARGB32);
}

struct Read
{
    bool ok = false;
    QString error;
    QString warnings;
};

Read read(BookmarkList& list, const QByteArray& document)
{
    BookmarkParser parser(&list);
    Read r;
    r.ok = parser.parse(document);
    r.error = r.ok ? QString() : parser.formatError();
    r.warnings = parser.warnings();
    return r;
}

// The list as one line: "text:message" per bookmark, '|' per separator,
// "+icon" and "@shortcut" where set.
QString shape(const BookmarkList& list)
{
    QStringList items;
    for (const QAction* action : list.actions()) {
        if (action->isSeparator()) {
            items << QStringLiteral("|");
            continue;
        }
        QString s = action->text() + QLatin1Char(':') + BookmarkList::message(action);
        if (!BookmarkList::toolTip(action).isEmpty())
            s += QStringLiteral(" ?") + BookmarkList::toolTip(action);
        if (!action->icon().isNull())
            s += QStringLiteral(" +icon");
        if (!action->shortcut().isEmpty())
            s += QStringLiteral(" @") + action->shortcut().toString(QKeySequence::PortableText);
        items << s;
    }
    return items.join(QStringLiteral(", "));
}

QByteArray document(const QByteArray& body)
{
    return "<?xml version=\"1.0\"?>\n" + body + "\n";
}

using Setup = std::function<QAction*()>;

} // namespace

Q_DECLARE_METATYPE(Setup)

class TestBookmarkFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void emptyList();
    void writtenAs_data();
    void writtenAs();
    void roundTrip();
    void iconsKeepTheirPixels_data();
    void iconsKeepTheirPixels();
    void charactersXmlCannotHold();
    void writeFailure();
    void errors_data();
    void errors();
    void fileErrors();
    void warnings_data();
    void warnings();
    void readsFromFile();
};

void TestBookmarkFile::emptyList()
{
    BookmarkList list;
    const QByteArray expected = head + "<qrvbm/>\n";
    QCOMPARE(BookmarkWriter().encode(&list), expected);
    QCOMPARE(BookmarkWriter().encode(nullptr), expected);
}

void TestBookmarkFile::writtenAs_data()
{
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QByteArray>("element");

    const auto row = [](const char* name, const QByteArray& element, Setup setup) {
        QTest::newRow(name) << setup << element;
    };
    row("only a message is a bookmark holding only its message",
        QByteArray("  <bookmark>\n    <message>GetStatus</message>\n  </bookmark>\n"),
        [] { return bookmark(QString(), "GetStatus"); });
    row("only a tool tip", QByteArray("  <bookmark>\n    <tooltip>tip</tooltip>\n  </bookmark>\n"),
        [] { return bookmark(QString(), QString(), "tip"); });
    row("text without message", QByteArray("  <bookmark>\n    <text>label</text>\n  </bookmark>\n"),
        [] { return bookmark("label", QString()); });
    row("a separator", QByteArray("  <separator/>\n"), [] { return separator(); });
    row("nothing to keep is a separator", QByteArray("  <separator/>\n"),
        [] { return new QAction; });
    row("a shortcut alone is nothing to keep", QByteArray("  <separator/>\n"),
        [] { return bookmark(QString(), QString(), QString(), "Ctrl+9"); });
    row("a separator with a text stays one", QByteArray("  <separator/>\n"), [] {
        QAction* action = separator();
        action->setText("odd");
        return action;
    });
    row("tool tip equal to the text is not repeated",
        QByteArray("  <bookmark>\n    <text>Same</text>\n    <message>GetStatus</message>\n"
                   "  </bookmark>\n"),
        [] { return bookmark("Same", "GetStatus", "Same"); });
    row("markup in texts is escaped",
        QByteArray("  <bookmark>\n    <text>a &lt; b &amp; c</text>\n"
                   "    <message>3004=&quot;x&quot;</message>\n  </bookmark>\n"),
        [] { return bookmark("a < b & c", "3004=\"x\""); });
    row("two-key shortcut",
        QByteArray("  <bookmark>\n    <text>k</text>\n    <shortcut>Ctrl+K, Ctrl+S</shortcut>\n"
                   "  </bookmark>\n"),
        [] { return bookmark("k", QString(), QString(), "Ctrl+K, Ctrl+S"); });
}

void TestBookmarkFile::writtenAs()
{
    QFETCH(Setup, setup);
    QFETCH(QByteArray, element);

    BookmarkList list;
    list.addAction(setup());
    QCOMPARE(BookmarkWriter().encode(&list), head + "<qrvbm>\n" + element + "</qrvbm>\n");
}

void TestBookmarkFile::roundTrip()
{
    BookmarkList list;
    list.addAction(bookmark("Get &status", "GetStatus", "Asks the station", "Ctrl+1"));
    list.addAction(separator());
    list.addAction(bookmark("  spaced  ", "SetPumpMode=(PumpId=2\n    PumpMode=Auto)\n", QString(),
                            "Ctrl+Shift+F5"));
    list.addAction(bookmark(QString(), "3004=\"<&>]]> \\\"quoted\\\"\""));
    list.addAction(separator());
    list.addAction(bookmark(QStringLiteral("Pumpe \u00fc\u00df \u6c34 \U0001F6B0"), "3004=\"\t\"",
                            QStringLiteral("Tab \u2192 tab"), "Alt+X, Y"));
    auto* withIcon = bookmark("icon", "GetStatus");
    withIcon->setIcon(QIcon(QPixmap::fromImage(drawnImage(16, 16))));
    list.addAction(withIcon);

    BookmarkWriter writer;
    const QByteArray first = writer.encode(&list);
    BookmarkList back;
    const Read r = read(back, first);
    QVERIFY2(r.ok, qPrintable(r.error));
    QCOMPARE(r.warnings, QString());
    QCOMPARE(shape(back), shape(list));
    // The shape holds every field but the icon's pixels.
    QCOMPARE(back.count(), list.count());
    for (int i = 0; i < list.count(); ++i)
        QCOMPARE(iconImage(back.action(i)), iconImage(list.action(i)));
    // What was read is written again byte for byte.
    QCOMPARE(writer.encode(&back), first);
    QCOMPARE(writer.encode(&list), first);
}

void TestBookmarkFile::iconsKeepTheirPixels_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<bool>("opaque");
    QTest::newRow("16 square") << 16 << 16 << true;
    QTest::newRow("wide") << 40 << 12 << true;
    QTest::newRow("one pixel") << 1 << 1 << true;
    QTest::newRow("translucent") << 16 << 16 << false;
}

void TestBookmarkFile::iconsKeepTheirPixels()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(bool, opaque);

    const QImage image = drawnImage(width, height, opaque);
    BookmarkList list;
    QAction* action = bookmark("i", "GetStatus");
    action->setIcon(QIcon(QPixmap::fromImage(image)));
    list.addAction(action);
    const QByteArray bytes = BookmarkWriter().encode(&list);

    // The icon is a PNG in Base64.
    const int start = int(bytes.indexOf("<icon>")) + 6;
    const int end = int(bytes.indexOf("</icon>"));
    QVERIFY(start > 6 && end > start);
    const QByteArray png = QByteArray::fromBase64(bytes.mid(start, end - start));
    QVERIFY(png.startsWith("\x89PNG"));

    BookmarkList back;
    const Read r = read(back, bytes);
    QVERIFY2(r.ok, qPrintable(r.error));
    // Translucent pixels are stored premultiplied by the pixmap, so they
    // come back as the icon showed them rather than as drawn.
    QCOMPARE(iconImage(back.action(0)), iconImage(action));
    if (opaque)
        QCOMPARE(iconImage(back.action(0)), image);
}

void TestBookmarkFile::charactersXmlCannotHold()
{
    BookmarkList list;
    list.addAction(bookmark(QStringLiteral("a\x01"
                                           "b\x1b"
                                           "c"),
                            QStringLiteral("3004=\"x\x7fy\x0c\"")));
    const QByteArray bytes = BookmarkWriter().encode(&list);
    BookmarkList back;
    const Read r = read(back, bytes);
    QVERIFY2(r.ok, qPrintable(r.error));
    QCOMPARE(back.action(0)->text(), QStringLiteral("abc"));
    QCOMPARE(BookmarkList::message(back.action(0)), QStringLiteral("3004=\"x\x7fy\""));
}

void TestBookmarkFile::writeFailure()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("missing/b.qrvbm"));
    BookmarkList list;
    BookmarkWriter writer;
    QVERIFY(!writer.write(&list, path));
    QVERIFY2(writer.errorString().contains(path), qPrintable(writer.errorString()));
    QVERIFY(!QFile::exists(path));

    // A directory where the file should go stays as it is.
    QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("folder")));
    const QString folder = dir.filePath(QStringLiteral("folder"));
    QVERIFY(!writer.write(&list, folder));
    QVERIFY(!writer.errorString().isEmpty());
    QVERIFY(QFileInfo(folder).isDir());

    // A later success clears the error.
    QVERIFY(writer.write(&list, dir.filePath(QStringLiteral("ok.qrvbm"))));
    QCOMPARE(writer.errorString(), QString());
}

void TestBookmarkFile::errors_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("error");

    const auto row = [](const char* name, const QByteArray& document, const char* error) {
        QTest::newRow(name) << document << QString::fromLatin1(error);
    };
    row("empty input", QByteArray(),
        "Error: data, Line 1, Column 0:\n"
        "  (Invalid) This doesn't look like an XML file.");
    row("plain text", QByteArray("GetStatus\n"),
        "Error: data, Line 1, Column 1:\n"
        "  (Invalid) This doesn't look like a bookmark file.");
    row("definitions instead", document("<qrv16>\n  <tag name=\"A\" id=\"0x1001\"/>\n</qrv16>"),
        "Error: data, Line 2, Column 7:\n"
        "  (StartElement) This doesn't look like a bookmark file.");
    row("root in another case", document("<QRVBM/>"),
        "Error: data, Line 2, Column 8:\n"
        "  (StartElement) This doesn't look like a bookmark file.");
    row("cut in a bookmark",
        QByteArray("<?xml version=\"1.0\"?>\n<qrvbm>\n  <bookmark>\n    <text>a</text>\n"),
        "Error: data, Line 5, Column 0:\n  (Invalid) Unexpected end of document");
    row("element in a text",
        document("<qrvbm>\n  <bookmark>\n    <text><b>x</b></text>\n  </bookmark>\n</qrvbm>"),
        "Error: data, Line 4, Column 13:\n"
        "  (StartElement) Characters for <text> element expected.");
    row("element after a message",
        document("<qrvbm>\n  <bookmark>\n    <message>GetStatus<b/></message>\n  "
                 "</bookmark>\n</qrvbm>"),
        "Error: data, Line 4, Column 26:\n"
        "  (StartElement) End of <message> element expected.");
    row("unknown elements nested deeper than the reader follows",
        "<qrvbm>" + QByteArray("<x>").repeated(101) + QByteArray("</x>").repeated(101) + "</qrvbm>",
        "Error: data, Line 1, Column 310:\n  (StartElement) File too deeply nested");
    row("an entity XML does not know",
        document("<qrvbm>\n  <bookmark><text>&nbsp;</text></bookmark>\n</qrvbm>"),
        "Error: data, Line 3, Column 24:\n  (Invalid) Characters for <text> element expected.");
    row("mismatched end", document("<qrvbm>\n  <bookmark>\n  </separator>\n</qrvbm>"),
        "Error: data, Line 4, Column 14:\n  Opening and ending tag mismatch.");
    row("good bookmarks before a fault",
        QByteArray("<qrvbm><bookmark><text>a</text></bookmark><separator/>"
                   "<bookmark><text>b</text></bookmark><bookmark><text>"),
        "Error: data, Line 1, Column 105:\n  (Invalid) Characters for <text> element expected.");
}

void TestBookmarkFile::errors()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, error);

    BookmarkList list;
    list.addAction(bookmark("unsaved", "GetStatus"));
    const Read r = read(list, document);
    QVERIFY(!r.ok);
    QCOMPARE(r.error, error);
    // Neither the old bookmarks nor those read before the fault are kept.
    QCOMPARE(list.count(), 0);
    QVERIFY(!list.isDirty());
}

void TestBookmarkFile::fileErrors()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("none.qrvbm"));
    BookmarkList list;
    BookmarkParser parser(&list);
    QVERIFY(!parser.parse(path));
    QCOMPARE(parser.formatError(),
             QStringLiteral("Error: %1, Failed to open input file").arg(path));

    BookmarkParser without(nullptr);
    QVERIFY(!without.parse(document("<qrvbm/>")));
    QVERIFY(!without.formatError().isEmpty());
}

void TestBookmarkFile::warnings_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("warnings");
    QTest::addColumn<QString>("shape");

    const auto row = [](const char* name, const QByteArray& document, const char* warnings,
                        const char* shape) {
        QTest::newRow(name) << document << QString::fromLatin1(warnings)
                            << QString::fromLatin1(shape);
    };
    row("an empty root empties the list", head + "<qrvbm/>\n", "", "");
    row("unknown element in the root",
        document("<qrvbm>\n  <folder><bookmark><text>hidden</text></bookmark></folder>\n"
                 "  <bookmark><text>a</text></bookmark>\n</qrvbm>"),
        "Warning: data, Line 3, Column 10:\n"
        "  Unexpected element <folder>. Expected <bookmark>.\n",
        "a:");
    row("stray text in the root", document("<qrvbm>\n  hello\n  <separator/>\n</qrvbm>"),
        "Warning: data, Line 4, Column 3:\n  Unexpected characters encountered\n", "|");
    row("unknown element in a bookmark",
        document("<qrvbm>\n  <bookmark><color>red</color><text>a</text></bookmark>\n</qrvbm>"),
        "Warning: data, Line 3, Column 19:\n"
        "  Unexpected element <color>. Expected <text>, <tooltip>, <message>, <icon> or "
        "<shortcut>.\n",
        "a:");
    row("stray text in a bookmark",
        document("<qrvbm>\n  <bookmark>x<text>a</text></bookmark>\n</qrvbm>"),
        "Warning: data, Line 3, Column 14:\n  Unexpected characters encountered\n", "a:");
    row("corrupt icon keeps the bookmark",
        document("<qrvbm>\n  <bookmark>\n    <text>a</text>\n    <icon>#not base64#</icon>\n"
                 "    <message>GetStatus</message>\n  </bookmark>\n</qrvbm>"),
        "Warning: data, Line 5, Column 29:\n  Invalid icon data\n", "a:GetStatus");
    row("icon that is no image",
        document("<qrvbm><bookmark><text>a</text><icon>" + QByteArray("hello").toBase64() +
                 "</icon></bookmark></qrvbm>"),
        "Warning: data, Line 2, Column 52:\n  Invalid icon data\n", "a:");
    row("empty icon is no icon",
        document("<qrvbm><bookmark><text>a</text><icon/></bookmark></qrvbm>"), "", "a:");
    row("unknown shortcut key",
        document("<qrvbm><bookmark><text>a</text><shortcut>Ctrl+Foo</shortcut></bookmark></qrvbm>"),
        "Warning: data, Line 2, Column 60:\n  Invalid shortcut \"Ctrl+Foo\"\n", "a:");
    row("shortcut read",
        document("<qrvbm><bookmark><text>a</text><shortcut>Ctrl+Shift+2</shortcut></bookmark></"
                 "qrvbm>"),
        "", "a: @Ctrl+Shift+2");
    row("name attribute gives the text",
        document("<qrvbm><bookmark name=\"old\"><message>GetStatus</message></bookmark>"
                 "<bookmark name=\"old\"><text>new</text></bookmark></qrvbm>"),
        "", "old:GetStatus, new:");
    row("comments and processing instructions",
        document("<!-- mine -->\n<qrvbm><!-- c --><?pi x?><bookmark><!-- d --><text>a</text>"
                 "<?pi y?></bookmark></qrvbm>"),
        "", "a:");
    row("whatever a separator holds", document("<qrvbm><separator>x<y/></separator></qrvbm>"), "",
        "|");
    row("empty text elements",
        document("<qrvbm><bookmark><text/><message></message></bookmark></qrvbm>"), "", ":");
    row("text kept with its blanks",
        document("<qrvbm><bookmark><text>  a  </text></bookmark></qrvbm>"), "", "  a  :");
    row("unknown elements 100 deep are skipped",
        "<qrvbm>" + QByteArray("<x>").repeated(100) + QByteArray("</x>").repeated(100) +
            "<separator/></qrvbm>",
        "Warning: data, Line 1, Column 10:\n  Unexpected element <x>. Expected <bookmark>.\n", "|");
    row("two warnings in order", document("<qrvbm>\n<a/>\n<b/>\n</qrvbm>"),
        "Warning: data, Line 3, Column 4:\n  Unexpected element <a>. Expected <bookmark>.\n"
        "Warning: data, Line 4, Column 4:\n  Unexpected element <b>. Expected <bookmark>.\n",
        "");
}

void TestBookmarkFile::warnings()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, warnings);
    QFETCH(QString, shape);

    BookmarkList list;
    list.addAction(bookmark("unsaved", "GetStatus"));
    QSignalSpy dirty(&list, &BookmarkList::dirtyChanged);
    const Read r = read(list, document);
    QVERIFY2(r.ok, qPrintable(r.error));
    QCOMPARE(r.warnings, warnings);
    QCOMPARE(::shape(list), shape);
    // What was read replaces the list and is its saved state.
    QCOMPARE(dirty.count(), 1);
    QCOMPARE(dirty.at(0).at(0).toBool(), false);
}

void TestBookmarkFile::readsFromFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("b.qrvbm"));
    BookmarkList list;
    list.addAction(bookmark("a", "GetStatus", QString(), "Ctrl+1"));
    QVERIFY(BookmarkWriter().write(&list, path));

    BookmarkList back;
    BookmarkParser parser(&back);
    QVERIFY2(parser.parse(path), qPrintable(parser.formatError()));
    QCOMPARE(parser.fileName(), path);
    QCOMPARE(shape(back), shape(list));

    // Warnings name the file.
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(document("<qrvbm><x/></qrvbm>"));
    file.close();
    QVERIFY(parser.parse(path));
    QVERIFY2(
        parser.warnings().startsWith(QStringLiteral("Warning: %1, Line 2, Column 11:").arg(path)),
        qPrintable(parser.warnings()));
}

QTEST_MAIN(TestBookmarkFile)
#include "tst_bookmarkfile.moc"
