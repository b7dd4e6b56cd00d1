// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelConfig.h"

/// A tunnel's state, and why it is not connected.
///
/// | the tunnel               | in the menu                   | in the windows, beside the state's label |
/// | ------------------------ | ----------------------------- | ---------------------------------------- |
/// | failed                   | the state's message           | nothing: the label has the message       |
/// | starting or reconnecting | the state's label             | "Last error: " and the reason            |
/// | waits for its token      | the state's label             | nothing                                  |
/// | any other                | the state's label             | nothing                                  |
///
/// A notification has the reason, and the label where none is known.
struct TunnelStatus
{
    TunnelState state;
    /// A failure's reason, the last error of a child that is not connected, or a start's reason to wait, on
    /// one line; empty in other states and where nothing is known.
    QString reason;
    bool isLastError = false; ///< the reason is an error of a child that still tries
    /// Number of failures so far, which tells failures with one reason apart.
    int failureCount = 0;

    /// Returns the windows' text of the table.
    QString note() const { return isLastError ? QStringLiteral("Last error: ") + reason : QString(); }

    bool operator==(const TunnelStatus &) const = default;
};
