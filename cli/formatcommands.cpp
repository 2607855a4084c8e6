// SPDX-License-Identifier: MIT
#include "cli/formatcommands.h"

#include "automation/definitions.h"
#include "cli/commonoptions.h"
#include "cli/console.h"
#include "connection/ansitext.h"
#include "connection/bistrace.h"
#include "connection/ltd16trace.h"
#include "connection/ltdtrace.h"
#include "qrv16/item.h"
#include "qrv16/messagecollector.h"
#include "qrv16/messageparser.h"
#include "qrv16/messagewriter.h"
#include "qrv16/tagdatalut.h"
#include "writers/codemodel.h"
#include "writers/writercpp.h"
#include "writers/writercpplut.h"
#include "writers/writercs.h"
#include "writers/writerheader.h"
#include "writers/writerlua.h"
#include "writers/writerwireshark.h"

#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>
#include <QXmlStreamReader>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

// The one definitions file a command takes: -1 once it is loaded, else the
// exit status.
int loadSingleFile(const QCommandLineParser& p, const char* command, const QString& usage, Definitions* defs)
{
    if (p.positionalArguments().size() != 1) {
        Console::errorLine(QStringLiteral("korv"), QStringLiteral("%1 takes exactly one file").arg(QLatin1String(command)));
        Console::err(usage);
        return Console::UsageError;
    }
    return Console::loadDefinitions(defs, p.positionalArguments().constFirst(), true) ? -1 : Console::Failed;
}

const QCommandLineOption& definitionsOption = CommonOptions::option(CommonOptions::Definitions);
const QCommandLineOption& quietOption = CommonOptions::option(CommonOptions::Quiet);

// The -d file of encode and decode, its warnings on stderr unless --quiet:
// -1 when there is none or it loaded, else the exit status.
int loadOptionalDefinitions(const QCommandLineParser& p, Definitions* defs)
{
    if (!p.isSet(definitionsOption))
        return -1;
    return Console::loadDefinitions(defs, p.value(definitionsOption), !p.isSet(quietOption)) ? -1
                                                                                    : Console::Failed;
}

std::unique_ptr<QRV16::Writer> generatorFor(const QString& language)
{
    if (language == QLatin1String("c"))
        return std::make_unique<QRV16::WriterHeader>();
    if (language == QLatin1String("cpp"))
        return std::make_unique<QRV16::WriterCpp>();
    if (language == QLatin1String("cpplut"))
        return std::make_unique<QRV16::WriterCppLut>();
    if (language == QLatin1String("lua"))
        return std::make_unique<QRV16::WriterLua>();
    if (language == QLatin1String("cs"))
        return std::make_unique<QRV16::WriterCs>();
    if (language == QLatin1String("wireshark"))
        return std::make_unique<QRV16::WriterWireshark>();
    return nullptr;
}

// The line of each tag, enum value and bit of `root` in the file it was read
// from, to name both entries of a clash. Matched by tag name, kind and name,
// the n-th of equal keys to the n-th in the file.
QHash<const QRV16::Item*, int> entryLines(const QString& path, const QRV16::Item* root)
{
    const auto key = [](const QString& tag, const QString& kind, const QString& name) -> QString {
        return tag + QChar(0x1F) + kind + QChar(0x1F) + name;
    };
    QHash<QString, QList<int>> lines;
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        QXmlStreamReader xml(&file);
        QString tag;
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement)
                continue;
            const QString kind = xml.name().toString();
            const QString name = xml.attributes().value(QLatin1String("name")).toString();
            if (kind == QLatin1String("tag"))
                tag = name;
            if (kind == QLatin1String("tag") || kind == QLatin1String("enum") ||
                kind == QLatin1String("bit"))
                lines[key(kind == QLatin1String("tag") ? QString() : tag, kind, name)].append(
                    int(xml.lineNumber()));
        }
    }
    QHash<QString, int> seen;
    QHash<const QRV16::Item*, int> found;
    const auto place = [&](const QRV16::Item* item, const QString& tag, const QString& kind) {
        const QString k = key(tag, kind, item->data().name);
        const int n = seen[k]++;
        const QList<int>& at = lines.value(k);
        if (n < at.size())
            found.insert(item, at.at(n));
    };
    for (int t = 0; t < root->childCount(); ++t) {
        const QRV16::Item* tag = root->child(t);
        if (tag->data().type != QRV16::ItemType::Tag)
            continue;
        place(tag, QString(), QStringLiteral("tag"));
        for (int c = 0; c < tag->childCount(); ++c) {
            const QRV16::Item* container = tag->child(c);
            for (int i = 0; i < container->childCount(); ++i) {
                const QRV16::Item* entry = container->child(i);
                if (entry->data().type == QRV16::ItemType::Enum)
                    place(entry, tag->data().name, QStringLiteral("enum"));
                else if (entry->data().type == QRV16::ItemType::Bit)
                    place(entry, tag->data().name, QStringLiteral("bit"));
            }
        }
    }
    return found;
}

