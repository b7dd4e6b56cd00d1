// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LogText.h"

#include "LogBuffer.h"
#include "Text.h"

#include <QTextBoundaryFinder>

#include <algorithm>

namespace {

/// How far a step looks. Words and characters beyond that are cut.
constexpr qsizetype window = 256;

bool isContinuation(char byte)
{
    return (uchar(byte) & 0xc0) == 0x80;
}

/// Where the code point that holds the byte begins.
qsizetype codePointStart(QByteArrayView line, qsizetype byte)
{
    while (byte > 0 && byte < line.size() && isContinuation(line[byte]))
        --byte;
    return byte;
}

QTextBoundaryFinder::BoundaryType boundaryType(LogText::Step step)
{
    return step == LogText::Step::Word ? QTextBoundaryFinder::Word : QTextBoundaryFinder::Grapheme;
}

/// A step within a word counts only where one begins; each character is a step of its own.
bool isStop(const QTextBoundaryFinder &finder, LogText::Step step)
{
    return step == LogText::Step::Character || finder.boundaryReasons() & QTextBoundaryFinder::StartOfItem;
}

/// Decoded text around a byte of a line.
struct Excerpt
{
    Excerpt(QByteArrayView line, qsizetype byte, qsizetype reach = window)
        : start(codePointStart(line, std::max<qsizetype>(0, byte - reach)))
        , bytes(line.sliced(start, codePointStart(line, std::min(line.size(), byte + reach)) - start))
        , text(Text::fromUtf8(bytes))
        , offset(LogText::utf16Length(bytes.first(byte - start)))
    {
    }
    qsizetype byteAt(qsizetype units) const { return start + LogText::bytesOf(bytes, units); }

    qsizetype start;
    QByteArrayView bytes;
    QString text;
    qsizetype offset; ///< of the byte asked for, in `text`
};

} // namespace

LogPosition LogText::begin(const LogBuffer &log)
{
    return {log.firstNumber(), 0};
}

LogPosition LogText::end(const LogBuffer &log)
{
    if (log.isEmpty())
        return begin(log);
    return {log.endNumber() - 1, log.bytes(log.size() - 1).size()};
}

QByteArrayView LogText::lineBytes(const LogBuffer &log, quint64 line)
{
    if (line < log.firstNumber() || line >= log.endNumber())
        return {};
    return log.bytes(qsizetype(line - log.firstNumber()));
}

LogPosition LogText::clamped(const LogBuffer &log, LogPosition position)
{
    if (position.line < log.firstNumber())
        return begin(log);
    if (position.line >= log.endNumber())
        return end(log);
    const QByteArrayView line = lineBytes(log, position.line);
    position.byte = codePointStart(line, std::clamp<qsizetype>(position.byte, 0, line.size()));
    return position;
}

LogPosition LogText::next(const LogBuffer &log, LogPosition position, Step step)
{
    position = clamped(log, position);
    const QByteArrayView line = lineBytes(log, position.line);
    if (position.byte == line.size())
        return clamped(log, {position.line + 1, 0});
    const Excerpt excerpt(line, position.byte);
    QTextBoundaryFinder finder(boundaryType(step), excerpt.text);
    finder.setPosition(excerpt.offset);
    while (finder.toNextBoundary() != -1 && finder.position() < excerpt.text.size()) {
        if (isStop(finder, step))
            return {position.line, excerpt.byteAt(finder.position())};
    }
    return {position.line, excerpt.byteAt(excerpt.text.size())};
}

LogPosition LogText::previous(const LogBuffer &log, LogPosition position, Step step)
{
    position = clamped(log, position);
    if (position.byte == 0) {
        if (position.line == log.firstNumber())
            return position;
        return {position.line - 1, lineBytes(log, position.line - 1).size()};
    }
    const Excerpt excerpt(lineBytes(log, position.line), position.byte);
    QTextBoundaryFinder finder(boundaryType(step), excerpt.text);
    finder.setPosition(excerpt.offset);
    while (finder.toPreviousBoundary() != -1 && finder.position() > 0) {
        if (isStop(finder, step))
            return {position.line, excerpt.byteAt(finder.position())};
    }
    return {position.line, excerpt.start};
}

