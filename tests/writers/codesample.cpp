// SPDX-License-Identifier: MIT
#include "tests/writers/codesample.h"

#include "qrv16/parser.h"

#include <QProcess>

namespace CodeSample {

namespace {

QRV16::Item* tagItem(const QString& name, quint64 code, const QString& comment = QString())
{
    return item(QRV16::ItemType::Tag, name, code, true, comment);
}

// A blank line, or a comment when given one.
QRV16::Item* layoutItem(QRV16::ItemType type, const QString& comment)
{
    return item(type, QString(), 0, false, comment);
}

QRV16::Item* container(QRV16::Item* tag, QRV16::ItemType type)
{
    QRV16::Item* c = item(type, QString(), 0, false);
    tag->appendChild(c);
    return c;
}

} // namespace

QRV16::Item* item(QRV16::ItemType type, const QString& name, quint64 id, bool hasId,
                  const QString& comment)
{
    QRV16::ItemData d;
    d.type = type;
    d.name = name;
    d.id = id;
    d.hasId = hasId;
    d.comment = comment;
    return new QRV16::Item(d);
}

std::unique_ptr<QRV16::Item> read(const QByteArray& document)
{
    QRV16::Parser parser;
    if (!parser.parse(document))
        qFatal("%s", qPrintable(parser.formatError()));
    return std::unique_ptr<QRV16::Item>(parser.takeRoot());
}

std::unique_ptr<QRV16::Item> sample()
{
    std::unique_ptr<QRV16::Item> root = read(R"(<?xml version="1.0"?>
<qrv16>
  <!-- Pump control -->
  <tag name="Mode" id="0x1002" comment="Operating mode">
    <enums>
      <enum name="Off" id="0"/>
      <enum name="Reverse" id="-1" comment="Runs backwards"/>
      <enum name="Auto" id="2"/>
      <enum name="Lowest" id="-9223372036854775808"/>
    </enums>
  </tag>
  <tag name="Result" id="0x1006" display="4x">
    <enums>
      <enum name="Ok" id="0"/>
      <enum name="Internal" id="0x80"/>
      <enum name="Minus" id="-2"/>
      <enum name="Huge" id="0x7FFFFFFFFFFFFFFF"/>
    </enums>
  </tag>

  <tag name="Alarms" id="0x7001">
    <enums>
      <enum name="Low" id="1"/>
    </enums>
    <bits>
      <bit name="Low" id="0"/>
      <bit name="Door" id="7"/>
      <bit name="Mains" id="31"/>
      <bit name="Top" id="63"/>
    </bits>
  </tag>
  <tag name="Password" id="0x3003" secure="true"/>
  <tag name="GetStatus" id="0xD001"/>
  <tag name="Position" id="0x8001"/>
  <tag name="Odd" id="0x1010"/>
  <tag name="SpeedA" id="0x1011"/>
  <tag name="SpeedB" id="0x1012"/>
  <tag name="default" id="0x2001"/>
  <tag name="end" id="0x2002"/>
</qrv16>
)");
    // The file format allows only identifiers; the editor's trees need not.
    for (int i = 0; i < root->childCount(); ++i) {
        QRV16::ItemData& d = root->child(i)->data();
        if (d.name == QLatin1String("Odd"))
            d.name = QStringLiteral("2nd pump/flow");
        else if (d.name == QLatin1String("SpeedA"))
            d.name = QStringLiteral("Pump-Speed");
        else if (d.name == QLatin1String("SpeedB"))
            d.name = QStringLiteral("Pump Speed Max");
    }
    return root;
}

std::unique_ptr<QRV16::Item> demo()
{
    return read(readFile(QStringLiteral(KORV_SOURCE_DIR "/examples/demo.qrvdef")));
}

std::unique_ptr<QRV16::Item> empty()
{
    return read("<qrv16/>");
}

std::unique_ptr<QRV16::Item> hostile()
{
    using QRV16::ItemType;
    auto root = std::make_unique<QRV16::Item>();
    root->data().type = ItemType::Root;
    root->data().comment = QStringLiteral("<!DOCTYPE qrv16>");
    for (const char* text : {"ends in a backslash \\", "ends in a trigraph ?\?/", "closes */ and opens /*",
                             "carriage\rreturn", "form\ffeed", "lua ]] and --[[ long", "bell \a and tab\t",
                             "*", "/", "\\\n/ spliced"}) {
        root->appendChild(layoutItem(ItemType::Tag, QString::fromUtf8(text)));
    }
    root->appendChild(layoutItem(ItemType::Tag, QStringLiteral("unicode\u2028line\u2029separators\u0085")));
    root->appendChild(layoutItem(ItemType::Tag, QString())); // a blank line

    // Keywords and names the generated files use themselves.
    quint64 code = 0x1100;
    for (const char* name : {"Tag", "Bits", "Tags", "DataType", "TagInfo", "tags", "class", "end",
                             "defined", "NULL", "value__", "_x", "local", "M", "namespace", "int",
                             "QRV16_DEFINITIONS_H", "QRV16DT_Binary", "enums", "bits", "names"}) {
        root->appendChild(tagItem(QString::fromLatin1(name), code++, QStringLiteral("splice \\")));
    }
    // Names that clash are in clashing(); these only need sanitising.
    for (const QString& name : {QStringLiteral("Größe"), QStringLiteral("ﬁle"),
                                QStringLiteral("\"quoted\" \\ name"), QStringLiteral("9"),
                                QStringLiteral("日本")}) {
        root->appendChild(tagItem(name, code++));
    }
    root->appendChild(tagItem(QString(), 0x1200, QStringLiteral("a nameless tag")));
    QRV16::Item* codeless = tagItem(QStringLiteral("Codeless"), 0);
    codeless->data().hasId = false;
    root->appendChild(codeless);
    // The same code twice, an undefined type and an unnamed extended type.
    root->appendChild(tagItem(QStringLiteral("First"), 0x1300));
    root->appendChild(tagItem(QStringLiteral("Second"), 0x1300));
    root->appendChild(tagItem(QStringLiteral("Undefined"), 0xA001));
    root->appendChild(tagItem(QStringLiteral("Extended"), 0x8F01));

    QRV16::Item* both = tagItem(QStringLiteral("Both"), 0x7100, QStringLiteral("*/ #error closed"));
    root->appendChild(both);
    QRV16::Item* enums = container(both, ItemType::Enums);
    enums->data().display = QRV16::DisplayMode(QRV16::DisplayMode::Hex, 4);
    enums->appendChild(item(ItemType::Enum, QStringLiteral("class"), 1));
    enums->appendChild(item(ItemType::Enum, QStringLiteral("Both"), 2));
    enums->appendChild(item(ItemType::Enum, QStringLiteral("A"), 3));
    enums->appendChild(
        item(ItemType::Enum, QStringLiteral("Again"), 3, true, QStringLiteral("again \\")));
    enums->appendChild(item(ItemType::Enum, QString(), 4, true, QStringLiteral("nameless */")));
    enums->appendChild(item(ItemType::Enum, QStringLiteral("Numberless"), 0, false));
    enums->appendChild(layoutItem(ItemType::Enum, QStringLiteral("a comment among values \\")));
    enums->appendChild(layoutItem(ItemType::Enum, QString()));
    enums->appendChild(item(ItemType::Enum, QStringLiteral("Min"), quint64(1) << 63));
    enums->appendChild(item(ItemType::Enum, QStringLiteral("value__"), 5));
    QRV16::Item* bits = container(both, ItemType::Bits);
    bits->appendChild(item(ItemType::Bit, QStringLiteral("A"), 0));
    bits->appendChild(item(ItemType::Bit, QStringLiteral("B"), 1));
    bits->appendChild(item(ItemType::Bit, QStringLiteral("end"), 2));
    bits->appendChild(item(ItemType::Bit, QStringLiteral("Both"), 3));
    bits->appendChild(item(ItemType::Bit, QStringLiteral("Beyond"), 64));
    bits->appendChild(item(ItemType::Bit, QStringLiteral("FarBeyond"), quint64(1) << 40));
    bits->appendChild(item(ItemType::Bit, QString(), 5));
    bits->appendChild(layoutItem(ItemType::Bit, QStringLiteral("*/")));
    // Items where the file format allows none: skipped.
    bits->appendChild(item(ItemType::Enum, QStringLiteral("EnumAmongBits"), 9));
    both->appendChild(tagItem(QStringLiteral("TagInTag"), 0x1400));
    root->appendChild(item(ItemType::Enum, QStringLiteral("EnumInRoot"), 1));
    root->appendChild(item(ItemType::Invalid, QStringLiteral("Invalid"), 2));
    return root;
}

std::unique_ptr<QRV16::Item> clashing()
{
    std::unique_ptr<QRV16::Item> root = read(R"(<qrv16>
  <tag name="Alarms" id="0x7001">
    <bits>
      <bit name="Door" id="7"/>
    </bits>
  </tag>
  <tag name="Other" id="0x1001"/>
</qrv16>
)");
    // Names only the editor's trees can hold: one after sanitising.
    root->appendChild(tagItem(QStringLiteral("Pump-Speed"), 0x1011));
    root->appendChild(tagItem(QStringLiteral("Pump Speed"), 0x1012));
    return root;
}

std::unique_ptr<QRV16::Item> byName(const QString& name)
{
    if (name == QLatin1String("sample"))
        return sample();
    if (name == QLatin1String("demo"))
        return demo();
    if (name == QLatin1String("empty"))
        return empty();
    if (name == QLatin1String("hostile"))
        return hostile();
    qFatal("no definitions named %s", qPrintable(name));
}

Run run(const QString& program, const QStringList& args, const QString& directory,
        const QByteArray& input)
{
    QProcess p;
    p.setWorkingDirectory(directory);
    p.start(program, args);
    Run r;
    r.started = p.waitForStarted();
    if (!r.started)
        return r;
    p.write(input);
    p.closeWriteChannel();
    if (!p.waitForFinished(120000)) {
        p.kill();
        p.waitForFinished();
        r.err = "timed out";
        return r;
    }
    r.status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
}

QByteArray report(const Run& r, const QByteArray& generated)
{
    QByteArray text = "exit status " + QByteArray::number(r.status) + "\n" + r.out + r.err + "\n";
    const QList<QByteArray> lines = generated.split('\n');
    for (int i = 0; i < lines.size(); ++i)
        text += QByteArray::number(i + 1).rightJustified(4) + "  " + lines.at(i) + '\n';
    return text;
}

QByteArray checkProgram(const QByteArray& head, const QByteArray& checks)
{
    return head + R"(#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

static int failures = 0;
[[maybe_unused]] static void check(bool ok, const char* what)
{
    if (!ok) {
        std::printf("failed: %s\n", what);
        ++failures;
    }
}
#define CHECK(x) check(x, #x)

template <typename E>
constexpr std::int64_t v(E e)
{
    return static_cast<std::int64_t>(e);
}

int main()
{)" + checks +
           R"(
    std::printf("%d failed\n", failures);
    return failures == 0 ? 0 : 1;
}
)";
}

} // namespace CodeSample
