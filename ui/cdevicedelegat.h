#pragma once

#include <QStyledItemDelegate>

// Paints one device row (columns of the device tables) as a card in the
// colour of the device's template: name and, for TCP devices, the port on the
// first line, DevEUI and device type on the second. Mode 1 reads ModBus rows
// (6 columns), mode 2 TCP rows (5 columns).
class CDeviceDelegat : public QStyledItemDelegate
{
    Q_OBJECT

public:
    enum EMode {
        ModBusMode = 1,
        TcpMode = 2,
    };

    CDeviceDelegat(QObject *parent, int mode);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    int requiredColumns() const;

    int m_mode;
};
