// SPDX-License-Identifier: MIT
#include "qrv16/parser.h"
#include "tests/writers/codesample.h"
#include "writers/writerxml.h"

#include <QTemporaryDir>
#include <QtTest>

#include <limits>
#include <memory>

using namespace QRV16;

namespace {

const QByteArray declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?> <!-- -*- nxml -*- -->";

// A tag, value or bit; `id` below 0 for none.
Item* item(ItemType type, const QString& name, qint64 id = -1)
{
    return CodeSample::item(type, name, quint64(id), id >= 0);
}

} // namespace

class TestWriterXml : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void attributes_data();
    void attributes();
    void layout();
    void roundTrip_data();
    void roundTrip();
    void idsSurviveEveryDisplay_data();
    void idsSurviveEveryDisplay();
    void textsStayReadable_data();
    void textsStayReadable();
    void demoRoundTripsByteForByte();
    void failedWriteKeepsTarget();
};

void TestWriterXml::attributes_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("digits");
    QTest::addColumn<bool>("secure");
    QTest::addColumn<QString>("comment");
    QTest::addColumn<QByteArray>("element");
    QTest::newRow("plain") << 0 << 0 << false << "" << QByteArray("<tag name=\"T\" id=\"0x1001\"/>");
    QTest::newRow("hex four") << 3 << 4 << false << "" << QByteArray("<tag name=\"T\" id=\"0x1001\" display=\"4x\"/>");
    QTest::newRow("binary is y") << 5 << 8 << false << "" << QByteArray("<tag name=\"T\" id=\"0x1001\" display=\"8y\"/>");
    QTest::newRow("signed") << 1 << 0 << false << "" << QByteArray("<tag name=\"T\" id=\"0x1001\" display=\"d\"/>");
    QTest::newRow("unsigned") << 2 << 3 << false << "" << QByteArray("<tag name=\"T\" id=\"0x1001\" display=\"3u\"/>");
    QTest::newRow("octal") << 4 << 0 << false << "" << QByteArray("<tag name=\"T\" id=\"0x1001\" display=\"o\"/>");
    QTest::newRow("digits without mode") << 0 << 4 << false << "" << QByteArray("<tag name=\"T\" id=\"0x1001\"/>");
    QTest::newRow("secure") << 0 << 0 << true << "" << QByteArray("<tag name=\"T\" id=\"0x1001\" secure=\"true\"/>");
    QTest::newRow("all in order") << 3 << 2 << true << "a \"b\"" << QByteArray("<tag name=\"T\" id=\"0x1001\" comment=\"a &quot;b&quot;\" secure=\"true\" display=\"2x\"/>");
}

void TestWriterXml::attributes()
{
    QFETCH(int, mode);
    QFETCH(int, digits);
    QFETCH(bool, secure);
    QFETCH(QString, comment);
    QFETCH(QByteArray, element);
    Item root;
    root.data().type = ItemType::Root;
    Item* tag = item(ItemType::Tag, "T", 0x1001);
    tag->data().display = DisplayMode(mode, digits);
    tag->data().secure = secure;
    tag->data().comment = comment;
    root.appendChild(tag);
    WriterXml w;
    QCOMPARE(w.encode(&root), declaration + "\n<qrv16>\n  " + element + "\n</qrv16>\n");
}

