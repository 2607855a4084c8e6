// The C header generator: what it writes, and that gcc agrees.

#include "tests/writers/codesample.h"
#include "writers/writerheader.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace QRV16;

namespace {

QByteArray header(const Item* root, const QString& prefix)
{
    WriterHeader w;
    w.setTexts({QString(), prefix});
    return w.encode(root);
}

} // namespace

class TestWriterHeader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void lines_data();
    void lines();
    void prefix_data();
    void prefix();
    void guard_data();
    void guard();
    void compiles_data();
    void compiles();
};

void TestWriterHeader::lines_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("tag code in four hex digits, its type") << QByteArray("#define T_Mode 0x1002u /* Integer */");
    QTest::newRow("tag comment above it") << QByteArray("/* Operating mode */\n#define T_Mode ");
    QTest::newRow("free comment kept") << QByteArray("/* Pump control */");
    QTest::newRow("enum value") << QByteArray("#define T_Mode_Off 0\n");
    QTest::newRow("negative value, its comment") << QByteArray("#define T_Mode_Reverse (-1) /* Runs backwards */");
    QTest::newRow("lowest 64-bit value") << QByteArray("#define T_Mode_Lowest (-9223372036854775807LL - 1)");
    QTest::newRow("hex display, padded") << QByteArray("#define T_Result_Internal 0x0080\n");
    QTest::newRow("negative in hex display is decimal") << QByteArray("#define T_Result_Minus (-2)\n");
    QTest::newRow("wide value is long long") << QByteArray("#define T_Result_Huge 0x7FFFFFFFFFFFFFFFLL\n");
    QTest::newRow("bit 0") << QByteArray("#define T_Alarms_Low_2 (1u << 0)\n");
    QTest::newRow("bit 7") << QByteArray("#define T_Alarms_Door (1u << 7)\n");
    QTest::newRow("bit 31 is 64-bit") << QByteArray("#define T_Alarms_Mains (1ULL << 31)\n");
    QTest::newRow("bit 63") << QByteArray("#define T_Alarms_Top (1ULL << 63)\n");
    QTest::newRow("enum and bit of one name") << QByteArray("#define T_Alarms_Low 1\n");
    QTest::newRow("secure tag marked") << QByteArray("#define T_Password 0x3003u /* String, secure */");
    QTest::newRow("extended type named as the rest of the system does")
        << QByteArray("#define T_Position 0x8001u /* Int64 */");
    QTest::newRow("odd name sanitised") << QByteArray("#define T_2nd_pump_flow 0x1010u");
    QTest::newRow("collision, first") << QByteArray("#define T_Pump_Speed 0x1011u");
    QTest::newRow("collision, second") << QByteArray("#define T_Pump_Speed_2 0x1012u");
    QTest::newRow("keyword behind a prefix unchanged") << QByteArray("#define T_default 0x2001u");
    QTest::newRow("data types") << QByteArray("#define QRV16DT_ExtPoint 0x80\n");
    QTest::newRow("guard") << QByteArray("#ifndef T_QRV16_DEFINITIONS_H\n#define T_QRV16_DEFINITIONS_H\n");
    QTest::newRow("blank line of the file kept")
        << QByteArray("#define T_Result_Huge 0x7FFFFFFFFFFFFFFFLL\n\n#define T_Alarms ");
}

void TestWriterHeader::lines()
{
    QFETCH(QByteArray, line);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const QByteArray out = header(root.get(), "T");
    QVERIFY2(out.contains(line), out.constData());
}

void TestWriterHeader::prefix_data()
{
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("underscore added") << "PS4" << QByteArray("#define PS4_Mode 0x1002u");
    QTest::newRow("underscore not doubled") << "PS4_" << QByteArray("#define PS4_Mode 0x1002u");
    QTest::newRow("odd prefix sanitised") << "ps-4" << QByteArray("#define ps_4_Mode 0x1002u");
    QTest::newRow("no prefix") << "" << QByteArray("#define Mode 0x1002u");
    QTest::newRow("no prefix: leading digit") << "" << QByteArray("#define _2nd_pump_flow 0x1010u");
    QTest::newRow("no prefix: keyword") << "" << QByteArray("#define default_ 0x2001u");
    QTest::newRow("no prefix: C++ keyword too") << "" << QByteArray("#define end 0x2002u");
}

