#pragma once

#include <QSortFilterProxyModel>

// Narrows a device model to the rows whose name (column 1) contains the
// search text, ignoring case. An empty search shows every row.
class CDeviceSearchModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit CDeviceSearchModel(QObject *parent = nullptr);

public slots:
    void setSearchValue(QString str);

protected:
    bool filterAcceptsRow(int source_row, const QModelIndex &source_parent) const override;

private:
    QString m_search;
};
