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

constexpr Needle registered{"Registered tunnel connection", 0};
constexpr Needle unregistered{"Unregistered tunnel connection", 0};
constexpr Needle serveError{"Serve tunnel error", 0};
constexpr Needle terminated{"Connection terminated", 0};
constexpr Needle errorLevel{" ERR ", 2};
constexpr Needle notValid{"is not valid", 7};

bool contains(QByteArrayView line, const Needle &needle)
{
    const qsizetype tail = needle.text.size() - needle.anchor;
    qsizetype at = needle.anchor;
    while (at + tail <= line.size()) {
        const void *hit =
            std::memchr(line.data() + at, needle.text[needle.anchor], size_t(line.size() - at - tail + 1));
        if (!hit)
            return false;
        const qsizetype place = static_cast<const char *>(hit) - line.data();
        if (line.sliced(place - needle.anchor).startsWith(needle.text))
            return true;
        at = place + 1;
    }
    return false;
}

} // namespace

OutputLine::Marks OutputLine::marksOf(QByteArrayView line)
{
    Marks marks;
    marks.isRegistration = contains(line, registered);
    marks.isLoss = !marks.isRegistration &&
                   (contains(line, unregistered) || contains(line, serveError) || contains(line, terminated));
    marks.isError = line.startsWith("ERR ") || contains(line, errorLevel) || contains(line, notValid);
    return marks;
}

QByteArrayView OutputLine::connectionIndex(QByteArrayView line)
{
    constexpr QByteArrayView field = "connIndex=";
    const qsizetype place = line.indexOf(field);
    if (place < 0)
        return {};
    const QByteArrayView value = line.sliced(place + field.size());
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return value.first(std::find_if_not(value.begin(), value.end(), isDigit) - value.begin());
}

bool OutputLine::isBare(QByteArrayView line)
{
    constexpr const char *levels[] = {"DBG ", "INF ", "WRN ", "ERR ", "FTL "};
    return !line.startsWith('{') && std::none_of(std::begin(levels), std::end(levels),
                                                 [&](const char *level) { return line.contains(level); });
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
