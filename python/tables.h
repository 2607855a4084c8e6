// SPDX-License-Identifier: MIT
#pragma once

// A definitions file as the module uses it: the tree, its lookup table, and
// the Python strings of its names, each made once on first use so that
// reading a message does not build the same name twice.

#include "qrv16/item.h"
#include "qrv16/tagdatalut.h"

#include <pybind11/pybind11.h>

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <memory>
#include <unordered_map>

namespace korvpy {

namespace py = pybind11;

class Tables
{
public:
    // No definitions: tags by code only.
    Tables();
    // Reads a definitions file's bytes; raises korv.DefinitionsError.
    Tables(const QByteArray& data, const QString& name);

    const QRV16::TagDataLut& lut() const { return *m_lut; }
    const QString& name() const { return m_name; }
    const QStringList& warnings() const { return m_warnings; }
    // The tag's item in the tree, null when undefined.
    const QRV16::Item* item(int code) const;
    QList<const QRV16::Item*> tagItems() const { return m_items; }

    // A tag given as a code (int) or a name (str); raises KeyError for a
    // name that is not defined and TypeError for anything else.
    int resolve(py::handle tag) const;

    // The tag's name as a Python str, or None.
    py::object tagName(int code) const;
    // The name of an enum value or a bit as a Python str, or None.
    py::object enumName(int code, quint32 value) const;
    py::object bitName(int code, quint32 bit) const;
    // The name of a tag, else its code: a key of Message.items().
    py::object key(int code) const;

private:
    struct Names
    {
        py::object name;
        std::unordered_map<quint32, py::object> enums;
        std::unordered_map<quint32, py::object> bits;
    };
    Names& names(int code) const;

    std::unique_ptr<QRV16::Item> m_root;
    std::unique_ptr<QRV16::TagDataLut> m_lut;
    QString m_name;
    QStringList m_warnings;
    QList<const QRV16::Item*> m_items;
    QHash<int, const QRV16::Item*> m_itemOf;
    mutable std::unordered_map<int, Names> m_names;
    // Python name -> code, so that a name is looked up once.
    mutable py::dict m_codes;
};

// The Definitions given as `defs`; raises TypeError for anything else.
std::shared_ptr<Tables> definitionsOf(py::handle defs);

} // namespace korvpy
