// SPDX-License-Identifier: MIT
// The C header generator: what it writes, and that gcc agrees.

#include "tests/writers/codesample.h"
#include "writers/writerheader.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace QRV16;

class TestWriterHeader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void guard_data();
    void guard();
    void compiles_data();
    void compiles();
};

void TestWriterHeader::guard_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QByteArray>("guard");
    QTest::newRow("from the file name") << "pumps.h" << QByteArray("PUMPS_H");
    QTest::newRow("odd characters") << "ps-4 defs.h" << QByteArray("PS_4_DEFS_H");
    QTest::newRow("leading digit") << "4pumps.h" << QByteArray("QRV16_4PUMPS_H");
}

void TestWriterHeader::guard()
{
    QFETCH(QString, fileName);
    QFETCH(QByteArray, guard);
    const std::unique_ptr<Item> root = CodeSample::sample();
    QTemporaryDir dir;
    const QString path = dir.filePath(fileName);
    WriterHeader w;
    QVERIFY(w.write(root.get(), path));
    const QByteArray out = CodeSample::readFile(path);
    QVERIFY2(out.contains(QByteArray("#ifndef " + guard + "\n#define " + guard + "\n")), out.constData());
    QVERIFY(out.endsWith(QByteArray("#endif /* " + guard + " */\n")));
}

void TestWriterHeader::compiles_data()
{
    QTest::addColumn<QString>("definitions");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QByteArray>("checks");
    QTest::addColumn<QByteArray>("program"); // prints names, as firmware logs them
    QTest::addColumn<QByteArray>("printed");
    QTest::newRow("sample") << "sample" << "T" << QByteArray(R"(
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
)") << QByteArray(R"(
    printf("%s %s %s|%s|%s\n", T_tag_name(T_TAG_Mode), T_Mode_enum_name(T_Mode_Reverse),
           T_Alarms_bit_name(T_Alarms_BIT_Door), T_tag_name(0x4242) ? "?" : "none",
           T_Mode_enum_name(T_Mode_Lowest));
)") << QByteArray("Mode Reverse Door|none|Lowest\n");
    QTest::newRow("demo") << "demo" << "PS4" << QByteArray(R"(
_Static_assert(PS4_TAG_PumpMode == 0x1002 && PS4_PumpMode_Service == 3, "enum");
_Static_assert(PS4_ResultCode_InternalError == 0x80 && PS4_EventCode_OperatorLogin == 0x100, "hex");
_Static_assert(PS4_Alarms_MASK_MainsFailure == 0x100 && PS4_Valves_MASK_FlushValve == 8, "bits");
_Static_assert(PS4_TAG_ScreenSize == 0x8201 && PS4_TYPE_ScreenSize == QRV16DT_Size, "extended");
)") << QByteArray(R"(
    printf("%s %s %s\n", PS4_tag_name(PS4_TAG_PumpMode), PS4_PumpMode_enum_name(PS4_PumpMode_Service),
           PS4_Valves_bit_name(PS4_Valves_BIT_FlushValve));
)") << QByteArray("PumpMode Service FlushValve\n");
    QTest::newRow("empty") << "empty" << "" << QByteArray("_Static_assert(QRV16DT_Binary == 0, \"types\");\n")
                           << QByteArray("    printf(\"%d\\n\", tag_name(1) == 0);\n") << QByteArray("1\n");
    QTest::newRow("hostile, no prefix") << "hostile" << "" << QByteArray(R"(
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
)") << QByteArray(R"(
    printf("%s %s %s %s\n", tag_name(TAG_Gro_e), tag_name(0x1117), Both_enum_name(3), tag_name(0x1300));
)") << QByteArray("Größe \"quoted\" \\ name A First\n");
}

void TestWriterHeader::compiles()
{
    QFETCH(QString, definitions);
    QFETCH(QString, prefix);
    QFETCH(QByteArray, checks);
    QFETCH(QByteArray, program);
    QFETCH(QByteArray, printed);
    const QString gcc = QStandardPaths::findExecutable("gcc");
    const QString gxx = QStandardPaths::findExecutable("g++");
    if (gcc.isEmpty() || gxx.isEmpty())
        QSKIP("gcc and g++ are needed to compile the generated header (Debian package g++)");
    const std::unique_ptr<Item> root = CodeSample::byName(definitions);
    WriterHeader w;
    w.setTexts({QString(), prefix});
    const QByteArray generated = w.encode(root.get());
    QVERIFY(w.clashes().isEmpty());
    QTemporaryDir dir;
    QVERIFY(CodeSample::writeFile(dir.filePath("defs.h"), generated));
    // Included twice: the guard holds.
    QVERIFY(CodeSample::writeFile(dir.filePath("check.c"),
                                  "#include <stdio.h>\n#include \"defs.h\"\n#include \"defs.h\"\n" +
                                      checks + "int main(void)\n{\n" + program + "    return 0;\n}\n"));
    const CodeSample::Run c = CodeSample::run(
        gcc, {"-std=c99", "-Wall", "-Wextra", "-Werror", "-o", "check", "check.c"}, dir.path());
    QVERIFY2(c.started && c.status == 0, CodeSample::report(c, generated).constData());
    const CodeSample::Run ran = CodeSample::run(dir.filePath("check"), {}, dir.path());
    QCOMPARE(ran.status, 0);
    QCOMPARE(ran.out, printed);
    // C++ code includes C headers too.
    QVERIFY(CodeSample::writeFile(dir.filePath("check.cpp"),
                                  "#include \"defs.h\"\nint main() { return 0; }\n"));
    const CodeSample::Run cpp = CodeSample::run(
        gxx, {"-std=c++17", "-Wall", "-Wextra", "-Werror", "-c", "check.cpp"}, dir.path());
    QVERIFY2(cpp.started && cpp.status == 0, CodeSample::report(cpp, generated).constData());
}

QTEST_APPLESS_MAIN(TestWriterHeader)
#include "tst_writerheader.moc"
