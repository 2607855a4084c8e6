// SPDX-License-Identifier: MIT
// The korv command-line tool, run as a user's script would run it.

#include "tests/cli/korvrun.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString demo = QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef");

// Writes `content` to `name` in `dir`; the file's path.
QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& content)
{
    const QString path = dir.filePath(name);
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

} // namespace

class TestKorv : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void statuses_data();
    void statuses();
    void prints_data();
    void prints();
    void encodeStdinText_data();
    void encodeStdinText();
    void multiLineDecodePipesIntoEncode();
    void definitionWarnings_data();
    void definitionWarnings();
    void decodeStream();
    void namesRoundTrip();
    void check();
    void checkBrokenFile();
    void randomBytesAreCutByTheirLengths();
    void readmeExamples();
    void generateEachLanguage_data();
    void generateEachLanguage();
    void generateToFile();
    void generateClashIsAnError_data();
    void generateClashIsAnError();
    void generateUnreadableDefinitions_data();
    void generateUnreadableDefinitions();
    void generateUnwritableOutput();
};

void TestKorv::statuses_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("status");
    QTest::newRow("no arguments") << QStringList{} << 2;
    QTest::newRow("help") << QStringList{"--help"} << 0;
    QTest::newRow("version") << QStringList{"--version"} << 0;
    QTest::newRow("unknown command") << QStringList{"frobnicate"} << 2;
    QTest::newRow("decode help") << QStringList{"decode", "-h"} << 0;
    QTest::newRow("check help") << QStringList{"check", "--help"} << 0;
    QTest::newRow("unknown option") << QStringList{"encode", "--bogus", "1001=1"} << 2;
    QTest::newRow("definitions without file") << QStringList{"decode", "-d"} << 2;
    QTest::newRow("check without file") << QStringList{"check"} << 2;
    QTest::newRow("good encode") << QStringList{"encode", "1001=1"} << 0;
    QTest::newRow("bad encode") << QStringList{"encode", "101=1"} << 1;
    QTest::newRow("bad hex") << QStringList{"decode", "0G"} << 1;
    QTest::newRow("missing definitions") << QStringList{"encode", "-d", "/nonexistent.qrvdef", "1001=1"}
                                         << 1;
    QTest::newRow("generate help") << QStringList{"generate", "--help"} << 0;
    QTest::newRow("generate without language") << QStringList{"generate", demo} << 2;
    QTest::newRow("generate, unknown language") << QStringList{"generate", "--lang", "cobol", demo} << 2;
    QTest::newRow("generate without file") << QStringList{"generate", "--lang", "c"} << 2;
    QTest::newRow("generate, two files") << QStringList{"generate", "--lang", "c", demo, demo} << 2;
    QTest::newRow("generate, missing file") << QStringList{"generate", "--lang", "c", "/nonexistent.qrvdef"} << 1;
}

void TestKorv::statuses()
{
    QFETCH(QStringList, args);
    QFETCH(int, status);
    const KorvRun r = runKorv(args);
    QCOMPARE(r.status, status);
    if (status == 2)
        QVERIFY(r.err.contains("Usage:"));
    if (status == 0 && args.contains("--version"))
        QVERIFY(r.out.startsWith("korv "));
    if (status == 0 && (args.contains("--help") || args.contains("-h")))
        QVERIFY(r.out.contains("Usage: korv"));
}

