// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelsSelection.h"

#include "TunnelManager.h"

TunnelsSelection::TunnelsSelection(TunnelManager &manager)
    : m_manager(manager)
{
}

TunnelsSelection::Pane TunnelsSelection::pane() const
{
    if (m_isCreating)
        return {Pane::Kind::NewTunnel, {}};
    for (const TunnelConfig &tunnel : m_manager.tunnels()) {
        if (tunnel.id == m_selection)
            return {Pane::Kind::Tunnel, tunnel};
    }
    return {};
}

void TunnelsSelection::appear()
{
    if (m_manager.tunnels().isEmpty())
        m_isCreating = true;
    else if (!m_selection)
        select(first());
}

void TunnelsSelection::select(const std::optional<QUuid> &id)
{
    if (id == m_selection)
        return;
    m_selection = id;
    if (id)
        m_isCreating = false;
}

void TunnelsSelection::add()
{
    select(std::nullopt);
    m_isCreating = true;
}

void TunnelsSelection::remove()
{
    if (!m_selection)
        return;
    m_manager.remove(*m_selection);
    select(first());
}

void TunnelsSelection::created(const QUuid &id)
{
    m_isCreating = false;
    select(id);
}

std::optional<QUuid> TunnelsSelection::first() const
{
    const QList<TunnelConfig> &tunnels = m_manager.tunnels();
    return tunnels.isEmpty() ? std::nullopt : std::optional(tunnels.first().id);
}
