// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelConfig.h"
#include "TunnelStatus.h"

class TunnelManager;

/// The form of one tunnel without its widgets: the input as it was typed, whether and how it is saved, and
/// every text of the form that depends on it.
///
/// A stored token is never read back: the form's token is only what replaces it.
class TunnelEditorModel
{
public:
    /// Edits `tunnel`, or makes a new one without it. `manager` outlives the model.
    TunnelEditorModel(TunnelManager &manager, std::optional<TunnelConfig> tunnel);

    // The input, unchanged.
    QString name;
    QString hostname;
    QString token;
    bool startOnLaunch = false;

    bool isNew() const { return !m_tunnel; }
    /// Fills the input from the record; nothing to do for a new tunnel.
    void load();

    bool canSave() const;
    /// Returns whether there is a token that does not look like one. It may be saved nevertheless.
    bool showsTokenWarning() const;
    /// Writes the cleaned input through the manager, whatever `canSave` says, and returns the record's id.
    /// Afterwards the token of an existing tunnel is empty.
    QUuid save();

    /// Returns the tunnel's state and why it is not connected; stopped for a new one.
    TunnelStatus status() const;
    /// Does what a click on the tunnel does anywhere; nothing for a new one.
    void toggle();

    QString title() const;
    QString tokenPrompt() const;
    // Titles of buttons, with an ampersand before the access key.
    QString saveTitle() const;
    QString toggleTitle() const;

private:
    TunnelManager &m_manager;
    const std::optional<TunnelConfig> m_tunnel;
};
