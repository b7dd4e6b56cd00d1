// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// How wide a text is on a line, in columns as in a terminal: a guess that needs no font. East Asian wide
/// characters and emoji (UAX #11) take two, marks and what joins characters none, all others one.
namespace TextColumns {

/// The text, or its beginning and end with "…" in between where it is wider than `columns`. No character as
/// the user sees it is cut in two. What has endless marks on it counts as wider, so that the result is short
/// in memory too.
QString shortenedInMiddle(const QString &text, int columns);

} // namespace TextColumns