// False after printing every clash: renaming one entry would silently
// change what another entry's name means to code built against it.
bool reportClashes(const QString& path, const QRV16::Item* root, const QRV16::Writer& writer)
{
    if (writer.clashes().isEmpty())
        return true;
    const QHash<const QRV16::Item*, int> lines = entryLines(path, root);
    const auto where = [&](const QRV16::Item* item) {
        const QString what = QRV16::CodeModel::describe(item);
        const int line = lines.value(item);
        return line > 0 ? QStringLiteral("%1 (line %2)").arg(what).arg(line) : what;
    };
    for (const QRV16::IdentifierSet::Clash& clash : writer.clashes()) {
        // In file order, whatever order the generator met them in.
        const bool swap = lines.value(clash.second) < lines.value(clash.first);
        const QRV16::Item* first = swap ? clash.second : clash.first;
        const QRV16::Item* second = swap ? clash.first : clash.second;
        Console::errorLine(path, QRV16::CodeModel::clashText(clash.name, where(first), where(second)));
    }
    return false;
}

// Prints the lines of a trace printer as they complete; coloured only where
// a person reads them.
template <typename Printer>
int printTrace(Printer& printer, QFile& input)
{
    const bool coloured = isatty(STDOUT_FILENO) && qEnvironmentVariableIsEmpty("NO_COLOR");
    QString current;
    QObject::connect(&printer, &Printer::trace, [&](const QString& line) { current = line; });
    QObject::connect(&printer, &Printer::next, [&] {
        Console::out((coloured ? current : AnsiText::strip(current)) + QLatin1Char('\n'));
        current.clear();
    });
    QByteArray chunk(64 * 1024, Qt::Uninitialized);
    for (;;) {
        const qint64 n = input.read(chunk.data(), chunk.size());
        if (n < 0) {
            Console::errorLine(input.fileName(), input.errorString());
            printer.reset();
            return Console::Failed;
        }
        if (n == 0)
            break;
        printer.receive(chunk.constData(), unsigned(n));
        std::fflush(stdout);
    }
    printer.reset();
    return Console::Success;
}

} // namespace