void TestKorv::prints_data()
{
    // The arguments, then the exit status, all of standard output and the
    // start of standard error (empty: nothing on it).
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArray>("err");
    QTest::newRow("encode, a message per element")
        << QStringList{"encode", "1001=5", "F001=(1001=1 3001=\"ab\") 2001=true"} << 0
        << QByteArray("03 00 01 10 05\n0D 00 01 F0 03 00 01 10 01 04 00 01 30 61 62\n03 00 01 20 01\n")
        << QByteArray();
    QTest::newRow("encode raw") << QStringList{"encode", "--raw", "1001=5", "1002=6"} << 0
                                << QByteArray::fromHex("0300011005" "0300021006") << QByteArray();
    QTest::newRow("an error marks its place")
        << QStringList{"encode", "F001=(1001=1 1002=oops)"} << 1 << QByteArray()
        << QByteArray("argument 1:1:19: error: Failed to decode value\n"
                      "  F001=(1001=1 1002=oops)\n"
                      "                    ^~~~\n");
    QTest::newRow("an unknown name lists the tag's names")
        << QStringList{"encode", "-d", demo, "SetPumpMode=(PumpId=2 PumpMode=Servic)"} << 1 << QByteArray()
        << QByteArray("argument 1:1:32: error: Failed to decode value; PumpMode has Off, Manual, Auto, Service\n"
                      "  SetPumpMode=(PumpId=2 PumpMode=Servic)\n"
                      "                                 ^~~~~~\n");
    QTest::newRow("largest unsigned") << QStringList{"encode", "1001=4294967295"} << 0
                                      << QByteArray("0A 00 01 10 FF FF FF FF FF FF FF FF\n") << QByteArray();
    QTest::newRow("bit 31 still takes eight bytes") << QStringList{"encode", "1001=2147483648"} << 0
                                                    << QByteArray("0A 00 01 10 00 00 00 80 FF FF FF FF\n")
                                                    << QByteArray();
    QTest::newRow("one past unsigned")
        << QStringList{"encode", "1001=4294967296"} << 1 << QByteArray()
        << QByteArray("argument 1:1:6: error: Value out of range\n  1001=4294967296\n       ^~~~~~~~~~\n");
    QTest::newRow("two past unsigned") << QStringList{"encode", "1001=4294967297"} << 1 << QByteArray()
                                       << QByteArray("argument 1:1:6: error: Value out of range\n");
    QTest::newRow("one below signed") << QStringList{"encode", "1001=-2147483649"} << 1 << QByteArray()
                                      << QByteArray("argument 1:1:6: error: Value out of range\n");
    QTest::newRow("beyond 64 bits") << QStringList{"encode", "1001=99999999999999999999"} << 1 << QByteArray()
                                    << QByteArray("argument 1:1:6: error: Value out of range\n");
    QTest::newRow("decode one message") << QStringList{"decode", "0300011005"} << 0 << QByteArray("1001=5\n")
                                        << QByteArray();
    QTest::newRow("decode, blanks allowed") << QStringList{"decode", "03 00 01 10 05"} << 0
                                            << QByteArray("1001=5\n") << QByteArray();
    QTest::newRow("decode two in one argument") << QStringList{"decode", "0300011005 0300011006"} << 0
                                                << QByteArray("1001=5\n1001=6\n") << QByteArray();
    QTest::newRow("decode incomplete") << QStringList{"decode", "03000110"} << 1 << QByteArray()
                                       << QByteArray("argument 1: error: incomplete message");
    QTest::newRow("decode odd digits") << QStringList{"decode", "030"} << 1 << QByteArray()
                                       << QByteArray("argument 1: error: not hexadecimal bytes: 030");
    QTest::newRow("decode good after bad") << QStringList{"decode", "zz", "0300011005"} << 1
                                           << QByteArray("1001=5\n") << QByteArray("argument 1: error:");
    QTest::newRow("decode multi-line") << QStringList{"decode", "--multi-line", "0D0001F0030001100104000130 6162"}
                                       << 0 << QByteArray("F001 = (\n  1001 = 1\n  3001 = \"ab\"\n)\n")
                                       << QByteArray();
}

void TestKorv::prints()
{
    QFETCH(QStringList, args);
    QFETCH(int, status);
    QFETCH(QByteArray, out);
    QFETCH(QByteArray, err);
    const KorvRun r = runKorv(args);
    QCOMPARE(r.status, status);
    QCOMPARE(r.out, out);
    QVERIFY2(err.isEmpty() ? r.err.isEmpty() : r.err.startsWith(err), r.err.constData());
}

