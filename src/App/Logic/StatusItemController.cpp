// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusItemController.h"

#include "StatusIcon.h"
#include "StatusItem.h"
#include "Text.h"

#include <QHash>

using namespace Qt::StringLiterals;

namespace {

constexpr int failureCharacters = 70;

QString detailText(const TunnelConfig &tunnel, const TunnelState &state)
{
    switch (state.kind()) {
    case TunnelState::Case::Failed:
        return u"Error · "_s + Text::firstCharacters(state.message(), failureCharacters);
    case TunnelState::Case::Stopped:
        return tunnel.hostname.isEmpty() ? u"Stopped · click to start"_s : u"Stopped · "_s + tunnel.hostname;
    default:
        return state.label();
    }
}

QString toolTip(const TunnelManager &manager)
{
    switch (manager.overallStatus()) {
    case OverallStatus::Connecting:
        return u"Morvanel: connecting"_s;
    case OverallStatus::Connected:
        return u"Morvanel: %1 of %2 tunnels connected"_s.arg(manager.connectedCount())
            .arg(manager.tunnels().size());
    case OverallStatus::Problem:
        return u"Morvanel: a tunnel has a problem"_s;
    case OverallStatus::Idle:
        break;
    }
    return u"Morvanel: no active tunnels"_s;
}

MenuItem command(const QString &id, const QString &title, MenuAction action, const QString &key = {})
{
    MenuItem item;
    item.id = id;
    item.title = title;
    item.shortcut = key;
    item.action = action;
    return item;
}

/// Returns a line of text that nobody can choose.
MenuItem note(const QString &id, const QString &title)
{
    MenuItem item = command(id, title, MenuAction::None);
    item.isEnabled = false;
    return item;
}

MenuItem separator(const QString &id)
{
    MenuItem item = command(u"separator."_s + id, {}, MenuAction::None);
    item.isSeparator = true;
    return item;
}

MenuItem toggle(const QString &entryName, const QString &title, const TunnelConfig &tunnel,
                const TunnelState &state)
{
    MenuItem item = command(u"tunnel."_s + entryName, title, MenuAction::ToggleTunnel);
    item.image = StatusIcon::dot(state);
    item.data = tunnel.id;
    return item;
}

/// Names a tunnel's entries by its id, apart also where a stored list holds one id twice. `seen` counts the
/// ids so far.
QString entryName(const QUuid &id, QHash<QUuid, int> &seen)
{
    const int count = ++seen[id];
    return count == 1 ? tunnelIdText(id) : u"%1.%2"_s.arg(tunnelIdText(id)).arg(count);
}

/// Returns the host of the tunnel's address in the letters that the user typed: a QUrl has lower-case ones.
/// The whole address where that has no host.
QString addressText(const QString &hostname, const QUrl &url)
{
    const QString host = url.host();
    if (host.isEmpty())
        return QString::fromLatin1(url.toEncoded());
    const qsizetype mark = hostname.indexOf("://"_L1);
    const qsizetype at = hostname.indexOf(host, mark < 0 ? 0 : mark, Qt::CaseInsensitive);
    return at < 0 ? host : hostname.mid(at, host.size());
}

MenuItem openAddress(const QString &entryName, const TunnelConfig &tunnel, const QUrl &url)
{
    const QString address = Text::shortenedInMiddle(addressText(tunnel.hostname, url), longestMenuName);
    MenuItem item = command(u"open."_s + entryName, u"Open "_s + address, MenuAction::OpenURL);
    item.indentation = 1;
    item.data = url;
    return item;
}

} // namespace

