// SPDX-License-Identifier: MIT
// What every code generator promises, whatever its language: the same bytes
// for the same definitions, the file's order, clear errors for trees that
// cannot become code, the header text, and files written through the frame.

#include "tests/writers/codesample.h"
#include "writers/codemodel.h"
#include "writers/writerheader.h"
#include "writers/writercpp.h"
#include "writers/writercpplut.h"
#include "writers/writercs.h"
#include "writers/writerlua.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace QRV16;

namespace {

std::unique_ptr<Writer> generator(const QString& language)
{
    if (language == QLatin1String("c"))
        return std::make_unique<WriterHeader>();
    if (language == QLatin1String("cpp"))
        return std::make_unique<WriterCpp>();
    if (language == QLatin1String("cpplut"))
        return std::make_unique<WriterCppLut>();
    if (language == QLatin1String("lua"))
        return std::make_unique<WriterLua>();
    if (language == QLatin1String("cs"))
        return std::make_unique<WriterCs>();
    qFatal("no generator for %s", qPrintable(language));
}

const QStringList languages = {"c", "cpp", "cpplut", "lua", "cs"};

} // namespace

class TestGenerators : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void lines_data();
    void lines();
    void deterministic_data();
    void deterministic();
    void fileOrder_data();
    void fileOrder();
    void errors_data();
    void errors();
    void headerText_data();
    void headerText();
    void writesThroughTheFrame_data();
    void writesThroughTheFrame();
    void editsChangeNoOtherName_data();
    void editsChangeNoOtherName();
    void clashesAreReported_data();
    void clashesAreReported();
};

void TestGenerators::lines_data()
{
    // What each file says beyond what compiling or loading it can show:
    // comments, display forms and layout. The forms every language shares
    // (number forms, type comments) are checked in one or two of them.
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("setting"); // the prefix in C, else the namespace
    QTest::addColumn<QByteArray>("line");
    QString language;
    QString setting;
    const auto row = [&](const char* name, const char* line) {
        QTest::addRow("%s: %s", qPrintable(language), name)
            << language << setting << QByteArray(line);
    };

    language = "c";
    setting = "T";
    row("tag code in four hex digits, its type", "#define T_TAG_Mode 0x1002u /* Integer */");
    row("tag comment above it", "/* Operating mode */\n#define T_TAG_Mode ");
    row("free comment kept", "/* Pump control */");
    row("negative value, its comment", "#define T_Mode_Reverse (-1) /* Runs backwards */");
    row("hex display, padded", "#define T_Result_Internal 0x0080\n");
    row("negative in hex display is decimal", "#define T_Result_Minus (-2)\n");
    row("wide value is long long", "#define T_Result_Huge 0x7FFFFFFFFFFFFFFFLL\n");
    row("secure tag marked", "#define T_TAG_Password 0x3003u /* String, secure */");
    row("extended type named as it is", "#define T_TAG_Position 0x8001u /* Point */");
    row("data types", "#define QRV16DT_Point 0x80\n");
    row("guard", "#ifndef T_QRV16_DEFINITIONS_H\n#define T_QRV16_DEFINITIONS_H\n");
    row("tag name", "    case 0x1010u: return \"2nd pump/flow\";\n");
    row("blank line of the file kept",
        "#define T_Result_Huge 0x7FFFFFFFFFFFFFFFLL\n\n#define T_TAG_Alarms ");
    setting = "PS4_";
    row("underscore not doubled", "#define PS4_TAG_Mode 0x1002u");
    setting = "ps-4";
    row("odd prefix sanitised", "#define ps_4_TAG_Mode 0x1002u");

    language = "cpp";
    setting = "pumps::v1";
    row("once", "#pragma once\n");
    row("namespace", "namespace pumps::v1 {\n");
    row("tag code, its type", "constexpr std::uint16_t Mode = 0x1002; // Integer\n");
    row("tag comment above it", "// Operating mode\nconstexpr std::uint16_t Mode ");
    row("free comment kept", "// Pump control\n");
    row("negative value, its comment", "    Reverse = -1, // Runs backwards\n");
    row("hex display, padded", "    Internal = 0x0080,\n");
    row("negative in hex display is decimal", "    Minus = -2,\n");
    row("bits of a tag", "namespace Bits {\nnamespace Alarms {\n"
                         "constexpr std::uint64_t Low = std::uint64_t(1) << 0;\n");

    language = "cpplut";
    setting = "pumps";
    row("namespace", "namespace pumps {\n");
    row("tag row: code, name, type, tables",
        "    {0x1002, \"Mode\", DataType::Integer, false, enums_Mode, 4, nullptr, 0},\n");
    row("tag with enums and bits",
        "    {0x7001, \"Alarms\", DataType::BitArray, false, enums_Alarms, 1, bits_Alarms, 4},\n");
    row("values by number, lowest first",
        "const EnumName enums_Mode[] = {\n    {-9223372036854775807 - 1, \"Lowest\"},\n"
        "    {-1, \"Reverse\"},\n    {0, \"Off\"},\n    {2, \"Auto\"},\n};\n");
    row("hex display, padded", "    {0x0080, \"Internal\"},\n");
    row("bits", "const BitName bits_Alarms[] = {\n    {0, \"Low\"},\n    {7, \"Door\"},\n"
                "    {31, \"Mains\"},\n    {63, \"Top\"},\n};\n");

    language = "lua";
    setting = "";
    row("module table", "local M = {\n  tags = {\n");
    row("tag code, its type", "    Mode = 0x1002, -- Integer\n");
    row("tag comment above it", "    -- Operating mode\n    Mode = ");
    row("free comment kept", "    -- Pump control\n");
    row("negative value, its comment", "      Reverse = -1, -- Runs backwards\n");
    row("hex display, padded", "      Internal = 0x0080,\n");

    language = "cs";
    setting = "Norvane.Pumps";
    row("namespace", "namespace Norvane.Pumps\n{\n");
    setting = "";
    row("namespace by default", "namespace Definitions\n{\n");
    setting = "Norvane.class";
    row("namespace keyword", "namespace Norvane.class_\n");
    setting = "";
    row("data types, bare names", "    public enum DataType : byte\n    {\n"
                                  "        Binary = 0,\n");
    row("extended data type", "        Point = 128,\n");
    row("data type of a tag", "    public static class Types\n    {\n"
                              "        public const DataType Mode = DataType.Integer;\n");
    row("extended data type of a tag", "public const DataType Position = DataType.Point;\n");
    row("tag code, its type",
        "    public static class Tags\n    {\n        // Pump control\n"
        "        // Operating mode\n        public const ushort Mode = 0x1002; // Integer\n");
    row("enum values", "    public enum ModeValues : long\n    {\n        Off = 0,\n");
    row("negative value, its comment", "        Reverse = -1, // Runs backwards\n");
    row("hex display, padded", "        Internal = 0x0080,\n");
    row("highest", "        Huge = 0x7FFFFFFFFFFFFFFF,\n");
    row("flags", "    [global::System.Flags]\n    public enum AlarmsBits : ulong\n    {\n"
                 "        Low = 1UL << 0,\n        Door = 1UL << 7,\n        Mains = 1UL << 31,\n"
                 "        Top = 1UL << 63,\n    }\n");
    row("odd name sanitised", "public const ushort _2nd_pump_flow = 0x1010;");
    row("no keyword in C#", "public const ushort end = 0x2002;");
}

