// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "OutputLine.h"

#include "Text.h"

#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

/// A text to look for, and the place of its rarest character in ordinary output lines: `memchr` runs from one
/// such character to the next at the speed of the memory, and only there the whole text is compared.
struct Needle
{
    QByteArrayView text;
    qsizetype anchor;
};

constexpr qsizetype longestReason = 4096;

constexpr Needle registered{"Registered tunnel connection", 0};
constexpr Needle unregistered{"Unregistered tunnel connection", 0};
constexpr Needle serveError{"Serve tunnel error", 0};
constexpr Needle terminated{"Connection terminated", 0};
constexpr Needle errorLevel{" ERR ", 2};
constexpr Needle notValid{"is not valid", 7};
constexpr Needle errorField{"error=", 5};
constexpr Needle indexField{"connIndex=", 4};

/// Returns where the line has the text first; -1 where it has not.
qsizetype find(QByteArrayView line, const Needle &needle)
{
    const qsizetype tail = needle.text.size() - needle.anchor;
    qsizetype at = needle.anchor;
    while (at + tail <= line.size()) {
        const void *hit =
            std::memchr(line.data() + at, needle.text[needle.anchor], size_t(line.size() - at - tail + 1));
        if (!hit)
            return -1;
        const qsizetype place = static_cast<const char *>(hit) - line.data();
        const qsizetype begin = place - needle.anchor;
        if (std::memcmp(line.data() + begin, needle.text.data(), size_t(needle.text.size())) == 0)
            return begin;
        at = place + 1;
    }
    return -1;
}

bool contains(QByteArrayView line, const Needle &needle)
{
    return find(line, needle) >= 0;
}

/// Returns what follows the level of an error line; any other line whole.
QByteArrayView messageOf(QByteArrayView line)
{
    if (line.startsWith("ERR "))
        return line.sliced(4);
    const qsizetype place = find(line, errorLevel);
    return place < 0 ? line : line.sliced(place + errorLevel.text.size());
}

/// Returns the text without the fields at its end, each a blank, letters, "=" and a value, which may be
/// quoted.
QByteArrayView withoutFields(QByteArrayView text)
{
    const auto isOfKey = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    for (;;) {
        const qsizetype quote = text.endsWith('"') ? text.lastIndexOf("=\"") : text.size();
        const qsizetype blank = text.first(std::max(quote, qsizetype(0))).lastIndexOf(' ');
        if (blank < 0)
            return text;
        const QByteArrayView field = text.sliced(blank + 1);
        const qsizetype keyEnd = std::find_if_not(field.begin(), field.end(), isOfKey) - field.begin();
        if (keyEnd == 0 || !field.sliced(keyEnd).startsWith('='))
            return text;
        text = text.first(blank);
    }
}

/// Returns whether the text is a part of the help that follows a wrong argument, which explains nothing.
bool isHelpMessage(QByteArrayView message)
{
    return message.startsWith(' ') || message.startsWith('\t') || message.startsWith("See '") ||
           (!contains(message, errorField) && withoutFields(message).endsWith(':'));
}

/// Returns a quoted text that begins there, up to its quote that is not escaped, without the escapes.
QByteArray unquoted(QByteArrayView text)
{
    QByteArray plain;
    for (qsizetype i = 0; i < text.size() && text[i] != '"'; ++i) {
        const bool isEscape = text[i] == '\\' && i + 1 < text.size();
        i += isEscape ? 1 : 0;
        plain += isEscape && (text[i] == 'n' || text[i] == 't') ? ' ' : text[i];
    }
    return plain;
}

} // namespace

OutputLine::Marks OutputLine::marksOf(QByteArrayView line)
{
    Marks marks;
    marks.isRegistration = contains(line, registered);
    marks.isLoss = !marks.isRegistration &&
                   (contains(line, unregistered) || contains(line, serveError) || contains(line, terminated));
    marks.isError = line.startsWith("ERR ") || contains(line, errorLevel) || contains(line, notValid);
    if (marks.isError) {
        const QByteArrayView message = messageOf(line);
        marks.mayExplain = !isHelpMessage(message) && !message.startsWith("update check ");
    }
    return marks;
}

QByteArrayView OutputLine::connectionIndex(QByteArrayView line)
{
    const qsizetype place = find(line, indexField);
    if (place < 0)
        return {};
    const QByteArrayView value = line.sliced(place + indexField.text.size());
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return value.first(std::find_if_not(value.begin(), value.end(), isDigit) - value.begin());
}

bool OutputLine::isBare(QByteArrayView line)
{
    constexpr const char *levels[] = {"DBG ", "INF ", "WRN ", "ERR ", "FTL "};
    return !line.startsWith('{') && std::none_of(std::begin(levels), std::end(levels),
                                                 [&](const char *level) { return line.contains(level); });
}

bool OutputLine::isHelp(QByteArrayView line)
{
    return isHelpMessage(messageOf(line));
}

QString OutputLine::reason(QByteArrayView line)
{
    // A reason is one line in a window: there is no use in decoding a megabyte.
    const QByteArrayView message = messageOf(line.first(std::min(line.size(), longestReason)));
    const qsizetype place = find(message, errorField);
    const QByteArrayView text = place < 0 ? withoutFields(message) : message.first(place);
    const QByteArrayView value =
        place < 0 ? QByteArrayView() : message.sliced(place + errorField.text.size());
    const QByteArray error = value.startsWith('"') ? unquoted(value.sliced(1)) : QByteArray();
    if (!error.isEmpty())
        return Text::fromUtf8(error);
    const qsizetype end = value.indexOf(' ');
    const QString word = Text::fromUtf8(end < 0 ? value : value.first(end));
    const QString told = Text::trimmedOfBlanks(Text::fromUtf8(text));
    return word.isEmpty() || word == "\"\""_L1 ? told : told + u": "_s + word;
}

QString OutputLine::errorSummary(const QString &line)
{
    constexpr auto field = "error=\""_L1;
    if (const qsizetype place = line.indexOf(field); place >= 0) {
        const qsizetype begin = place + field.size();
        const qsizetype quote = line.indexOf(u'"', begin);
        QString value = line.mid(begin, quote < 0 ? -1 : quote - begin);
        if (!value.isEmpty())
            return value;
    }
    constexpr auto level = " ERR "_L1;
    if (const qsizetype place = line.indexOf(level); place >= 0)
        return Text::trimmedOfBlanks(QStringView(line).sliced(place + level.size()));
    return Text::trimmedOfBlanks(line);
}

ColorRole OutputLine::color(QStringView line)
{
    if (line.contains(u" ERR ") || line.startsWith(u"\u2716\uFE0E"))
        return ColorRole::Red;
    if (line.contains(u" WRN "))
        return ColorRole::Orange;
    if (line.contains(u"Registered tunnel connection"))
        return ColorRole::Green;
    return ColorRole::None;
}
