#pragma once

#include <QStyledItemDelegate>

// Paints one live register row (14 columns, in register table order) as a
// card: name and ModBus address range on the first line, time of the last
// reception and the decoded value on the second.
class CRegisterDelegat : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit CRegisterDelegat(QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    // The texts of the row of index, as paint draws them.
    static QString rangeText(const QModelIndex &index);
    static QString receptionText(const QModelIndex &index);
    // Logs the data types that cannot be shown, at every call.
    static QString valueText(const QModelIndex &index);

    // Background of a register card: darker under the mouse or when selected,
    // alternating by row otherwise.
    static QColor cardColor(const QStyleOptionViewItem &option, int row);
};
