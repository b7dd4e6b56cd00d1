// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelState.h"

#include <QByteArrayView>
#include <QString>

/// Reader of single lines of `cloudflared`'s output, for the tunnel's state and the log's colours. Nothing
/// else in a line is interpreted.
namespace OutputLine {

struct Marks
{
    bool isRegistration = false; ///< a connection was registered
    bool isLoss = false;         ///< a connection was lost; never together with a registration
    bool isError = false;        ///< the line reports an error; may come with either of the others
    bool isReason = false;       ///< of an error that may be why a tunnel is not connected
};

/// Tells what the line reports. Passes over it a constant number of times.
Marks marksOf(QByteArrayView line);

/// Returns the digits right after the first "connIndex="; empty when there are none.
QByteArrayView connectionIndex(QByteArrayView line);

/// Tells whether the line is a bare sentence, unlike a log entry, which has a level or is JSON.
bool isBare(QByteArrayView line);

/// Tells whether the line only helps to read another one: it is indented, ends with a colon but for its
/// fields, or names a page to see.
bool isHelp(QByteArrayView line);

/// Returns what an error line tells somebody, from its first 4096 bytes: the text of its quoted field
/// `error`, else its message, with a field `error` of one word behind a colon and without any other field.
QString reason(QByteArrayView line);

/// Returns the short message of an error line: the text of its `error="..."` field, else what follows the
/// level ERR, else the whole line, the last two without blanks at the ends.
QString errorSummary(const QString &line);

/// Returns the colour of a line of a log, a child's or this program's own; `None` is the text colour.
ColorRole color(QStringView line);

} // namespace OutputLine