void TestKorv::encodeStdinText_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArray>("err");
    QTest::newRow("several per line, blank lines between")
        << QByteArray("1001=1\n\n  \n1002=2 1003=3\n") << 0
        << QByteArray("03 00 01 10 01\n03 00 02 10 02\n03 00 03 10 03\n") << QByteArray();
    QTest::newRow("one element over several lines")
        << QByteArray("F001 = (\n  1001 = 1\n  3001 = \"ab\"\n)\n1002=2") << 0
        << QByteArray("0D 00 01 F0 03 00 01 10 01 04 00 01 30 61 62\n03 00 02 10 02\n")
        << QByteArray();
    QTest::newRow("an error prints no bytes and names its line")
        << QByteArray("1001=1\n1002=2\n  101=4\n1004=4\n") << 1 << QByteArray()
        << QByteArray("<stdin>:3:3: error: Tag must have four digits");
    QTest::newRow("only blanks") << QByteArray(" \n\n") << 0 << QByteArray() << QByteArray();
}

void TestKorv::encodeStdinText()
{
    QFETCH(QByteArray, input);
    QFETCH(int, status);
    QFETCH(QByteArray, out);
    QFETCH(QByteArray, err);
    const KorvRun r = runKorv({"encode"}, input);
    QCOMPARE(r.status, status);
    QCOMPARE(r.out, out);
    QVERIFY2(err.isEmpty() ? r.err.isEmpty() : r.err.contains(err), r.err.constData());
}

void TestKorv::multiLineDecodePipesIntoEncode()
{
    const QByteArray hex = "15 00 01 F0 04 00 01 10 DC 05 0B 00 01 C0 07 00 01 30 6E 6F 72 74 68\n";
    for (const QStringList& options :
         {QStringList{"--multi-line"}, QStringList{"--multi-line", "--hungarian", "-d", demo}}) {
        const KorvRun text = runKorv(QStringList{"decode"} + options + QStringList{hex.trimmed()});
        QCOMPARE(text.status, 0);
        QVERIFY(text.out.count('\n') > 2);
        const KorvRun bytes = runKorv(QStringList{"encode"} + options.mid(2), text.out);
        QCOMPARE(bytes.status, 0);
        QCOMPARE(bytes.out, hex);
    }
}

void TestKorv::definitionWarnings_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::newRow("encode") << QStringList{"encode", "1001=5"};
    QTest::newRow("decode") << QStringList{"decode", "0300011005"};
}

void TestKorv::definitionWarnings()
{
    QFETCH(QStringList, args);
    QTemporaryDir dir;
    const QString path =
        writeFile(dir, "double.qrvdef",
                  "<?xml version=\"1.0\"?>\n<qrv16>\n  <tag name=\"A\" id=\"0x1001\"/>\n"
                  "  <tag name=\"B\" id=\"0x1001\"/>\n</qrv16>\n");
    const QStringList withFile = args.mid(0, 1) + QStringList{"-d", path} + args.mid(1);
    const KorvRun loud = runKorv(withFile);
    QCOMPARE(loud.status, 0);
    QVERIFY2(loud.err.contains(QByteArray("Warning: " + path.toUtf8() + ", Line 4")), loud.err.constData());
    QVERIFY(loud.err.contains("Double tag code 0x1001"));
    QVERIFY(!loud.out.isEmpty());
    for (const char* quiet : {"--quiet", "-q"}) {
        const KorvRun silent = runKorv(withFile + QStringList{quiet});
        QCOMPARE(silent.status, 0);
        QVERIFY2(silent.err.isEmpty(), silent.err.constData());
        QCOMPARE(silent.out, loud.out);
    }
}

void TestKorv::decodeStream()
{
    QByteArray stream;
    for (int i = 0; i < 2000; ++i)
        stream += QByteArray::fromHex("0300011000").replace(4, 1, QByteArray(1, char(i & 0x7F)));
    const KorvRun r = runKorv({"decode"}, stream + QByteArray::fromHex("0500"));
    QCOMPARE(r.status, 1);
    const QList<QByteArray> lines = r.out.split('\n');
    QCOMPARE(lines.size(), 2001);
    QCOMPARE(lines.at(0), QByteArray("1001=0"));
    QCOMPARE(lines.at(1999), QByteArray("1001=79"));
    QVERIFY(r.err.contains("incomplete message: 2 bytes left over"));
}