qsizetype LogText::characterStart(QByteArrayView line, qsizetype byte)
{
    constexpr qsizetype reach = 64;
    const auto isAscii = [line](qsizetype at) { return uchar(line[at]) < 0x80; };
    if (byte <= 0 || byte >= line.size() || (isAscii(byte - 1) && isAscii(byte)))
        return byte;
    const Excerpt excerpt(line, codePointStart(line, byte), reach);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, excerpt.text);
    finder.setPosition(excerpt.offset);
    if (!finder.isAtBoundary())
        finder.toPreviousBoundary();
    return excerpt.byteAt(std::max<qsizetype>(0, finder.position()));
}

std::pair<LogPosition, LogPosition> LogText::wordAt(const LogBuffer &log, LogPosition position)
{
    position = clamped(log, position);
    const Excerpt excerpt(lineBytes(log, position.line), position.byte);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Word, excerpt.text);
    finder.setPosition(excerpt.offset);
    if (!finder.isAtBoundary() || excerpt.offset == excerpt.text.size())
        finder.toPreviousBoundary();
    const qsizetype first = std::max<qsizetype>(0, finder.position());
    finder.toNextBoundary();
    const qsizetype last = finder.position() < 0 ? excerpt.text.size() : finder.position();
    return {{position.line, excerpt.byteAt(first)}, {position.line, excerpt.byteAt(last)}};
}

QString LogText::between(const LogBuffer &log, LogPosition from, LogPosition to)
{
    from = clamped(log, from);
    to = clamped(log, to);
    QByteArray joined;
    for (quint64 number = from.line; number <= to.line; ++number) {
        const QByteArrayView line = lineBytes(log, number);
        const qsizetype first = number == from.line ? from.byte : 0;
        const qsizetype last = number == to.line ? to.byte : line.size();
        if (number > from.line)
            joined += '\n';
        if (first < last)
            joined += line.sliced(first, last - first);
    }
    return Text::fromUtf8(joined);
}

qsizetype LogText::utf16Length(QByteArrayView utf8)
{
    // A character of four bytes takes two units.
    return std::count_if(utf8.begin(), utf8.end(), [](char byte) { return !isContinuation(byte); }) +
           std::count_if(utf8.begin(), utf8.end(), [](char byte) { return uchar(byte) >= 0xf0; });
}

qsizetype LogText::bytesOf(QByteArrayView utf8, qsizetype units)
{
    qsizetype byte = 0;
    while (byte < utf8.size() && units > 0) {
        units -= uchar(utf8[byte]) >= 0xf0 ? 2 : 1;
        do
            ++byte;
        while (byte < utf8.size() && isContinuation(utf8[byte]));
    }
    return byte;
}

qsizetype LogText::length(const LogBuffer &log)
{
    return offsetOf(log, end(log));
}

qsizetype LogText::offsetOf(const LogBuffer &log, LogPosition position)
{
    position = clamped(log, position);
    qsizetype offset = 0;
    for (quint64 number = log.firstNumber(); number < position.line; ++number)
        offset += utf16Length(lineBytes(log, number)) + 1;
    return offset + utf16Length(lineBytes(log, position.line).first(position.byte));
}

LogPosition LogText::positionAt(const LogBuffer &log, qsizetype offset)
{
    for (quint64 number = log.firstNumber(); number < log.endNumber(); ++number) {
        const QByteArrayView line = lineBytes(log, number);
        const qsizetype units = utf16Length(line);
        if (offset <= units)
            return {number, bytesOf(line, offset)};
        offset -= units + 1;
    }
    return end(log);
}
