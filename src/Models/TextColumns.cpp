// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TextColumns.h"

#include <QTextBoundaryFinder>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// A character of more UTF-16 units than any in use counts by them.
constexpr int mostUnitsOfCharacter = 32;

/// The blocks of wide characters, coarsely: what lies between them is wide as well or unassigned.
constexpr std::array<std::pair<char32_t, char32_t>, 12> wideBlocks{{
    {0x1100, 0x115F},
    {0x231A, 0x231B},
    {0x23E9, 0x23F3},
    {0x2600, 0x27BF},
    {0x2E80, 0x303E},
    {0x3041, 0xA4CF},
    {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},
    {0xFE30, 0xFE6F},
    {0xFF01, 0xFF60},
    {0x17000, 0x3FFFD},
}};

bool isWide(char32_t c)
{
    return std::any_of(wideBlocks.cbegin(), wideBlocks.cend(),
                       [c](const auto &block) { return c >= block.first && c <= block.second; });
}

/// The columns of one character as the user sees it.
int columnsOf(QStringView character)
{
    if (character.size() > mostUnitsOfCharacter)
        return int(character.size());
    const char32_t first = character.size() > 1 && character[0].isHighSurrogate()
                               ? QChar::surrogateToUcs4(character[0], character[1])
                               : character[0].unicode();
    if (isWide(first) || character.contains(u'\uFE0F')) // asks for the picture rather than the letter
        return 2;
    return QChar::category(first) == QChar::Other_Format ? 0 : 1;
}

/// How much of the text's beginning fits.
qsizetype headLength(const QString &text, int columns)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype length = 0;
    while (finder.toNextBoundary() > 0) {
        columns -= columnsOf(QStringView(text).sliced(length, finder.position() - length));
        if (columns < 0)
            break;
        length = finder.position();
    }
    return length;
}

/// Where the part of the text's end that fits begins.
qsizetype tailStart(const QString &text, int columns)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.toEnd();
    qsizetype start = text.size();
    while (finder.toPreviousBoundary() >= 0) {
        columns -= columnsOf(QStringView(text).sliced(finder.position(), start - finder.position()));
        if (columns < 0)
            break;
        start = finder.position();
    }
    return start;
}

} // namespace

QString TextColumns::shortenedInMiddle(const QString &text, int columns)
{
    if (headLength(text, columns) == text.size())
        return text;
    const int half = columns / 2;
    return text.first(headLength(text, half)) + u'…' + text.sliced(tailStart(text, half - 1));
}