int FormatCommands::encode(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage: korv encode [-d FILE.qrvdef] [--quiet] [--raw] [TEXT...]\n"
        "Parses messages in the text notation and prints each as hexadecimal bytes.\n"
        "Without TEXT, all of standard input is read as one text of messages: several\n"
        "on a line and one over several lines both work; an error there prints no bytes.\n\n") +
        CommonOptions::help({CommonOptions::Definitions, CommonOptions::Quiet}) +
        QStringLiteral("  --raw                   write the bytes themselves instead of hexadecimal\n") +
        CommonOptions::help({CommonOptions::Help});
    QCommandLineParser p;
    Console::addCommonOptions(p);
    CommonOptions::addTo(p, {CommonOptions::Definitions, CommonOptions::Quiet});
    const QCommandLineOption rawOption(QStringLiteral("raw"));
    p.addOption(rawOption);
    p.addPositionalArgument(QStringLiteral("TEXT"), QString());
    if (const int code = Console::parseArguments(p, args, usage); code >= 0)
        return code;

    Definitions defs;
    if (const int code = loadOptionalDefinitions(p, &defs); code >= 0)
        return code;
    QRV16::MessageParser parser(defs.tags());
    const bool raw = p.isSet(rawOption);
    int status = Console::Success;

    auto encodeOne = [&](const QString& source, int firstLine, const QString& text) {
        const QList<QRV16::Message> messages = parser.parseList(text);
        if (parser.hasError()) {
            Console::reportParseError(source, firstLine, text, parser);
            status = Console::Failed;
            return;
        }
        for (const QRV16::Message& m : messages) {
            if (raw)
                std::fwrite(m.bytes().constData(), 1, size_t(m.size()), stdout);
            else
                Console::out(QString::fromLatin1(m.bytes().toHex(' ').toUpper()) + QLatin1Char('\n'));
        }
    };

    const QStringList texts = p.positionalArguments();
    if (!texts.isEmpty()) {
        for (int i = 0; i < texts.size(); ++i)
            encodeOne(QStringLiteral("argument %1").arg(i + 1), 1, texts.at(i));
    } else {
        // One text, as decode --multi-line prints it: elements may span lines.
        QFile in;
        if (!in.open(stdin, QIODevice::ReadOnly)) {
            Console::errorLine(QStringLiteral("<stdin>"), in.errorString());
            return Console::Failed;
        }
        const QString text = QString::fromUtf8(in.readAll());
        if (!text.trimmed().isEmpty())
            encodeOne(QStringLiteral("<stdin>"), 1, text);
    }
    std::fflush(stdout);
    return status;
}

int FormatCommands::decode(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage: korv decode [-d FILE.qrvdef] [--quiet] [--multi-line] [--hungarian] [HEX...]\n"
        "Prints messages in the text notation. Each HEX argument holds the bytes of one\n"
        "or more messages (blanks allowed); without HEX, standard input is read as a raw\n"
        "byte stream and cut into messages by their length fields.\n\n") +
        CommonOptions::help({CommonOptions::Definitions, CommonOptions::Quiet}) +
        QStringLiteral("  --multi-line            one element per line, nested elements indented\n"
                       "  --hungarian             prefix tag names with their type (sName, iCount)\n") +
        CommonOptions::help({CommonOptions::Help});
    QCommandLineParser p;
    Console::addCommonOptions(p);
    CommonOptions::addTo(p, {CommonOptions::Definitions, CommonOptions::Quiet});
    const QCommandLineOption multiLine(QStringLiteral("multi-line"));
    const QCommandLineOption hungarian(QStringLiteral("hungarian"));
    p.addOption(multiLine);
    p.addOption(hungarian);
    p.addPositionalArgument(QStringLiteral("HEX"), QString());
    if (const int code = Console::parseArguments(p, args, usage); code >= 0)
        return code;

    Definitions defs;
    if (const int code = loadOptionalDefinitions(p, &defs); code >= 0)
        return code;
    QRV16::TextOptions options;
    if (p.isSet(multiLine))
        options |= QRV16::MultiLine;
    if (p.isSet(hungarian))
        options |= QRV16::Hungarian;
    const QRV16::MessageWriter writer(defs.tags(), options);
    int status = Console::Success;

    QRV16::MessageCollector collector;
    auto drain = [&](const QString& source) {
        while (collector.hasMessage()) {
            const QRV16::Message m = collector.nextMessage();
            if (!m.isValid()) {
                Console::errorLine(source, QStringLiteral("not a message: %1")
                                      .arg(QString::fromLatin1(m.bytes().toHex(' ').toUpper())));
                status = Console::Failed;
                continue;
            }
            QString text = writer.toText(m);
            if (!text.endsWith(QLatin1Char('\n')))
                text += QLatin1Char('\n');
            Console::out(text);
        }
    };
    auto leftover = [&](const QString& source) {
        if (collector.pending() > 0) {
            Console::errorLine(source, QStringLiteral("incomplete message: %1 bytes left over")
                                  .arg(collector.pending()));
            status = Console::Failed;
            collector.reset();
        }
    };

    const QStringList hexes = p.positionalArguments();
    if (!hexes.isEmpty()) {
        for (int i = 0; i < hexes.size(); ++i) {
            const QString source = QStringLiteral("argument %1").arg(i + 1);
            QByteArray digits = hexes.at(i).toLatin1();
            digits.replace(' ', "").replace('\t', "").replace(':', "");
            bool hex = digits.size() % 2 == 0;
            for (char c : digits)
                hex = hex && QRV16::denibble(c) >= 0;
            if (!hex || digits.isEmpty()) {
                Console::errorLine(source, QStringLiteral("not hexadecimal bytes: %1").arg(hexes.at(i)));
                status = Console::Failed;
                continue;
            }
            collector.append(QByteArray::fromHex(digits));
            drain(source);
            leftover(source);
        }
    } else {
        char buffer[65536];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, stdin)) > 0) {
            collector.append(buffer, unsigned(n));
            drain(QStringLiteral("<stdin>"));
        }
        leftover(QStringLiteral("<stdin>"));
    }
    std::fflush(stdout);
    return status;
}

