#pragma once

#include <QStyledItemDelegate>

// Paints the register rows of a device form (14 or more columns, in register
// table order) and edits the scaling of the numeric ones in place through
// CSimpleRegisterEditWidget: extra value (column 3), multiplier (column 4)
// and unit (column 11).
class CSimpleRegisterDelegat : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit CSimpleRegisterDelegat(QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    // Text and boolean registers get no editor.
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    // A multiplier of 0, an emptied edit included, is stored as 1.
    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override;
    void updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                              const QModelIndex &index) const override;

private:
    void paintHeader(QPainter *painter, const QRect &rect, const QModelIndex &index) const;
    void paintParameters(QPainter *painter, const QRect &rect, const QModelIndex &index) const;
};
