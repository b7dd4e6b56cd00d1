// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusIcon.h"

using namespace Qt::StringLiterals;

namespace StatusIcon {

Symbol image(OverallStatus status)
{
    switch (status) {
    case OverallStatus::Connecting:
        return {u"arrow.clockwise.icloud"_s, u"Connecting"_s, u"morvanel-connecting"_s, ColorRole::Orange,
                false};
    case OverallStatus::Connected:
        return {u"bolt.horizontal.icloud.fill"_s, u"Tunnels connected"_s, u"morvanel-connected"_s,
                ColorRole::Green, false};
    case OverallStatus::Problem:
        return {u"exclamationmark.icloud.fill"_s, u"A tunnel has a problem"_s, u"morvanel-problem"_s,
                ColorRole::Red, false};
    case OverallStatus::Idle:
        break;
    }
    return {u"bolt.horizontal.icloud"_s, u"No active tunnels"_s, u"morvanel-idle"_s, ColorRole::None, true};
}

QList<Symbol> images()
{
    return {image(OverallStatus::Idle), image(OverallStatus::Connecting), image(OverallStatus::Connected),
            image(OverallStatus::Problem)};
}

Symbol dot(const TunnelState &state)
{
    return {u"circle.fill"_s, state.label(), {}, state.colorRole(), false};
}

} // namespace StatusIcon