void TestGenerators::lines()
{
    QFETCH(QString, language);
    QFETCH(QString, setting);
    QFETCH(QByteArray, line);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const std::unique_ptr<Writer> w = generator(language);
    QStringList texts(Writer::NamespaceText + 1);
    texts[language == QLatin1String("c") ? Writer::PrefixText : Writer::NamespaceText] = setting;
    w->setTexts(texts);
    const QByteArray out = w->encode(root.get());
    QVERIFY2(out.contains(line), out.constData());
}

void TestGenerators::deterministic_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("definitions");
    for (const QString& language : languages) {
        for (const char* definitions : {"sample", "demo", "hostile", "empty"})
            QTest::addRow("%s %s", qPrintable(language), definitions) << language << definitions;
    }
}

void TestGenerators::deterministic()
{
    QFETCH(QString, language);
    QFETCH(QString, definitions);
    const std::unique_ptr<Item> root = CodeSample::byName(definitions);
    const std::unique_ptr<Item> copy(root->clone());
    const std::unique_ptr<Writer> first = generator(language);
    const QByteArray bytes = first->encode(root.get());
    QVERIFY2(!bytes.isEmpty(), qPrintable(first->errorString()));
    QCOMPARE(first->encode(root.get()), bytes);
    QCOMPARE(generator(language)->encode(copy.get()), bytes);
}

void TestGenerators::fileOrder_data()
{
    QTest::addColumn<QString>("language");
    // The lookup tables are sorted by code on purpose.
    for (const char* language : {"c", "cpp", "lua", "cs"})
        QTest::newRow(language) << QString::fromLatin1(language);
}

