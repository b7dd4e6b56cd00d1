// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArrayView>
#include <QString>

#include <compare>
#include <utility>

class LogBuffer;

/// A place between two characters of a log: the line's number in its `LogBuffer` and the UTF-8 bytes of that
/// line that stand before it. It stays the same place while other lines come and go.
struct LogPosition
{
    quint64 line = 0;
    qsizetype byte = 0;

    friend auto operator<=>(const LogPosition &, const LogPosition &) = default;
};

/// Places in a log and the text between them. No step reads more than a few hundred bytes of a line, however
/// long it is. Positions that are handed in may be stale; those that come back stand in the log, and an empty
/// log has the single position of its next line.
namespace LogText {

enum class Step { Character, Word };

LogPosition begin(const LogBuffer &log);
LogPosition end(const LogBuffer &log);
/// The nearest position that the log still has.
LogPosition clamped(const LogBuffer &log, LogPosition position);
/// The bytes of the line with that number; none when the log does not have it.
QByteArrayView lineBytes(const LogBuffer &log, quint64 line);

/// One user-perceived character on, or to the start of the next word; the end of a line counts as a
/// character.
LogPosition next(const LogBuffer &log, LogPosition position, Step step);
LogPosition previous(const LogBuffer &log, LogPosition position, Step step);
/// Where the user-perceived character that holds the byte begins; the byte itself between two of them.
qsizetype characterStart(QByteArrayView line, qsizetype byte);
/// Where the word or the run of blanks around a position begins and ends.
std::pair<LogPosition, LogPosition> wordAt(const LogBuffer &log, LogPosition position);

/// The text from one position to a later one; lines are joined with single line feeds.
QString between(const LogBuffer &log, LogPosition from, LogPosition to);

/// The number of UTF-16 units in UTF-8 text.
qsizetype utf16Length(QByteArrayView utf8);
/// The bytes that the first `units` UTF-16 units of `utf8` take.
qsizetype bytesOf(QByteArrayView utf8, qsizetype units);

/// The whole log as one text, as assistive technology counts it: UTF-16 units, a line feed between lines.
qsizetype length(const LogBuffer &log);
qsizetype offsetOf(const LogBuffer &log, LogPosition position);
LogPosition positionAt(const LogBuffer &log, qsizetype offset);

} // namespace LogText