void TestKorv::namesRoundTrip()
{
    // Whatever demo.qrvdef names, decode prints it and encode reads it back.
    const QByteArray hex = "0D 00 01 F0 03 00 01 10 01 04 00 01 30 61 62\n";
    for (const QStringList& options : {QStringList{}, QStringList{"--hungarian"}}) {
        const KorvRun text =
            runKorv(QStringList{"decode", "-d", demo} + options + QStringList{hex.trimmed()});
        QCOMPARE(text.status, 0);
        const KorvRun bytes =
            runKorv({"encode", "--definitions", demo, QString::fromUtf8(text.out.trimmed())});
        QCOMPARE(bytes.status, 0);
        QCOMPARE(bytes.out, hex);
    }
}

void TestKorv::check()
{
    const KorvRun r = runKorv({"check", demo});
    QCOMPARE(r.status, 0);
    QVERIFY(r.out.contains(" tags, "));
    QVERIFY(r.err.isEmpty());
}

void TestKorv::checkBrokenFile()
{
    QTemporaryDir dir;
    const QString path = writeFile(
        dir, "broken.qrvdef",
        "<?xml version=\"1.0\"?>\n<qrv16>\n  <tag name=\"A\" id=\"0x1001\"/>\n"
        "  <tag name=\"A\" id=\"0x1002\"/>\n  <tag name=\"B\" id=\"0x10000\"/>\n</qrv16>\n");
    const KorvRun r = runKorv({"check", path});
    QCOMPARE(r.status, 1);
    QVERIFY(r.err.contains(QByteArray("Warning: " + path.toUtf8() + ", Line 4")));
    QVERIFY(r.err.contains("Double tag name A"));
    QVERIFY(r.err.contains(QByteArray("Error: " + path.toUtf8() + ", Line 5")));
    QVERIFY(r.err.contains("Tag out of range"));
}

void TestKorv::randomBytesAreCutByTheirLengths()
{
    // Each argument is cut by its length fields alone; small byte values
    // make short ones: many messages, good and bad, and bytes left over.
    QRandomGenerator rng(3);
    QStringList hexes;
    QStringList expected;
    int messages = 0;
    for (int arg = 1; arg <= 600; ++arg) {
        QByteArray noise(int(rng.bounded(1, 48)), Qt::Uninitialized);
        for (char& c : noise)
            c = char(rng.bounded(2) ? 0 : rng.bounded(4) == 0 ? rng.bounded(256) : rng.bounded(12));
        hexes << QString::fromLatin1(noise.toHex());
        qsizetype pos = 0;
        while (noise.size() - pos >= 4) {
            const qsizetype n = qsizetype(uchar(noise[pos]) | uchar(noise[pos + 1]) << 8) + 2;
            if (n > noise.size() - pos)
                break;
            if (n < 4)
                expected << QStringLiteral("argument %1: error: not a message: %2")
                                .arg(arg)
                                .arg(QString::fromLatin1(noise.mid(pos, n).toHex(' ').toUpper()));
            else
                ++messages;
            pos += n;
        }
        if (pos < noise.size())
            expected << QStringLiteral("argument %1: error: incomplete message: %2 bytes left over")
                            .arg(arg)
                            .arg(noise.size() - pos);
    }
    QVERIFY2(messages > 100 && expected.size() > 100, qPrintable(QStringLiteral("%1 %2").arg(messages).arg(expected.size())));
    for (const QStringList& args : {QStringList{"decode"}, QStringList{"decode", "-d", demo, "--multi-line"}}) {
        const KorvRun r = runKorv(args + hexes);
        QCOMPARE(r.status, 1);
        QCOMPARE(QString::fromUtf8(r.err).split(QLatin1Char('\n'), Qt::SkipEmptyParts), expected);
        if (!args.contains(QStringLiteral("--multi-line")))
            QCOMPARE(int(r.out.count('\n')), messages);
    }
    const KorvRun text = runKorv({"encode"}, hexes.join(QLatin1Char(' ')).toLatin1());
    QCOMPARE(text.status, 1);
    QVERIFY(!text.err.isEmpty());
}

