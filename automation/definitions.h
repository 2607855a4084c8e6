// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

#include <memory>

namespace QRV16 {
class Item;
class TagDataLut;
} // namespace QRV16

// The tag definitions in use: the tree of a definitions file and the
// lookup table made from it. Whatever reads names subscribes to changed();
// the old table stays valid until every receiver has the new one.
class Definitions : public QObject
{
    Q_OBJECT

public:
    explicit Definitions(QObject* parent = nullptr);
    ~Definitions() override;

    // Null while nothing is loaded: messages then go by tag numbers.
    const QRV16::Item* root() const { return m_root.get(); }
    const QRV16::TagDataLut* tags() const { return m_tags.get(); }
    QString path() const { return m_path; }

    // Reads the file and takes its tree. False when it cannot be read, with
    // errorString() set and the definitions as they were; warnings() holds
    // what the file's reader warned about either way.
    bool load(const QString& path);
    QString errorString() const { return m_error; }
    QString warnings() const { return m_warnings; }
    // Takes over `root` (a tree from the editor) as the file `path`.
    void setRoot(QRV16::Item* root, const QString& path);

Q_SIGNALS:
    void changed(const QRV16::TagDataLut* tags);

private:
    std::unique_ptr<QRV16::Item> m_root;
    std::unique_ptr<QRV16::TagDataLut> m_tags;
    QString m_path;
    QString m_error;
    QString m_warnings;
};
