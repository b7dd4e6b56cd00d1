// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelListModel.h"

#include "TunnelManager.h"
#include "TunnelRunner.h"

#include <algorithm>
#include <utility>

TunnelListModel::TunnelListModel(TunnelManager &manager, QObject *parent)
    : QAbstractListModel(parent)
    , m_manager(manager)
{
    takeOver();
}

void TunnelListModel::refresh()
{
    const QList<TunnelConfig> &now = m_manager.tunnels();
    if (!m_tunnels.isSharedWith(now))
        refreshTunnels(now);
    for (int row = 0; row < rowCount(); ++row) {
        const TunnelStatus status = statusOf(m_tunnels.at(row));
        if (status == m_statuses.at(row))
            continue;
        m_statuses[row] = status;
        Q_EMIT dataChanged(index(row), index(row),
                           {StateRole, Qt::ToolTipRole, Qt::AccessibleDescriptionRole});
    }
}

/// Keeps the rows, and with them selection and scrolling, where only their contents have changed.
void TunnelListModel::refreshTunnels(const QList<TunnelConfig> &now)
{
    const auto haveOneId = [](const TunnelConfig &a, const TunnelConfig &b) { return a.id == b.id; };
    if (!std::equal(m_tunnels.cbegin(), m_tunnels.cend(), now.cbegin(), now.cend(), haveOneId)) {
        beginResetModel();
        takeOver();
        endResetModel();
        return;
    }
    const QList<TunnelConfig> before = std::exchange(m_tunnels, now);
    for (int row = 0; row < rowCount(); ++row) {
        if (before[row] != now[row])
            Q_EMIT dataChanged(index(row), index(row));
    }
}

void TunnelListModel::takeOver()
{
    m_tunnels = m_manager.tunnels();
    m_statuses.clear();
    for (const TunnelConfig &tunnel : std::as_const(m_tunnels))
        m_statuses += statusOf(tunnel);
}

TunnelStatus TunnelListModel::statusOf(const TunnelConfig &tunnel) const
{
    const TunnelRunner *runner = m_manager.runner(tunnel.id);
    return runner ? runner->status() : TunnelStatus();
}

int TunnelListModel::rowOf(const QUuid &id) const
{
    const auto found = std::find_if(m_tunnels.cbegin(), m_tunnels.cend(),
                                    [&](const TunnelConfig &tunnel) { return tunnel.id == id; });
    return found == m_tunnels.cend() ? -1 : int(found - m_tunnels.cbegin());
}

int TunnelListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_tunnels.size());
}

QVariant TunnelListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const TunnelConfig &tunnel = m_tunnels[index.row()];
    const TunnelStatus &status = m_statuses[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return tunnel.name;
    case Qt::ToolTipRole:
        if (!status.isFailed())
            return status.note();
        [[fallthrough]]; // the row shows no more than a red dot
    case Qt::AccessibleDescriptionRole:
        return QString(status.state.label() + u' ' + status.note()).trimmed();
    case HostnameRole:
        return tunnel.hostname;
    case IdRole:
        return tunnel.id;
    case StateRole:
        return QVariant::fromValue(status.state);
    default:
        return {};
    }
}

/// Lets rows be dragged, and dropped between rows only.
Qt::ItemFlags TunnelListModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren;
}

bool TunnelListModel::moveRows(const QModelIndex &sourceParent, int sourceRow, int count,
                               const QModelIndex &destinationParent, int destinationChild)
{
    const int last = sourceRow + count - 1;
    if (!m_tunnels.isSharedWith(m_manager.tunnels())) // the rows on screen are no longer the manager's
        return false;
    if (sourceRow < 0 || count < 1 || last >= rowCount() || destinationChild < 0 ||
        destinationChild > rowCount() ||
        !beginMoveRows(sourceParent, sourceRow, last, destinationParent, destinationChild))
        return false;
    std::set<qsizetype> offsets;
    for (int row = sourceRow; row <= last; ++row)
        offsets.insert(row);
    m_manager.moveTunnels(offsets, destinationChild);
    takeOver();
    endMoveRows();
    return true;
}

#include "moc_TunnelListModel.cpp"
