// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "HostQuirks.h"
#include "Menu.h"

#include <QString>
#include <QStringList>

/// Turns the texts of a menu entry, which may hold anything a user or a child process wrote, into texts
/// that a panel can show.
namespace MenuText {

/// The widest title beside a detail: a panel that cuts long labels cuts their end, and the detail, which says
/// how the tunnel is, comes last.
inline constexpr int titleColumns = 60;
/// The widest detail: a failure with all the characters it may have, also where they are wide ones.
inline constexpr int detailColumns = 150;
/// The widest line of any other kind. A launcher's entry holds a whole failure message.
inline constexpr int longestLine = 500;

/// One line: what would break it, hide in it or reorder its neighbours (line breaks, control characters,
/// unpaired surrogates, overrides of the direction) is replaced, and a line wider than
/// `columns` is shortened in the middle (see TextColumns).
QString plainLine(const QString &text, int columns = longestLine);

/// Title and detail joined for a panel, in two lines or one, without markup for mnemonics.
QString twoLines(const MenuItem &item, const HostQuirks &quirks);

/// The `label` of com.canonical.dbusmenu: indented by four blanks a level, underscores doubled.
QString label(const MenuItem &item, const HostQuirks &quirks);

/// What a screen reader says for the entry: its title and what its image means. Empty where the
/// label alone says it.
QString accessibleDescription(const MenuItem &item);

/// The key as com.canonical.dbusmenu names it, such as {"Control", "comma"}; empty for no key.
QStringList shortcut(const QString &keyEquivalent);

} // namespace MenuText
