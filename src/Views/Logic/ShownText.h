// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// The text as one line can show it: a blank for every line break and control character. At most a thousand
/// characters: more has no room in any window, and laying it out takes time.
QString shownText(const QString &text);

/// A plain text as a tooltip shows it: wrapped, and with nothing of it taken for markup.
QString toolTipText(const QString &text);
