// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LoginSwitch.h"

#include "LoginItem.h"
#include "TunnelManager.h"

void LoginSwitch::appear()
{
    m_isOn = m_manager.launchesAtLogin();
}

void LoginSwitch::set(bool isOn)
{
    if (isOn == m_isOn)
        return;
    m_isOn = isOn;
    if (isOn == m_manager.launchesAtLogin())
        return;
    try {
        m_manager.setLaunchesAtLogin(isOn);
        m_error.reset();
    } catch (const LoginItemError &error) {
        m_error = error.message();
        m_isOn = m_manager.launchesAtLogin();
    }
}
