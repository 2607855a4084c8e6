// SPDX-License-Identifier: MIT
#include "qrv16/item.h"
#include "qrv16/parser.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace QRV16;

namespace {

const QByteArray head = "<?xml version=\"1.0\"?>\n";

struct Read
{
    bool ok = false;
    std::unique_ptr<Item> root;
    QString error;
    QString warnings;
};

Read read(const QByteArray& document)
{
    Parser parser;
    Read r;
    r.ok = parser.parse(document);
    r.root.reset(parser.takeRoot());
    r.error = r.ok ? QString() : parser.formatError();
    r.warnings = parser.warnings();
    return r;
}

// The tree as one line: types by letter (R T E e B b), names, ids, and
// '_' for a blank line, '#' plus text for a comment.
QString shape(const Item* item)
{
    QString s;
    const ItemData& d = item->data();
    if (item->isNewline())
        return "_";
    if (item->isComment())
        return "#" + d.comment.trimmed();
    static const char letters[] = "RTEeBb";
    const int t = int(d.type);
    s += t >= 0 && t <= 5 ? QChar(letters[t]) : QChar('?');
    if (!d.name.isEmpty())
        s += ":" + d.name;
    if (d.hasId)
        s += "=" + QString::number(qlonglong(d.id));
    if (item->childCount()) {
        QStringList kids;
        for (int i = 0; i < item->childCount(); ++i)
            kids << shape(item->child(i));
        s += "(" + kids.join(' ') + ")";
    }
    return s;
}

QByteArray nestedUnknown(int levels)
{
    QByteArray doc = "<qrv16>";
    for (int i = 0; i < levels; ++i)
        doc += "<x>";
    for (int i = 0; i < levels; ++i)
        doc += "</x>";
    return doc + "</qrv16>\n";
}

} // namespace

class TestDefinitions : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void layout_data();
    void layout();
    void doctypeKeptOnRoot();
    void ids_data();
    void ids();
    void display_data();
    void display();
    void booleans_data();
    void booleans();
    void errors_data();
    void errors();
    void warnings_data();
    void warnings();
    void fileErrors();
    void readCharacters();
    void demoLoads();
    void mutatedDemoNeverCrashes();
};

void TestDefinitions::layout_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("shape");
    QTest::newRow("blank-line run is one item")
        << QByteArray("<qrv16>\n<tag name=\"A\" id=\"1\"/>\n\n\n\n<tag name=\"B\" id=\"2\"/>\n</qrv16>")
        << "R(T:A=1 _ T:B=2)";
    QTest::newRow("no blank after opening tag")
        << QByteArray("<qrv16>\n\n\n<tag name=\"A\" id=\"1\"/>\n</qrv16>") << "R(T:A=1)";
    QTest::newRow("no blank before closing tag")
        << QByteArray("<qrv16>\n<tag name=\"A\" id=\"1\"/>\n\n\n</qrv16>") << "R(T:A=1)";
    QTest::newRow("single newline is no blank")
        << QByteArray("<qrv16>\n<tag name=\"A\" id=\"1\"/>\n<tag name=\"B\" id=\"2\"/></qrv16>")
        << "R(T:A=1 T:B=2)";
    QTest::newRow("blank after comment kept")
        << QByteArray("<qrv16><tag name=\"A\" id=\"1\"/><!-- c -->\n\n<tag name=\"B\" id=\"2\"/></qrv16>")
        << "R(T:A=1 #c _ T:B=2)";
    QTest::newRow("comments in root, enums and bits")
        << QByteArray("<qrv16><!-- r --><tag name=\"A\" id=\"1\"><enums><!-- e --><enum name=\"x\" id=\"0\"/>"
                      "</enums><bits><!-- b --><bit name=\"y\" id=\"0\"/></bits></tag></qrv16>")
        << "R(#r T:A=1(B(#b b:y=0) E(#e e:x=0)))";
    QTest::newRow("comment directly in a tag is lost")
        << QByteArray("<qrv16><tag name=\"A\" id=\"1\"><!-- lost --><bits/></tag></qrv16>")
        << "R(T:A=1(B))";
    QTest::newRow("comment inside an enum is lost")
        << QByteArray("<qrv16><tag name=\"A\" id=\"1\"><enums><enum name=\"x\" id=\"0\"><!-- lost -->"
                      "</enum></enums></tag></qrv16>")
        << "R(T:A=1(E(e:x=0)))";
    QTest::newRow("comments before the root dropped")
        << QByteArray("<!-- before -->\n\n<qrv16/>") << "R";
    QTest::newRow("blank lines among enums are enum typed")
        << QByteArray("<qrv16><tag name=\"A\" id=\"1\"><enums><enum name=\"x\" id=\"0\"/>\n\n"
                      "<enum name=\"y\" id=\"1\"/></enums></tag></qrv16>")
        << "R(T:A=1(E(e:x=0 _ e:y=1)))";
    QTest::newRow("blank between enums and bits gone after the sort")
        << QByteArray("<qrv16><tag name=\"A\" id=\"1\"><enums/>\n\n<bits/></tag></qrv16>")
        << "R(T:A=1(B E))";
    QTest::newRow("blank between bits and enums gone after the sort")
        << QByteArray("<qrv16><tag name=\"A\" id=\"1\"><bits/>\n\n<enums/></tag></qrv16>")
        << "R(T:A=1(B E))";
    QTest::newRow("processing instruction ignored")
        << QByteArray("<qrv16><?pi x?><tag name=\"A\" id=\"1\"/></qrv16>") << "R(T:A=1)";
    QTest::newRow("unknown element skipped with content")
        << QByteArray("<qrv16><x><tag name=\"Q\" id=\"9\"/></x><tag name=\"A\" id=\"1\"/></qrv16>")
        << "R(T:A=1)";
    QTest::newRow("100 unknown levels skipped") << nestedUnknown(100) << "R";
}

