#include "cdevicedelegat.h"

#include "devices/calldevicehandler.h"
#include "ui/cardpainting.h"
#include "ui/devicecolumn.h"
#include "ui/theme.h"

#include <QDebug>
#include <QHash>
#include <QPainter>

namespace {
using CardPainting::kDetailPixelSize;
using CardPainting::kInset;
using CardPainting::kTitlePixelSize;

constexpr int kWidth = 100;
constexpr int kHeight = 30;
constexpr int kModBusColumns = 6;
constexpr int kTcpColumns = 5;
constexpr int kIdleAlpha = 60;
constexpr int kActiveAlpha = 150;
constexpr double kIdleDarkening = 1.3;

// Templates are read once at start-up, so a looked-up record never changes;
// unknown EUIs are kept too, so that a repaint never asks twice.
STemplateInfo cachedTemplate(const QString &appEui, int mode)
{
    static QHash<QString, STemplateInfo> cache;
    const auto it = cache.constFind(appEui);
    if (it != cache.cend())
        return *it;
    if (mode == CDeviceDelegat::ModBusMode)
        return *cache.insert(appEui, CAllDeviceHandler::getInstance()->templateInfo(appEui));
    if (mode == CDeviceDelegat::TcpMode)
        return *cache.insert(appEui, CAllDeviceHandler::getInstance()->tcpTemplateInfo(appEui));
    return STemplateInfo();
}

QColor cardColor(const QColor &templateColor, QStyle::State state)
{
    // An invalid colour reads as black.
    const QColor color = templateColor.isValid() ? templateColor : QColor(Qt::black);
    if (state & (QStyle::State_MouseOver | QStyle::State_Selected))
        return QColor(color.red(), color.green(), color.blue(), kActiveAlpha);
    return QColor(int(color.red() / kIdleDarkening), int(color.green() / kIdleDarkening),
                  int(color.blue() / kIdleDarkening), kIdleAlpha);
}

QString cell(const QModelIndex &index, int column)
{
    const QAbstractItemModel *model = index.model();
    return model->data(model->index(index.row(), column)).toString();
}

// Draws the text in a rectangle as high as the text, inset from the card's
// top left; returns that height.
int drawLine(QPainter *painter, const QRect &card, int top, const QString &text, Qt::Alignment alignment)
{
    const int height = painter->fontMetrics().boundingRect(text).height();
    painter->drawText(QRect(card.left() + kInset, top, card.width() - 2 * kInset, height), alignment, text);
    return height;
}
} // namespace

CDeviceDelegat::CDeviceDelegat(QObject *parent, int mode)
    : QStyledItemDelegate(parent)
    , m_mode(mode)
{
}

int CDeviceDelegat::requiredColumns() const
{
    if (m_mode == ModBusMode)
        return kModBusColumns;
    if (m_mode == TcpMode)
        return kTcpColumns;
    return 0;
}

void CDeviceDelegat::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const int columns = index.model()->columnCount();
    if (columns != requiredColumns()) {
        qDebug() << requiredColumns() << columns << "[CDeviceDelegat::paintAllRow] ERROR: invalid input data size!";
        return;
    }

    const STemplateInfo info = cachedTemplate(cell(index, DeviceColumn::AppEui), m_mode);

    const QRect &rect = option.rect;
    CardPainting::beginCard(painter, rect, cardColor(info.color, option.state));

    const int firstLine = rect.top() + kInset;
    CardPainting::setBoldFont(painter, kTitlePixelSize, QCT_GLOB_BLUE1_D2);
    const int lineHeight = drawLine(painter, rect, firstLine, cell(index, DeviceColumn::Name), Qt::AlignLeft);
    if (m_mode == TcpMode)
        drawLine(painter, rect, firstLine, cell(index, DeviceColumn::Port), Qt::AlignRight);

    const int secondLine = rect.top() + lineHeight + kInset;
    CardPainting::setBoldFont(painter, kDetailPixelSize, QC_GLOB_LILAC1_D2);
    drawLine(painter, rect, secondLine, cell(index, DeviceColumn::DevEui), Qt::AlignLeft);
    drawLine(painter, rect, secondLine, info.devType, Qt::AlignRight);

    painter->restore();
}

QSize CDeviceDelegat::sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const
{
    return QSize(kWidth, kHeight);
}
