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

/// The longest line that is shown whole, in UTF-16 units.
inline constexpr qsizetype longestLine = 120;

/// One line: what would break it, hide in it or reorder its neighbours (line breaks, control characters,
/// unpaired surrogates, overrides of the direction) is replaced, and a line over the limit is
/// shortened in the middle, never inside a character as the user sees it.
QString plainLine(const QString &text, qsizetype limit = longestLine);

/// Title and detail joined for a panel, in two lines or one, without markup for mnemonics.
QString twoLines(const MenuItem &item, const HostQuirks &quirks);

/// The `label` of com.canonical.dbusmenu: indented by four blanks a level, underscores doubled.
QString label(const MenuItem &item, const HostQuirks &quirks);

/// What a screen reader says for the entry: its title and what its image means.
QString accessibleDescription(const MenuItem &item);

/// The key as com.canonical.dbusmenu names it, such as {"Control", "comma"}; empty for no key.
QStringList shortcut(const QString &keyEquivalent);

} // namespace MenuText
