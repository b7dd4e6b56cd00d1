// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "EntryText.h"

#include "HostQuirks.h"
#include "Text.h"

using namespace Qt::StringLiterals;

namespace {

/// Longest line that is no name, in user-perceived characters: a launcher's entry holds a whole failure
/// message.
constexpr int longestLine = 500;

QString plainLine(const QString &text, int characters = longestLine)
{
    return Text::oneLine(Text::shortenedInMiddle(text, characters));
}

/// Returns the mark that makes a line begin at the left, where a title would turn it round.
QString mark(const QString &title)
{
    return title.isRightToLeft() ? QString(QChar(0x200e)) : QString();
}

} // namespace

QString EntryText::lines(const MenuItem &item, const HostQuirks &quirks)
{
    const QString indentation(qsizetype(4) * qMax(0, item.indentation), u' ');
    if (item.detail.isEmpty())
        return mark(item.title) + indentation + plainLine(item.title);
    const QString join = quirks.joinsLines ? u" — "_s : u'\n' + indentation;
    return mark(item.title) + indentation + plainLine(item.title, longestMenuName) + join +
           plainLine(item.detail);
}

QString EntryText::label(const MenuItem &item, const HostQuirks &quirks)
{
    QString label = lines(item, quirks);
    if (!quirks.undoublesOnce)
        return label.replace(u'_', u"__"_s);
    for (qsizetype i = label.indexOf(u'_'); i >= 0 && i + 1 < label.size(); i = label.indexOf(u'_', i + 1)) {
        if (label[i + 1] != u'_')
            return label.insert(i, u'_');
    }
    return label;
}

QStringList EntryText::shortcut(const MenuItem &item, const HostQuirks &quirks)
{
    if (item.shortcut.isEmpty())
        return {};
    return {u"Control"_s, item.shortcut == u"," && !quirks.takesKeysLiterally ? u"comma"_s : item.shortcut};
}

bool EntryText::needsEmptyPicture(const MenuItem &item, const HostQuirks &quirks)
{
    return !quirks.hasImageColumn && item.indentation > 0 && !item.image;
}

QString EntryText::accessibleDescription(const MenuItem &item)
{
    if (!item.image || item.image->description.isEmpty() || item.title.endsWith(item.image->description))
        return {};
    return plainLine(item.title) + u", "_s + plainLine(item.image->description);
}
