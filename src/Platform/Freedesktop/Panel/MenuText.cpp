// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "MenuText.h"

#include <QTextBoundaryFinder>

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

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

/// How much of the text fits into `limit` without cutting a visible character; a character that is longer
/// than the limit is cut after all.
qsizetype headLength(const QString &text, qsizetype limit)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.setPosition(limit);
    const qsizetype length = finder.isAtBoundary() ? limit : finder.toPreviousBoundary();
    if (length > 0)
        return length;
    return text[limit - 1].isHighSurrogate() ? limit - 1 : limit;
}

qsizetype tailStart(const QString &text, qsizetype limit)
{
    const qsizetype start = text.size() - limit;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.setPosition(start);
    const qsizetype position = finder.isAtBoundary() ? start : finder.toNextBoundary();
    if (position >= 0 && position < text.size())
        return position;
    return text[start].isLowSurrogate() ? start + 1 : start;
}

QString shortened(const QString &line, qsizetype limit)
{
    if (line.size() <= limit)
        return line;
    const qsizetype half = limit / 2;
    return line.first(headLength(line, half)) + u'…' + line.sliced(tailStart(line, half - 1));
}

} // namespace

QString MenuText::plainLine(const QString &text, qsizetype limit)
{
    QString line = text;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (c.isHighSurrogate() && i + 1 < line.size() && line[i + 1].isLowSurrogate())
            ++i;
        else if (c.isSurrogate())
            line[i] = QChar::ReplacementCharacter;
        else if (breaksLine(c) || changesDirection(c))
            line[i] = u' ';
    }
    return shortened(line, limit);
}

QString MenuText::twoLines(const MenuItem &item, const HostQuirks &quirks)
{
    if (item.detail.isEmpty())
        return plainLine(item.title);
    if (quirks.twoLineLabels)
        return plainLine(item.title) + u'\n' + plainLine(item.detail);
    return plainLine(item.title, longestLine / 2) + u" — "_s + plainLine(item.detail, longestLine * 2 / 3);
}

QString MenuText::label(const MenuItem &item, const HostQuirks &quirks)
{
    const QString text = QString(qMax(0, item.indentationLevel) * 4, u' ') + twoLines(item, quirks);
    return QString(text).replace(u'_', u"__"_s);
}

QString MenuText::accessibleDescription(const MenuItem &item)
{
    if (!item.image || item.image->accessibilityDescription.isEmpty())
        return {};
    return plainLine(item.title) + u", "_s + plainLine(item.image->accessibilityDescription);
}

QStringList MenuText::shortcut(const QString &keyEquivalent)
{
    if (keyEquivalent.isEmpty())
        return {};
    static constexpr std::array<std::pair<char16_t, QStringView>, 8> names{{
        {u',', u"comma"},
        {u'.', u"period"},
        {u'-', u"minus"},
        {u'+', u"plus"},
        {u'=', u"equal"},
        {u'/', u"slash"},
        {u'?', u"question"},
        {u' ', u"space"},
    }};
    for (const auto &[character, name] : names) {
        if (keyEquivalent == QChar(character))
            return {u"Control"_s, name.toString()};
    }
    return {u"Control"_s, keyEquivalent};
}
