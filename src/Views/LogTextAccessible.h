// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

class LogTextArea;

/// Makes every `LogTextArea` readable for assistive technology: a read-only text of several lines, with its
/// cursor, its selection and the place of each character on screen. Calling it again changes nothing.
void installLogTextAccessibility();

/// Tells assistive technology where the cursor and the selection are now.
void notifyLogCursor(LogTextArea *area);

/// Tells assistive technology that the lines from the number `first` on are new.
void notifyLogLines(LogTextArea *area, unsigned long long first);