void TestGenerators::fileOrder()
{
    QFETCH(QString, language);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const QString text = QString::fromUtf8(generator(language)->encode(root.get()));
    // Tag codes first appear where their tags are defined.
    const QStringList codes = {"0x1002", "0x1006", "0x7001", "0x3003", "0xD001", "0x8001",
                               "0x1010", "0x1011", "0x1012", "0x2001", "0x2002"};
    qsizetype previous = -1;
    for (const QString& code : codes) {
        const qsizetype at = text.indexOf(code);
        QVERIFY2(at > previous, qPrintable(code));
        previous = at;
    }
    // Enum values keep the file's order too, not the numbers'.
    previous = -1;
    for (const QString value : {"Off", "Reverse", "Auto", "Lowest"}) {
        const qsizetype at = text.indexOf(QRegularExpression("(?<![A-Za-z])" + value + "(?![A-Za-z0-9])"));
        QVERIFY2(at > previous, qPrintable(value));
        previous = at;
    }
}

void TestGenerators::errors_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<bool>("noRoot");
    QTest::addColumn<QString>("error");
    for (const QString& language : languages) {
        QTest::addRow("%s no root", qPrintable(language)) << language << true << "No definitions to write.";
        QTest::addRow("%s code beyond 16 bits", qPrintable(language))
            << language << false << "Tag Big has the code 0x10000, beyond 16 bits.";
    }
}

void TestGenerators::errors()
{
    QFETCH(QString, language);
    QFETCH(bool, noRoot);
    QFETCH(QString, error);
    std::unique_ptr<Item> root = CodeSample::sample();
    root->appendChild(CodeSample::item(ItemType::Tag, "Big", 0x10000));
    const Item* given = noRoot ? nullptr : root.get();

    const std::unique_ptr<Writer> w = generator(language);
    QVERIFY(w->encode(given).isEmpty());
    QCOMPARE(w->errorString(), error);

    QTemporaryDir dir;
    const QString path = dir.filePath("out.txt");
    QVERIFY(!w->write(given, path));
    QCOMPARE(w->errorString(), error);
    QVERIFY(!QFile::exists(path));
    QVERIFY(!QFile::exists(path + ".tmp"));
}

void TestGenerators::headerText_data()
{
    QTest::addColumn<QString>("language");
    for (const QString& language : languages)
        QTest::newRow(qPrintable(language)) << language;
}

void TestGenerators::headerText()
{
    QFETCH(QString, language);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const std::unique_ptr<Writer> w = generator(language);
    const QString fallback = "Generated from QRV16 tag definitions; do not edit.";
    QVERIFY(QString::fromUtf8(w->encode(root.get())).contains(fallback));

    w->setTexts({"Pump station PS-4\nRevision 7"});
    const QStringList lines = QString::fromUtf8(w->encode(root.get())).split('\n');
    QVERIFY(!lines.join('\n').contains(fallback));
    // Each line of the text on a comment line of its own, at the top.
    QVERIFY2(lines.at(0).contains("Pump station PS-4"), qPrintable(lines.at(0)));
    QVERIFY2(lines.at(1).contains("Revision 7"), qPrintable(lines.at(1)));
    QVERIFY(!lines.at(0).contains("Revision"));
}

void TestGenerators::writesThroughTheFrame_data()
{
    QTest::addColumn<QString>("language");
    for (const QString& language : languages)
        QTest::newRow(qPrintable(language)) << language;
}

void TestGenerators::writesThroughTheFrame()
{
    QFETCH(QString, language);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const std::unique_ptr<Writer> w = generator(language);
    QTemporaryDir dir;
    const QString path = dir.filePath("defs.out");
    QVERIFY2(w->write(root.get(), path), qPrintable(w->formatError()));
    QByteArray written = CodeSample::readFile(path);
    QByteArray encoded = w->encode(root.get());
    // The C include guard is the one thing taken from the file's name.
    if (language == QLatin1String("c"))
        encoded.replace("QRV16_DEFINITIONS_H", "DEFS_OUT");
    QCOMPARE(written, encoded);
    // Writing again replaces exactly the target: a generated file lies in a
    // source tree, where a backup or temporary beside it would be clutter.
    QVERIFY(w->write(root.get(), path));
    QCOMPARE(CodeSample::readFile(path), written);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"defs.out"});
}

