// SPDX-License-Identifier: MIT
// What every code generator promises, whatever its language: the same bytes
// for the same definitions, the file's order, clear errors for trees that
// cannot become code, the header text, files written through the frame, and
// code that its language's own tools build or load and find right.

#include "tests/writers/codesample.h"
#include "writers/codemodel.h"
#include "writers/writerheader.h"
#include "writers/writercpp.h"
#include "writers/writercpplut.h"
#include "writers/writercs.h"
#include "writers/writerlua.h"

#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>
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

// The prefix in C, else the namespace.
QStringList settingTexts(const QString& language, const QString& setting)
{
    QStringList texts(Writer::NamespaceText + 1);
    texts[language == QLatin1String("c") ? Writer::PrefixText : Writer::NamespaceText] = setting;
    return texts;
}

// Every tag is found by its code (the first of a code given twice) and its
// name, in code order; every value and bit by its number and name.
const QByteArray lutConsistency = R"(
    for (std::size_t i = 0; i < tagCount(); ++i) {
        const TagInfo* t = tagAt(i);
        CHECK(t != nullptr && t->name != nullptr);
        if (i > 0)
            CHECK(tagAt(i - 1)->code <= t->code);
        const TagInfo* byCode = tagByCode(t->code);
        CHECK(byCode == t || (byCode < t && byCode->code == t->code));
        CHECK(tagByName(t->name) == t);
        for (std::size_t e = 0; e < t->enumCount; ++e) {
            const EnumName* found = enumByValue(t, t->enums[e].value);
            CHECK(found && found->value == t->enums[e].value && found <= &t->enums[e]);
            CHECK(enumByName(t, t->enums[e].name) == &t->enums[e]);
        }
        for (std::size_t b = 0; b < t->bitCount; ++b) {
            CHECK(bitByNumber(t, t->bits[b].bit)->bit == t->bits[b].bit);
            CHECK(bitByName(t, t->bits[b].name) == &t->bits[b]);
        }
    }
    CHECK(tagAt(tagCount()) == nullptr);
    CHECK(tagByName(nullptr) == nullptr && tagByName("NoSuchTag") == nullptr && tagByName("") == nullptr);
    CHECK(enumByValue(nullptr, 0) == nullptr && bitByName(nullptr, "x") == nullptr);
)";

// Names and codes lead to each other, every number is an integer.
const QByteArray luaConsistency = R"(
for name, code in pairs(M.tags) do
  check(math.type(code) == "integer" and code >= 0 and code <= 0xFFFF, "code of " .. name)
  check(M.tags[M.names[code]] == code, "names[" .. code .. "]")
end
for code, name in pairs(M.names) do check(M.tags[name] == code, "tags." .. name) end
for tag, values in pairs(M.enums) do
  check(M.tags[tag] ~= nil, "enums of a tag " .. tag)
  for name, value in pairs(values) do check(math.type(value) == "integer", tag .. "." .. name) end
end
for tag, bits in pairs(M.bits) do
  check(M.tags[tag] ~= nil, "bits of a tag " .. tag)
  for name, bit in pairs(bits) do check(math.type(bit) == "integer" and bit >= 0, tag .. "." .. name) end
end
for tag in pairs(M.tags) do check(M.types[tag] ~= nil, "type of " .. tag) end
for tag, names in pairs(M.enumNames) do
  for value, name in pairs(names) do check(M.enums[tag][name] == value, "enumNames." .. tag) end
end
for tag, names in pairs(M.bitNames) do
  for bit, name in pairs(names) do check(M.bits[tag][name] == bit, "bitNames." .. tag) end
end
)";

} // namespace

class TestGenerators : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void lines_data();
    void lines();
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
    void compiles_data();
    void compiles();
};

