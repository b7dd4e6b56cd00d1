// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Application.h"
#include "Menu.h"
#include "TunnelConfig.h"
#include "TunnelManager.h"
#include "Windows.h"

#include <QObject>

class StatusItem;

/// Keeps the panel's item, its menu, the badge and the launcher's menu in step with the manager, and carries
/// out a chosen entry.
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

private:
    void refresh();
    void updateButton();
    void rebuildMenu();
    Menu makeDockMenu() const;
    MenuItem headerItem() const;
    MenuItem stopAllItem() const;
    void addItems(Menu &menu, const TunnelConfig &tunnel, const QString &entryName) const;

    void choose(const MenuItem &item);
    void toggleTunnel(const MenuItem &sender);
    void openURL(const MenuItem &sender);
    void startAll() { m_manager.startAll(); }
    void stopAll() { m_manager.stopAll(); }
    void openLogs() { m_windows.showLogs(std::nullopt); }
    void openSettings() { m_windows.showSettings(); }
    void quit() { m_application.terminate(); }

    TunnelManager &m_manager;
    Windows &m_windows;
    StatusItem &m_statusItem;
    Application &m_application;
};
