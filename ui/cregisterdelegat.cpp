#include "cregisterdelegat.h"

#include "core/clogfile.h"
#include "core/constants.h"
#include "ui/cardpainting.h"
#include "ui/registercolumn.h"
#include "ui/theme.h"

#include <QDateTime>
#include <QDebug>
#include <QPainter>
#include <QtEndian>

namespace {
using CardPainting::kDetailPixelSize;
using CardPainting::kInset;
using CardPainting::kTitlePixelSize;

constexpr int kWidth = 100;
constexpr int kHeight = 40;
constexpr int kReceptionHeight = 12;
constexpr int kValueHeight = 16;
constexpr int kRegisterBits = 16;

QVariant cell(const QModelIndex &index, int column)
{
    const QAbstractItemModel *model = index.model();
    return model->data(model->index(index.row(), column));
}

// Reads the first bytes of the hexadecimal text as a big-endian signed number
// of 2, 4 or 8 bytes; bytes missing from a short text read as zero.
qint64 signedValue(const QString &hex, int bitSize)
{
    const int width = bitSize <= kRegisterBits ? 2 : (bitSize == 32 ? 4 : 8);
    QByteArray bytes = QByteArray::fromHex(hex.toLatin1());
    if (bytes.size() < width)
        bytes.append(QByteArray(width - bytes.size(), '\0'));
    switch (width) {
    case 2:
        return qFromBigEndian<qint16>(bytes.constData());
    case 4:
        return qFromBigEndian<qint32>(bytes.constData());
    default:
        return qFromBigEndian<qint64>(bytes.constData());
    }
}

QString withUnit(const QString &number, const QString &unit)
{
    return unit.isEmpty() ? number : number + QStringLiteral(" [%1]").arg(unit);
}
} // namespace

CRegisterDelegat::CRegisterDelegat(QObject *parent)
    : QStyledItemDelegate(parent)
{
}

void CRegisterDelegat::paint(QPainter *painter, const QStyleOptionViewItem &option,
                             const QModelIndex &index) const
{
    if (index.model()->columnCount() != RegisterColumn::Count) {
        qDebug() << "[CRegisterDelegat::paint] ERROR: invalid input data size!";
        return;
    }

    const QRect &rect = option.rect;
    CardPainting::beginCard(painter, rect, cardColor(option, index.row()));

    const int left = rect.left() + kInset;
    const int width = rect.width() - 2 * kInset;

    CardPainting::setBoldFont(painter, kTitlePixelSize, QCT_GLOB_BLUE1_D2);
    const QString name = cell(index, RegisterColumn::Name).toString();
    const int lineHeight = painter->fontMetrics().boundingRect(name).height();
    painter->drawText(QRect(left, rect.top() + kInset, width, lineHeight), Qt::AlignLeft, name);
    const QString range = rangeText(index);
    painter->drawText(QRect(left, rect.top() + kInset, width, painter->fontMetrics().boundingRect(range).height()),
                      Qt::AlignRight, range);

    const int secondLine = rect.top() + lineHeight + kInset;
    CardPainting::setBoldFont(painter, kDetailPixelSize, QC_GLOB_LILAC1_D2);
    painter->drawText(QRect(left, secondLine, width, kReceptionHeight), Qt::AlignLeft, receptionText(index));

    CardPainting::setBoldFont(painter, kTitlePixelSize, QC_GLOB_GREEN2_D1);
    painter->drawText(QRect(left, secondLine, width, kValueHeight), Qt::AlignRight, valueText(index));

    painter->restore();
}

QSize CRegisterDelegat::sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const
{
    return QSize(kWidth, kHeight);
}

QString CRegisterDelegat::rangeText(const QModelIndex &index)
{
    const qulonglong address = cell(index, RegisterColumn::RegAddr).toULongLong();
    const int bitSize = cell(index, RegisterColumn::BitSize).toInt();
    if (bitSize <= kRegisterBits)
        return tr("ModBUS register[%1]").arg(address);
    const int registers = (bitSize + kRegisterBits - 1) / kRegisterBits;
    return tr("ModBUS register[%1..%2]").arg(address).arg(address + registers - 1);
}

QString CRegisterDelegat::receptionText(const QModelIndex &index)
{
    const qulonglong msecs = cell(index, RegisterColumn::Time).toULongLong();
    if (msecs == 0)
        return tr("NEVER RECEIVING");
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(msecs)).toString(DateTimeFormat::lastReception);
}

QString CRegisterDelegat::valueText(const QModelIndex &index)
{
    const QString dataType = cell(index, RegisterColumn::DataType).toString();
    const QVariant fullValue = cell(index, RegisterColumn::FullValue);
    const QString unit = cell(index, RegisterColumn::Unit).toString();
    const QString never = tr("NEVER RECEIVING");

    if (dataType == DataType::boolean) {
        CLogFile::addLog(QStringLiteral("[CRegisterDelegat::paint] Unsupporting dataType: BOOLEAN"));
        return never;
    }
    if (dataType == DataType::text)
        return fullValue.isNull() ? never : QString::fromUtf8(fullValue.toByteArray());
    if (dataType == DataType::integer) {
        if (fullValue.isNull())
            return never;
        const int bitSize = cell(index, RegisterColumn::BitSize).toInt();
        return withUnit(QString::number(signedValue(fullValue.toString(), bitSize)), unit);
    }
    if (dataType == DataType::uinteger) {
        if (fullValue.isNull())
            return never;
        return withUnit(QString::number(fullValue.toString().toULongLong(nullptr, 16)), unit);
    }
    CLogFile::addLog(QStringLiteral("[CRegisterDelegat::paint] Unknown data type! ") + dataType);
    return never;
}

QColor CRegisterDelegat::cardColor(const QStyleOptionViewItem &option, int row)
{
    if (option.state & (QStyle::State_MouseOver | QStyle::State_Selected))
        return QC_GLOB_BLACK6C_45;
    return row % 2 ? QC_GLOB_BLACK6C_25 : QC_GLOB_BLACK6C_10;
}
