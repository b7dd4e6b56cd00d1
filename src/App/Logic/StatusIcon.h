// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Symbol.h"
#include "TunnelState.h"

#include <QList>

/// Pictures by state, as data, to be drawn where they are shown.
namespace StatusIcon {

/// Returns the picture in the panel for all tunnels together. Idle is a template in the panel's own colour,
/// the others keep theirs.
Symbol image(OverallStatus status);
/// Returns the pictures of all statuses: panels look for their files before they are shown.
QList<Symbol> images();

/// Returns the dot before a tunnel's entry; a screen reader speaks the state's label.
Symbol dot(const TunnelState &state);

} // namespace StatusIcon
