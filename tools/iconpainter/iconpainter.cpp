// Draws the program's images: flat glyphs in the palette's colours, the
// application icon and the word mark of the main window. Usage:
//   iconpainter <resources folder>

#include "ui/theme.h"

#include <QDir>
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QTextStream>

#include <functional>

namespace {

// Glyphs are drawn on a 100 by 100 grid and scaled to the image.
constexpr int kGlyphPixels = 128;
constexpr int kAppIconPixels = 256;
constexpr qreal kGrid = 100.0;
constexpr qreal kStroke = 10.0;
const QColor kGlyphColor = QC_GLOB_WHITE1_L2;

using Drawing = std::function<void(QPainter &)>;

QPen glyphPen(qreal width = kStroke, const QColor &color = kGlyphColor)
{
    return QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

bool save(const QString &path, int width, int height, const Drawing &draw)
{
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    draw(painter);
    painter.end();
    QDir().mkpath(QFileInfo(path).absolutePath());
    return image.save(path, "PNG");
}

bool saveGlyph(const QString &path, int pixels, const Drawing &draw)
{
    return save(path, pixels, pixels, [&](QPainter &painter) {
        painter.scale(pixels / kGrid, pixels / kGrid);
        draw(painter);
    });
}

void drawPlus(QPainter &painter)
{
    painter.setPen(glyphPen());
    painter.drawLine(QPointF(50, 22), QPointF(50, 78));
    painter.drawLine(QPointF(22, 50), QPointF(78, 50));
}

void drawCross(QPainter &painter)
{
    painter.setPen(glyphPen());
    painter.drawLine(QPointF(28, 28), QPointF(72, 72));
    painter.drawLine(QPointF(72, 28), QPointF(28, 72));
}

void drawMagnifier(QPainter &painter)
{
    painter.setPen(glyphPen(9));
    painter.drawEllipse(QPointF(43, 43), 21, 21);
    painter.setPen(glyphPen(13));
    painter.drawLine(QPointF(60, 60), QPointF(78, 78));
}

void drawPencil(QPainter &painter)
{
    painter.translate(50, 50);
    painter.rotate(-45);
    painter.setPen(Qt::NoPen);
    painter.setBrush(kGlyphColor);
    // Body, then the sharpened end with its lead.
    painter.drawRoundedRect(QRectF(-22, -9, 44, 18), 2, 2);
    painter.drawRoundedRect(QRectF(-36, -9, 10, 18), 3, 3);
    QPainterPath tip;
    tip.moveTo(24, -9);
    tip.lineTo(40, 0);
    tip.lineTo(24, 9);
    tip.closeSubpath();
    painter.drawPath(tip);
}

void drawTrashCan(QPainter &painter)
{
    painter.setPen(glyphPen(8));
    painter.drawLine(QPointF(22, 28), QPointF(78, 28));
    painter.drawLine(QPointF(42, 19), QPointF(58, 19));

    QPainterPath body;
    body.moveTo(29, 37);
    body.lineTo(71, 37);
    body.lineTo(66, 84);
    body.lineTo(34, 84);
    body.closeSubpath();
    painter.setPen(Qt::NoPen);
    painter.setBrush(kGlyphColor);
    painter.drawPath(body);

    // Slits cut through to the button beneath.
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.setPen(glyphPen(5));
    for (const qreal x : {41.0, 50.0, 59.0})
        painter.drawLine(QPointF(x, 47), QPointF(x, 74));
}

void drawRefresh(QPainter &painter)
{
    const QRectF circle(22, 22, 56, 56);
    painter.setPen(glyphPen(9));
    painter.setBrush(Qt::NoBrush);
    // Qt counts angles in sixteenths of a degree, anticlockwise from 3 o'clock.
    painter.drawArc(circle, 60 * 16, 280 * 16);

    QPainterPath head;
    head.moveTo(48, 9);
    head.lineTo(66, 24);
    head.lineTo(46, 34);
    head.closeSubpath();
    painter.setPen(glyphPen(4));
    painter.setBrush(kGlyphColor);
    painter.drawPath(head);
}

void drawGear(QPainter &painter)
{
    QPainterPath gear;
    gear.addEllipse(QPointF(50, 50), 30, 30);
    for (int tooth = 0; tooth < 8; ++tooth) {
        QTransform turn;
        turn.translate(50, 50);
        turn.rotate(tooth * 45.0);
        QPainterPath box;
        box.addRoundedRect(QRectF(-8, -42, 16, 16), 3, 3);
        gear = gear.united(turn.map(box));
    }
    QPainterPath hole;
    hole.addEllipse(QPointF(50, 50), 13, 13);
    painter.setPen(Qt::NoPen);
    painter.setBrush(kGlyphColor);
    painter.drawPath(gear.subtracted(hole));
}

// A disc of the state's colour with signal waves; a lost connection has them
// struck through.
void drawConnection(QPainter &painter, bool good)
{
    const QColor disc = good ? QC_GLOB_GREEN1 : QC_GLOB_RED1;
    painter.setPen(Qt::NoPen);
    painter.setBrush(disc);
    painter.drawEllipse(QPointF(50, 50), 46, 46);

    painter.setBrush(kGlyphColor);
    painter.drawEllipse(QPointF(50, 68), 7, 7);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(glyphPen(8));
    for (const qreal radius : {20.0, 35.0})
        painter.drawArc(QRectF(50 - radius, 68 - radius, 2 * radius, 2 * radius), 40 * 16, 100 * 16);

    if (!good) {
        painter.setPen(glyphPen(16, disc));
        painter.drawLine(QPointF(27, 27), QPointF(73, 73));
        painter.setPen(glyphPen(8));
        painter.drawLine(QPointF(27, 27), QPointF(73, 73));
    }
}

// The quill that writes a bar: the program's mark, on a 100 by 100 grid.
QPainterPath quillPath()
{
    QPainterPath quill;
    quill.moveTo(24, 80);
    quill.cubicTo(30, 46, 52, 22, 80, 14);
    quill.cubicTo(76, 42, 56, 66, 24, 80);
    quill.closeSubpath();
    return quill;
}

void drawQuill(QPainter &painter, const QBrush &feather, const QColor &spine)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(feather);
    painter.drawPath(quillPath());
    painter.setPen(glyphPen(3, spine));
    painter.drawLine(QPointF(18, 88), QPointF(70, 26));
    painter.setPen(glyphPen(7, feather.color()));
    painter.drawLine(QPointF(46, 86), QPointF(82, 86));
}

void drawAppIcon(QPainter &painter)
{
    QLinearGradient background(0, 0, kGrid, kGrid);
    background.setColorAt(0, QC_GLOB_LOGO1_L1);
    background.setColorAt(1, QCT_GLOB_BLUE1_LIKE_D2);
    painter.setPen(Qt::NoPen);
    painter.setBrush(background);
    painter.drawRoundedRect(QRectF(2, 2, 96, 96), 20, 20);
    drawQuill(painter, kGlyphColor, QC_GLOB_LOGO1_D2);
}

void drawWordMark(QPainter &painter, int width, int height)
{
    QLinearGradient gradient(0, 0, width, 0);
    gradient.setColorAt(0, QC_GLOB_LOGO1_D2);
    gradient.setColorAt(0.5, QC_GLOB_LOGO1);
    gradient.setColorAt(1, QCT_GLOB_BLUE1_LIKE_L1);

    // The application icon stands in front of the name.
    constexpr qreal kMargin = 2;
    painter.save();
    painter.translate(kMargin, kMargin);
    const qreal markScale = (height - 2 * kMargin) / kGrid;
    painter.scale(markScale, markScale);
    drawAppIcon(painter);
    painter.restore();

    QFont font(QStringLiteral("DejaVu Sans"));
    font.setBold(true);
    font.setPixelSize(32);
    QPainterPath text;
    text.addText(0, 0, font, QStringLiteral("Quillbar"));
    const QRectF bounds = text.boundingRect();
    const qreal left = height + 8;
    text.translate(left - bounds.left(), (height - bounds.height()) / 2 - bounds.top());
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawPath(text);
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        QTextStream(stderr) << "usage: iconpainter <resources folder>\n";
        return 2;
    }
    const QDir out(QString::fromLocal8Bit(argv[1]));