StatusItemController::StatusItemController(TunnelManager &manager, Windows &windows, StatusItem &statusItem,
                                           Application &application, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_windows(windows)
    , m_statusItem(statusItem)
    , m_application(application)
{
    // Looks again when the menu is wanted: cloudflared comes and goes without an announcement.
    m_statusItem.setCallbacks({.menuAboutToShow = [this] { refresh(); },
                               .itemChosen = [this](const MenuItem &item) { choose(item); }});
    connect(&m_manager, &TunnelManager::objectDidChange, this, &StatusItemController::refresh);
    refresh();
}

StatusItemController::~StatusItemController()
{
    m_statusItem.setCallbacks({});
}

void StatusItemController::refresh()
{
    updateButton();
    rebuildMenu();
    m_statusItem.setDockMenu(makeDockMenu());
}

void StatusItemController::updateButton()
{
    const int connected = m_manager.connectedCount();
    m_statusItem.setContent({.image = StatusIcon::image(m_manager.overallStatus()),
                             .title = connected >= 2 ? u" %1"_s.arg(connected) : QString(),
                             .toolTip = toolTip(m_manager),
                             .badge = connected >= 1 ? QString::number(connected) : QString()});
}

/// Describes the whole menu anew; the panel's side finds what is different.
void StatusItemController::rebuildMenu()
{
    const QList<TunnelConfig> &tunnels = m_manager.tunnels();
    Menu menu{headerItem(), separator(u"header"_s)};
    QHash<QUuid, int> seen;
    for (const TunnelConfig &tunnel : tunnels)
        addItems(menu, tunnel, entryName(tunnel.id, seen));
    if (tunnels.isEmpty()) {
        menu += {note(u"no-tunnels"_s, u"No tunnels configured"_s),
                 command(u"add-tunnel"_s, u"Add Tunnel…"_s, MenuAction::OpenSettings)};
    }
    if (!m_manager.isCloudflaredExecutable()) {
        menu += {separator(u"warning"_s),
                 command(u"warning"_s, u"⚠︎ cloudflared not found"_s, MenuAction::OpenSettings)};
    }
    if (!tunnels.isEmpty())
        menu += separator(u"all"_s);
    if (tunnels.size() > 1) {
        MenuItem startAll = command(u"start-all"_s, u"Start All"_s, MenuAction::StartAll);
        startAll.isEnabled = m_manager.runningCount() < tunnels.size();
        menu += startAll;
    }
    if (!tunnels.isEmpty())
        menu += stopAllItem();
    menu += {separator(u"windows"_s), command(u"logs"_s, u"Log…"_s, MenuAction::OpenLogs, u"l"_s),
             command(u"settings"_s, u"Settings…"_s, MenuAction::OpenSettings, u","_s), separator(u"quit"_s),
             command(u"quit"_s, u"Quit Morvanel"_s, MenuAction::Quit, u"q"_s)};
    m_statusItem.setMenu(menu);
}

/// Returns the menu of the launcher's icon, a short form of the other one, one line for each tunnel.
Menu StatusItemController::makeDockMenu() const
{
    Menu menu;
    QHash<QUuid, int> seen;
    for (const TunnelConfig &tunnel : m_manager.tunnels()) {
        const TunnelState &state = m_manager.state(tunnel.id);
        const QString name = Text::shortenedInMiddle(tunnel.name, longestMenuName);
        menu += toggle(entryName(tunnel.id, seen), name + u" — "_s + state.label(), tunnel, state);
    }
    if (!menu.isEmpty())
        menu += {separator(u"all"_s), stopAllItem()};
    menu += command(u"logs"_s, u"Log…"_s, MenuAction::OpenLogs);
    return menu;
}

MenuItem StatusItemController::headerItem() const
{
    const qsizetype total = m_manager.tunnels().size();
    return note(u"header"_s,
                total == 0 ? u"Morvanel"_s
                           : u"Morvanel · %1/%2 connected"_s.arg(m_manager.connectedCount()).arg(total));
}

MenuItem StatusItemController::stopAllItem() const
{
    MenuItem item = command(u"stop-all"_s, u"Stop All"_s, MenuAction::StopAll);
    item.isEnabled = m_manager.runningCount() > 0;
    return item;
}

void StatusItemController::addItems(Menu &menu, const TunnelConfig &tunnel, const QString &entryName) const
{
    const TunnelState &state = m_manager.state(tunnel.id);
    MenuItem item = toggle(entryName, tunnel.name, tunnel, state);
    item.detail = detailText(tunnel, state);
    item.toolTip = state.isRunning() ? u"Click to stop the tunnel"_s : u"Click to start the tunnel"_s;
    menu += item;
    if (state.kind() == TunnelState::Case::Connected) {
        if (const std::optional<QUrl> url = tunnel.browserURL())
            menu += openAddress(entryName, tunnel, *url);
    }
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
        return startAll();
    case MenuAction::StopAll:
        return stopAll();
    case MenuAction::OpenLogs:
        return openLogs();
    case MenuAction::OpenSettings:
        return openSettings();
    case MenuAction::Quit:
        return quit();
    case MenuAction::None:
        break;
    }
}

void StatusItemController::toggleTunnel(const MenuItem &sender)
{
    if (const auto *id = std::get_if<QUuid>(&sender.data))
        m_manager.toggle(*id);
}

void StatusItemController::openURL(const MenuItem &sender)
{
    if (const auto *url = std::get_if<QUrl>(&sender.data))
        m_application.open(*url);
}

#include "moc_StatusItemController.cpp"
