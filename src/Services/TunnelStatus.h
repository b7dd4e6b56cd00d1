// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelState.h"

/// A tunnel's state, and why it is not connected.
///
/// | the tunnel             | menu          | windows, under the label | notification               |
/// | ---------------------- | ------------- | ------------------------ | -------------------------- |
/// | failed                 | error, cut    | "Reason: …", if not that | the reason                 |
/// | starting, reconnecting | state's label | "Last error: …"          | after a minute: the reason |
/// | the same, not readable | state's label | "Last error: …"          | after a minute: the doubt  |
/// | waits for its token    | state's label | the reason               | after a minute: the reason |
/// | any other              | state's label | none                     | none                       |
struct TunnelStatus
{
    /// Place where the user can do something about it.
    enum class Remedy { Log, Token, Program };

    TunnelState state;
    /// A failure's reason, the last error of a child that is not connected, or a start's reason to wait, on
    /// one line; empty in other states and where nothing is known.
    QString reason = {};
    bool isLastError = false; ///< the reason is an error of a child that still tries
    /// Why the state of a child that seems to try cannot be read; empty where it can.
    QString doubt = {};
    Remedy remedy = Remedy::Log; ///< of a failure
    /// Number of failures so far, which tells failures with one reason apart.
    int failureCount = 0;

    bool isFailed() const { return state.kind() == TunnelState::Case::Failed; }

    /// Returns the windows' note of the table.
    QString note() const
    {
        if (reason.isEmpty() || (isFailed() && reason == state.message()))
            return {};
        const QString label = isLastError  ? QStringLiteral("Last error: ")
                              : isFailed() ? QStringLiteral("Reason: ")
                                           : QString();
        return label + reason;
    }

    /// Returns the notification's text of the table.
    QString explanation() const
    {
        if (!doubt.isEmpty())
            return QStringLiteral("The state shown may be wrong: ") + doubt +
                   (isLastError ? QStringLiteral(". ") + note() : QString());
        return reason.isEmpty()
                   ? QStringLiteral("Not connected after a minute, and cloudflared does not say why")
                   : reason;
    }

    bool operator==(const TunnelStatus &) const = default;
};