void TestGenerators::lines_data()
{
    // What each file says beyond what compiling or loading it can show:
    // comments, display forms and layout; the values and names themselves
    // are checked by compiles(). The forms every language shares (number
    // forms, type comments) are checked in one or two of them.
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
    row("tag code, its type", "constexpr std::uint16_t Mode = 0x1002; // Integer\n");
    row("tag comment above it", "// Operating mode\nconstexpr std::uint16_t Mode ");
    row("free comment kept", "// Pump control\n");
    row("negative value, its comment", "    Reverse = -1, // Runs backwards\n");
    row("hex display, padded", "    Internal = 0x0080,\n");
    row("negative in hex display is decimal", "    Minus = -2,\n");
    row("namespace closed at the end", "\n} // namespace pumps::v1\n");
    setting = "::a::::b::";
    row("empty namespace levels dropped", "namespace a::b {\n");
    setting = "class";
    row("namespace keyword", "namespace class_ {\n");
    setting = "ps-4 defs";
    row("odd namespace characters", "namespace ps_4_defs {\n");

    language = "cpplut";
    setting = "pumps";
    row("hex display, padded", "    {0x0080, \"Internal\"},\n");

    language = "lua";
    setting = "";
    row("tag code, its type", "    Mode = 0x1002, -- Integer\n");
    row("tag comment above it", "    -- Operating mode\n    Mode = ");
    row("free comment kept", "    -- Pump control\n");
    row("negative value, its comment", "      Reverse = -1, -- Runs backwards\n");
    row("hex display, padded", "      Internal = 0x0080,\n");

    language = "cs";
    setting = "";
    row("byte order mark, then the header",
        "\xEF\xBB\xBF// Generated from QRV16 tag definitions; do not edit.\n");
    setting = "Norvane.class";
    row("namespace keyword", "namespace Norvane.class_\n");
    setting = "";
    row("data types, bare names", "    public enum DataType : byte\n    {\n"
                                  "        Binary = 0,\n");
    row("extended data type", "        Point = 128,\n");
    row("tag code, its type",
        "    public static class Tags\n    {\n        // Pump control\n"
        "        // Operating mode\n        public const ushort Mode = 0x1002; // Integer\n");
    row("negative value, its comment", "        Reverse = -1, // Runs backwards\n");
    row("hex display, padded", "        Internal = 0x0080,\n");
    row("highest", "        Huge = 0x7FFFFFFFFFFFFFFF,\n");
    row("flags", "    [global::System.Flags]\n    public enum AlarmsBits : ulong\n    {\n"
                 "        Low = 1UL << 0,\n        Door = 1UL << 7,\n        Mains = 1UL << 31,\n"
                 "        Top = 1UL << 63,\n    }\n");
    row("no keyword in C#", "public const ushort end = 0x2002;");
}

void TestGenerators::lines()
{
    QFETCH(QString, language);
    QFETCH(QString, setting);
    QFETCH(QByteArray, line);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const std::unique_ptr<Writer> w = generator(language);
    w->setTexts(settingTexts(language, setting));
    const QByteArray out = w->encode(root.get());
    QVERIFY2(out.contains(line), out.constData());
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
    QTest::addColumn<QString>("fileName");
    // The C include guard is the one thing taken from the file's name.
    QTest::addColumn<QString>("guard");
    for (const QString& language : languages)
        QTest::newRow(qPrintable(language)) << language << "defs.out"
                                            << "DEFS_OUT";
    QTest::newRow("c guard of odd characters") << "c"
                                               << "ps-4 defs.h"
                                               << "PS_4_DEFS_H";
    QTest::newRow("c guard of a leading digit") << "c"
                                                << "4pumps.h"
                                                << "QRV16_4PUMPS_H";
}

void TestGenerators::writesThroughTheFrame()
{
    QFETCH(QString, language);
    QFETCH(QString, fileName);
    QFETCH(QString, guard);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const std::unique_ptr<Writer> w = generator(language);
    QTemporaryDir dir;
    const QString path = dir.filePath(fileName);
    QVERIFY2(w->write(root.get(), path), qPrintable(w->formatError()));
    QByteArray written = readFile(path);
    QByteArray encoded = w->encode(root.get());
    if (language == QLatin1String("c"))
        encoded.replace("QRV16_DEFINITIONS_H", guard.toLatin1());
    QCOMPARE(written, encoded);
    // Writing again replaces exactly the target: a generated file lies in a
    // source tree, where a backup or temporary beside it would be clutter.
    QVERIFY(w->write(root.get(), path));
    QCOMPARE(readFile(path), written);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{fileName});
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