void TestWriterHeader::prefix()
{
    QFETCH(QString, prefix);
    QFETCH(QByteArray, line);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const QByteArray out = header(root.get(), prefix);
    QVERIFY2(out.contains(line), out.constData());
}

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
    QTest::newRow("sample") << "sample" << "T" << QByteArray(R"(
_Static_assert(T_Mode == 0x1002, "tag code");
_Static_assert(T_Mode_Off == 0 && T_Mode_Reverse == -1 && T_Mode_Auto == 2, "enum");
_Static_assert(T_Mode_Lowest < 0 && T_Mode_Lowest == -9223372036854775807LL - 1, "lowest");
_Static_assert(T_Result_Ok == 0 && T_Result_Internal == 128 && T_Result_Minus == -2, "hex enum");
_Static_assert(T_Result_Huge == 9223372036854775807LL, "highest");
_Static_assert(T_Alarms == 0x7001 && T_Alarms_Low == 1 && T_Alarms_Low_2 == 1, "enum and bit");
_Static_assert(T_Alarms_Door == 0x80, "bit 7");
_Static_assert(T_Alarms_Mains == 0x80000000ULL && sizeof(T_Alarms_Mains) == 8, "bit 31");
_Static_assert(T_Alarms_Top == 0x8000000000000000ULL && sizeof(T_Alarms_Top) == 8, "bit 63");
_Static_assert(T_Password == 0x3003 && T_GetStatus == 0xD001 && T_Position == 0x8001, "types");
_Static_assert(T_2nd_pump_flow == 0x1010, "odd name");
_Static_assert(T_Pump_Speed == 0x1011 && T_Pump_Speed_2 == 0x1012, "collision");
_Static_assert(T_default == 0x2001 && T_end == 0x2002, "keywords");
_Static_assert(QRV16DT_Integer == 1 && QRV16DT_ExtSize == 0x82, "data types");
)");
    QTest::newRow("demo") << "demo" << "PS4" << QByteArray(R"(
_Static_assert(PS4_PumpMode == 0x1002 && PS4_PumpMode_Service == 3, "enum");
_Static_assert(PS4_ResultCode_InternalError == 0x80 && PS4_EventCode_OperatorLogin == 0x100, "hex");
_Static_assert(PS4_Alarms_MainsFailure == 0x100 && PS4_Valves_FlushValve == 8, "bits");
_Static_assert(PS4_ScreenSize == 0x8201, "extended");
)");
    QTest::newRow("empty") << "empty" << "" << QByteArray("_Static_assert(QRV16DT_Binary == 0, \"types\");\n");
    QTest::newRow("hostile, no prefix") << "hostile" << "" << QByteArray(R"(
_Static_assert(Tag == 0x1100 && class_ == 0x1106 && defined_ == 0x1108 && NULL_ == 0x1109, "keywords");
_Static_assert(int_ == 0x110F, "keyword");
_Static_assert(QRV16_DEFINITIONS_H_2 == 0x1110 && QRV16DT_Binary_2 == 0x1111, "own names");
_Static_assert(Pump_Speed == 0x1115 && Pump_Speed_2 == 0x1116 && Pump_Speed_3 == 0x1117, "three");
_Static_assert(Pump_Speed_2_2 == 0x1118, "the name a collision took");
_Static_assert(Gro_e == 0x1119 && file == 0x111A && _9 == 0x111D, "odd names");
_Static_assert(First == 0x1300 && Second == 0x1300, "one code twice");
_Static_assert(Both_A == 3 && Both_A_2 == 3 && Both_A_3 == 1 && Both_A_4 == 2, "one name four times");
_Static_assert(Both_Both == 2 && Both_Both_2 == 8 && Both_class == 1, "names of the tag");
_Static_assert(Both_Min == -9223372036854775807LL - 1, "lowest in hex display");
)");
}

void TestWriterHeader::compiles()
{
    QFETCH(QString, definitions);
    QFETCH(QString, prefix);
    QFETCH(QByteArray, checks);
    const QString gcc = QStandardPaths::findExecutable("gcc");
    const QString gxx = QStandardPaths::findExecutable("g++");
    if (gcc.isEmpty() || gxx.isEmpty())
        QSKIP("gcc and g++ are needed to compile the generated header (Debian package g++)");
    const std::unique_ptr<Item> root = CodeSample::byName(definitions);
    const QByteArray generated = header(root.get(), prefix);
    QTemporaryDir dir;
    QVERIFY(CodeSample::writeFile(dir.filePath("defs.h"), generated));
    // Included twice: the guard holds.
    QVERIFY(CodeSample::writeFile(dir.filePath("check.c"), "#include \"defs.h\"\n#include \"defs.h\"\n" +
                                                               checks + "int main(void) { return 0; }\n"));
    const CodeSample::Run c = CodeSample::run(
        gcc, {"-std=c99", "-Wall", "-Wextra", "-Werror", "-o", "check", "check.c"}, dir.path());
    QVERIFY2(c.started && c.status == 0, CodeSample::report(c, generated).constData());
    const CodeSample::Run ran = CodeSample::run(dir.filePath("check"), {}, dir.path());
    QCOMPARE(ran.status, 0);
    // C++ code includes C headers too.
    QVERIFY(CodeSample::writeFile(dir.filePath("check.cpp"),
                                  "#include \"defs.h\"\nint main() { return 0; }\n"));
    const CodeSample::Run cpp = CodeSample::run(
        gxx, {"-std=c++17", "-Wall", "-Wextra", "-Werror", "-c", "check.cpp"}, dir.path());
    QVERIFY2(cpp.started && cpp.status == 0, CodeSample::report(cpp, generated).constData());
}

QTEST_APPLESS_MAIN(TestWriterHeader)
#include "tst_writerheader.moc"
