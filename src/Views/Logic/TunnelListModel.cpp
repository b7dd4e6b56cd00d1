// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelListModel.h"

#include "TunnelManager.h"

#include <algorithm>

TunnelListModel::TunnelListModel(TunnelManager &manager, QObject *parent)
    : QAbstractListModel(parent)
    , m_manager(manager)
{
    takeOver();
}

void TunnelListModel::refresh()
{
    if (!m_tunnels.isSharedWith(m_manager.tunnels()))
        refreshTunnels();
    refreshStates();
}

/// Rows that came and went are told apart by what the old and the new list have in common at both ends.
void TunnelListModel::refreshTunnels()
{
    const auto haveOneId = [](const TunnelConfig &a, const TunnelConfig &b) { return a.id == b.id; };
    const QList<TunnelConfig> before = m_tunnels;
    const QList<TunnelConfig> &now = m_manager.tunnels();
    const int head =
        int(std::mismatch(before.begin(), before.end(), now.begin(), now.end(), haveOneId).first -
            before.begin());
    const int tail =
        int(std::mismatch(before.rbegin(), before.rend() - head, now.rbegin(), now.rend() - head, haveOneId)
                .first -
            before.rbegin());
    const int gone = int(before.size()) - head - tail;
    const int come = int(now.size()) - head - tail;
    if (gone > 0) {
        beginRemoveRows({}, head, head + gone - 1);
        m_tunnels.remove(head, gone);
        m_states.remove(head, gone);
        endRemoveRows();
    }
    if (come > 0) {
        beginInsertRows({}, head, head + come - 1);
        m_tunnels = m_tunnels.first(head) + now.sliced(head, come) + m_tunnels.sliced(head);
        m_states.insert(head, come, TunnelState());
        for (int row = head; row < head + come; ++row)
            m_states[row] = stateOf(now[row]);
        endInsertRows();
    }
    const QList<TunnelConfig> shown = m_tunnels;
    m_tunnels = now;
    for (int row = 0; row < int(now.size()); ++row) {
        if (shown[row] != now[row])
            Q_EMIT dataChanged(index(row), index(row));
    }
}

void TunnelListModel::refreshStates()
{
    for (int row = 0; row < int(m_tunnels.size()); ++row) {
        const TunnelState &state = stateOf(m_tunnels.at(row));
        if (state == m_states.at(row))
            continue;
        m_states[row] = state;
        Q_EMIT dataChanged(index(row), index(row), {StateRole, Qt::AccessibleDescriptionRole});
    }
}

void TunnelListModel::takeOver()
{
    m_tunnels = m_manager.tunnels();
    m_states.resize(m_tunnels.size());
    std::transform(m_tunnels.cbegin(), m_tunnels.cend(), m_states.begin(),
                   [this](const TunnelConfig &tunnel) { return stateOf(tunnel); });
}

const TunnelState &TunnelListModel::stateOf(const TunnelConfig &tunnel) const
{
    return m_manager.state(tunnel.id);
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
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return tunnel.name;
    case Qt::AccessibleDescriptionRole:
        return m_states[index.row()].label();
    case HostnameRole:
        return tunnel.hostname;
    case IdRole:
        return tunnel.id;
    case StateRole:
        return QVariant::fromValue(m_states[index.row()]);
    default:
        return {};
    }
}

/// Rows are dragged, and dropped between rows only.
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