void TestGenerators::compiles_data()
{
    // Each language's checks of the generated code, built or loaded by that
    // language's own tools; `printed` is what the checks print, before the
    // count of failures where they count them.
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("definitions");
    QTest::addColumn<QString>("setting");
    QTest::addColumn<QByteArray>("checks");
    QTest::addColumn<QByteArray>("printed");
    const auto row = [](const char* language, const char* definitions, const char* setting,
                        const QByteArray& checks, const QByteArray& printed) {
        QTest::addRow("%s %s", language, definitions)
            << QString(language) << QString(definitions) << QString(setting) << checks << printed;
    };
    row("c", "sample", "T", R"(
_Static_assert(T_TAG_Mode == 0x1002 && T_TYPE_Mode == QRV16DT_Integer, "tag code");
_Static_assert(T_Mode_Off == 0 && T_Mode_Reverse == -1 && T_Mode_Auto == 2, "enum");
_Static_assert(T_Mode_Lowest < 0 && T_Mode_Lowest == -9223372036854775807LL - 1, "lowest");
_Static_assert(T_Result_Ok == 0 && T_Result_Internal == 128 && T_Result_Minus == -2, "hex enum");
_Static_assert(T_Result_Huge == 9223372036854775807LL, "highest");
_Static_assert(T_TAG_Alarms == 0x7001 && T_Alarms_Low == 1 && T_Alarms_MASK_Low == 1, "enum and bit");
_Static_assert(T_Alarms_MASK_Door == 0x80 && T_Alarms_BIT_Door == 7, "bit 7");
_Static_assert(T_Alarms_MASK_Mains == 0x80000000ULL && sizeof(T_Alarms_MASK_Mains) == 8, "bit 31");
_Static_assert(T_Alarms_MASK_Top == 0x8000000000000000ULL && sizeof(T_Alarms_MASK_Top) == 8, "bit 63");
_Static_assert(T_TAG_Password == 0x3003 && T_TAG_GetStatus == 0xD001 && T_TAG_Position == 0x8001, "types");
_Static_assert(T_TYPE_Position == QRV16DT_Point && T_TYPE_GetStatus == QRV16DT_Request, "types");
_Static_assert(T_TAG_2nd_pump_flow == 0x1010, "odd name");
_Static_assert(T_TAG_Pump_Speed == 0x1011 && T_TAG_Pump_Speed_Max == 0x1012, "sanitised");
_Static_assert(T_TAG_default == 0x2001 && T_TAG_end == 0x2002, "keywords");
_Static_assert(QRV16DT_Integer == 1 && QRV16DT_Size == 0x82, "data types");
    printf("%s %s %s|%s|%s\n", T_tag_name(T_TAG_Mode), T_Mode_enum_name(T_Mode_Reverse),
           T_Alarms_bit_name(T_Alarms_BIT_Door), T_tag_name(0x4242) ? "?" : "none",
           T_Mode_enum_name(T_Mode_Lowest));
)",
        "Mode Reverse Door|none|Lowest\n");
    row("c", "demo", "PS4", R"(
_Static_assert(PS4_TAG_PumpMode == 0x1002 && PS4_PumpMode_Service == 3, "enum");
_Static_assert(PS4_ResultCode_InternalError == 0x80 && PS4_EventCode_OperatorLogin == 0x100, "hex");
_Static_assert(PS4_Alarms_MASK_MainsFailure == 0x100 && PS4_Valves_MASK_FlushValve == 8, "bits");
_Static_assert(PS4_TAG_ScreenSize == 0x8201 && PS4_TYPE_ScreenSize == QRV16DT_Size, "extended");
    printf("%s %s %s\n", PS4_tag_name(PS4_TAG_PumpMode), PS4_PumpMode_enum_name(PS4_PumpMode_Service),
           PS4_Valves_bit_name(PS4_Valves_BIT_FlushValve));
)",
        "PumpMode Service FlushValve\n");
    row("c", "empty", "", R"(
    _Static_assert(QRV16DT_Binary == 0, "types");
    printf("%d\n", tag_name(1) == 0);
)",
        "1\n");
    row("c", "hostile", "", R"(
_Static_assert(TAG_Tag == 0x1100 && TAG_class == 0x1106 && TAG_defined == 0x1108 && TAG_NULL == 0x1109, "keywords");
_Static_assert(TAG_int == 0x110F, "keyword");
_Static_assert(TAG_QRV16_DEFINITIONS_H == 0x1110 && TAG_QRV16DT_Binary == 0x1111, "own names");
_Static_assert(TAG_Gro_e == 0x1115 && TAG_file == 0x1116 && TAG__quoted_name == 0x1117, "odd names");
_Static_assert(TAG_9 == 0x1118 && TAG__ == 0x1119, "odd names");
_Static_assert(TAG_First == 0x1300 && TAG_Second == 0x1300, "one code twice");
_Static_assert(Both_A == 3 && Both_Again == 3 && Both_MASK_A == 1 && Both_MASK_B == 2, "one value twice");
_Static_assert(Both_Both == 2 && Both_MASK_Both == 8 && Both_class == 1, "names of the tag");
_Static_assert(Both_Min == -9223372036854775807LL - 1, "lowest in hex display");
_Static_assert(TYPE_Undefined == 0x0a && TYPE_Extended == 0x8f, "types without a name");
    printf("%s %s %s %s\n", tag_name(TAG_Gro_e), tag_name(0x1117), Both_enum_name(3), tag_name(0x1300));
)",
        "Größe \"quoted\" \\ name A First\n");
    row("cpp", "sample", "pumps::v1", R"(
    using namespace pumps::v1;
    static_assert(std::is_same_v<std::underlying_type_t<Mode>, std::int64_t>);
    static_assert(std::is_same_v<decltype(Tag::Mode), const std::uint16_t>);
    CHECK(Tag::Mode == 0x1002);
    CHECK(v(Mode::Off) == 0 && v(Mode::Reverse) == -1 && v(Mode::Auto) == 2);
    CHECK(v(Mode::Lowest) == INT64_MIN);
    CHECK(v(Result::Ok) == 0 && v(Result::Internal) == 128 && v(Result::Minus) == -2);
    CHECK(v(Result::Huge) == INT64_MAX);
    CHECK(Tag::Alarms == 0x7001 && v(Alarms::Low) == 1);
    CHECK(Bits::Alarms::Low == 1 && Bits::Alarms::Door == 0x80);
    CHECK(Bits::Alarms::Mains == 0x80000000u && Bits::Alarms::Top == 0x8000000000000000u);
    CHECK(Tag::Password == 0x3003 && Tag::GetStatus == 0xD001 && Tag::Position == 0x8001);
    CHECK(Tag::_2nd_pump_flow == 0x1010);
    CHECK(Tag::Pump_Speed == 0x1011 && Tag::Pump_Speed_Max == 0x1012);
    CHECK(Tag::default_ == 0x2001 && Tag::end == 0x2002);
    CHECK(Type::Mode == DataType::Integer && Type::Position == DataType::Point);
    CHECK(Type::GetStatus == DataType::Request && Type::Password == DataType::String);
    std::printf("%#x %lld %#llx\n", unsigned(Tag::Mode), static_cast<long long>(Mode::Reverse),
                static_cast<unsigned long long>(Bits::Alarms::Door));
)",
        "0x1002 -1 0x80\n");
    row("cpp", "demo", "", R"(
    using namespace Definitions;
    CHECK(Tag::PumpMode == 0x1002 && v(PumpMode::Service) == 3);
    CHECK(v(ResultCode::InternalError) == 0x80 && v(EventCode::OperatorLogin) == 0x100);
    CHECK(Bits::Alarms::MainsFailure == 0x100 && Bits::Valves::FlushValve == 8);
    CHECK(Tag::ScreenSize == 0x8201 && Type::ScreenSize == DataType::Size);
)",
        "");
    row("cpp", "empty", "", "", "");
    row("cpp", "hostile", "", R"(
    using namespace Definitions;
    CHECK(Tag::Tag_ == 0x1100 && Tag::Bits_ == 0x1101 && Tag::class_ == 0x1106);
    CHECK(Tag::Gro_e == 0x1115 && Tag::file == 0x1116 && Tag::_9 == 0x1118);
    CHECK(v(Both::class_) == 1 && v(Both::A) == 3 && v(Both::Again) == 3 && v(Both::Min) == INT64_MIN);
    CHECK(Bits::Both::A == 1 && Bits::Both::B == 2 && Bits::Both::Both == 8);
    CHECK(Type::Undefined == DataType(10) && Type::Extended == DataType(0x8F));
)",
        "");
    row("cpplut", "sample", "pumps::tables", R"(
    using namespace pumps::tables;
    CHECK(tagCount() == 11);
    const TagInfo* mode = tagByName("Mode");
    CHECK(mode && mode->code == 0x1002 && mode->type == DataType::Integer && !mode->secure);
    CHECK(tagByCode(0x1002) == mode);
    CHECK(tagByCode(0x1003) == nullptr && tagByCode(0) == nullptr && tagByCode(0xFFFF) == nullptr);
    CHECK(std::strcmp(enumByValue(mode, -1)->name, "Reverse") == 0);
    CHECK(std::strcmp(enumByValue(mode, INT64_MIN)->name, "Lowest") == 0);
    CHECK(enumByValue(mode, 1) == nullptr);
    CHECK(enumByName(mode, "Auto")->value == 2 && enumByName(mode, "auto") == nullptr);
    const TagInfo* result = tagByCode(0x1006);
    CHECK(enumByName(result, "Internal")->value == 128 && enumByName(result, "Minus")->value == -2);
    CHECK(enumByName(result, "Huge")->value == INT64_MAX);
    const TagInfo* alarms = tagByName("Alarms");
    CHECK(std::strcmp(bitByNumber(alarms, 63)->name, "Top") == 0 && bitByName(alarms, "Mains")->bit == 31);
    CHECK(std::strcmp(bitByNumber(alarms, 0)->name, "Low") == 0 && enumByName(alarms, "Low")->value == 1);
    CHECK(bitByNumber(alarms, 1) == nullptr);
    CHECK(tagByName("Password")->secure && tagByCode(0x8001)->type == DataType::Point);
    CHECK(tagByCode(0xD001)->type == DataType::Request);
    CHECK(tagByName("_2nd_pump_flow")->code == 0x1010);
    CHECK(tagByName("Pump_Speed")->code == 0x1011 && tagByName("Pump_Speed_Max")->code == 0x1012);
    std::printf("%s %s %s\n", tagByCode(0x1002)->name, enumByValue(mode, -1)->name, bitByNumber(alarms, 7)->name);
)" + lutConsistency,
        "Mode Reverse Door\n");
    row("cpplut", "demo", "", R"(
    using namespace Definitions;
    CHECK(tagCount() == 52);
    CHECK(enumByName(tagByName("PumpMode"), "Service")->value == 3);
    CHECK(std::strcmp(enumByValue(tagByCode(0x1006), 0x80)->name, "InternalError") == 0);
    CHECK(enumByValue(tagByCode(0x1006), 0xFF) == nullptr);
    CHECK(bitByName(tagByName("Alarms"), "MainsFailure")->bit == 8);
    CHECK(tagByName("Password")->secure && tagByCode(0x8201)->type == DataType::Size);
)" + lutConsistency,
        "");
    row("cpplut", "empty", "", R"(
    using namespace Definitions;
    CHECK(tagCount() == 0 && tagByCode(0) == nullptr && tagByName("") == nullptr);
)" + lutConsistency,
        "");
    row("cpplut", "hostile", "", R"(
    using namespace Definitions;
    CHECK(tagByName("class")->code == 0x1106 && tagByName("Tag")->code == 0x1100);
    CHECK(tagByName("Gro_e")->code == 0x1115 && tagByName("_9")->code == 0x1118);
    CHECK(std::strcmp(tagByCode(0x1300)->name, "First") == 0 && tagByName("Second")->code == 0x1300);
    CHECK(tagByCode(0xA001)->type == DataType(0x0A) && tagByCode(0x8F01)->type == DataType(0x8F));
    const TagInfo* both = tagByName("Both");
    // Bit 64 has no mask but a name; bit 2^40 has neither.
    CHECK(both->enumCount == 6 && both->bitCount == 5);
    CHECK(enumByValue(both, INT64_MIN) == &both->enums[0]);
    CHECK(std::strcmp(enumByValue(both, 3)->name, "A") == 0 && enumByName(both, "Again")->value == 3);
    CHECK(std::strcmp(bitByNumber(both, 64)->name, "Beyond") == 0 && bitByName(both, "B")->bit == 1);
    CHECK(bitByName(both, "FarBeyond") == nullptr);
)" + lutConsistency,
        "");
    row("lua", "sample", "", R"(
check(M.tags.Mode == 0x1002 and M.names[0x1002] == "Mode", "tag")
check(M.enums.Mode.Off == 0 and M.enums.Mode.Reverse == -1 and M.enums.Mode.Auto == 2, "enum")
check(M.enums.Mode.Lowest == math.mininteger and math.type(M.enums.Mode.Lowest) == "integer", "lowest")
check(M.enums.Result.Internal == 128 and M.enums.Result.Minus == -2, "hex display")
check(M.enums.Result.Huge == math.maxinteger, "highest")
check(M.enums.Alarms.Low == 1 and M.bits.Alarms.Low == 0, "enum and bit of one name")
check(M.bits.Alarms.Door == 7 and M.bits.Alarms.Mains == 31 and M.bits.Alarms.Top == 63, "bits")
check(M.tags.Password == 0x3003 and M.tags.Position == 0x8001, "types")
check(M.tags._2nd_pump_flow == 0x1010, "odd name")
check(M.tags.Pump_Speed == 0x1011 and M.tags.Pump_Speed_Max == 0x1012, "sanitised")
check(M.tags.default == 0x2001 and M.tags.end_ == 0x2002, "keyword")
check(M.types.Mode == "Integer" and M.types.Position == "Point" and M.types.GetStatus == "Request", "types")
check(M.enumNames.Mode[math.mininteger] == "Lowest" and M.enumNames.Result[0x80] == "Internal", "names")
print(M.names[M.tags.Mode], M.enumNames.Mode[M.enums.Mode.Reverse], M.bitNames.Alarms[M.bits.Alarms.Door])
)" + luaConsistency,
        "Mode\tReverse\tDoor\n");
    row("lua", "demo", "", R"(
check(M.tags.PumpMode == 0x1002 and M.enums.PumpMode.Service == 3, "enum")
check(M.enums.ResultCode.InternalError == 0x80 and M.enums.EventCode.OperatorLogin == 0x100, "hex")
check(M.bits.Alarms.MainsFailure == 8 and M.bits.Valves.FlushValve == 3, "bits")
check(M.names[0x8201] == "ScreenSize" and M.types.ScreenSize == "Size", "extended")
)" + luaConsistency,
        "");
    row("lua", "empty", "", R"(
check(next(M.tags) == nil and next(M.names) == nil, "nothing")
)" + luaConsistency,
        "");
    row("lua", "hostile", "", R"(
check(M.tags.end_ == 0x1107 and M.tags.local_ == 0x110C and M.tags.M == 0x110D, "keywords")
check(M.tags.Gro_e == 0x1115 and M.tags._9 == 0x1118, "odd names")
check(M.names[0x1300] == "First" and M.tags.Second == 0x1300, "one code twice")
check(M.enums.Both.A == 3 and M.enums.Both.Again == 3 and M.enums.Both.Min == math.mininteger, "values")
check(M.enumNames.Both[3] == "A" and M.types.Undefined == 10 and M.types.Extended == 0x8F, "first name")
check(M.bits.Both.end_ == 2 and M.bits.Both.Beyond == 64 and M.bits.Both.FarBeyond == nil, "bits")
check(M.bits.Both.EnumAmongBits == nil and M.tags.TagInTag == nil and M.tags.EnumInRoot == nil, "misplaced")
)" + luaConsistency,
        "");
    row("cs", "sample", "Norvane.Pumps", R"(
        Console.WriteLine("{0} {1} {2} {3}", Tags.Mode.ToString("X4"), ModeValues.Reverse,
                          (long)ModeValues.Reverse, AlarmsBits.Door);
        Console.WriteLine("{0} {1} {2}", Types.Position, (long)ModeValues.Lowest == long.MinValue,
                          (ulong)AlarmsBits.Top == 1UL << 63);
)",
        "1002 Reverse -1 Door\nPoint True True\n");
    row("cs", "demo", "", R"(
        Console.WriteLine("{0} {1}", PumpModeValues.Service, Types.ScreenSize);
)",
        "Service Size\n");
    row("cs", "empty", "", R"(
        Console.WriteLine(DataType.Binary);
)",
        "Binary\n");
    row("cs", "hostile", "", R"(
        Console.WriteLine("{0} {1} {2}", Tags.class_.ToString("X4"), (long)BothValues.Min == long.MinValue,
                          BothBits.B);
)",
        "1106 True B\n");
}

