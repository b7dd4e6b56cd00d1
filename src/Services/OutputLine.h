// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelState.h"

#include <QByteArrayView>
#include <QString>

/// Reader of single lines of `cloudflared`'s output: what one means for the tunnel's state, the reason that
/// it gives, and its colour in the log. Nothing else in a line is interpreted.
namespace OutputLine {

struct Marks
{
    bool isRegistration = false; ///< a connection was registered
    bool isLoss = false;         ///< a connection was lost; never together with a registration
    bool isError = false;        ///< the line reports an error; may come with either of the others
    bool mayExplain = false;     ///< the error may be why the tunnel is not connected
};

/// Tells what the line reports. Passes over it a constant number of times.
Marks marksOf(QByteArrayView line);

/// Returns the digits right after the first "connIndex="; empty when there are none.
QByteArrayView connectionIndex(QByteArrayView line);

/// Tells whether the line is a bare sentence, unlike a log entry, which has a level or is JSON.
bool isBare(QByteArrayView line);

/// Tells whether the line only helps to read another one: it is indented, ends with a colon, fields at its
/// end not counted, or names a page to see.
bool isHelp(QByteArrayView line);

/// Returns what windows and notifications say of an error line, from its first 4096 bytes: the text of its
/// quoted field `error`, else its message, with a field `error` of one word behind a colon and without any
/// other field.
QString reason(QByteArrayView line);

/// Returns what the state's label says of an error line: the text of its `error="..."` field, else what
/// follows the level ERR, else the whole line, the last two without blanks at the ends.
QString errorSummary(const QString &line);

/// Returns the colour of a line of a log, a child's or this program's own; `None` is the text colour.
ColorRole color(QStringView line);

} // namespace OutputLine
