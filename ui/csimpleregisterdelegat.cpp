#include "csimpleregisterdelegat.h"

#include "core/constants.h"
#include "ui/cardpainting.h"
#include "ui/cregisterdelegat.h"
#include "ui/csimpleregistereditwidget.h"
#include "ui/registercolumn.h"
#include "ui/theme.h"

#include <QDebug>
#include <QPainter>

namespace {
using CardPainting::kDetailPixelSize;
using CardPainting::kInset;
using CardPainting::kTitlePixelSize;

constexpr qreal kBadgeRadius = 4;
constexpr int kWidth = 200;
constexpr int kHeight = 65;
constexpr int kDecimals = 6;
constexpr int kBadgeWidth = 50;
constexpr int kHeaderHeight = 13;
constexpr int kNumberOffset = 62;
constexpr int kBiasOffset = 64;
constexpr int kSeparatorY = 19;
constexpr int kSeparatorMargin = 20;
constexpr int kSeparatorWidth = 3;
constexpr int kParametersTop = 23;
constexpr int kParameterStep = 14;
constexpr int kParameterHeight = 12;
constexpr Qt::Alignment kLeftCentred = Qt::AlignLeft | Qt::AlignVCenter;

QVariant cell(const QModelIndex &index, int column)
{
    const QAbstractItemModel *model = index.model();
    return model->data(model->index(index.row(), column));
}

bool isNumeric(const QModelIndex &index)
{
    const QString dataType = cell(index, RegisterColumn::DataType).toString();
    return dataType == DataType::integer || dataType == DataType::uinteger;
}

// What the forms' models add to the register table's columns, 0 elsewhere.
int keptDecimals(const QModelIndex &index)
{
    return index.model()->columnCount() > RegisterColumn::Decimals ? cell(index, RegisterColumn::Decimals).toInt()
                                                                   : 0;
}

QString decimalText(const QVariant &value)
{
    return QStringLiteral("%1").arg(value.toDouble(), 0, 'f', kDecimals);
}

} // namespace

CSimpleRegisterDelegat::CSimpleRegisterDelegat(QObject *parent)
    : QStyledItemDelegate(parent)
{
}

void CSimpleRegisterDelegat::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                   const QModelIndex &index) const
{
    // Any model of at least the register table's width will do.
    if (index.model()->columnCount() < RegisterColumn::Count) {
        qDebug() << "[CDeviceDelegat::paintAllRow] ERROR: invalid input data size!";
        return;
    }

    const QRect &rect = option.rect;
    CardPainting::beginCard(painter, rect, CRegisterDelegat::cardColor(option, index.row()));

    paintHeader(painter, rect, index);
    paintParameters(painter, rect, index);

    painter->restore();
}

QSize CSimpleRegisterDelegat::sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const
{
    return QSize(kWidth, kHeight);
}

QWidget *CSimpleRegisterDelegat::createEditor(QWidget *parent, const QStyleOptionViewItem &,
                                              const QModelIndex &index) const
{
    if (!isNumeric(index))
        return nullptr;
    return new CSimpleRegisterEditWidget(parent);
}

void CSimpleRegisterDelegat::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    auto *registerEditor = qobject_cast<CSimpleRegisterEditWidget *>(editor);
    if (!registerEditor)
        return;
    registerEditor->setData(cell(index, RegisterColumn::Name).toString(),
                            cell(index, RegisterColumn::StartValue).toDouble(),
                            cell(index, RegisterColumn::GratingPeriod).toDouble(),
                            cell(index, RegisterColumn::Unit).toString());
    registerEditor->setDecimals(keptDecimals(index));
}

void CSimpleRegisterDelegat::setModelData(QWidget *editor, QAbstractItemModel *model,
                                          const QModelIndex &index) const
{
    auto *registerEditor = qobject_cast<CSimpleRegisterEditWidget *>(editor);
    if (!registerEditor)
        return;
    const int row = index.row();
    model->setData(model->index(row, RegisterColumn::StartValue), registerEditor->getExtraValue(), Qt::EditRole);
    double multiplier = registerEditor->getMultiplier();
    if (multiplier == 0.0)
        multiplier = 1.0;
    model->setData(model->index(row, RegisterColumn::GratingPeriod), multiplier, Qt::EditRole);
    model->setData(model->index(row, RegisterColumn::Unit), registerEditor->getUnits(), Qt::EditRole);
    if (model->columnCount() > RegisterColumn::Decimals)
        model->setData(model->index(row, RegisterColumn::Decimals), registerEditor->getDecimals(), Qt::EditRole);
}

void CSimpleRegisterDelegat::updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                                                  const QModelIndex &) const
{
    editor->setGeometry(option.rect);
}

