// SPDX-License-Identifier: MIT
// The korv command-line tool, run as a user's script would run it.

#include "tests/cli/korvrun.h"
#include "tests/support/files.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString demo = QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef");

} // namespace

class TestKorv : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void statuses_data();
    void statuses();
    void prints_data();
    void prints();
    void decodedTextEncodesBack_data();
    void decodedTextEncodesBack();
    void definitionWarnings_data();
    void definitionWarnings();
    void decodeStream();
    void check();
    void checkBrokenFile();
    void randomBytesAreCutByTheirLengths();
    void readmeExamples();
    void generateEachLanguage_data();
    void generateEachLanguage();
    void generateToFile();
    void generateRefusesDefinitions_data();
    void generateRefusesDefinitions();
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
    QTest::newRow("bad encode") << QStringList{"encode", "101=1"} << 1;
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
    // The arguments and standard input, then the exit status, all of
    // standard output and the start of standard error (empty: nothing on it).
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArray>("err");
    const auto prints = [](const char* name, const QStringList& args, const QByteArray& out,
                           const QByteArray& input = QByteArray()) {
        QTest::newRow(name) << args << input << 0 << out << QByteArray();
    };
    const auto fails = [](const char* name, const QStringList& args, const QByteArray& err,
                          const QByteArray& input = QByteArray(), const QByteArray& out = {}) {
        QTest::newRow(name) << args << input << 1 << out << err;
    };
    prints("encode, a message per element",
           {"encode", "1001=5", "F001=(1001=1 3001=\"ab\") 2001=true"},
           "03 00 01 10 05\n0D 00 01 F0 03 00 01 10 01 04 00 01 30 61 62\n03 00 01 20 01\n");
    prints("encode raw", {"encode", "--raw", "1001=5", "1002=6"},
           QByteArray::fromHex("0300011005"
                               "0300021006"));
    fails("an error marks its place", {"encode", "F001=(1001=1 1002=oops)"},
          "argument 1:1:19: error: Failed to decode value\n"
          "  F001=(1001=1 1002=oops)\n"
          "                    ^~~~\n");
    fails(
        "an unknown name lists the tag's names",
        {"encode", "-d", demo, "SetPumpMode=(PumpId=2 PumpMode=Servic)"},
        "argument 1:1:32: error: Failed to decode value; PumpMode has Off, Manual, Auto, Service\n"
        "  SetPumpMode=(PumpId=2 PumpMode=Servic)\n"
        "                                 ^~~~~~\n");
    prints("largest unsigned", {"encode", "1001=4294967295"},
           "0A 00 01 10 FF FF FF FF FF FF FF FF\n");
    prints("bit 31 still takes eight bytes", {"encode", "1001=2147483648"},
           "0A 00 01 10 00 00 00 80 FF FF FF FF\n");
    fails("one past unsigned", {"encode", "1001=4294967296"},
          "argument 1:1:6: error: Value out of range\n  1001=4294967296\n       ^~~~~~~~~~\n");
    fails("two past unsigned", {"encode", "1001=4294967297"},
          "argument 1:1:6: error: Value out of range\n");
    fails("one below signed", {"encode", "1001=-2147483649"},
          "argument 1:1:6: error: Value out of range\n");
    fails("beyond 64 bits", {"encode", "1001=99999999999999999999"},
          "argument 1:1:6: error: Value out of range\n");
    prints("encode, several per line, blank lines between", {"encode"},
           "03 00 01 10 01\n03 00 02 10 02\n03 00 03 10 03\n", "1001=1\n\n  \n1002=2 1003=3\n");
    prints("encode, one element over several lines", {"encode"},
           "0D 00 01 F0 03 00 01 10 01 04 00 01 30 61 62\n03 00 02 10 02\n",
           "F001 = (\n  1001 = 1\n  3001 = \"ab\"\n)\n1002=2");
    fails("encode, an error prints no bytes and names its line", {"encode"},
          "<stdin>:3:3: error: Tag must have four digits", "1001=1\n1002=2\n  101=4\n1004=4\n");
    prints("encode, only blanks", {"encode"}, QByteArray(), " \n\n");
    prints("decode one message", {"decode", "0300011005"}, "1001=5\n");
    prints("decode, blanks allowed", {"decode", "03 00 01 10 05"}, "1001=5\n");
    prints("decode two in one argument", {"decode", "0300011005 0300011006"}, "1001=5\n1001=6\n");
    fails("decode incomplete", {"decode", "03000110"}, "argument 1: error: incomplete message");
    fails("decode odd digits", {"decode", "030"}, "argument 1: error: not hexadecimal bytes: 030");
    fails("decode good after bad", {"decode", "zz", "0300011005"}, "argument 1: error:", {},
          "1001=5\n");
    fails("generate, output not writable",
          {"generate", "--lang", "lua", "-o", "/nonexistent/dir/defs.lua", demo},
          "korv: error: Failed to open output file /nonexistent/dir/defs.lua.\n");
    prints("decode multi-line", {"decode", "--multi-line", "0D0001F0030001100104000130 6162"},
           "F001 = (\n  1001 = 1\n  3001 = \"ab\"\n)\n");
}