void TestWriterXml::layout()
{
    Item root;
    root.data().type = ItemType::Root;
    Item* tag = item(ItemType::Tag, "Mode", 0x1002);
    tag->data().display = DisplayMode(DisplayMode::Hex, 2);
    root.appendChild(tag);
    root.appendChild(item(ItemType::Tag, QString())); // blank line
    Item* note = item(ItemType::Tag, QString());
    note->data().comment = " later ";
    root.appendChild(note);
    Item* enums = item(ItemType::Enums, QString());
    tag->appendChild(enums);
    enums->appendChild(item(ItemType::Enum, "Off", 0));
    enums->appendChild(item(ItemType::Enum, QString(), 10)); // nameless, in the tag's mode
    tag->appendChild(item(ItemType::Bits, QString()));
    WriterXml w;
    QCOMPARE(w.encode(&root), declaration +
                                  "\n<qrv16>"
                                  "\n  <tag name=\"Mode\" id=\"0x1002\" display=\"2x\">"
                                  "\n    <enums>"
                                  "\n      <enum name=\"Off\" id=\"0x00\"/>"
                                  "\n      <enum id=\"0x0A\"/>"
                                  "\n    </enums>"
                                  "\n    <bits/>"
                                  "\n  </tag>"
                                  "\n"
                                  "\n  <!-- later -->"
                                  "\n</qrv16>\n");
    QVERIFY(w.errorString().isEmpty());

    Item empty;
    empty.data().type = ItemType::Root;
    QCOMPARE(w.encode(&empty), declaration + "\n<qrv16/>\n");
    // A blank-line item as the last child adds its line break, and nothing else.
    empty.appendChild(item(ItemType::Tag, QString()));
    QCOMPARE(w.encode(&empty), declaration + "\n<qrv16>\n\n</qrv16>\n");
}

void TestWriterXml::roundTrip_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::newRow("layout and comments")
        << QByteArray("<?xml version=\"1.0\"?>\n<qrv16>\n<!-- head -->\n\n<tag name=\"A\" id=\"0x1001\" "
                      "display=\"4X\"><enums>\n<enum name=\"a\" id=\"1\"/>\n\n<!-- gap -->\n<enum id=\"7\"/>"
                      "</enums><bits><bit name=\"b\" id=\"0\" comment=\"x &amp; y\"/></bits></tag>\n\n\n"
                      "<tag name=\"S\" id=\"0x3001\" secure=\"1\"/></qrv16>");
    QTest::newRow("negative and octal ids") << QByteArray(
        "<?xml version=\"1.0\"?><qrv16><tag name=\"A\" id=\"1\" display=\"3d\"><enums>"
        "<enum name=\"m\" id=\"-5\"/></enums></tag><tag name=\"B\" id=\"2\" display=\"o\">"
        "<bits><bit name=\"x\" id=\"9\"/></bits></tag><tag name=\"C\" id=\"3\" display=\"b\">"
        "<enums><enum name=\"y\" id=\"6\"/></enums></tag></qrv16>");
}

void TestWriterXml::roundTrip()
{
    QFETCH(QByteArray, document);
    const std::unique_ptr<Item> first = CodeSample::read(document);
    WriterXml w;
    const QByteArray written = w.encode(first.get());
    const std::unique_ptr<Item> second = CodeSample::read(written);
    QVERIFY(*first == *second);
    QCOMPARE(w.encode(second.get()), written);
}

void TestWriterXml::idsSurviveEveryDisplay_data()
{
    QTest::addColumn<QString>("tagDisplay");
    QTest::addColumn<QString>("enumDisplay");
    QTest::addColumn<qlonglong>("value");
    // Padded decimals print leading zeros that must not read back as octal;
    // a digit count without a mode letter is not written at all.
    const QStringList displays = {"", "d", "u", "x", "o", "y", "4d", "4u", "4x", "4o", "12y", "3", "25u"};
    const QList<qlonglong> values = {0, 7, 9, 10, 64, -5, std::numeric_limits<qlonglong>::min()};
    for (const QString& display : displays) {
        for (qlonglong value : values) {
            QTest::addRow("tag \"%s\" %lld", qPrintable(display), value) << display << "" << value;
            QTest::addRow("enum \"%s\" %lld", qPrintable(display), value) << "" << display << value;
        }
    }
}

void TestWriterXml::idsSurviveEveryDisplay()
{
    QFETCH(QString, tagDisplay);
    QFETCH(QString, enumDisplay);
    QFETCH(qlonglong, value);
    const std::unique_ptr<Item> first =
        CodeSample::read("<qrv16><tag name=\"T\" id=\"0x1001\" display=\"" + tagDisplay.toUtf8() +
                         "\"><enums><enum name=\"v\" id=\"" + QByteArray::number(value) +
                         "\" display=\"" + enumDisplay.toUtf8() + "\"/></enums></tag></qrv16>");
    WriterXml w;
    const QByteArray written = w.encode(first.get());
    const std::unique_ptr<Item> second = CodeSample::read(written);
    const Item* e = second->child(0)->child(0)->child(0);
    QVERIFY(e->data().hasId);
    QCOMPARE(qlonglong(e->data().id), value);
    QCOMPARE(w.encode(second.get()), written);
}

