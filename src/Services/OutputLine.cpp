// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "OutputLine.h"

#include "Text.h"

#include <algorithm>
#include <cstring>
#include <string_view>

using namespace Qt::StringLiterals;

namespace {

using std::string_view;

/// A text to look for, and the place of its rarest character in ordinary output lines: `memchr` runs from one
/// such character to the next at the speed of the memory, and only there the whole text is compared.
struct Needle
{
    string_view text;
    size_t anchor;
};

constexpr Needle registered{"Registered tunnel connection", 0};
constexpr Needle unregistered{"Unregistered tunnel connection", 0};
constexpr Needle serveError{"Serve tunnel error", 0};
constexpr Needle terminated{"Connection terminated", 0};
constexpr Needle errorLevel{" ERR ", 2};
constexpr Needle notValid{"is not valid", 7};

bool contains(string_view line, const Needle &needle)
{
    const size_t tail = needle.text.size() - needle.anchor;
    size_t at = needle.anchor;
    while (at + tail <= line.size()) {
        const void *hit =
            std::memchr(line.data() + at, needle.text[needle.anchor], line.size() - at - tail + 1);
        if (!hit)
            return false;
        const size_t place = size_t(static_cast<const char *>(hit) - line.data());
        if (line.compare(place - needle.anchor, needle.text.size(), needle.text) == 0)
            return true;
        at = place + 1;
    }
    return false;
}

} // namespace

OutputLine::Marks OutputLine::marksOf(QByteArrayView bytes)
{
    const string_view line(bytes.data(), size_t(bytes.size()));
    Marks marks;
    marks.isRegistration = contains(line, registered);
    marks.isLoss = !marks.isRegistration &&
                   (contains(line, unregistered) || contains(line, serveError) || contains(line, terminated));
    marks.isError = line.starts_with("ERR ") || contains(line, errorLevel) || contains(line, notValid);
    return marks;
}

QByteArrayView OutputLine::connectionIndex(QByteArrayView bytes)
{
    constexpr string_view field = "connIndex=";
    const string_view line(bytes.data(), size_t(bytes.size()));
    const size_t place = line.find(field);
    if (place == string_view::npos)
        return {};
    const size_t begin = place + field.size();
    const size_t end = std::min(line.find_first_not_of("0123456789", begin), line.size());
    return bytes.sliced(qsizetype(begin), qsizetype(end - begin));
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
