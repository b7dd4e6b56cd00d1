// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "OutputLine.h"

#include "Text.h"

#include <QList>

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

bool isNumber(QChar::Category category)
{
    return category == QChar::Number_DecimalDigit || category == QChar::Number_Letter ||
           category == QChar::Number_Other;
}

/// The bytes of the number character, of any script, that the UTF-8 `text` begins with; 0 for another one.
size_t leadingNumberSize(string_view text)
{
    if (text.empty())
        return 0;
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80)
        return lead >= '0' && lead <= '9' ? 1 : 0;
    const size_t size = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    const QString character = QString::fromUtf8(text.data(), qsizetype(std::min(size, text.size())));
    return isNumber(QChar::category(character.toUcs4().first())) ? size : 0;
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
    size_t end = begin;
    while (const size_t size = leadingNumberSize(line.substr(end)))
        end += size;
    return bytes.sliced(qsizetype(begin), qsizetype(end - begin));
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
