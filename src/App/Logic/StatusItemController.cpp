// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusItemController.h"

#include "Application.h"
#include "StatusItem.h"
#include "StatusPresentation.h"
#include "TunnelManager.h"
#include "Windows.h"

StatusItemController::StatusItemController(TunnelManager &manager, Windows &windows, StatusItem &statusItem,
                                           Application &application, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_windows(windows)
    , m_statusItem(statusItem)
    , m_application(application)
{
    // Whether cloudflared is there changes without an announcement: look again when the menu is wanted.
    m_statusItem.setCallbacks({.menuAboutToShow = [this] { refresh(); },
                               .itemChosen = [this](const MenuItem &item) { choose(item); }});
    connect(&m_manager, &TunnelManager::objectDidChange, this, &StatusItemController::refresh);
    refresh();
}

StatusItemController::~StatusItemController()
{
    m_statusItem.setCallbacks({});
}

Menu StatusItemController::makeDockMenu() const
{
    return StatusPresentation::dockMenu(TunnelsSnapshot::of(m_manager));
}

void StatusItemController::refresh()
{
    const TunnelsSnapshot snapshot = TunnelsSnapshot::of(m_manager);
    m_statusItem.setContent(StatusPresentation::content(snapshot));
    m_statusItem.setMenu(StatusPresentation::menu(snapshot));
    m_statusItem.setDockMenu(StatusPresentation::dockMenu(snapshot));
}

void StatusItemController::choose(const MenuItem &item)
{
    if (!item.isEnabled)
        return;
    switch (item.action) {
    case MenuAction::ToggleTunnel:
        return toggleTunnel(item);
    case MenuAction::OpenURL:
        return openURL(item);
    case MenuAction::StartAll:
        return m_manager.startAll();
    case MenuAction::StopAll:
        return m_manager.stopAll();
    case MenuAction::OpenLogs:
        return m_windows.showLogs(std::nullopt);
    case MenuAction::OpenSettings:
        return m_windows.showSettings();
    case MenuAction::Quit:
        return m_application.terminate();
    case MenuAction::None:
        break;
    }
}

void StatusItemController::toggleTunnel(const MenuItem &item)
{
    const auto *id = std::get_if<QUuid>(&item.data);
    if (id)
        m_manager.toggle(*id);
}

void StatusItemController::openURL(const MenuItem &item)
{
    if (const auto *url = std::get_if<QUrl>(&item.data))
        m_application.open(*url);
}
