// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelConfig.h"
#include "TunnelStatus.h"

#include <QAbstractListModel>

class TunnelManager;

/// The manager's tunnels as rows. A change of one tunnel is a change of its row alone.
///
/// Rows can be moved: through `moveRow`, which is what views do when a row is dropped.
class TunnelListModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        HostnameRole = Qt::UserRole, ///< QString
        IdRole,                      ///< QUuid
        StateRole,                   ///< TunnelState
    };

    /// `manager` outlives the model.
    explicit TunnelListModel(TunnelManager &manager, QObject *parent = nullptr);

    /// Takes over what the manager holds now.
    void refresh();
    /// Returns the first row of the tunnel; -1 for an unknown id.
    int rowOf(const QUuid &id) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
    bool moveRows(const QModelIndex &sourceParent, int sourceRow, int count,
                  const QModelIndex &destinationParent, int destinationChild) override;

private:
    void refreshTunnels(const QList<TunnelConfig> &now);
    void takeOver();
    TunnelStatus statusOf(const TunnelConfig &tunnel) const;

    TunnelManager &m_manager;
    QList<TunnelConfig> m_tunnels; ///< shares its data with the manager's list until that changes
    QList<TunnelStatus> m_statuses;
};

Q_DECLARE_METATYPE(TunnelState)
