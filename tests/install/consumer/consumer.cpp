// SPDX-License-Identifier: MIT
// consumer DEFINITIONS: reads the definitions, writes them back as XML and
// prints how many tags they have and whether the rewrite kept every byte.

#include "qrv16/parser.h"
#include "qrv16/tagdatalut.h"
#include "writers/writerxml.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>
#include <memory>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 2)
        return 2;
    QFile file(QString::fromLocal8Bit(argv[1]));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "consumer: cannot open %s\n", argv[1]);
        return 1;
    }
    const QByteArray original = file.readAll();
    QRV16::Parser parser;
    if (!parser.parse(original)) {
        std::fprintf(stderr, "consumer: cannot read %s\n", argv[1]);
        return 1;
    }
    std::unique_ptr<QRV16::Item> root(parser.takeRoot());
    const QRV16::TagDataLut lut(root.get());
    QRV16::WriterXml writer;
    const bool same = writer.encode(root.get()) == original;
    std::printf("tags %d, rewrite %s\n", lut.count(), same ? "identical" : "differs");
    return lut.count() > 0 && same ? 0 : 1;
}
