// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelConfig.h"

#include <optional>

class TunnelManager;

/// Which tunnel the Tunnels tab has selected, whether a new one is being made, and what its right pane shows.
///
/// | creating | selection         | right pane          |
/// | -------- | ----------------- | ------------------- |
/// | yes      | any               | form of a new tunnel |
/// | no       | of a tunnel       | that tunnel's form  |
/// | no       | none, or of none  | placeholder         |
class TunnelsSelection
{
public:
    /// What the right pane shows. Two panes of the same identity are the same form, which keeps its input.
    struct Pane
    {
        enum class Kind { NewTunnel, Tunnel, Placeholder };

        Kind kind = Kind::Placeholder;
        TunnelConfig tunnel; ///< of `Tunnel` only

        bool hasIdentityOf(const Pane &other) const
        {
            return kind == other.kind && tunnel.id == other.tunnel.id;
        }
    };

    /// Nothing selected, not creating. `manager` outlives the selection.
    explicit TunnelsSelection(TunnelManager &manager);

    /// May name a tunnel that is gone.
    const std::optional<QUuid> &selection() const { return m_selection; }
    bool isCreating() const { return m_isCreating; }
    bool canDelete() const { return m_selection.has_value(); }
    Pane pane() const;

    /// The tab has come into view.
    void appear();
    /// Selecting another tunnel ends the creating of a new one.
    void select(const std::optional<QUuid> &id);
    /// The button below the list.
    void add();
    /// The placeholder's button, which leaves the selection alone.
    void addFromPlaceholder() { m_isCreating = true; }
    /// Removes the selected tunnel and selects the first that remains.
    void remove();
    /// A new tunnel was saved under this id.
    void created(const QUuid &id);

private:
    std::optional<QUuid> first() const;

    TunnelManager &m_manager;
    std::optional<QUuid> m_selection;
    bool m_isCreating = false;
};