int FormatCommands::check(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage: korv check FILE.qrvdef\n"
        "Reads a tag definitions file and prints its warnings and error.\n"
        "Exit status 0 when it loads (warnings allowed), 1 when it does not.\n\n"
        "  -h, --help  show this help\n");
    QCommandLineParser p;
    Console::addCommonOptions(p);
    p.addPositionalArgument(QStringLiteral("FILE"), QString());
    if (const int code = Console::parseArguments(p, args, usage); code >= 0)
        return code;
    Definitions defs;
    if (const int code = loadSingleFile(p, "check", usage, &defs); code >= 0)
        return code;
    const QString path = p.positionalArguments().constFirst();
    int enums = 0;
    int bits = 0;
    int tags = 0;
    for (int i = 0; i < defs.root()->childCount(); ++i) {
        const QRV16::Item* tag = defs.root()->child(i);
        if (!tag->isValid(QRV16::ItemType::Tag))
            continue;
        ++tags;
        const QRV16::TagData data(tag);
        enums += data.enums.count();
        bits += data.bits.count();
    }
    Console::out(QStringLiteral("%1: %2 tags, %3 enum values, %4 named bits\n")
            .arg(path).arg(tags).arg(enums).arg(bits));
    return Console::Success;
}

int FormatCommands::generate(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage: korv generate --lang LANG [-o FILE] [--prefix P] [--namespace NS] FILE.qrvdef\n"
        "Writes source code naming the tags, enum values and bits of a definitions file.\n\n"
        "  -l, --lang LANG       c (header), cpp (include file), cpplut (lookup tables),\n"
        "                        lua (table module), cs (C#) or wireshark (Lua dissector)\n"
        "  -o, --output FILE     where to write; standard output when absent or \"-\"\n"
        "  --prefix P            C: put before every macro name (P_Name);\n"
        "                        wireshark: the protocol's filter name (qrv16)\n"
        "  --namespace NS        C++, lookup tables, C#: the namespace (a::b, A.B)\n"
        "  -h, --help            show this help\n");
    QCommandLineParser p;
    Console::addCommonOptions(p);
    const QCommandLineOption langOption({QStringLiteral("l"), QStringLiteral("lang")}, QString(),
                                        QStringLiteral("LANG"));
    const QCommandLineOption outputOption({QStringLiteral("o"), QStringLiteral("output")},
                                          QString(), QStringLiteral("FILE"));
    const QCommandLineOption prefixOption(QStringLiteral("prefix"), QString(), QStringLiteral("P"));
    const QCommandLineOption namespaceOption(QStringLiteral("namespace"), QString(),
                                             QStringLiteral("NS"));
    p.addOptions({langOption, outputOption, prefixOption, namespaceOption});
    p.addPositionalArgument(QStringLiteral("FILE"), QString());
    if (const int code = Console::parseArguments(p, args, usage); code >= 0)
        return code;
    if (!p.isSet(langOption)) {
        Console::errorLine(QStringLiteral("korv"), QStringLiteral("generate needs --lang"));
        Console::err(usage);
        return Console::UsageError;
    }
    std::unique_ptr<QRV16::Writer> writer = generatorFor(p.value(langOption));
    if (!writer) {
        Console::errorLine(QStringLiteral("korv"),
                  QStringLiteral("unknown language \"%1\"").arg(p.value(langOption)));
        Console::err(usage);
        return Console::UsageError;
    }
    Definitions defs;
    if (const int code = loadSingleFile(p, "generate", usage, &defs); code >= 0)
        return code;
    const QString path = p.positionalArguments().constFirst();
    QStringList texts(QRV16::Writer::NamespaceText + 1);
    // The base name only: the same file gives the same bytes wherever it lies.
    texts[QRV16::Writer::HeaderText] = QStringLiteral("Generated by korv from %1; do not edit.")
                                           .arg(QFileInfo(path).fileName());
    texts[QRV16::Writer::PrefixText] = p.value(prefixOption);
    texts[QRV16::Writer::NamespaceText] = p.value(namespaceOption);
    writer->setTexts(texts);
    const QString output = p.isSet(outputOption) ? p.value(outputOption) : QStringLiteral("-");
    const QByteArray code = writer->encode(defs.root(), output);
    if (code.isEmpty() && !writer->errorString().isEmpty()) {
        Console::errorLine(QStringLiteral("korv"), writer->errorString());
        return Console::Failed;
    }
    // Nothing is written when two entries would share a name.
    if (!reportClashes(path, defs.root(), *writer))
        return Console::Failed;
    if (!writer->save(code, output)) {
        Console::errorLine(QStringLiteral("korv"), writer->errorString());
        return Console::Failed;
    }
    return Console::Success;
}

