#include "cdevicesearchmodel.h"

namespace {
constexpr int kNameColumn = 1;
}

CDeviceSearchModel::CDeviceSearchModel(QObject *parent)
    : QSortFilterProxyModel(parent)
{
}

void CDeviceSearchModel::setSearchValue(QString str)
{
    m_search = str;
    invalidateFilter();
}

bool CDeviceSearchModel::filterAcceptsRow(int source_row, const QModelIndex &source_parent) const
{
    if (m_search.isEmpty())
        return true;
    const QModelIndex name = sourceModel()->index(source_row, kNameColumn, source_parent);
    return sourceModel()->data(name).toString().contains(m_search, Qt::CaseInsensitive);
}
