// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QSet>
#include <QString>
#include <QStringList>

/// One panel's differences from the others. The panels and their differences stand in the table of
/// HostQuirks.cpp alone.
struct HostQuirks
{
    bool joinsLines = false;         ///< squeezes or drops a line break: "name — detail"
    bool opensMenuIfRefused = false; ///< does so by itself where `Activate` is answered with an error
    bool blursFiles = false;         ///< as icons; pixmaps stay sharp
    bool blursScaledFiles = false;   ///< the same on a scaled screen
    bool tintsByStyle = false;       ///< icons by the style in them instead of by "symbolic" in their names
    bool tintsNothing = false;       ///< no icon; one with "symbolic" in its name may even not be shown
    bool hasMargins = false;         ///< around its own icons, of 3 pixels in 22
    bool hasSmallIcons = false;      ///< of 16 or 32 pixels instead of 22 or 24
    bool takesKeysLiterally = false; ///< a key is the character itself, "," instead of "comma"
    bool undoublesOnce = false;      ///< only the first underscore before another character needs doubling
    bool showsDescription = false;   ///< adds the icon's accessible description to the tooltip
    bool hasImageColumn = false;     ///< in menus, also beside entries without an image
    bool losesSignals = false;       ///< those that come while it reads what one before announced

    bool operator==(const HostQuirks &) const = default;

    /// Returns the names on the session bus that tell panels apart.
    static QStringList busNames();
    /// Returns the quirks of the panel at hand.
    ///
    /// @param present those of `busNames` that have an owner
    /// @param watcherProcess name of the process that owns the notifier watcher; may be empty
    static HostQuirks of(const QSet<QString> &present, const QString &watcherProcess);
};
