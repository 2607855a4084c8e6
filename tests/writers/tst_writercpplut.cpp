// SPDX-License-Identifier: MIT
// The C++ lookup table generator: what it writes, and that its tables and
// functions find what they should once compiled.

#include "tests/writers/codesample.h"
#include "writers/writercpplut.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace QRV16;

namespace {

QByteArray tables(const Item* root, const QString& ns)
{
    WriterCppLut w;
    w.setTexts({QString(), QString(), ns});
    return w.encode(root);
}

// Every tag is found by its code (the first of a code given twice) and its
// name, in code order; every value and bit by its number and name.
const QByteArray consistency = R"(
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

} // namespace

class TestWriterCppLut : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void compiles_data();
    void compiles();
};

void TestWriterCppLut::compiles_data()
{
    QTest::addColumn<QString>("definitions");
    QTest::addColumn<QString>("ns");
    QTest::addColumn<QByteArray>("checks");
    QTest::addColumn<QByteArray>("printed"); // before the count of failures
    QTest::newRow("sample") << "sample" << "pumps::tables" << QByteArray(R"(
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
)" + consistency) << QByteArray("Mode Reverse Door\n");
    QTest::newRow("demo") << "demo" << "" << QByteArray(R"(
    using namespace Definitions;
    CHECK(tagCount() == 52);
    CHECK(enumByName(tagByName("PumpMode"), "Service")->value == 3);
    CHECK(std::strcmp(enumByValue(tagByCode(0x1006), 0x80)->name, "InternalError") == 0);
    CHECK(enumByValue(tagByCode(0x1006), 0xFF) == nullptr);
    CHECK(bitByName(tagByName("Alarms"), "MainsFailure")->bit == 8);
    CHECK(tagByName("Password")->secure && tagByCode(0x8201)->type == DataType::Size);
)" + consistency) << QByteArray();
    QTest::newRow("empty") << "empty" << "" << QByteArray(R"(
    using namespace Definitions;
    CHECK(tagCount() == 0 && tagByCode(0) == nullptr && tagByName("") == nullptr);
)" + consistency) << QByteArray();
    QTest::newRow("hostile") << "hostile" << "" << QByteArray(R"(
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
)" + consistency) << QByteArray();
}

void TestWriterCppLut::compiles()
{
    QFETCH(QString, definitions);
    QFETCH(QString, ns);
    QFETCH(QByteArray, checks);
    QFETCH(QByteArray, printed);
    const QString gxx = QStandardPaths::findExecutable("g++");
    if (gxx.isEmpty())
        QSKIP("g++ is needed to compile the generated tables (Debian package g++)");
    const std::unique_ptr<Item> root = CodeSample::byName(definitions);
    const QByteArray generated = tables(root.get(), ns);
    QTemporaryDir dir;
    QVERIFY(CodeSample::writeFile(dir.filePath("tables.cpp"), generated));
    // A translation unit of its own, warnings as errors.
    const CodeSample::Run unit = CodeSample::run(
        gxx, {"-std=c++17", "-Wall", "-Wextra", "-Werror", "-c", "tables.cpp"}, dir.path());
    QVERIFY2(unit.started && unit.status == 0, CodeSample::report(unit, generated).constData());
    QVERIFY(CodeSample::writeFile(dir.filePath("check.cpp"),
                                  CodeSample::checkProgram("#include \"tables.cpp\"\n", checks)));
    const CodeSample::Run build = CodeSample::run(
        gxx, {"-std=c++17", "-Wall", "-Wextra", "-Werror", "-fsanitize=address,undefined", "-o", "check",
              "check.cpp"},
        dir.path());
    QVERIFY2(build.started && build.status == 0, CodeSample::report(build, generated).constData());
    const CodeSample::Run ran = CodeSample::run(dir.filePath("check"), {}, dir.path());
    QVERIFY2(ran.status == 0, QByteArray(ran.out + ran.err).constData());
    QCOMPARE(ran.out, printed + "0 failed\n");
}

QTEST_APPLESS_MAIN(TestWriterCppLut)
#include "tst_writercpplut.moc"
