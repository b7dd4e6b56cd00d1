// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "MenuText.h"

#include "Text.h"

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

QString MenuText::plainLine(const QString &text, int characters)
{
    return Text::oneLine(Text::shortenedInMiddle(text, characters));
}

QString MenuText::twoLines(const MenuItem &item, const HostQuirks &quirks)
{
    if (item.detail.isEmpty())
        return plainLine(item.title);
    const QString join = quirks.twoLineLabels ? u"\n"_s : u" — "_s;
    return plainLine(item.title, nameCharacters) + join + plainLine(item.detail);
}

QString MenuText::label(const MenuItem &item, const HostQuirks &quirks)
{
    const QString text = QString(qsizetype(4) * qMax(0, item.indentation), u' ') + twoLines(item, quirks);
    return QString(text).replace(u'_', u"__"_s);
}

QString MenuText::accessibleDescription(const MenuItem &item)
{
    if (!item.image || item.image->description.isEmpty())
        return {};
    if (item.title.endsWith(item.image->description))
        return {};
    return plainLine(item.title) + u", "_s + plainLine(item.image->description);
}

QStringList MenuText::shortcut(const QString &shortcut)
{
    if (shortcut.isEmpty())
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
        if (shortcut == QChar(character))
            return {u"Control"_s, name.toString()};
    }
    return {u"Control"_s, shortcut};
}