void TestKorv::prints()
{
    QFETCH(QStringList, args);
    QFETCH(QByteArray, input);
    QFETCH(int, status);
    QFETCH(QByteArray, out);
    QFETCH(QByteArray, err);
    const KorvRun r = runKorv(args, input);
    QCOMPARE(r.status, status);
    QCOMPARE(r.out, out);
    QVERIFY2(err.isEmpty() ? r.err.isEmpty() : r.err.startsWith(err), r.err.constData());
}

void TestKorv::decodedTextEncodesBack_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QStringList>("decode");
    QTest::addColumn<QStringList>("encode");
    const QByteArray numbers =
        "15 00 01 F0 04 00 01 10 DC 05 0B 00 01 C0 07 00 01 30 6E 6F 72 74 68\n";
    const QByteArray names = "0D 00 01 F0 03 00 01 10 01 04 00 01 30 61 62\n";
    const QStringList withDemo{"-d", demo};
    QTest::newRow("multi-line numbers") << numbers << QStringList{"--multi-line"} << QStringList();
    QTest::newRow("multi-line hungarian names")
        << numbers << QStringList{"--multi-line", "--hungarian", "-d", demo} << withDemo;
    // Whatever demo.qrvdef names, decode prints it and encode reads it back.
    QTest::newRow("names") << names << withDemo << QStringList{"--definitions", demo};
    QTest::newRow("hungarian names")
        << names << (withDemo + QStringList{"--hungarian"}) << QStringList{"--definitions", demo};
}

