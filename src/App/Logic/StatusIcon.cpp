// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusIcon.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace {

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(StatusIcon)
};

constexpr int panelPointSize = 15;
constexpr int dotPointSize = 9;

} // namespace

namespace StatusIcon {

/// The table in Panel/StatusPicture has the same colours and the same template, for icons that panels look
/// for before they are shown: to be changed together.
Symbol image(OverallStatus status)
{
    const auto colored = [](const QString &symbolName, const QString &description, ColorRole color) {
        return Symbol{symbolName, description, panelPointSize, color, false};
    };
    switch (status) {
    case OverallStatus::Connecting:
        return colored(u"arrow.clockwise.icloud"_s, Text::tr("Connecting"), ColorRole::Orange);
    case OverallStatus::Connected:
        return colored(u"bolt.horizontal.icloud.fill"_s, Text::tr("Tunnels connected"), ColorRole::Green);
    case OverallStatus::Problem:
        return colored(u"exclamationmark.icloud.fill"_s, Text::tr("A tunnel has a problem"), ColorRole::Red);
    case OverallStatus::Idle:
        break;
    }
    return {u"bolt.horizontal.icloud"_s, Text::tr("No active tunnels"), panelPointSize, ColorRole::None,
            true};
}

Symbol dot(const TunnelState &state)
{
    return {u"circle.fill"_s, state.label(), dotPointSize, state.colorRole(), false};
}

} // namespace StatusIcon
