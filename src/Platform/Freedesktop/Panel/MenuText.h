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

/// The longest title beside a detail, in user-perceived characters; a menu could not hold more.
inline constexpr int nameCharacters = 200;
/// The longest line of any other kind. A launcher's entry holds a whole failure message.
inline constexpr int longestLine = 500;

/// One line for a panel, at most `characters` user-perceived characters long.
QString plainLine(const QString &text, int characters = longestLine);

/// Title and detail joined for a panel, in two lines or one, without markup for mnemonics.
QString twoLines(const MenuItem &item, const HostQuirks &quirks);

/// The `label` of com.canonical.dbusmenu: indented by four blanks a level, underscores doubled.
QString label(const MenuItem &item, const HostQuirks &quirks);

/// What a screen reader says for the entry: its title and what its image means. Empty where the
/// label alone says it.
QString accessibleDescription(const MenuItem &item);

/// The key as com.canonical.dbusmenu names it, such as {"Control", "comma"}; empty for no key.
QStringList shortcut(const QString &shortcut);

} // namespace MenuText