void TestGenerators::editsChangeNoOtherName_data()
{
    QTest::addColumn<QString>("language");
    // How the bit Door of Alarms is defined; an enum value Door must not
    // take this from it.
    QTest::addColumn<QString>("door");
    QTest::newRow("c") << "c" << "#define Alarms_MASK_Door (1u << 7)\n";
    QTest::newRow("cpp") << "cpp" << "namespace Alarms {\nconstexpr std::uint64_t Low = std::uint64_t(1) << 0;\n"
                                     "constexpr std::uint64_t Door = std::uint64_t(1) << 7;";
    QTest::newRow("cpplut") << "cpplut" << "{7, \"Door\"},";
    QTest::newRow("lua") << "lua" << "    Alarms = {\n      Low = 0,\n      Door = 7,";
    QTest::newRow("cs") << "cs" << "public enum AlarmsBits : ulong\n    {\n        Low = 1UL << 0,\n"
                                   "        Door = 1UL << 7,";
}

void TestGenerators::editsChangeNoOtherName()
{
    QFETCH(QString, language);
    QFETCH(QString, door);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const QString before = QString::fromUtf8(generator(language)->encode(root.get()));
    QVERIFY2(before.contains(door), qPrintable(before));

    // Add an enum value named as a bit, add a tag, remove one, move one.
    Item* alarms = nullptr;
    for (int i = 0; i < root->childCount(); ++i) {
        if (root->child(i)->data().name == QLatin1String("Alarms"))
            alarms = root->child(i);
    }
    QVERIFY(alarms);
    alarms->findInTagByItemType(ItemType::Enums)
        ->insertChildBefore(0, CodeSample::item(ItemType::Enum, "Door", 1));
    root->insertChildBefore(0, CodeSample::item(ItemType::Tag, "Extra", 0x1003));
    for (int i = 0; i < root->childCount(); ++i) {
        if (root->child(i)->data().name == QLatin1String("Mode"))
            root->removeChild(i--);
    }
    for (int i = 0; i < root->childCount(); ++i) {
        if (root->child(i)->data().name == QLatin1String("Position"))
            root->insertChildBefore(1, root->takeChild(i));
    }
    const std::unique_ptr<Writer> w = generator(language);
    const QString after = QString::fromUtf8(w->encode(root.get()));
    QVERIFY(w->clashes().isEmpty());
    QVERIFY2(after.contains(door), qPrintable(after));
    // Every line that binds a name, of an entry the edits left alone, stays
    // as it was. Positions in the lookup tables' index may move.
    const QRegularExpression edited("Mode|Off|Reverse|Auto|Lowest|Alarms|Low|tagTotal|^\\s*\\d+, //");
    for (const QString& line : before.split('\n')) {
        const bool binds = line.contains(" = ") || line.startsWith("#define") ||
                           line.contains("return \"") || line.contains("{0x");
        if (binds && !line.contains(edited))
            QVERIFY2(after.contains(line), qPrintable(line));
    }
}

void TestGenerators::clashesAreReported_data()
{
    QTest::addColumn<QString>("language");
    for (const QString& language : languages)
        QTest::newRow(qPrintable(language)) << language;
}

void TestGenerators::clashesAreReported()
{
    QFETCH(QString, language);
    const std::unique_ptr<Item> root = CodeSample::clashing();
    const std::unique_ptr<Writer> w = generator(language);
    QVERIFY(!w->encode(root.get()).isEmpty());
    // The two tags one after sanitising: one clash naming both, not a rename.
    QCOMPARE(w->clashes().size(), 1);
    const IdentifierSet::Clash& clash = w->clashes().at(0);
    QCOMPARE(clash.first, root->child(root->childCount() - 2));
    QCOMPARE(clash.second, root->child(root->childCount() - 1));
    QCOMPARE(CodeModel::describe(clash.second), QString("tag Pump Speed"));

    // A C macro of an enum value can spell a bit's; the scoped languages
    // keep them apart.
    Item* enums = CodeSample::item(ItemType::Enums, QString(), 0, false);
    root->child(0)->appendChild(enums);
    enums->appendChild(CodeSample::item(ItemType::Enum, "BIT_Door", 1));
    w->encode(root.get());
    QCOMPARE(w->clashes().size(), language == QLatin1String("c") ? 2 : 1);
    if (language == QLatin1String("c")) {
        const IdentifierSet::Clash& c = w->clashes().at(0);
        QCOMPARE(c.name, QString("Alarms_BIT_Door"));
        const QStringList both{CodeModel::describe(c.first), CodeModel::describe(c.second)};
        QVERIFY2(both.contains("bit Alarms.Door") && both.contains("enum value Alarms.BIT_Door"),
                 qPrintable(both.join(", ")));
    }
}

QTEST_APPLESS_MAIN(TestGenerators)
#include "tst_generators.moc"
