// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelConfig.h"
#include "TunnelManager.h"

/// Decides which tunnel the Tunnels tab has selected, whether a new one is being made, and what its right
/// pane shows.
///
/// | isCreating | selection        | right pane          |
/// | ---------- | ---------------- | ------------------- |
/// | yes        | any              | form of a new tunnel |
/// | no         | of a tunnel      | that tunnel's form  |
/// | no         | none, or of none | placeholder         |
class TunnelsSelection
{
public:
    /// The content of the right pane. Two panes of the same identity are the same form, which keeps its
    /// input.
    struct Pane
    {
        enum class Kind { NewTunnel, Tunnel, Placeholder };

        Kind kind = Kind::Placeholder;
        TunnelConfig tunnel;     ///< of `Tunnel` only
        bool hasTunnels = false; ///< of `Placeholder` only

        bool hasIdentityOf(const Pane &other) const
        {
            return kind == other.kind && tunnel.id == other.tunnel.id && hasTunnels == other.hasTunnels;
        }
    };

    /// Begins with nothing selected, not creating. `manager` outlives the selection.
    explicit TunnelsSelection(TunnelManager &manager)
        : m_manager(manager)
    {
    }

    /// Returns the selected tunnel, which may be gone.
    const std::optional<QUuid> &selection() const { return m_selection; }
    bool isCreating() const { return m_isCreating; }

    Pane pane() const
    {
        if (m_isCreating)
            return {Pane::Kind::NewTunnel, {}, false};
        for (const TunnelConfig &tunnel : m_manager.tunnels()) {
            if (tunnel.id == m_selection)
                return {Pane::Kind::Tunnel, tunnel, false};
        }
        return {Pane::Kind::Placeholder, {}, !m_manager.tunnels().isEmpty()};
    }

    /// Chooses what the tab shows when it comes into view: a new tunnel where there is none, else the first
    /// unless one is selected.
    void appear()
    {
        if (m_manager.tunnels().isEmpty())
            m_isCreating = true;
        else if (!m_selection)
            select(first());
    }

    /// Selects a tunnel; another one than before ends the creating of a new one.
    void select(const std::optional<QUuid> &id)
    {
        if (id == m_selection)
            return;
        m_selection = id;
        if (id)
            m_isCreating = false;
    }

    /// Begins a new tunnel with nothing selected, as the button below the list does.
    void add()
    {
        select(std::nullopt);
        m_isCreating = true;
    }

    /// Begins a new tunnel and leaves the selection alone, as the placeholder's button does.
    void addFromPlaceholder() { m_isCreating = true; }

    /// Removes the selected tunnel and selects the first that remains.
    void remove()
    {
        if (!m_selection)
            return;
        m_manager.remove(*m_selection);
        select(first());
    }

    /// Selects the tunnel that was just saved for the first time.
    void created(const QUuid &id)
    {
        m_isCreating = false;
        select(id);
    }

private:
    std::optional<QUuid> first() const
    {
        const QList<TunnelConfig> &tunnels = m_manager.tunnels();
        return tunnels.isEmpty() ? std::nullopt : std::optional(tunnels.first().id);
    }

    TunnelManager &m_manager;
    std::optional<QUuid> m_selection;
    bool m_isCreating = false;
};
