// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

#include <unistd.h>

/// Writes one line to standard error, marked with the program's name, in a single write so that lines of
/// several processes do not mix. Line breaks inside become blanks. Unlike Qt's own messages it never goes to
/// the journal instead. Errors of the write are ignored: there is nowhere else to tell.
inline void writeToStandardError(const QString &line)
{
    QByteArray text = "morvanel: " + line.toUtf8();
    text.replace('\n', ' ').append('\n');
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.constData(), size_t(text.size()));
}