void TestDefinitions::layout()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, shape);
    const Read r = read(head + body);
    QVERIFY2(r.ok, qPrintable(r.error));
    QCOMPARE(::shape(r.root.get()), shape);
    // Rows follow the sort; a blank line item's type follows the definitions
    // around it.
    std::function<void(const Item*)> check = [&](const Item* item) {
        for (int i = 0; i < item->childCount(); ++i) {
            const Item* c = item->child(i);
            QCOMPARE(c->row(), i);
            if (c->isNewline() || c->isComment())
                QCOMPARE(matchingParentType(c->data().type), item->data().type);
            check(c);
        }
    };
    check(r.root.get());
}

void TestDefinitions::doctypeKeptOnRoot()
{
    const Read r = read(head + "<!DOCTYPE qrv16 [ <!ELEMENT qrv16 (tag*)> ]>\n<qrv16/>");
    QVERIFY(r.ok);
    // Kept whole, with the line break before it, so it is written back in place.
    QCOMPARE(r.root->data().comment, QString("\n<!DOCTYPE qrv16 [ <!ELEMENT qrv16 (tag*)> ]>"));
    const Read plain = read(head + "<qrv16 comment=\"ignored on the root\"/>");
    QVERIFY(plain.ok);
    QCOMPARE(plain.root->data().comment, QString());
}

void TestDefinitions::ids_data()
{
    // The forms the writer writes are read back in its tests; these are the
    // ones only people write.
    QTest::addColumn<QString>("display"); // of the tag
    QTest::addColumn<QString>("id");
    QTest::addColumn<qulonglong>("value");
    QTest::newRow("octal") << "" << "032" << 26ull;
    QTest::newRow("largest unsigned") << ""
                                      << "18446744073709551615" << ~0ull;
    QTest::newRow("padded hex display keeps octal") << "4x" << "032" << 26ull;
    QTest::newRow("unpadded decimal display keeps octal") << "d" << "032" << 26ull;
    QTest::newRow("hex under padded decimal") << "4u" << "0x1A" << 26ull;
}

void TestDefinitions::ids()
{
    QFETCH(QString, display);
    QFETCH(QString, id);
    QFETCH(qulonglong, value);
    const Read r = read(head + "<qrv16><tag name=\"T\" id=\"0x1001\" display=\"" + display.toUtf8() +
                        "\"><enums><enum name=\"v\" id=\"" + id.toUtf8() + "\"/></enums></tag></qrv16>");
    QVERIFY2(r.ok, qPrintable(r.error));
    const Item* e = r.root->child(0)->child(0)->child(0);
    QVERIFY(e->data().hasId);
    QCOMPARE(qulonglong(e->data().id), value);
}

