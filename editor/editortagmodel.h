// SPDX-License-Identifier: MIT
#pragma once

#include <QAbstractListModel>
#include <QIcon>

namespace QRV16 {

// The data types a tag code can have, one row each ("3 - String"), for the
// tag chooser's list.
class EditorTagModel : public QAbstractListModel
{
    Q_OBJECT
public:
    enum { DataTypeRole = Qt::UserRole };

    explicit EditorTagModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;

    // The row of a data type (the top bits of a tag code), -1 for a value that is
    // no data type.
    static int rowOfType(int dataType);
    static int typeOfRow(int row);

    // The icon resource of a data type; the empty icon for one without.
    static QString iconPath(int dataType);
    // A transparent icon of the usual size, so names without an icon stay
    // aligned with those that have one.
    static QIcon makeEmptyIcon();

private:
    QList<QIcon> m_icons; // by row
};

} // namespace QRV16
