// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "MenuText.h"

#include "TextColumns.h"

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

} // namespace

QString MenuText::plainLine(const QString &text, int columns)
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
    return TextColumns::shortenedInMiddle(line, columns);
}

QString MenuText::twoLines(const MenuItem &item, const HostQuirks &quirks)
{
    if (item.detail.isEmpty())
        return plainLine(item.title);
    const QString join = quirks.twoLineLabels ? u"\n"_s : u" — "_s;
    return plainLine(item.title, titleColumns) + join + plainLine(item.detail, detailColumns);
}

QString MenuText::label(const MenuItem &item, const HostQuirks &quirks)
{
    const QString text =
        QString(qsizetype(4) * qMax(0, item.indentationLevel), u' ') + twoLines(item, quirks);
    return QString(text).replace(u'_', u"__"_s);
}

QString MenuText::accessibleDescription(const MenuItem &item)
{
    if (!item.image || item.image->accessibilityDescription.isEmpty())
        return {};
    if (item.title.endsWith(item.image->accessibilityDescription))
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
