// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Symbol.h"
#include "TunnelConfig.h"

#include <QByteArrayView>

/// What the Logs window decides about lines, tunnels and scrolling.
namespace LogRules {

/// The colour of a line of a log; `None` is the text colour. Failures win over warnings, warnings over new
/// connections.
ColorRole color(QByteArrayView line);

/// The tunnel to show when the window appears: the one chosen before, else the first there is.
std::optional<QUuid> selectionOnAppear(const std::optional<QUuid> &selection,
                                       const QList<TunnelConfig> &tunnels);

/// Whether the view goes to the newest line when it holds `count` lines after `previousCount`. A full log
/// that loses a line for each new one stays where it is.
bool scrollsToEnd(qsizetype previousCount, qsizetype count);

} // namespace LogRules