void TestKorv::decodedTextEncodesBack()
{
    QFETCH(QByteArray, hex);
    QFETCH(QStringList, decode);
    QFETCH(QStringList, encode);
    const KorvRun text = runKorv(QStringList{"decode"} + decode << hex.trimmed());
    QCOMPARE(text.status, 0);
    QCOMPARE(text.out.count('\n') > 1, decode.contains("--multi-line"));
    const KorvRun bytes = runKorv(QStringList{"encode"} + encode, text.out);
    QCOMPARE(bytes.status, 0);
    QCOMPARE(bytes.out, hex);
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
    const QString path = dir.filePath("double.qrvdef");
    QVERIFY(writeFile(path, "<?xml version=\"1.0\"?>\n<qrv16>\n  <tag name=\"A\" id=\"0x1001\"/>\n"
                            "  <tag name=\"B\" id=\"0x1001\"/>\n</qrv16>\n"));
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
    const QString path = dir.filePath("broken.qrvdef");
    QVERIFY(writeFile(path,
                      "<?xml version=\"1.0\"?>\n<qrv16>\n  <tag name=\"A\" id=\"0x1001\"/>\n"
                      "  <tag name=\"A\" id=\"0x1002\"/>\n  <tag name=\"B\" id=\"0x10000\"/>\n"
                      "</qrv16>\n"));
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
    const auto row = [](const char* name, const char* options, const char* line) {
        QTest::newRow(name) << QString::fromLatin1(options).split(u' ') << QByteArray(line);
    };
    row("c", "--lang c", "#define TAG_PumpMode 0x1002u /* Integer */\n");
    row("cpp", "--lang cpp", "constexpr std::uint16_t PumpMode = 0x1002; // Integer\n");
    row("cpplut", "--lang cpplut",
        "{0x1002, \"PumpMode\", DataType::Integer, false, enums_PumpMode, 4,");
    row("lua", "--lang lua", "    PumpMode = 0x1002, -- Integer\n");
    row("cs", "--lang cs", "public const ushort PumpMode = 0x1002; // Integer\n");
    row("wireshark", "--lang wireshark", "  [0x1002] = \"PumpMode\",\n");
    row("c prefix", "--lang c --prefix PS4", "#define PS4_PumpMode_Auto 2\n");
    row("c prefix on tags", "--lang c --prefix PS4",
        "#define PS4_TAG_PumpMode 0x1002u /* Integer */\n");
    row("cpp namespace", "--lang cpp --namespace norvane::ps4", "namespace norvane::ps4 {\n");
    row("cpplut namespace", "--lang cpplut --namespace ps4", "namespace ps4 {\n");
    row("cs namespace", "--lang cs --namespace Norvane.Ps4", "namespace Norvane.Ps4\n{\n");
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

void TestKorv::generateRefusesDefinitions_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QByteArray>("content"); // empty: no file at all
    QTest::addColumn<QByteArray>("error");   // what follows the file's name
    const QByteArray clashes = R"(<qrv16>
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
)";
    // The enum value's C macro is the bit's; both named, by line, in file order.
    QTest::newRow("c names clash")
        << "c" << clashes
        << QByteArray(": error: The name Alarms_BIT_Door is made for both "
                      "bit Alarms.Door (line 4) and enum value "
                      "Alarms.BIT_Door (line 7).\n");
    QTest::newRow("lua names clash")
        << "lua" << clashes
        << QByteArray(": error: The name Pump is made for both tag Pump "
                      "(line 10) and tag Pump (line 11).\n");
    QTest::newRow("missing") << "c" << QByteArray() << QByteArray(", Failed to open input file");
    QTest::newRow("not XML") << "c" << QByteArray("just text")
                             << QByteArray(
                                    ", Line 1, Column 1:\n  (Invalid) This doesn't look like an "
                                    "XML file.");
    QTest::newRow("tag out of range")
        << "c"
        << QByteArray(
               "<?xml version=\"1.0\"?>\n<qrv16>\n  <tag name=\"B\" id=\"0x10000\"/>\n</qrv16>\n")
        << QByteArray(", Line 3, Column 30:\n  (StartElement) Tag out of range");
}

// Nothing is written from definitions that are unreadable or make one name twice.
void TestKorv::generateRefusesDefinitions()
{
    QFETCH(QString, language);
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, error);
    QTemporaryDir dir;
    const QString path = dir.filePath("defs.qrvdef");
    QVERIFY(content.isEmpty() || writeFile(path, content));
    const QString output = dir.filePath("out.txt");
    const KorvRun r = runKorv({"generate", "--lang", language, "-o", output, path});
    QCOMPARE(r.status, 1);
    QVERIFY2(r.err.contains(QByteArray(path.toUtf8() + error)), r.err.constData());
    QVERIFY(r.out.isEmpty());
    QVERIFY(!QFile::exists(output));
}

QTEST_GUILESS_MAIN(TestKorv)
#include "tst_korv.moc"
