// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Samples.h"

using namespace Qt::StringLiterals;

namespace Samples {

Symbol dot(ColorRole color, const QString &description)
{
    Symbol image;
    image.symbolName = u"circle.fill"_s;
    image.description = description;
    image.pointSize = 9;
    image.color = color;
    return image;
}

MenuItem separator(const QString &id)
{
    MenuItem item;
    item.id = id;
    item.isSeparator = true;
    return item;
}

MenuItem command(const QString &id, const QString &title, MenuAction action, const QString &key)
{
    MenuItem item;
    item.id = id;
    item.title = title;
    item.shortcut = key;
    item.action = action;
    return item;
}

MenuItem tunnel(int number, const QString &name, const QString &detail, ColorRole color)
{
    MenuItem item = command(u"tunnel-%1"_s.arg(number), name, MenuAction::ToggleTunnel);
    item.detail = detail;
    item.toolTip = u"Click to stop the tunnel"_s;
    item.image = dot(color, detail);
    item.data = QUuid(uint(number), 0, 0, 0, 0, 0, 0, 0, 0, 0, 1);
    return item;
}

MenuItem openAddress(int number, const QString &host)
{
    MenuItem item = command(u"open-%1"_s.arg(number), u"Open "_s + host, MenuAction::OpenURL);
    item.indentation = 1;
    item.data = QUrl(u"https://"_s + host);
    return item;
}

Menu menu(int tunnels)
{
    MenuItem header = command(u"header"_s, u"Morvanel · 1/%1 connected"_s.arg(tunnels), MenuAction::None);
    header.isEnabled = false;
    Menu menu{header, separator(u"header-end"_s)};
    for (int i = 1; i <= tunnels; ++i)
        menu += tunnel(i, u"tunnel_%1"_s.arg(i), u"Stopped · click to start"_s, ColorRole::TertiaryLabel);
    return menu + Menu{separator(u"all-start"_s),
                       command(u"start-all"_s, u"Start All"_s, MenuAction::StartAll),
                       command(u"stop-all"_s, u"Stop All"_s, MenuAction::StopAll),
                       separator(u"commands-start"_s),
                       command(u"logs"_s, u"Log…"_s, MenuAction::OpenLogs, u"l"_s),
                       command(u"settings"_s, u"Settings…"_s, MenuAction::OpenSettings, u","_s),
                       separator(u"quit-start"_s),
                       command(u"quit"_s, u"Quit Morvanel"_s, MenuAction::Quit, u"q"_s)};
}

StatusItemContent content(const QString &status, int connected)
{
    Symbol image;
    image.pointSize = 15;
    image.symbolName = u"bolt.horizontal.icloud"_s;
    image.description = u"No active tunnels"_s;
    image.isTemplate = status == u"idle";
    if (status == u"connecting") {
        image.symbolName = u"arrow.clockwise.icloud"_s;
        image.description = u"Connecting"_s;
        image.color = ColorRole::Orange;
    } else if (status == u"connected") {
        image.symbolName = u"bolt.horizontal.icloud.fill"_s;
        image.description = u"Tunnels connected"_s;
        image.color = ColorRole::Green;
    } else if (status == u"problem") {
        image.symbolName = u"exclamationmark.icloud.fill"_s;
        image.description = u"A tunnel has a problem"_s;
        image.color = ColorRole::Red;
    }
    StatusItemContent content;
    content.image = image;
    content.title = connected >= 2 ? u" %1"_s.arg(connected) : QString();
    content.toolTip = u"Morvanel: "_s + status;
    content.badge = connected > 0 ? QString::number(connected) : QString();
    return content;
}

} // namespace Samples