int FormatCommands::trace(const QStringList& args)
{
    const QString usage = QStringLiteral(
        "Usage: korv trace --bis|--ltd|--ltd16 [-d FILE.qrvdef] [FILE]\n"
        "Prints captured bytes as a listener on the line reads them: BiS frames, or\n"
        "elements of the 8-bit or 16-bit framing. Reads FILE, or standard input.\n"
        "Coloured on a terminal, plain when piped or when NO_COLOR is set.\n\n"
        "  --bis                   BiS frames: markers, addresses, payload, CRC verdict\n"
        "  --ltd                   elements with a 1-byte length and a 1-byte tag\n"
        "  --ltd16                 elements with a 2-byte length and a 2-byte tag\n") +
        CommonOptions::help({CommonOptions::Definitions, CommonOptions::Help});
    QCommandLineParser p;
    Console::addCommonOptions(p);
    CommonOptions::addTo(p, {CommonOptions::Definitions});
    const QCommandLineOption bisOption(QStringLiteral("bis"));
    const QCommandLineOption ltdOption(QStringLiteral("ltd"));
    const QCommandLineOption ltd16Option(QStringLiteral("ltd16"));
    p.addOptions({bisOption, ltdOption, ltd16Option});
    p.addPositionalArgument(QStringLiteral("FILE"), QString());
    if (const int code = Console::parseArguments(p, args, usage); code >= 0)
        return code;
    const int chosen = int(p.isSet(bisOption)) + int(p.isSet(ltdOption)) + int(p.isSet(ltd16Option));
    if (chosen != 1 || p.positionalArguments().size() > 1) {
        Console::errorLine(QStringLiteral("korv"), chosen != 1 ? QStringLiteral("choose one of --bis, --ltd and --ltd16")
                                                      : QStringLiteral("trace takes at most one file"));
        Console::err(usage);
        return Console::UsageError;
    }

    Definitions defs;
    if (p.isSet(definitionsOption) && !Console::loadDefinitions(&defs, p.value(definitionsOption), true))
        return Console::Failed;
    QFile input;
    if (p.positionalArguments().isEmpty()) {
        if (!input.open(stdin, QIODevice::ReadOnly)) {
            Console::errorLine(QStringLiteral("korv"), input.errorString());
            return Console::Failed;
        }
    } else {
        input.setFileName(p.positionalArguments().constFirst());
        if (!input.open(QIODevice::ReadOnly)) {
            Console::errorLine(input.fileName(), input.errorString());
            return Console::Failed;
        }
    }
    if (p.isSet(bisOption)) {
        BiSTrace printer;
        return printTrace(printer, input);
    }
    std::unique_ptr<ElementTrace> printer;
    if (p.isSet(ltdOption))
        printer = std::make_unique<LTDTrace>();
    else
        printer = std::make_unique<LTD16Trace>();
    printer->setDefinitions(defs.tags());
    return printTrace(*printer, input);
}

