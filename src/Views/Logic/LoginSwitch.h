// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <optional>

class TunnelManager;

/// The switch that opens the program at login. Its position is the wish; the desktop's setting is the truth,
/// which it returns to when a wish is refused and whenever it comes into view.
class LoginSwitch
{
public:
    /// `manager` outlives the switch.
    explicit LoginSwitch(TunnelManager &manager)
        : m_manager(manager)
    {
    }

    bool isOn() const { return m_isOn; }
    /// Why the last change was refused, in the desktop's own words; none once a change has succeeded.
    const std::optional<QString> &error() const { return m_error; }

    /// Takes the desktop's setting, which may have been changed elsewhere. No request follows.
    void appear();
    /// Asks for a change when the desktop's setting is another.
    void set(bool isOn);

private:
    TunnelManager &m_manager;
    bool m_isOn = false;
    std::optional<QString> m_error;
};
