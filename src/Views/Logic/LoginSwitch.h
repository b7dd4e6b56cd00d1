// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "LoginItem.h"
#include "TunnelManager.h"

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

    bool launchAtLogin() const { return m_launchAtLogin; }
    /// Returns why the last change was refused, in the desktop's own words; none once a change has succeeded.
    const std::optional<QString> &loginError() const { return m_loginError; }

    /// Takes the desktop's setting, which may have been changed elsewhere. No request follows.
    void appear() { m_launchAtLogin = m_manager.launchesAtLogin(); }

    /// Asks for a change when the desktop's setting is another.
    void set(bool launchAtLogin)
    {
        if (launchAtLogin == m_launchAtLogin)
            return;
        m_launchAtLogin = launchAtLogin;
        if (launchAtLogin == m_manager.launchesAtLogin())
            return;
        try {
            m_manager.setLaunchesAtLogin(launchAtLogin);
            m_loginError.reset();
        } catch (const LoginItemError &error) {
            m_loginError = error.message();
            m_launchAtLogin = m_manager.launchesAtLogin();
        }
    }

private:
    TunnelManager &m_manager;
    bool m_launchAtLogin = false;
    std::optional<QString> m_loginError;
};