void TestGenerators::compiles()
{
    QFETCH(QString, language);
    QFETCH(QString, definitions);
    QFETCH(QString, setting);
    QFETCH(QByteArray, checks);
    QFETCH(QByteArray, printed);
    const std::unique_ptr<Item> root = CodeSample::byName(definitions);
    const std::unique_ptr<Writer> w = generator(language);
    w->setTexts(settingTexts(language, setting));
    const QByteArray generated = w->encode(root.get());
    QVERIFY2(!generated.isEmpty(), qPrintable(w->errorString()));
    QVERIFY(w->clashes().isEmpty());
    // The same bytes again, and from a copy of the tree by another writer.
    QCOMPARE(w->encode(root.get()), generated);
    const std::unique_ptr<Item> copy(root->clone());
    const std::unique_ptr<Writer> other = generator(language);
    other->setTexts(settingTexts(language, setting));
    QCOMPARE(other->encode(copy.get()), generated);
    QTemporaryDir dir;
    const auto write = [&](const char* name, const QByteArray& bytes) {
        QVERIFY(writeFile(dir.filePath(QLatin1String(name)), bytes));
    };
    // The commands in order; the last runs the checks.
    const QStringList strict = {"-Wall", "-Wextra", "-Werror"};
    QList<QStringList> steps;
    if (language == QLatin1String("c")) {
        // Included twice: the guard holds. C++ code includes C headers too.
        write("defs.h", generated);
        write("check.c",
              "#include <stdio.h>\n#include \"defs.h\"\n#include \"defs.h\"\nint main(void)\n{" +
                  checks + "    return 0;\n}\n");
        write("check.cpp", "#include \"defs.h\"\nint main() { return 0; }\n");
        steps = {QStringList{"gcc", "-std=c99"} + strict + QStringList{"-o", "check", "check.c"},
                 QStringList{"g++", "-std=c++17"} + strict + QStringList{"-c", "check.cpp"},
                 {"./check"}};
    } else if (language == QLatin1String("cpp")) {
        write("defs.hpp", generated);
        write("check.cpp",
              CodeSample::checkProgram("#include \"defs.hpp\"\n#include \"defs.hpp\"\n", checks));
        steps = {QStringList{"g++", "-std=c++17"} + strict +
                     QStringList{"-o", "check", "check.cpp"},
                 {"./check"}};
    } else if (language == QLatin1String("cpplut")) {
        // A translation unit of its own, then included by the checks.
        write("tables.cpp", generated);
        write("check.cpp", CodeSample::checkProgram("#include \"tables.cpp\"\n", checks));
        steps = {QStringList{"g++", "-std=c++17"} + strict + QStringList{"-c", "tables.cpp"},
                 QStringList{"g++", "-std=c++17"} + strict +
                     QStringList{"-fsanitize=address,undefined", "-o", "check", "check.cpp"},
                 {"./check"}};
    } else if (language == QLatin1String("lua")) {
        write("defs.lua", generated);
        write("check.lua", R"(local M = dofile("defs.lua")
local failures = 0
local function check(ok, what)
  if not ok then
    print("failed: " .. what)
    failures = failures + 1
  end
end
)" + checks + R"(
print(failures .. " failed")
os.exit(failures == 0 and 0 or 1)
)");
        steps = {{"lua5.4", "check.lua"}};
    } else {
        write("Defs.cs", generated);
        write("Check.cs", "using System;\nusing " +
                              (setting.isEmpty() ? QByteArray("Definitions") : setting.toUtf8()) +
                              ";\n\nstatic class Check\n{\n    static int Main()\n    {" + checks +
                              "        return 0;\n    }\n}\n");
        steps = {{"mcs", "-warnaserror+", "-nologo", "-out:check.exe", "Check.cs", "Defs.cs"},
                 {"mono", "check.exe"}};
    }
    if (language != QLatin1String("c") && language != QLatin1String("cs"))
        printed += "0 failed\n";
    for (QStringList& step : steps) {
        const QString program = step[0];
        step[0] = program.startsWith("./") ? dir.filePath(program)
                                           : QStandardPaths::findExecutable(program);
        if (step[0].isEmpty())
            QSKIP(qPrintable(program + " is needed (the Makefile installs it for the tests)"));
    }
    CodeSample::Run r;
    for (const QStringList& step : std::as_const(steps)) {
        r = CodeSample::run(step[0], step.mid(1), dir.path());
        QVERIFY2(r.started && r.status == 0, CodeSample::report(r, generated).constData());
    }
    QCOMPARE(r.out, printed);
}

QTEST_APPLESS_MAIN(TestGenerators)
#include "tst_generators.moc"
