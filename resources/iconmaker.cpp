// SPDX-License-Identifier: MIT
// iconmaker MANIFEST OUTDIR
//
// Writes the application's icons from the 16x16 silk set. Each manifest line
// is "<output name> <source png> [size] [digit]": the source is scaled to
// size (16 to 256; 16 or 24 in the program, larger for the desktop) and, with a digit, the channel number is drawn in the
// bottom-right corner. Glyphs are hand-made bitmaps so the tool needs
// neither a display nor fonts.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QStringList>
#include <QTextStream>

#include <cstdio>

namespace {

struct Glyph
{
    int width;
    int height;
    const char* rows; // '#' is ink, row after row
};

// Small icons get the narrower font so the picture still shows.
Glyph glyph(int digit, int size)
{
    static const char one5x7[] = "..#.."
                                 ".##.."
                                 "..#.."
                                 "..#.."
                                 "..#.."
                                 "..#.."
                                 ".###.";
    static const char two5x7[] = ".###."
                                 "#...#"
                                 "....#"
                                 "...#."
                                 "..#.."
                                 ".#..."
                                 "#####";
    static const char one4x6[] = ".#.."
                                 "##.."
                                 ".#.."
                                 ".#.."
                                 ".#.."
                                 "###.";
    static const char two4x6[] = ".##."
                                 "#..#"
                                 "...#"
                                 "..#."
                                 ".#.."
                                 "####";
    if (size >= 24)
        return {5, 7, digit == 1 ? one5x7 : two5x7};
    return {4, 6, digit == 1 ? one4x6 : two4x6};
}

bool ink(const Glyph& g, int x, int y)
{
    return x >= 0 && y >= 0 && x < g.width && y < g.height && g.rows[y * g.width + x] == '#';
}

// Dark ink with a one-pixel white halo, so it reads on light and dark icons.
void drawDigit(QImage& image, int digit)
{
    const Glyph g = glyph(digit, image.width());
    const int left = image.width() - 1 - g.width;
    const int top = image.height() - 1 - g.height;
    const QColor inkColor(0x10, 0x18, 0x60);
    for (int y = -1; y <= g.height; ++y) {
        for (int x = -1; x <= g.width; ++x) {
            if (ink(g, x, y)) {
                image.setPixelColor(left + x, top + y, inkColor);
                continue;
            }
            bool halo = false;
            for (int dy = -1; dy <= 1 && !halo; ++dy)
                for (int dx = -1; dx <= 1 && !halo; ++dx)
                    halo = ink(g, x + dx, y + dy);
            if (halo)
                image.setPixelColor(left + x, top + y, Qt::white);
        }
    }
}

int fail(const QString& where, const QString& message)
{
    std::fprintf(stderr, "iconmaker: %s: %s\n", qPrintable(where), qPrintable(message));
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: iconmaker MANIFEST OUTDIR\n");
        return 2;
    }
    const QString manifestPath = QFile::decodeName(argv[1]);
    const QDir outDir(QFile::decodeName(argv[2]));

    QFile manifest(manifestPath);
    if (!manifest.open(QIODevice::ReadOnly | QIODevice::Text))
        return fail(manifestPath, manifest.errorString());
    if (!outDir.mkpath(QStringLiteral(".")))
        return fail(outDir.path(), QStringLiteral("cannot create the directory"));

    QTextStream in(&manifest);
    for (int lineNo = 1; !in.atEnd(); ++lineNo) {
        const QString line = in.readLine().trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QString where = manifestPath + QLatin1Char(':') + QString::number(lineNo);
        const QStringList f = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (f.size() < 2 || f.size() > 4)
            return fail(where, QStringLiteral("expected: NAME SOURCE [SIZE] [DIGIT]"));

        const QString& name = f[0];
        const QString& source = f[1];
        if (name.contains(QLatin1Char('/')) || !name.endsWith(QLatin1String(".png")))
            return fail(where, QStringLiteral("bad output name ") + name);
        const int size = f.size() > 2 ? f[2].toInt() : 16;
        if (size < 16 || size > 256)
            return fail(where, QStringLiteral("size must be 16 to 256"));
        const int digit = f.size() > 3 ? f[3].toInt() : 0;
        if (f.size() > 3 && digit != 1 && digit != 2)
            return fail(where, QStringLiteral("digit must be 1 or 2"));

        if (!QFileInfo::exists(source))
            return fail(where, QStringLiteral("missing source ") + source);
        QImage image(source);
        if (image.isNull())
            return fail(where, QStringLiteral("unreadable source ") + source);

        image = image.convertToFormat(QImage::Format_ARGB32);
        if (image.size() != QSize(size, size))
            image = image.scaled(size, size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        if (digit)
            drawDigit(image, digit);

        const QString target = outDir.filePath(name);
        if (!image.save(target, "PNG"))
            return fail(target, QStringLiteral("cannot write"));
    }
    return 0;
}
