// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QSet>
#include <QString>
#include <QStringList>

/// What one panel needs done differently from the others. All that is known of single panels stands in
/// the table of HostQuirks.cpp and nowhere else.
struct HostQuirks
{
    bool twoLineLabels = true;    ///< false: "name — detail", because a line break is squeezed or dropped
    bool refusesActivate = false; ///< an error reply to `Activate` makes the panel open the menu itself

    bool operator==(const HostQuirks &) const = default;

    /// The names on the session bus that tell panels apart.
    static QStringList busNames();
    /// The quirks of the panel at hand.
    ///
    /// @param present those of `busNames` that have an owner
    /// @param watcherProcess name of the process that owns the notifier watcher; may be empty
    static HostQuirks of(const QSet<QString> &present, const QString &watcherProcess);
};
