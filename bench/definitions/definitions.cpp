// SPDX-License-Identifier: MIT
// Definition files of 10,000 tags, beside 1,000: reading and writing them,
// generating code from them, and the editor's steps on them. Every step is
// reported beside reading the same file (BM_Read/10000).

#include "bench/korvbench.h"

#include "editor/editormodel.h"
#include "editor/editorwindow.h"
#include "qrv16/item.h"
#include "qrv16/parser.h"
#include "writers/writercpp.h"
#include "writers/writercpplut.h"
#include "writers/writercs.h"
#include "writers/writerheader.h"
#include "writers/writerlua.h"
#include "writers/writerxml.h"

#include <QApplication>
#include <QFile>
#include <QMimeData>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUndoStack>

#include <memory>

using namespace QRV16;

namespace {

// Tags with three named bits and four enum values each, a comment line
// every hundred tags.
QByteArray generate(int tags)
{
    QByteArray doc = "<?xml version=\"1.0\"?>\n<qrv16>\n";
    for (int t = 0; t < tags; ++t) {
        if (t % 100 == 0)
            doc += "  <!-- Group " + QByteArray::number(t / 100) + " -->\n";
        doc += "  <tag name=\"Tag" + QByteArray::number(t) + "\" id=\"" +
               QByteArray::number(0x1000 + t % 0x1000 + (t / 0x1000) * 0x1000 % 0x10000) +
               "\" display=\"x\" comment=\"generated\">\n    <bits>\n";
        for (int b = 0; b < 3; ++b)
            doc += "      <bit name=\"Bit" + QByteArray::number(b) + "\" id=\"" + QByteArray::number(b) +
                   "\"/>\n";
        doc += "    </bits>\n    <enums>\n";
        for (int e = 0; e < 4; ++e)
            doc += "      <enum name=\"Value" + QByteArray::number(e) + "\" id=\"" +
                   QByteArray::number(e - 1) + "\"/>\n";
        doc += "    </enums>\n  </tag>\n";
    }
    return doc + "</qrv16>\n";
}

std::unique_ptr<Item> tree(int tags)
{
    Parser parser;
    parser.parse(generate(tags));
    return std::unique_ptr<Item>(parser.takeRoot());
}

void perTag(benchmark::State& state)
{
    state.counters["tags/s"] = benchmark::Counter(double(state.iterations() * state.range(0)),
                                                  benchmark::Counter::kIsRate);
}

void BM_Read(benchmark::State& state)
{
    const QByteArray doc = generate(int(state.range(0)));
    for (auto _ : state) {
        Parser parser;
        if (!parser.parse(doc))
            state.SkipWithError("parse failed");
        std::unique_ptr<Item> root(parser.takeRoot());
        benchmark::DoNotOptimize(root.get());
    }
    state.SetBytesProcessed(state.iterations() * doc.size());
    perTag(state);
}

void BM_Write(benchmark::State& state)
{
    const std::unique_ptr<Item> root = tree(int(state.range(0)));
    qint64 bytes = 0;
    for (auto _ : state) {
        const QByteArray out = WriterXml().encode(root.get());
        bytes = out.size();
        benchmark::DoNotOptimize(out.constData());
    }
    state.SetBytesProcessed(state.iterations() * bytes);
    perTag(state);
}

template <typename W> void BM_Generate(benchmark::State& state)
{
    const std::unique_ptr<Item> root = tree(int(state.range(0)));
    for (auto _ : state) {
        W writer;
        const QByteArray out = writer.encode(root.get());
        if (out.isEmpty() || !writer.clashes().isEmpty())
            state.SkipWithError("generation failed");
        benchmark::DoNotOptimize(out.constData());
    }
    perTag(state);
}

void settle()
{
    QCoreApplication::processEvents();
}

// The file the editor steps open, written once.
struct EditorFile
{
    QTemporaryDir dir;
    QString path;
    explicit EditorFile(int tags) : path(dir.filePath("defs.qrvdef"))
    {
        QFile f(path);
        if (f.open(QIODevice::WriteOnly))
            f.write(generate(tags));
    }
};

// A window shown with the file, and every tag of it on a clipboard.
struct EditorBench
{
    EditorFile file;
    EditorWindow window;
    QMimeData tags;
    explicit EditorBench(int count) : file(count)
    {
        window.initialize(file.path);
        window.show();
        settle();
        tags.setData(QStringLiteral("text/xml"), generate(count));
    }
    ~EditorBench() { window.undoStack()->setClean(); }
    bool paste() { return window.model()->paste(window.model()->index(1, 0), &tags); }
    // The last step undone and done again, the view laid out after each.
    void undoRedo()
    {
        window.undoStack()->undo();
        settle();
        window.undoStack()->redo();
        settle();
    }
};

// Open until the tree is shown.
void BM_EditorOpen(benchmark::State& state)
{
    const EditorFile file(int(state.range(0)));
    for (auto _ : state) {
        EditorWindow w;
        w.initialize(file.path);
        w.show();
        settle();
        if (w.model()->rowCount() == 0)
            state.SkipWithError("nothing read");
        state.PauseTiming();
        w.close();
        state.ResumeTiming();
    }
    perTag(state);
}

void BM_EditorUndoRedoClearAll(benchmark::State& state)
{
    EditorBench bench(int(state.range(0)));
    bench.window.model()->undoableClear();
    settle();
    for (auto _ : state)
        bench.undoRedo();
    perTag(state);
}

// Every tag of the file pasted after its first tag.
void BM_EditorPaste(benchmark::State& state)
{
    EditorBench bench(int(state.range(0)));
    for (auto _ : state) {
        if (!bench.paste())
            state.SkipWithError("paste refused");
        settle();
        state.PauseTiming();
        bench.window.undoStack()->undo();
        settle();
        state.ResumeTiming();
    }
    perTag(state);
}

void BM_EditorUndoRedoPaste(benchmark::State& state)
{
    EditorBench bench(int(state.range(0)));
    bench.paste();
    settle();
    for (auto _ : state)
        bench.undoRedo();
    perTag(state);
}

void BM_EditorSave(benchmark::State& state)
{
    EditorBench bench(int(state.range(0)));
    for (auto _ : state) {
        if (!bench.window.save(bench.file.path))
            state.SkipWithError("save failed");
    }
    perTag(state);
}

} // namespace

BENCHMARK(BM_Read)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Generate, WriterHeader)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Generate, WriterCpp)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Generate, WriterCppLut)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Generate, WriterLua)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Generate, WriterCs)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EditorOpen)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EditorUndoRedoClearAll)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EditorPaste)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EditorUndoRedoPaste)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EditorSave)->Arg(10000)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    // The window offscreen, with settings of its own.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QStandardPaths::setTestModeEnabled(true);
    QTemporaryDir settings;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Norvane"));
    QCoreApplication::setApplicationName(QStringLiteral("korvgui-bench"));
    return korvbench::run(argc, argv, "BM_Read/10000");
}
