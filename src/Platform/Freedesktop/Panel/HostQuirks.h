// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Menu.h"

#include <QSet>
#include <QString>
#include <QStringList>

/// One panel's differences from the others, and the texts of a menu entry as that panel shows them. The
/// panels and their differences stand in the table of HostQuirks.cpp alone.
///
/// The texts may hold anything that a user or a child process wrote.
struct HostQuirks
{
    bool twoLineLabels = true;      ///< false: "name — detail", because a line break is squeezed or dropped
    bool refusesActivate = false;   ///< an error reply to `Activate` makes the panel open the menu itself
    bool blursFiles = false;        ///< icons from files, on a scaled screen; pixmaps stay sharp
    bool wantsSymbolicNames = true; ///< false: tints icons by their style, or shows none with such a name
    bool namesKeys = true;          ///< false: a key is the character itself, "," instead of "comma"
    bool undoublesOnce = false;     ///< only the first underscore before another character needs doubling
    bool showsDescription = false;  ///< adds the icon's accessible description to the tooltip
    bool imagesPushTitles = true; ///< false: menus have a column for images, also beside entries without one

    bool operator==(const HostQuirks &) const = default;

    /// Returns the names on the session bus that tell panels apart.
    static QStringList busNames();
    /// Returns the quirks of the panel at hand.
    ///
    /// @param present those of `busNames` that have an owner
    /// @param watcherProcess name of the process that owns the notifier watcher; may be empty
    static HostQuirks of(const QSet<QString> &present, const QString &watcherProcess);

    /// Returns title and detail in two lines or one, indented by four blanks a level and shortened where they
    /// are very long, without any markup.
    QString lines(const MenuItem &item) const;
    /// Returns the `label` of com.canonical.dbusmenu, in which an underscore would mark a mnemonic.
    QString label(const MenuItem &item) const;
    /// Returns the key for com.canonical.dbusmenu, such as {"Control", "comma"}; empty for no key. Of the
    /// characters that have a name only the comma is in use.
    QStringList shortcut(const MenuItem &item) const;
    /// Returns whether an entry needs an empty picture to begin where its indentation says: further in than
    /// the title above it, which stands behind a picture.
    bool needsEmptyPicture(const MenuItem &item) const;
    /// Returns the text for a screen reader: the title and the meaning of its image. Empty where the label
    /// alone says it.
    QString accessibleDescription(const MenuItem &item) const;
};
