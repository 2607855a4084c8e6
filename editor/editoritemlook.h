// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <QFont>
#include <QHash>
#include <QIcon>
#include <QVariant>

namespace QRV16 {

class CollisionTable;
class Item;

// What a row of the definitions editor shows for each role: names and codes
// in the code font, comments in the comment font, type icons, and the
// colour and tool tip of a clash with a sibling.
class EditorItemLook
{
    Q_DECLARE_TR_FUNCTIONS(QRV16::EditorItemLook)
public:
    EditorItemLook();

    // The collisions are asked only for the roles that show a clash, so a
    // list is worked out when it is first shown with one.
    QVariant data(const Item* item, int column, int role, CollisionTable& collisions) const;

    // The text a code is edited as: the shown form without decimal padding,
    // which would read back as octal.
    static QString editText(const Item* item);
    // The code as the code column shows it; negative values in decimal.
    static QString idText(const Item* item);

    void setFixedFont(const QFont& font) { m_fixedFont = font; }
    void setCommentFont(const QFont& font) { m_commentFont = font; }
    QFont fixedFont() const { return m_fixedFont; }
    QFont commentFont() const { return m_commentFont; }

private:
    QString collisionText(const Item* item, int flags) const;

    QFont m_fixedFont;
    QFont m_commentFont;
    QHash<int, QIcon> m_typeIcons;
    QIcon m_emptyIcon;
    QIcon m_folderIcon;
    QIcon m_enumIcon;
    QIcon m_bitIcon;
};

} // namespace QRV16
