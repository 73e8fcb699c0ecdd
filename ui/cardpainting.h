#pragma once

class QColor;
class QPainter;
class QRect;

// What the list delegates share: a rounded card behind each row, and the bold
// texts of fixed pixel size written on it.
namespace CardPainting {

constexpr int kInset = 2;               // from the card's edge to its texts
constexpr int kTitlePixelSize = 12;
constexpr int kDetailPixelSize = 9;

// Saves the painter's state, which the caller restores when the row is done.
void beginCard(QPainter *painter, const QRect &rect, const QColor &color);
void setBoldFont(QPainter *painter, int pixelSize, const QColor &color);

} // namespace CardPainting
