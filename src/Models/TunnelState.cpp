// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelState.h"

using namespace Qt::StringLiterals;

QString TunnelState::label() const
{
    switch (m_case) {
    case Case::Connected:
        return m_connections == 1 ? u"Connected (1 connection)"_s
                                  : u"Connected (%1 connections)"_s.arg(m_connections);
    case Case::Failed:
        return u"Error: "_s + m_message;
    case Case::Stopped:
        return u"Stopped"_s;
    case Case::Starting:
        return u"Connecting…"_s;
    case Case::Reconnecting:
        return u"Reconnecting…"_s;
    case Case::Stopping:
        return u"Stopping…"_s;
    }
    Q_UNREACHABLE();
}

ColorRole TunnelState::colorRole() const
{
    switch (m_case) {
    case Case::Connected:
        return ColorRole::Green;
    case Case::Failed:
        return ColorRole::Red;
    case Case::Starting:
    case Case::Reconnecting:
    case Case::Stopping:
        return ColorRole::Orange;
    case Case::Stopped:
        break;
    }
    return ColorRole::TertiaryLabel;
}