    const QList<QPair<QString, Drawing>> glyphs = {
        {QStringLiteral("addIco.png"), drawPlus},
        {QStringLiteral("deleteIco.png"), drawCross},
        {QStringLiteral("searchIco.png"), drawMagnifier},
        {QStringLiteral("editIco.png"), drawPencil},
        {QStringLiteral("delete2Ico.png"), drawTrashCan},
        {QStringLiteral("refresh2Ico.png"), drawRefresh},
        {QStringLiteral("flat/settingsFlatInvertIco.png"), drawGear},
        {QStringLiteral("connectionGoodIco.png"), [](QPainter &p) { drawConnection(p, true); }},
        {QStringLiteral("connectionFailIco.png"), [](QPainter &p) { drawConnection(p, false); }},
    };

    bool ok = true;
    for (const auto &glyph : glyphs)
        ok = saveGlyph(out.filePath(glyph.first), kGlyphPixels, glyph.second) && ok;
    ok = saveGlyph(out.filePath(QStringLiteral("Icon.png")), kAppIconPixels, drawAppIcon) && ok;

    constexpr int kLogoWidth = 250;
    constexpr int kLogoHeight = 45;
    ok = save(out.filePath(QStringLiteral("orvane-a_logo5_horizontal_gradient.png")), kLogoWidth, kLogoHeight,
              [](QPainter &painter) { drawWordMark(painter, kLogoWidth, kLogoHeight); })
            && ok;

    if (!ok)
        QTextStream(stderr) << "iconpainter: could not write every image into " << out.path() << "\n";
    return ok ? 0 : 1;
}
