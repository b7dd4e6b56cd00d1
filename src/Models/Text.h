// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArrayView>
#include <QString>

/// Helpers for texts that a user, a child process or another program wrote.
namespace Text {

/// Returns whether the bytes are valid UTF-8.
bool isUtf8(QByteArrayView bytes);
/// Decodes UTF-8. Keeps a leading U+FEFF, which Qt's own conversion takes for a mark of the encoding and
/// drops.
QString fromUtf8(QByteArrayView bytes);

/// Removes tabs and space separators (Unicode category Zs) at both ends. Line breaks stay.
QString trimmedOfBlanks(QStringView text);

/// Returns the text as one line that reads as it is: line breaks, control characters and overrides of the
/// writing direction become blanks, unpaired surrogates U+FFFD. Cut after 4000 UTF-16 units.
QString oneLine(const QString &text);

/// Returns rich text for a tool tip that shows `oneLine(text)` as it is and wraps where it is long. Empty for
/// an empty text.
QString toolTip(const QString &text);

/// Returns the first `count` characters as a user perceives them (UAX #29).
QString firstCharacters(const QString &text, int count);
/// Returns the text, or its beginning and end with "…" in between where it has more than `count`
/// user-perceived characters.
QString shortenedInMiddle(const QString &text, int count);

} // namespace Text