// Register name on the left; on the right the register number and the origin
// badge, with a separator beneath.
void CSimpleRegisterDelegat::paintHeader(QPainter *painter, const QRect &rect, const QModelIndex &index) const
{
    const int top = rect.top() + kInset;

    CardPainting::setBoldFont(painter, kTitlePixelSize, QCT_GLOB_BLUE1_D2);
    const QString name = cell(index, RegisterColumn::Name).toString();
    painter->drawText(QRect(rect.left() + kInset, top, rect.width() - 2 * kInset,
                            painter->fontMetrics().boundingRect(name).height()),
                      Qt::AlignLeft, name);

    const QRect badge(rect.left() + rect.width() - kBadgeWidth - kInset, top, kBadgeWidth, kHeaderHeight);
    painter->setPen(QPen(QC_GLOB_GREEN1_D2, 1));
    painter->setBrush(QC_GLOB_GREEN1_D2);
    painter->drawRoundedRect(badge, kBadgeRadius, kBadgeRadius);
    painter->setBrush(Qt::NoBrush);
    CardPainting::setBoldFont(painter, kDetailPixelSize, QC_GLOB_WHITE1);
    const bool fromServer = cell(index, RegisterColumn::Source).toInt() == 0;
    painter->drawText(badge, Qt::AlignCenter, fromServer ? QStringLiteral("SERVER") : QStringLiteral("DEVICE"));

    // The number and its label stand right-aligned against the badge, both
    // measured at the small size.
    const QString number = QString::number(cell(index, RegisterColumn::RegAddr).toLongLong());
    const QString bias = tr("Register map bias: ");
    const int numberWidth = painter->fontMetrics().horizontalAdvance(number);
    const int biasWidth = painter->fontMetrics().horizontalAdvance(bias);
    const int right = rect.left() + rect.width();

    CardPainting::setBoldFont(painter, kTitlePixelSize, QCT_GLOB_BLUE1_D2);
    painter->drawText(QRect(right - kNumberOffset - numberWidth, top, rect.width() / 2, kHeaderHeight),
                      kLeftCentred, number);
    CardPainting::setBoldFont(painter, kDetailPixelSize, QC_GLOB_LILAC1_D2);
    painter->drawText(QRect(right - kBiasOffset - numberWidth - biasWidth, top, rect.width() / 2, kHeaderHeight),
                      kLeftCentred, bias);

    painter->setPen(QPen(QC_GLOB_GREEN2_D1, kSeparatorWidth));
    painter->drawLine(rect.left() + kSeparatorMargin, rect.top() + kSeparatorY,
                      right - kSeparatorMargin, rect.top() + kSeparatorY);
}

// Three name-value lines on the left, the formula or a notice on the right.
void CSimpleRegisterDelegat::paintParameters(QPainter *painter, const QRect &rect, const QModelIndex &index) const
{
    const bool numeric = isNumeric(index);
    const QString unsupported = tr("UNSUPPORT");
    const QList<QPair<QString, QString>> parameters = {
        {tr("ExtraValue: "), numeric ? decimalText(cell(index, RegisterColumn::StartValue)) : unsupported},
        {tr("Multiplier: "), numeric ? decimalText(cell(index, RegisterColumn::GratingPeriod)) : unsupported},
        {tr("Units: "), numeric ? cell(index, RegisterColumn::Unit).toString() : unsupported},
    };

    const int halfWidth = rect.width() / 2;
    int y = rect.top() + kParametersTop;
    for (const QPair<QString, QString> &parameter : parameters) {
        CardPainting::setBoldFont(painter, kDetailPixelSize, QC_GLOB_LILAC1_D2);
        const int nameWidth = painter->fontMetrics().horizontalAdvance(parameter.first);
        painter->drawText(QRect(rect.left() + kInset, y, halfWidth, kParameterHeight), kLeftCentred,
                          parameter.first);
        CardPainting::setBoldFont(painter, kTitlePixelSize, QCT_GLOB_BLUE1_D2);
        painter->drawText(QRect(rect.left() + nameWidth + kInset, y, halfWidth, kParameterHeight), kLeftCentred,
                          parameter.second);
        y += kParameterStep;
    }

    const QRect notice(rect.left() + halfWidth + kInset, rect.top() + kParametersTop, halfWidth - 2 * kInset,
                       rect.height() - kParametersTop - kInset);
    const int decimals = keptDecimals(index);
    QString formula = tr("Parameter is\nTEXT value!");
    if (numeric && decimals > 0)
        formula = tr("Value = (RAW * Multiplier\n+ ExtraValue) * 10^%1").arg(decimals);
    else if (numeric)
        formula = tr("Value = RAW *\nMultiplier + ExtraValue");
    painter->drawText(notice, Qt::AlignHCenter | Qt::AlignVCenter, formula);
}