void TestWriterXml::textsStayReadable_data()
{
    QTest::addColumn<QString>("head");        // the root's comment
    QTest::addColumn<QString>("comment");     // a comment item's text
    QTest::addColumn<QByteArray>("written");  // between the declaration and <qrv16>
    QTest::addColumn<QString>("readHead");
    QTest::addColumn<QString>("readComment");
    QTest::newRow("doctype written as such")
        << "\n<!DOCTYPE qrv16>" << " c " << QByteArray("\n<!DOCTYPE qrv16>") << "\n<!DOCTYPE qrv16>" << " c ";
    QTest::newRow("free text head becomes a comment")
        << "Pump station" << " c " << QByteArray("\n<!--Pump station-->") << "" << " c ";
    QTest::newRow("broken doctype becomes a comment")
        << "<!DOCTYPE q [" << " c " << QByteArray("\n<!--<!DOCTYPE q [-->") << "" << " c ";
    QTest::newRow("double dash in a comment split")
        << "" << " a -- b " << QByteArray() << "" << " a - - b ";
    QTest::newRow("trailing dash in a comment spaced")
        << "" << " a -" << QByteArray() << "" << " a - ";
    QTest::newRow("dash runs split") << "" << "---" << QByteArray() << "" << "- - - ";
}

void TestWriterXml::textsStayReadable()
{
    QFETCH(QString, head);
    QFETCH(QString, comment);
    QFETCH(QByteArray, written);
    QFETCH(QString, readHead);
    QFETCH(QString, readComment);
    Item root;
    root.data().type = ItemType::Root;
    root.data().comment = head;
    Item* note = item(ItemType::Tag, QString());
    note->data().comment = comment;
    root.appendChild(note);
    const QByteArray out = WriterXml().encode(&root);
    QVERIFY(out.startsWith(QByteArray(declaration + written + "\n<qrv16>")));
    Parser parser;
    QVERIFY2(parser.parse(out), qPrintable(parser.formatError()));
    const std::unique_ptr<Item> back(parser.takeRoot());
    QCOMPARE(back->data().comment, readHead);
    QCOMPARE(back->childCount(), 1);
    QCOMPARE(back->child(0)->data().comment, readComment);
}

void TestWriterXml::demoRoundTripsByteForByte()
{
    const QByteArray demo = readFile(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef"));
    const std::unique_ptr<Item> root = CodeSample::read(demo);
    QCOMPARE(WriterXml().encode(root.get()), demo);
}

void TestWriterXml::failedWriteKeepsTarget()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("defs.qrvdef");
    const std::unique_ptr<Item> good =
        CodeSample::read("<qrv16><tag name=\"A\" id=\"1\"/></qrv16>");
    WriterXml w;
    QVERIFY(w.write(good.get(), path));
    const QByteArray before = readFile(path);
    // A control character has no XML form, so this tree cannot be written.
    const std::unique_ptr<Item> bad = CodeSample::read("<qrv16><tag name=\"A\" id=\"1\"/></qrv16>");
    bad->child(0)->data().comment = QStringLiteral("bell \x07");
    QVERIFY(!w.write(bad.get(), path));
    QVERIFY(w.formatError().startsWith("Error writing " + path + ":\n  "));
    QCOMPARE(readFile(path), before);
    QVERIFY(!QFile::exists(path + ".tmp"));
    QVERIFY(!QFile::exists(path + ".bak"));
    // The next successful write reports no stale error.
    QVERIFY(!w.encode(good.get()).isEmpty());
    QCOMPARE(w.formatError(), QString());

    QVERIFY(!w.write(good.get(), "/nonexistent/dir/defs.qrvdef"));
    QCOMPARE(w.formatError(), QString("Failed to open output file /nonexistent/dir/defs.qrvdef."));
    QVERIFY(w.encode(nullptr).isEmpty());
}

QTEST_APPLESS_MAIN(TestWriterXml)
#include "tst_writerxml.moc"
