#include "cardpainting.h"

#include <QPainter>
#include <QPainterPath>

namespace {
constexpr qreal kCornerRadius = 4;
}

namespace CardPainting {

void beginCard(QPainter *painter, const QRect &rect, const QColor &color)
{
    painter->save();
    painter->setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter->setPen(Qt::NoPen);
    QPainterPath card;
    card.addRoundedRect(QRectF(rect), kCornerRadius, kCornerRadius, Qt::AbsoluteSize);
    painter->fillPath(card, color);
}

void setBoldFont(QPainter *painter, int pixelSize, const QColor &color)
{
    QFont font = painter->font();
    font.setWeight(QFont::Bold);
    font.setPixelSize(pixelSize);
    painter->setFont(font);
    painter->setPen(QPen(color));
}

} // namespace CardPainting
