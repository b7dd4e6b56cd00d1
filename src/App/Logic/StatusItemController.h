// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Menu.h"

#include <QObject>

class Application;
class StatusItem;
class TunnelManager;
class Windows;

/// Keeps the panel's item, its menu, the badge and the launcher's menu in step with the manager, and does
/// what a chosen entry asks for.
///
/// Pushes everything, complete, after each change: desktops differ in whether they ask before they show a
/// menu. All announcements within one turn of the event loop give one refresh.
class StatusItemController : public QObject
{
    Q_OBJECT

public:
    /// All of them outlive the controller. Fills the item at once.
    StatusItemController(TunnelManager &manager, Windows &windows, StatusItem &statusItem,
                         Application &application, QObject *parent = nullptr);
    /// Leaves the item as it is; entries chosen from now on do nothing.
    ~StatusItemController() override;

    /// The launcher's menu as of now.
    Menu makeDockMenu() const;

private:
    void refresh();
    void choose(const MenuItem &item);
    void toggleTunnel(const MenuItem &item);
    void openURL(const MenuItem &item);

    TunnelManager &m_manager;
    Windows &m_windows;
    StatusItem &m_statusItem;
    Application &m_application;
};
