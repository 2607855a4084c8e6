// SPDX-License-Identifier: MIT
// The Lua module generator: what it writes, and that Lua loads it and finds
// the values in it.

#include "tests/writers/codesample.h"
#include "writers/writerlua.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace QRV16;

namespace {

QByteArray module(const Item* root)
{
    return WriterLua().encode(root);
}

// Names and codes lead to each other, every number is an integer.
const QByteArray consistency = R"(
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

class TestWriterLua : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void loads_data();
    void loads();
};

void TestWriterLua::loads_data()
{
    QTest::addColumn<QString>("definitions");
    QTest::addColumn<QByteArray>("checks");
    QTest::addColumn<QByteArray>("printed"); // before the count of failures
    QTest::newRow("sample") << "sample" << QByteArray(R"(
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
)" + consistency) << QByteArray("Mode\tReverse\tDoor\n");
    QTest::newRow("demo") << "demo" << QByteArray(R"(
check(M.tags.PumpMode == 0x1002 and M.enums.PumpMode.Service == 3, "enum")
check(M.enums.ResultCode.InternalError == 0x80 and M.enums.EventCode.OperatorLogin == 0x100, "hex")
check(M.bits.Alarms.MainsFailure == 8 and M.bits.Valves.FlushValve == 3, "bits")
check(M.names[0x8201] == "ScreenSize" and M.types.ScreenSize == "Size", "extended")
)" + consistency) << QByteArray();
    QTest::newRow("empty") << "empty" << QByteArray(R"(
check(next(M.tags) == nil and next(M.names) == nil, "nothing")
)" + consistency) << QByteArray();
    QTest::newRow("hostile") << "hostile" << QByteArray(R"(
check(M.tags.end_ == 0x1107 and M.tags.local_ == 0x110C and M.tags.M == 0x110D, "keywords")
check(M.tags.Gro_e == 0x1115 and M.tags._9 == 0x1118, "odd names")
check(M.names[0x1300] == "First" and M.tags.Second == 0x1300, "one code twice")
check(M.enums.Both.A == 3 and M.enums.Both.Again == 3 and M.enums.Both.Min == math.mininteger, "values")
check(M.enumNames.Both[3] == "A" and M.types.Undefined == 10 and M.types.Extended == 0x8F, "first name")
check(M.bits.Both.end_ == 2 and M.bits.Both.Beyond == 64 and M.bits.Both.FarBeyond == nil, "bits")
check(M.bits.Both.EnumAmongBits == nil and M.tags.TagInTag == nil and M.tags.EnumInRoot == nil, "misplaced")
)" + consistency) << QByteArray();
}

void TestWriterLua::loads()
{
    QFETCH(QString, definitions);
    QFETCH(QByteArray, checks);
    QFETCH(QByteArray, printed);
    const QString lua = QStandardPaths::findExecutable("lua5.4");
    if (lua.isEmpty())
        QSKIP("lua5.4 is needed to load the generated module (Debian package lua5.4)");
    const std::unique_ptr<Item> root = CodeSample::byName(definitions);
    const QByteArray generated = module(root.get());
    QTemporaryDir dir;
    QVERIFY(CodeSample::writeFile(dir.filePath("defs.lua"), generated));
    QVERIFY(CodeSample::writeFile(dir.filePath("check.lua"), R"(local M = dofile("defs.lua")
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
)"));
    const CodeSample::Run ran = CodeSample::run(lua, {"check.lua"}, dir.path());
    QVERIFY2(ran.started && ran.status == 0, CodeSample::report(ran, generated).constData());
    QCOMPARE(ran.out, printed + "0 failed\n");
}

QTEST_APPLESS_MAIN(TestWriterLua)
#include "tst_writerlua.moc"
