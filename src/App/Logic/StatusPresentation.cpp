// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusPresentation.h"

#include "StatusIcon.h"
#include "Text.h"
#include "TunnelManager.h"

#include <QHash>

using namespace Qt::StringLiterals;

namespace {

constexpr int failureCharacters = 70;
/// Of a name or an address; a menu could not hold more.
constexpr int nameCharacters = 200;

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

QString toolTip(const TunnelsSnapshot &snapshot)
{
    switch (snapshot.overallStatus) {
    case OverallStatus::Connecting:
        return u"Morvanel: connecting"_s;
    case OverallStatus::Connected:
        return u"Morvanel: %1 of %2 tunnels connected"_s.arg(snapshot.connectedCount)
            .arg(snapshot.entries.size());
    case OverallStatus::Problem:
        return u"Morvanel: a tunnel has a problem"_s;
    case OverallStatus::Idle:
        break;
    }
    return u"Morvanel: no active tunnels"_s;
}

MenuItem separator(const QString &id)
{
    MenuItem item;
    item.id = u"separator."_s + id;
    item.isSeparator = true;
    return item;
}

/// A line of text that nobody can choose.
MenuItem note(const QString &id, const QString &title)
{
    MenuItem item;
    item.id = id;
    item.title = title;
    item.isEnabled = false;
    return item;
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

MenuItem header(const TunnelsSnapshot &snapshot)
{
    return note(
        u"header"_s,
        snapshot.entries.isEmpty()
            ? u"Morvanel"_s
            : u"Morvanel · %1/%2 connected"_s.arg(snapshot.connectedCount).arg(snapshot.entries.size()));
}

MenuItem stopAll(const TunnelsSnapshot &snapshot)
{
    MenuItem item = command(u"stop-all"_s, u"Stop All"_s, MenuAction::StopAll);
    item.isEnabled = snapshot.runningCount > 0;
    return item;
}

MenuItem startAll(const TunnelsSnapshot &snapshot)
{
    MenuItem item = command(u"start-all"_s, u"Start All"_s, MenuAction::StartAll);
    item.isEnabled = snapshot.runningCount < snapshot.entries.size();
    return item;
}

/// Names entries after their tunnel, apart also where a stored list holds one id twice.
class EntryNames
{
public:
    QString next(const QUuid &id)
    {
        const int count = ++m_counts[id];
        const QString name = tunnelIdText(id);
        return count == 1 ? name : u"%1.%2"_s.arg(name).arg(count);
    }

private:
    QHash<QUuid, int> m_counts;
};

MenuItem toggle(const QString &name, const TunnelsSnapshot::Entry &entry, const QString &title)
{
    MenuItem item = command(u"tunnel."_s + name, title, MenuAction::ToggleTunnel);
    item.image = StatusIcon::dot(entry.state);
    item.data = entry.tunnel.id;
    return item;
}

MenuItem openAddress(const QString &name, const QUrl &url)
{
    const QString host = url.host();
    const QString address = host.isEmpty() ? QString::fromLatin1(url.toEncoded()) : host;
    MenuItem item = command(u"open."_s + name, u"Open "_s + Text::shortenedInMiddle(address, nameCharacters),
                            MenuAction::OpenURL);
    item.indentation = 1;
    item.data = url;
    return item;
}

Menu entriesOf(const QString &name, const TunnelsSnapshot::Entry &entry)
{
    MenuItem item = toggle(name, entry, entry.tunnel.name);
    item.detail = detailText(entry.tunnel, entry.state);
    item.toolTip = entry.state.isRunning() ? u"Click to stop the tunnel"_s : u"Click to start the tunnel"_s;
    Menu menu{item};
    if (entry.state.kind() == TunnelState::Case::Connected) {
        if (const std::optional<QUrl> url = entry.tunnel.browserURL())
            menu += openAddress(name, *url);
    }
    return menu;
}

Menu tunnelEntries(const TunnelsSnapshot &snapshot)
{
    if (snapshot.entries.isEmpty()) {
        return {note(u"no-tunnels"_s, u"No tunnels configured"_s),
                command(u"add-tunnel"_s, u"Add Tunnel…"_s, MenuAction::OpenSettings)};
    }
    Menu menu;
    EntryNames names;
    for (const TunnelsSnapshot::Entry &entry : snapshot.entries)
        menu += entriesOf(names.next(entry.tunnel.id), entry);
    return menu;
}

} // namespace

TunnelsSnapshot TunnelsSnapshot::of(const TunnelManager &manager)
{
    TunnelsSnapshot snapshot;
    for (const TunnelConfig &tunnel : manager.tunnels())
        snapshot.entries += {tunnel, manager.state(tunnel.id)};
    snapshot.overallStatus = manager.overallStatus();
    snapshot.runningCount = manager.runningCount();
    snapshot.connectedCount = manager.connectedCount();
    snapshot.isCloudflaredExecutable = manager.isCloudflaredExecutable();
    return snapshot;
}

namespace StatusPresentation {

StatusItemContent content(const TunnelsSnapshot &snapshot)
{
    const int connected = snapshot.connectedCount;
    return {StatusIcon::image(snapshot.overallStatus), connected >= 2 ? u" %1"_s.arg(connected) : QString(),
            toolTip(snapshot), connected >= 1 ? QString::number(connected) : QString()};
}

Menu menu(const TunnelsSnapshot &snapshot)
{
    Menu menu{header(snapshot), separator(u"header"_s)};
    menu += tunnelEntries(snapshot);
    if (!snapshot.isCloudflaredExecutable) {
        menu += {separator(u"warning"_s),
                 command(u"warning"_s, u"⚠︎ cloudflared not found"_s, MenuAction::OpenSettings)};
    }
    if (!snapshot.entries.isEmpty())
        menu += separator(u"all"_s);
    if (snapshot.entries.size() > 1)
        menu += startAll(snapshot);
    if (!snapshot.entries.isEmpty())
        menu += stopAll(snapshot);
    menu += {separator(u"windows"_s), command(u"logs"_s, u"Log…"_s, MenuAction::OpenLogs, u"l"_s),
             command(u"settings"_s, u"Settings…"_s, MenuAction::OpenSettings, u","_s), separator(u"quit"_s),
             command(u"quit"_s, u"Quit Morvanel"_s, MenuAction::Quit, u"q"_s)};
    return menu;
}

Menu dockMenu(const TunnelsSnapshot &snapshot)
{
    Menu menu;
    EntryNames names;
    for (const TunnelsSnapshot::Entry &entry : snapshot.entries) {
        const QString name = Text::shortenedInMiddle(entry.tunnel.name, nameCharacters);
        menu += toggle(names.next(entry.tunnel.id), entry, name + u" — "_s + entry.state.label());
    }
    if (!snapshot.entries.isEmpty())
        menu += {separator(u"all"_s), stopAll(snapshot)};
    menu += command(u"logs"_s, u"Log…"_s, MenuAction::OpenLogs);
    return menu;
}

} // namespace StatusPresentation
