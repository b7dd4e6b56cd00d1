// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// Writes one line to standard error, marked with the program's name, in a single write so that lines of
/// several processes do not mix. Line breaks inside become blanks. Unlike Qt's own messages it never goes to
/// the journal instead. Errors of the write are ignored: there is nowhere else to tell.
void writeToStandardError(const QString &line);
