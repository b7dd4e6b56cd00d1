// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "HostQuirks.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

struct Row
{
    QStringView busName; ///< has an owner where this panel runs; empty: not told by a name
    QStringView process; ///< the name in /proc of the notifier watcher's owner; empty: not told by it
    HostQuirks quirks;
};

constexpr HostQuirks plasma{.joinsLines = true,
                            .opensMenuIfRefused = true,
                            .blursScaledFiles = true,
                            .tintsByStyle = true,
                            .hasMargins = true,
                            .takesKeysLiterally = true,
                            .hasImageColumn = true};
constexpr HostQuirks lxqt{
    .joinsLines = true, .tintsNothing = true, .takesKeysLiterally = true, .hasImageColumn = true};
constexpr HostQuirks gnome{
    .hasSmallIcons = true, .undoublesOnce = true, .hasImageColumn = true, .losesSignals = true};
constexpr HostQuirks mate{.blursFiles = true, .tintsNothing = true, .hasSmallIcons = true};
constexpr HostQuirks untinted{.tintsNothing = true};
constexpr HostQuirks xfce{.showsDescription = true};

/// Of several rows that fit the first one counts. The kernel cuts names of processes after 15 characters.
constexpr std::array table{
    Row{u"org.kde.plasmashell", {}, plasma}, Row{{}, u"lxqt-panel", lxqt},
    Row{{}, u"gnome-shell", gnome},          Row{{}, u"xapp-sn-watcher", untinted},
    Row{{}, u"notification-ar", mate},       Row{{}, u"waybar", untinted},
    Row{{}, u"ayatana-indicat", untinted},   Row{u"org.xfce.Panel", {}, xfce},
};

} // namespace

QStringList HostQuirks::busNames()
{
    QStringList names;
    for (const Row &row : table) {
        if (!row.busName.isEmpty())
            names += row.busName.toString();
    }
    return names;
}

HostQuirks HostQuirks::of(const QSet<QString> &present, const QString &watcherProcess)
{
    for (const Row &row : table) {
        const bool isNamed = !row.busName.isEmpty() && present.contains(row.busName.toString());
        if (isNamed || (!row.process.isEmpty() && row.process == watcherProcess))
            return row.quirks;
    }
    return {};
}
