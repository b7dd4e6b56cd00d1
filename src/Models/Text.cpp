// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Text.h"

#include <QList>
#include <QStringDecoder>
#include <QTextBoundaryFinder>
#include <QUtf8StringView>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestLine = 4000;
/// Number of UTF-16 units that no user-perceived character of ordinary text has.
constexpr int longestCharacter = 64;
/// Number of characters up to which a tool tip is one line, and the width that longer ones wrap at.
constexpr qsizetype shortTip = 40;
constexpr int tipWidth = 320;

bool isBlank(QChar c)
{
    return c == u'\t' || c.category() == QChar::Separator_Space;
}

bool breaksLine(QChar c)
{
    const QChar::Category category = c.category();
    return category == QChar::Other_Control || category == QChar::Separator_Line ||
           category == QChar::Separator_Paragraph;
}

bool changesDirection(QChar c)
{
    return (c >= u'\u202A' && c <= u'\u202E') || (c >= u'\u2066' && c <= u'\u2069');
}

bool isRegionalIndicator(const QString &text, qsizetype at)
{
    if (at < 0 || at + 1 >= text.size() || !text[at].isHighSurrogate())
        return false;
    const char32_t c = QChar::surrogateToUcs4(text[at], text[at + 1]);
    return c >= 0x1F1E6 && c <= 0x1F1FF;
}

/// Moves to the end of the user-perceived character that begins at the finder's position.
void toNextCharacter(QTextBoundaryFinder &finder, const QString &text)
{
    // Qt 6.4 pairs the halves of flags wrongly behind an emoji.
    const qsizetype start = finder.position();
    if (isRegionalIndicator(text, start) && isRegionalIndicator(text, start + 2))
        finder.setPosition(start + 4);
    else
        finder.toNextBoundary();
}

} // namespace

bool Text::isUtf8(QByteArrayView bytes)
{
    return QUtf8StringView(bytes.data(), bytes.size()).isValidUtf8();
}

QString Text::fromUtf8(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::ConvertInitialBom);
    return decoder(bytes);
}

QString Text::trimmedOfBlanks(QStringView text)
{
    while (!text.isEmpty() && isBlank(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text.toString();
}

QString Text::oneLine(const QString &text)
{
    QString line = text.left(longestLine);
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (c.isHighSurrogate() && i + 1 < line.size() && line[i + 1].isLowSurrogate())
            ++i;
        else if (c.isSurrogate())
            line[i] = QChar::ReplacementCharacter;
        else if (breaksLine(c) || changesDirection(c))
            line[i] = u' ';
    }
    return line;
}

QString Text::toolTip(const QString &text)
{
    if (text.isEmpty())
        return {};
    // Qt would wrap it at a quarter of the width that it takes for wide enough, some 90 pixels.
    const QString line = oneLine(text).toHtmlEscaped();
    return text.size() <= shortTip
               ? u"<div style='white-space:nowrap'>%1</div>"_s.arg(line)
               : u"<table width=%1><tr><td>%2</td></tr></table>"_s.arg(QString::number(tipWidth), line);
}

QString Text::firstCharacters(const QString &whole, int count)
{
    const QString text =
        whole.left(qsizetype(count) * longestCharacter); // the finder looks at all of it at once
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    while (count-- > 0 && finder.position() < text.size())
        toNextCharacter(finder, text);
    return text.first(finder.position());
}

QString Text::shortenedInMiddle(const QString &text, int count)
{
    QList<qsizetype> ends;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    while (finder.position() < text.size()) {
        toNextCharacter(finder, text);
        ends += finder.position();
    }
    if (ends.size() <= count)
        return text;
    const qsizetype head = count / 2;
    const qsizetype tail = count - head - 1;
    return text.first(ends[head - 1]) + u'…' + text.sliced(ends[ends.size() - tail - 1]);
}
