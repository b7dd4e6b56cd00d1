// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusIcon.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int panelPointSize = 15;
constexpr int dotPointSize = 9;

} // namespace

namespace StatusIcon {

Symbol image(OverallStatus status)
{
    const auto colored = [](const QString &symbolName, const QString &description, ColorRole color) {
        return Symbol{symbolName, description, panelPointSize, color, false};
    };
    switch (status) {
    case OverallStatus::Connecting:
        return colored(u"arrow.clockwise.icloud"_s, u"Connecting"_s, ColorRole::Orange);
    case OverallStatus::Connected:
        return colored(u"bolt.horizontal.icloud.fill"_s, u"Tunnels connected"_s, ColorRole::Green);
    case OverallStatus::Problem:
        return colored(u"exclamationmark.icloud.fill"_s, u"A tunnel has a problem"_s, ColorRole::Red);
    case OverallStatus::Idle:
        break;
    }
    return {u"bolt.horizontal.icloud"_s, u"No active tunnels"_s, panelPointSize, ColorRole::None, true};
}

Symbol dot(const TunnelState &state)
{
    return {u"circle.fill"_s, state.label(), dotPointSize, state.colorRole(), false};
}

} // namespace StatusIcon