void TestDefinitions::display_data()
{
    QTest::addColumn<QString>("display");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("digits");
    QTest::newRow("upper hex") << "X" << 3 << 0;
    QTest::newRow("hex four") << "4x" << 3 << 4;
    QTest::newRow("binary b") << "8b" << 5 << 8;
    QTest::newRow("binary y") << "y" << 5 << 0;
    QTest::newRow("signed") << "d" << 1 << 0;
    QTest::newRow("unsigned") << "12u" << 2 << 12;
    QTest::newRow("octal") << "o" << 4 << 0;
    QTest::newRow("unknown letter leaves it unset") << "4q" << 0 << 4;
    QTest::newRow("digits only") << "3" << 0 << 3;
    QTest::newRow("empty") << "" << 0 << 0;
    QTest::newRow("huge digit count capped") << "2147483647x" << 3 << 64;
    QTest::newRow("overflowing digit count capped") << "99999999999u" << 2 << 64;
}

void TestDefinitions::display()
{
    QFETCH(QString, display);
    QFETCH(int, mode);
    QFETCH(int, digits);
    const Read r = read(head + "<qrv16><tag name=\"T\" id=\"1\" display=\"" + display.toUtf8() +
                        "\"/></qrv16>");
    QVERIFY2(r.ok, qPrintable(r.error));
    QCOMPARE(r.root->child(0)->data().display, DisplayMode(mode, digits));
}

void TestDefinitions::booleans_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("value");
    QTest::newRow("true") << "true" << true;
    QTest::newRow("TRUE") << "TRUE" << true;
    QTest::newRow("false") << "false" << false;
    QTest::newRow("FALSE") << "FALSE" << false;
    QTest::newRow("one") << "1" << true;
    QTest::newRow("seven") << "7" << true;
    QTest::newRow("zero") << "0" << false;
}

void TestDefinitions::booleans()
{
    QFETCH(QString, text);
    QFETCH(bool, value);
    const Read r = read(head + "<qrv16><tag name=\"T\" id=\"1\" secure=\"" + text.toUtf8() +
                        "\"/></qrv16>");
    QVERIFY2(r.ok, qPrintable(r.error));
    QCOMPARE(r.root->child(0)->data().secure, value);
}

void TestDefinitions::errors_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("error");
    QTest::newRow("invalid id")
        << head + "<qrv16>\n  <tag name=\"T\" id=\"zz\"/>\n</qrv16>"
        << "Error: data, Line 3, Column 25:\n  (StartElement) Invalid ID";
    QTest::newRow("tag out of range")
        << head + "<qrv16>\n  <tag name=\"T\" id=\"0x10000\"/>\n</qrv16>"
        << "Error: data, Line 3, Column 30:\n  (StartElement) Tag out of range";
    QTest::newRow("name with digit first")
        << head + "<qrv16>\n  <tag name=\"1T\" id=\"1\"/>\n</qrv16>"
        << "Error: data, Line 3, Column 25:\n  (StartElement) Name must not start with a digit.";
    QTest::newRow("reserved name")
        << head + "<qrv16><tag name=\"Tag\" id=\"1\"/></qrv16>"
        << "Error: data, Line 2, Column 31:\n  (StartElement) The name \"Tag\" is reserved.";
    QTest::newRow("empty name")
        << head + "<qrv16><tag name=\"\" id=\"1\"/></qrv16>"
        << "Error: data, Line 2, Column 28:\n  (StartElement) Empty name not allowed.";
    QTest::newRow("bad characters")
        << head + "<qrv16><tag name=\"a-b\" id=\"1\"/></qrv16>"
        << "Error: data, Line 2, Column 31:\n  (StartElement) Invalid characters in name.";
    QTest::newRow("text between elements")
        << head + "<qrv16>hello<tag/></qrv16>"
        << "Error: data, Line 2, Column 13:\n  (Characters) Start of element expected.";
    QTest::newRow("empty") << QByteArray()
                           << "Error: data, Line 1, Column 0:\n  (Invalid) This doesn't look like an XML file.";
    QTest::newRow("not xml") << QByteArray("hello")
                             << "Error: data, Line 1, Column 1:\n  (Invalid) This doesn't look like an XML file.";
    QTest::newRow("no root") << QByteArray("<?xml version=\"1.0\"?><!-- only a comment -->")
                             << "Error: data, Line 1, Column 44:\n  (Invalid) Unexpected end of input";
    QTest::newRow("cut short")
        << head + "<qrv16><tag name=\"A\" id=\"1\">"
        << "Error: data, Line 2, Column 28:\n  (Invalid) Unexpected end of document";
    QTest::newRow("cut inside a start tag")
        << head + "<qrv16>\n  <tag name=\"A\" id=\"1\">\n    <enums>\n      <enum na"
        << "Error: data, Line 5, Column 14:\n  (Invalid) Unexpected end of document";
    QTest::newRow("cut after the root opens")
        << head + "<qrv16>\n" << "Error: data, Line 3, Column 0:\n  (Invalid) Unexpected end of document";
    QTest::newRow("unknown root only")
        << head + "<other/>" << "Error: data, Line 2, Column 8:\n  (EndDocument) No decodable data found";
    QTest::newRow("entity reference") << head + "<!DOCTYPE q [<!ENTITY e \"x\">]><qrv16>&e;</qrv16>"
                                      << "Error: data, Line 2, Column 41:\n  (Characters) Start of element expected.";
    QTest::newRow("True is no boolean")
        << head + "<qrv16><tag name=\"T\" id=\"1\" secure=\"True\"/></qrv16>"
        << "Error: data, Line 2, Column 43:\n  (StartElement) Invalid boolean value";
    QTest::newRow("yes is no boolean")
        << head + "<qrv16><tag name=\"T\" id=\"1\" secure=\"yes\"/></qrv16>"
        << "Error: data, Line 2, Column 42:\n  (StartElement) Invalid boolean value";
    QTest::newRow("101 unknown levels")
        << head + nestedUnknown(101)
        << "Error: data, Line 2, Column 310:\n  (StartElement) File too deeply nested";
    // Misplaced known elements are read (with warnings), but not without end.
    QTest::newRow("known elements without end")
        << head + "<qrv16>" + QByteArray("<tag>").repeated(5000)
        << "Error: data, Line 2, Column 507:\n  (StartElement) File too deeply nested";
}