void TestKorv::readmeExamples()
{
    // Every "$ korv encode|decode '...'" in README.md prints what follows it there.
    QFile f(QStringLiteral(KORV_SOURCE_DIR "/README.md"));
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(f.readAll()).split('\n');
    const QRegularExpression command(QStringLiteral("^\\$ korv (encode|decode) '(.*)'$"));
    int checked = 0;
    for (int i = 0; i + 1 < lines.size(); ++i) {
        const QRegularExpressionMatch m = command.match(lines.at(i));
        if (!m.hasMatch())
            continue;
        const KorvRun r = runKorv({m.captured(1), m.captured(2)});
        const QByteArray shown = lines.at(i + 1).toUtf8() + '\n';
        QCOMPARE(r.status == 0 ? r.out : r.err.left(shown.size()), shown);
        ++checked;
    }
    QVERIFY(checked >= 3);
}

void TestKorv::generateEachLanguage_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("c") << QStringList{"--lang", "c"} << QByteArray("#define TAG_PumpMode 0x1002u /* Integer */\n");
    QTest::newRow("cpp") << QStringList{"--lang", "cpp"}
                         << QByteArray("constexpr std::uint16_t PumpMode = 0x1002; // Integer\n");
    QTest::newRow("cpplut") << QStringList{"--lang", "cpplut"}
                            << QByteArray("{0x1002, \"PumpMode\", DataType::Integer, false, enums_PumpMode, 4,");
    QTest::newRow("lua") << QStringList{"--lang", "lua"} << QByteArray("    PumpMode = 0x1002, -- Integer\n");
    QTest::newRow("cs") << QStringList{"--lang", "cs"}
                        << QByteArray("public const ushort PumpMode = 0x1002; // Integer\n");
    QTest::newRow("wireshark") << QStringList{"--lang", "wireshark"} << QByteArray("  [0x1002] = \"PumpMode\",\n");
    QTest::newRow("c prefix") << QStringList{"--lang", "c", "--prefix", "PS4"}
                              << QByteArray("#define PS4_PumpMode_Auto 2\n");
    QTest::newRow("c prefix on tags") << QStringList{"--lang", "c", "--prefix", "PS4"}
                                      << QByteArray("#define PS4_TAG_PumpMode 0x1002u /* Integer */\n");
    QTest::newRow("cpp namespace") << QStringList{"--lang", "cpp", "--namespace", "norvane::ps4"}
                                   << QByteArray("namespace norvane::ps4 {\n");
    QTest::newRow("cpplut namespace") << QStringList{"--lang", "cpplut", "--namespace", "ps4"}
                                      << QByteArray("namespace ps4 {\n");
    QTest::newRow("cs namespace") << QStringList{"--lang", "cs", "--namespace", "Norvane.Ps4"}
                                  << QByteArray("namespace Norvane.Ps4\n{\n");
}

void TestKorv::generateEachLanguage()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, line);
    const KorvRun r = runKorv(QStringList{"generate"} + options + QStringList{demo});
    QCOMPARE(r.status, 0);
    QVERIFY2(r.out.contains(line), r.out.constData());
    // The file it came from, named in the header comment.
    QVERIFY(r.out.contains("Generated by korv from demo.qrvdef; do not edit."));
    QVERIFY(r.err.isEmpty());
    // "-" is standard output too, and the same bytes come every time.
    options.replace(0, QStringLiteral("-l"));
    const KorvRun dash = runKorv(QStringList{"generate"} + options + QStringList{"-o", "-", demo});
    QCOMPARE(dash.status, 0);
    QCOMPARE(dash.out, r.out);
}

