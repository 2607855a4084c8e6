// SPDX-License-Identifier: MIT
// The C# generator: what it writes. Debian has no C# compiler by default, so
// the structure is checked here: balanced blocks, and every declared name a
// valid identifier, no keyword, unique in its block.

#include "tests/writers/codesample.h"
#include "writers/writercs.h"

#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace QRV16;

namespace {

QByteArray file(const Item* root, const QString& ns)
{
    WriterCs w;
    w.setTexts({QString(), QString(), ns});
    return w.encode(root);
}

const QSet<QString> csharpKeywords = {
    "abstract", "as", "base", "bool", "break", "byte", "case", "catch", "char", "checked",
    "class", "const", "continue", "decimal", "default", "delegate", "do", "double", "else",
    "enum", "event", "explicit", "extern", "false", "finally", "fixed", "float", "for",
    "foreach", "goto", "if", "implicit", "in", "int", "interface", "internal", "is", "lock",
    "long", "namespace", "new", "null", "object", "operator", "out", "override", "params",
    "private", "protected", "public", "readonly", "ref", "return", "sbyte", "sealed", "short",
    "sizeof", "stackalloc", "static", "string", "struct", "switch", "this", "throw", "true",
    "try", "typeof", "uint", "ulong", "unchecked", "unsafe", "ushort", "using", "virtual",
    "void", "volatile", "while", "value__"};

// Empty when the text's blocks balance and its declarations are sound,
// otherwise what is wrong.
QString structureProblems(const QString& text)
{
    static const QRegularExpression typeDecl("^\\s*public (?:static class|enum) (\\w+)");
    static const QRegularExpression memberDecl("^\\s*(?:public const (?:ushort|DataType) )?(\\w+) = ");
    static const QRegularExpression identifier("^[A-Za-z_][A-Za-z0-9_]*$");
    QStringList problems;
    QSet<QString> types;
    QSet<QString> members;
    QString currentType;
    int depth = 0;
    for (const QString& line : text.split('\n')) {
        const QString code = line.left(line.indexOf("//") < 0 ? line.size() : line.indexOf("//"));
        const QRegularExpressionMatch type = typeDecl.match(code);
        if (type.hasMatch()) {
            currentType = type.captured(1);
            if (types.contains(currentType))
                problems += "type twice: " + currentType;
            types.insert(currentType);
            members.clear();
        }
        const QRegularExpressionMatch member = memberDecl.match(code);
        if (member.hasMatch() && !type.hasMatch()) {
            const QString name = member.captured(1);
            if (!identifier.match(name).hasMatch() || csharpKeywords.contains(name) || name == currentType)
                problems += "bad member name: " + name;
            if (members.contains(name))
                problems += "member twice: " + name + " in " + currentType;
            members.insert(name);
        }
        depth += code.count('{') - code.count('}');
        if (depth < 0)
            problems += "unbalanced at: " + line;
    }
    if (depth != 0)
        problems += "blocks left open: " + QString::number(depth);
    for (const QString& t : types) {
        if (!identifier.match(t).hasMatch() || csharpKeywords.contains(t))
            problems += "bad type name: " + t;
    }
    return problems.join('\n');
}

} // namespace

class TestWriterCs : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void startsWithByteOrderMark();
    void structure_data();
    void structure();
    void compiles_data();
    void compiles();
};

void TestWriterCs::startsWithByteOrderMark()
{
    const std::unique_ptr<Item> root = CodeSample::sample();
    const QByteArray out = file(root.get(), QString());
    QVERIFY(out.startsWith("\xEF\xBB\xBF// Generated from QRV16 tag definitions; do not edit.\n"));
    QCOMPARE(out.count("\xEF\xBB\xBF"), 1);
}

void TestWriterCs::structure_data()
{
    QTest::addColumn<QString>("definitions");
    for (const char* definitions : {"sample", "demo", "empty", "hostile"})
        QTest::newRow(definitions) << QString::fromLatin1(definitions);
}

void TestWriterCs::structure()
{
    QFETCH(QString, definitions);
    const std::unique_ptr<Item> root = CodeSample::byName(definitions);
    const QString text = QString::fromUtf8(file(root.get(), QString()));
    QCOMPARE(structureProblems(text), QString());
    // Every line break C# knows is a line break here, so no comment runs on
    // into code.
    for (const QChar c : {QChar(0x85), QChar(0x2028), QChar(0x2029), QChar('\r')})
        QVERIFY(!text.contains(c));
}

void TestWriterCs::compiles_data()
{
    QTest::addColumn<QString>("definitions");
    QTest::addColumn<QString>("ns");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("printed");
    QTest::newRow("sample") << "sample" << "Norvane.Pumps" << QByteArray(R"(
        Console.WriteLine("{0} {1} {2} {3}", Tags.Mode.ToString("X4"), ModeValues.Reverse,
                          (long)ModeValues.Reverse, AlarmsBits.Door);
        Console.WriteLine("{0} {1} {2}", Types.Position, (long)ModeValues.Lowest == long.MinValue,
                          (ulong)AlarmsBits.Top == 1UL << 63);
)") << QByteArray("1002 Reverse -1 Door\nPoint True True\n");
    QTest::newRow("demo") << "demo" << "" << QByteArray(R"(
        Console.WriteLine("{0} {1}", PumpModeValues.Service, Types.ScreenSize);
)") << QByteArray("Service Size\n");
    QTest::newRow("empty") << "empty" << "" << QByteArray(R"(
        Console.WriteLine(DataType.Binary);
)") << QByteArray("Binary\n");
    QTest::newRow("hostile") << "hostile" << "" << QByteArray(R"(
        Console.WriteLine("{0} {1} {2}", Tags.class_.ToString("X4"), (long)BothValues.Min == long.MinValue,
                          BothBits.B);
)") << QByteArray("1106 True B\n");
}

void TestWriterCs::compiles()
{
    QFETCH(QString, definitions);
    QFETCH(QString, ns);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, printed);
    const QString mcs = QStandardPaths::findExecutable("mcs");
    const QString mono = QStandardPaths::findExecutable("mono");
    if (mcs.isEmpty() || mono.isEmpty())
        QSKIP("mcs and mono are needed to compile the generated C# (Debian package mono-mcs)");
    const std::unique_ptr<Item> root = CodeSample::byName(definitions);
    const QByteArray generated = file(root.get(), ns);
    QTemporaryDir dir;
    QVERIFY(CodeSample::writeFile(dir.filePath("Defs.cs"), generated));
    QVERIFY(CodeSample::writeFile(dir.filePath("Check.cs"),
                                  "using System;\nusing " + (ns.isEmpty() ? QByteArray("Definitions") : ns.toUtf8()) +
                                      ";\n\nstatic class Check\n{\n    static int Main()\n    {" + body +
                                      "        return 0;\n    }\n}\n"));
    const CodeSample::Run build = CodeSample::run(
        mcs, {"-warnaserror+", "-nologo", "-out:check.exe", "Check.cs", "Defs.cs"}, dir.path());
    QVERIFY2(build.started && build.status == 0, CodeSample::report(build, generated).constData());
    const CodeSample::Run ran = CodeSample::run(mono, {"check.exe"}, dir.path());
    QVERIFY2(ran.status == 0, ran.err.constData());
    QCOMPARE(ran.out, printed);
}

QTEST_APPLESS_MAIN(TestWriterCs)
#include "tst_writercs.moc"