void TestDefinitions::errors()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, error);
    const Read r = read(document);
    QVERIFY(!r.ok);
    QCOMPARE(r.root.get(), nullptr);
    QCOMPARE(r.error, error);
}

void TestDefinitions::warnings_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("warnings");
    QTest::newRow("double tag code")
        << head + "<qrv16>\n<tag name=\"A\" id=\"0x1001\"/>\n<tag name=\"B\" id=\"4097\"/>\n</qrv16>"
        << "Warning: data, Line 4, Column 25:\n  Double tag code 0x1001\n";
    QTest::newRow("double tag name")
        << head + "<qrv16>\n<tag name=\"A\" id=\"1\"/>\n<tag name=\"A\" id=\"2\"/>\n</qrv16>"
        << "Warning: data, Line 4, Column 22:\n  Double tag name A\n";
    QTest::newRow("double enum number and name")
        << head + "<qrv16><tag name=\"T\" id=\"1\"><enums>\n<enum name=\"a\" id=\"1\"/>\n"
                  "<enum name=\"a\" id=\"0x1\"/>\n</enums></tag></qrv16>"
        << "Warning: data, Line 4, Column 25:\n  Double number 0x1\n"
           "Warning: data, Line 4, Column 25:\n  Double name a\n";
    QTest::newRow("double bit number")
        << head + "<qrv16><tag name=\"T\" id=\"0x7001\"><bits>\n<bit name=\"a\" id=\"3\"/>\n"
                  "<bit name=\"b\" id=\"3\"/>\n</bits></tag></qrv16>"
        << "Warning: data, Line 4, Column 22:\n  Double number 3\n";
    QTest::newRow("misplaced element")
        << head + "<qrv16>\n<enum name=\"a\" id=\"1\"/>\n</qrv16>"
        << "Warning: data, Line 3, Column 23:\n  Element <enum> not expected.\n";
    QTest::newRow("unknown element")
        << head + "<qrv16>\n<colour/>\n</qrv16>"
        << "Warning: data, Line 3, Column 9:\n  Unexpected element <colour>.\n";
}

void TestDefinitions::warnings()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, warnings);
    const Read r = read(document);
    QVERIFY2(r.ok, qPrintable(r.error));
    QCOMPARE(r.warnings, warnings);
}

