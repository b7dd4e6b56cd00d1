// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Menu.h"
#include "StatusItem.h"
#include "TunnelConfig.h"

#include <QList>

class TunnelManager;

/// What the panel shows of a manager, read at one moment.
struct TunnelsSnapshot
{
    struct Entry
    {
        TunnelConfig tunnel;
        TunnelState state = TunnelState::stopped();
    };

    QList<Entry> entries; ///< in the manager's order
    OverallStatus overallStatus = OverallStatus::Idle;
    int runningCount = 0;
    int connectedCount = 0;
    bool isCloudflaredExecutable = true;

    static TunnelsSnapshot of(const TunnelManager &manager);
};

/// What stands in the panel and the launcher for a snapshot, as values: nothing here draws or acts.
namespace StatusPresentation {

StatusItemContent content(const TunnelsSnapshot &snapshot);

/// The menu of the panel's item, always complete.
Menu menu(const TunnelsSnapshot &snapshot);

/// The menu of the launcher's icon: a short form of the other one, one line for each tunnel.
Menu dockMenu(const TunnelsSnapshot &snapshot);

} // namespace StatusPresentation
