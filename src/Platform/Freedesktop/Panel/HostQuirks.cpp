// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "HostQuirks.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

struct Row
{
    QStringView busName; ///< has an owner where this panel runs; empty: not told by a name
    QStringView process; ///< owns the notifier watcher where this panel runs; empty: not told by it
    HostQuirks quirks;
};

constexpr std::array table{
    Row{u"org.kde.plasmashell", {}, {.twoLineLabels = false, .refusesActivate = true}},
    Row{{}, u"lxqt-panel", {.twoLineLabels = false, .refusesActivate = false}},
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