void TestKorv::generateToFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("pumps.h");
    const KorvRun r = runKorv({"generate", "--lang", "c", "--prefix", "PS4", "-o", path, demo});
    QCOMPARE(r.status, 0);
    QVERIFY(r.out.isEmpty());
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QByteArray written = f.readAll();
    // The include guard comes from the file's name; the rest is what
    // standard output gets.
    QVERIFY(written.contains("#ifndef PUMPS_H\n#define PUMPS_H\n"));
    const KorvRun shown = runKorv({"generate", "--lang", "c", "--prefix", "PS4", demo});
    QCOMPARE(QByteArray(written).replace("PUMPS_H", "PS4_QRV16_DEFINITIONS_H"), shown.out);
    // Generating again replaces the file and leaves nothing beside it in
    // the source tree.
    QCOMPARE(runKorv({"generate", "--lang", "c", "--prefix", "PS4", "-o", path, demo}).status, 0);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"pumps.h"});
}

void TestKorv::generateClashIsAnError_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QByteArray>("error");
    // The enum value's C macro is the bit's; both named, by line, in file order.
    QTest::newRow("c") << "c"
                       << QByteArray(": error: The name Alarms_BIT_Door is made for both bit Alarms.Door (line 4) "
                                     "and enum value Alarms.BIT_Door (line 7).\n");
    QTest::newRow("lua") << "lua"
                         << QByteArray(": error: The name Pump is made for both tag Pump (line 10) and tag Pump "
                                       "(line 11).\n");
}

void TestKorv::generateClashIsAnError()
{
    QFETCH(QString, language);
    QFETCH(QByteArray, error);
    QTemporaryDir dir;
    const QString path = dir.filePath("defs.qrvdef");
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(R"(<qrv16>
  <tag name="Alarms" id="0x7001">
    <bits>
      <bit name="Door" id="7"/>
    </bits>
    <enums>
      <enum name="BIT_Door" id="1"/>
    </enums>
  </tag>
  <tag name="Pump" id="0x1011"/>
  <tag name="Pump" id="0x1012"/>
</qrv16>
)");
    f.close();
    const QString output = dir.filePath("out.txt");
    const KorvRun r = runKorv({"generate", "--lang", language, "-o", output, path});
    QCOMPARE(r.status, 1);
    QVERIFY2(r.err.contains(QByteArray(path.toUtf8() + error)), r.err.constData());
    QVERIFY(!QFile::exists(output));
}

void TestKorv::generateUnreadableDefinitions_data()
{
    QTest::addColumn<QByteArray>("content"); // empty: no file at all
    QTest::addColumn<QByteArray>("error");
    QTest::newRow("missing") << QByteArray() << QByteArray("Failed to open input file");
    QTest::newRow("not XML") << QByteArray("just text") << QByteArray(", Line 1, Column 1:\n  (Invalid) This doesn't look like an XML file.");
    QTest::newRow("tag out of range")
        << QByteArray("<?xml version=\"1.0\"?>\n<qrv16>\n  <tag name=\"B\" id=\"0x10000\"/>\n</qrv16>\n")
        << QByteArray(", Line 3, Column 30:\n  (StartElement) Tag out of range");
}

void TestKorv::generateUnreadableDefinitions()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, error);
    QTemporaryDir dir;
    const QString path = dir.filePath("defs.qrvdef");
    if (!content.isEmpty()) {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(content);
    }
    const QString output = dir.filePath("out.h");
    const KorvRun r = runKorv({"generate", "--lang", "c", "-o", output, path});
    QCOMPARE(r.status, 1);
    QVERIFY2(r.err.contains(error), r.err.constData());
    QVERIFY(r.err.contains(path.toUtf8()));
    QVERIFY(r.out.isEmpty());
    QVERIFY(!QFile::exists(output));
}

void TestKorv::generateUnwritableOutput()
{
    const KorvRun r =
        runKorv({"generate", "--lang", "lua", "-o", "/nonexistent/dir/defs.lua", demo});
    QCOMPARE(r.status, 1);
    QCOMPARE(r.err, QByteArray("korv: error: Failed to open output file /nonexistent/dir/defs.lua.\n"));
}

QTEST_GUILESS_MAIN(TestKorv)
#include "tst_korv.moc"
