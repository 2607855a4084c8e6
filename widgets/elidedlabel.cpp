// SPDX-License-Identifier: MIT
#include "widgets/elidedlabel.h"

#include <QFontMetrics>
#include <QResizeEvent>

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setWordWrap(false);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
}

void ElidedLabel::setFullText(const QString& text)
{
    if (text == m_text)
        return;
    m_text = text;
    setToolTip(text);
    elide();
    updateGeometry();
}

QSize ElidedLabel::sizeHint() const
{
    const QFontMetrics metrics(font());
    const int margins = contentsMargins().left() + contentsMargins().right();
    const int full = metrics.horizontalAdvance(m_text) + margins;
    return QSize(qMin(full, metrics.averageCharWidth() * PreferredChars + margins), QLabel::sizeHint().height());
}

QSize ElidedLabel::minimumSizeHint() const
{
    const QFontMetrics metrics(font());
    const int margins = contentsMargins().left() + contentsMargins().right();
    const int full = metrics.horizontalAdvance(m_text) + margins;
    return QSize(qMin(full, metrics.averageCharWidth() * MinimumChars + margins), QLabel::minimumSizeHint().height());
}

void ElidedLabel::resizeEvent(QResizeEvent* event)
{
    QLabel::resizeEvent(event);
    elide();
}

void ElidedLabel::elide()
{
    const QString shown = fontMetrics().elidedText(m_text, Qt::ElideRight, contentsRect().width());
    if (shown != text())
        QLabel::setText(shown);
}
