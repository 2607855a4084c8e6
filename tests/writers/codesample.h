// SPDX-License-Identifier: MIT
#pragma once

// Definitions for the code generator tests, and running the compilers and
// interpreters that prove the generated code right.

#include "qrv16/item.h"
#include "tests/support/files.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>

namespace CodeSample {

// A few tags of several types: enums with negative and hexadecimal values,
// bits 0, 7, 31 and 63, comments, a secure tag, odd names, keywords.
std::unique_ptr<QRV16::Item> sample();
// examples/demo.qrvdef
std::unique_ptr<QRV16::Item> demo();
// A root without tags.
std::unique_ptr<QRV16::Item> empty();
// Everything a generator must survive without a clash: comments that would
// close or splice a comment, names that are keywords, reserved or empty,
// bits beyond 64 and 32 bits, nameless and numberless values, duplicate
// codes and values.
std::unique_ptr<QRV16::Item> hostile();
// Two tags whose names are one after sanitising ("Pump-Speed", "Pump
// Speed"), and a tag Alarms with the bit Door, to which a test adds an enum
// value whose name clashes with the bit's in the C header.
std::unique_ptr<QRV16::Item> clashing();
std::unique_ptr<QRV16::Item> byName(const QString& name);

std::unique_ptr<QRV16::Item> read(const QByteArray& document);
// A tag, value or bit; `hasId` false for none, `comment` alone for a comment.
QRV16::Item* item(QRV16::ItemType type, const QString& name, quint64 id, bool hasId = true,
                  const QString& comment = QString());

struct Run
{
    bool started = false;
    int status = -1;
    QByteArray out;
    QByteArray err;
};

// Runs `program` in `directory`; a program that does not finish within two
// minutes counts as failed.
Run run(const QString& program, const QStringList& args, const QString& directory,
        const QByteArray& input = QByteArray());
// What a failed compiler or interpreter run said, with the generated text
// and its line numbers, for the test's failure message.
QByteArray report(const Run& r, const QByteArray& generated);
// A C++ program of `head` (its includes) and `checks`, each CHECK(x)
// counted; it prints "<n> failed" last and fails if n is not 0.
QByteArray checkProgram(const QByteArray& head, const QByteArray& checks);

} // namespace CodeSample