void TestDefinitions::fileErrors()
{
    Parser parser;
    QVERIFY(!parser.parse(QStringLiteral("/nonexistent/dir/x.qrvdef")));
    QCOMPARE(parser.formatError(),
             QString("Error: /nonexistent/dir/x.qrvdef, Failed to open input file"));
    QCOMPARE(parser.takeRoot(), nullptr);

    QTemporaryDir dir;
    const QString path = dir.filePath("a.qrvdef");
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(head + "<qrv16>\n  <tag name=\"T\" id=\"x\"/>\n</qrv16>\n");
    f.close();
    QVERIFY(!parser.parse(path));
    QCOMPARE(parser.formatError(),
             QString("Error: %1, Line 3, Column 24:\n  (StartElement) Invalid ID").arg(path));
    // The same parser reads a good file afterwards.
    QVERIFY(parser.parse(QByteArray(head + "<qrv16/>")));
    QVERIFY(parser.root());
}

namespace {
class CharactersReader : public XmlParser
{
public:
    QStringList texts;
    bool parser() override
    {
        while (!atEnd()) {
            if (readNext(SkipLayout) == StartElement && name() == QLatin1String("v")) {
                texts << readCharacters();
                if (hasError())
                    return false;
            }
        }
        return !hasError();
    }
};
} // namespace

void TestDefinitions::readCharacters()
{
    CharactersReader r;
    QVERIFY(r.parse(QByteArray("<a><v>text</v><v/><v></v></a>")));
    QCOMPARE(r.texts, (QStringList{"text", "", ""}));
    QVERIFY(r.texts.at(1).isEmpty() && !r.texts.at(1).isNull());

    CharactersReader nested;
    QVERIFY(!nested.parse(QByteArray("<a><v><w/></v></a>")));
    QVERIFY(nested.formatError().endsWith("Characters for <v> element expected."));

    CharactersReader mixed;
    QVERIFY(!mixed.parse(QByteArray("<a><v>x<w/></v></a>")));
    QVERIFY(mixed.formatError().endsWith("End of <v> element expected."));
}

void TestDefinitions::demoLoads()
{
    Parser parser;
    QVERIFY2(parser.parse(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")),
             qPrintable(parser.formatError()));
    QCOMPARE(parser.warnings(), QString());
    std::unique_ptr<Item> root(parser.takeRoot());
    QSet<int> types;
    bool secure = false;
    for (int i = 0; i < root->childCount(); ++i) {
        const Item* tag = root->child(i);
        if (tag->isValid(ItemType::Tag)) {
            types << int(dataType(unsigned(tag->data().id)));
            secure = secure || tag->data().secure;
        }
    }
    // Every data type has a tag to show.
    for (int t : {0, 1, 2, 3, 4, 5, 6, 7, 9, 12, 13, 14, 15, 0x80, 0x81, 0x82})
        QVERIFY2(types.contains(t), qPrintable(QString::number(t, 16)));
    QVERIFY(secure);
    QVERIFY(!root->data().comment.isEmpty());
}

void TestDefinitions::mutatedDemoNeverCrashes()
{
    QFile f(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef"));
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QByteArray demo = f.readAll();
    QRandomGenerator rng(1990);
    int parsed = 0;
    int failed = 0;
    for (int round = 0; round < 3000; ++round) {
        QByteArray doc = demo;
        switch (rng.bounded(4)) {
        case 0: // flipped bytes
            for (int i = int(rng.bounded(8)) + 1; i > 0; --i)
                doc[int(rng.bounded(doc.size()))] = char(rng.bounded(256));
            break;
        case 1: // cut
            doc.truncate(int(rng.bounded(doc.size())));
            break;
        case 2: { // a duplicated stretch, often a whole element
            const int from = int(doc.indexOf('<', rng.bounded(doc.size())));
            const int to = from < 0 ? -1 : int(doc.indexOf('>', from));
            if (to > from)
                doc.insert(int(rng.bounded(doc.size())), doc.mid(from, to - from + 1));
            break;
        }
        default: { // a random stretch moved
            const int from = int(rng.bounded(doc.size()));
            const QByteArray piece = doc.mid(from, int(rng.bounded(200)));
            doc.remove(from, piece.size());
            doc.insert(int(rng.bounded(doc.size() + 1)), piece);
        }
        }
        Parser parser;
        if (parser.parse(doc)) {
            QVERIFY(parser.root());
            ++parsed;
        } else {
            QVERIFY(!parser.root());
            QVERIFY(parser.formatError().startsWith("Error: data, Line "));
            ++failed;
        }
    }
    QVERIFY(parsed > 0 && failed > 0);
}

QTEST_APPLESS_MAIN(TestDefinitions)
#include "tst_definitions.moc"
