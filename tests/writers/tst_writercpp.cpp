// SPDX-License-Identifier: MIT
// The C++ include file generator: what it writes, and that g++ and the
// compiled program agree.

#include "tests/writers/codesample.h"
#include "writers/writercpp.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace QRV16;

namespace {

QByteArray include(const Item* root, const QString& ns)
{
    WriterCpp w;
    w.setTexts({QString(), QString(), ns});
    return w.encode(root);
}

} // namespace

class TestWriterCpp : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void namespaces_data();
    void namespaces();
    void compiles_data();
    void compiles();
};

void TestWriterCpp::namespaces_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("none") << "" << QByteArray("namespace Definitions {\n");
    QTest::newRow("one") << "ps4" << QByteArray("namespace ps4 {\n");
    QTest::newRow("nested") << "norvane::ps4" << QByteArray("namespace norvane::ps4 {\n");
    QTest::newRow("empty levels dropped") << "::a::::b::" << QByteArray("namespace a::b {\n");
    QTest::newRow("keyword") << "class" << QByteArray("namespace class_ {\n");
    QTest::newRow("odd characters") << "ps-4 defs" << QByteArray("namespace ps_4_defs {\n");
}

void TestWriterCpp::namespaces()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, line);
    const std::unique_ptr<Item> root = CodeSample::sample();
    const QByteArray out = include(root.get(), text);
    QVERIFY2(out.contains(line), out.constData());
    QVERIFY(out.endsWith(QByteArray("} // namespace " + line.mid(10, line.size() - 13) + "\n")));
}

void TestWriterCpp::compiles_data()
{
    QTest::addColumn<QString>("definitions");
    QTest::addColumn<QString>("ns");
    QTest::addColumn<QByteArray>("checks");
    QTest::addColumn<QByteArray>("printed"); // before the count of failures
    QTest::newRow("sample") << "sample" << "pumps::v1" << QByteArray(R"(
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
)") << QByteArray("0x1002 -1 0x80\n");
    QTest::newRow("demo") << "demo" << "" << QByteArray(R"(
    using namespace Definitions;
    CHECK(Tag::PumpMode == 0x1002 && v(PumpMode::Service) == 3);
    CHECK(v(ResultCode::InternalError) == 0x80 && v(EventCode::OperatorLogin) == 0x100);
    CHECK(Bits::Alarms::MainsFailure == 0x100 && Bits::Valves::FlushValve == 8);
    CHECK(Tag::ScreenSize == 0x8201 && Type::ScreenSize == DataType::Size);
)") << QByteArray();
    QTest::newRow("empty") << "empty" << "" << QByteArray() << QByteArray();
    QTest::newRow("hostile") << "hostile" << "" << QByteArray(R"(
    using namespace Definitions;
    CHECK(Tag::Tag_ == 0x1100 && Tag::Bits_ == 0x1101 && Tag::class_ == 0x1106);
    CHECK(Tag::Gro_e == 0x1115 && Tag::file == 0x1116 && Tag::_9 == 0x1118);
    CHECK(v(Both::class_) == 1 && v(Both::A) == 3 && v(Both::Again) == 3 && v(Both::Min) == INT64_MIN);
    CHECK(Bits::Both::A == 1 && Bits::Both::B == 2 && Bits::Both::Both == 8);
    CHECK(Type::Undefined == DataType(10) && Type::Extended == DataType(0x8F));
)") << QByteArray();
}

void TestWriterCpp::compiles()
{
    QFETCH(QString, definitions);
    QFETCH(QString, ns);
    QFETCH(QByteArray, checks);
    QFETCH(QByteArray, printed);
    const QString gxx = QStandardPaths::findExecutable("g++");
    if (gxx.isEmpty())
        QSKIP("g++ is needed to compile the generated include file (Debian package g++)");
    const std::unique_ptr<Item> root = CodeSample::byName(definitions);
    const QByteArray generated = include(root.get(), ns);
    QTemporaryDir dir;
    QVERIFY(CodeSample::writeFile(dir.filePath("defs.hpp"), generated));
    // Included twice: the file guards itself.
    QVERIFY(CodeSample::writeFile(
        dir.filePath("check.cpp"),
        CodeSample::checkProgram("#include \"defs.hpp\"\n#include \"defs.hpp\"\n", checks)));
    const CodeSample::Run build = CodeSample::run(
        gxx, {"-std=c++17", "-Wall", "-Wextra", "-Werror", "-o", "check", "check.cpp"}, dir.path());
    QVERIFY2(build.started && build.status == 0, CodeSample::report(build, generated).constData());
    const CodeSample::Run ran = CodeSample::run(dir.filePath("check"), {}, dir.path());
    QVERIFY2(ran.status == 0, ran.out.constData());
    QCOMPARE(ran.out, printed + "0 failed\n");
}

QTEST_APPLESS_MAIN(TestWriterCpp)
#include "tst_writercpp.moc"
