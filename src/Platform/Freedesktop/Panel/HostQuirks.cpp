// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "HostQuirks.h"

#include "Text.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

struct Row
{
    QStringView busName; ///< has an owner where this panel runs; empty: not told by a name
    QStringView process; ///< owns the notifier watcher where this panel runs; empty: not told by it
    HostQuirks quirks;
};

constexpr std::array table{
    Row{u"org.kde.plasmashell", {}, {.twoLineLabels = false, .refusesActivate = true}},
    Row{{}, u"lxqt-panel", {.twoLineLabels = false, .refusesActivate = false}},
};

/// Limits in user-perceived characters: the longest title beside a detail, since a menu could not hold more,
/// and the longest line of any other kind, since a launcher's entry holds a whole failure message.
constexpr int longestName = 200;
constexpr int longestLine = 500;

QString plainLine(const QString &text, int characters = longestLine)
{
    return Text::oneLine(Text::shortenedInMiddle(text, characters));
}

} // namespace

QStringList HostQuirks::busNames()
{
    QStringList names;
    for (const Row &row : table) {
        if (!row.busName.isEmpty())
            names += row.busName.toString();
    }
    return names;
}

HostQuirks HostQuirks::of(const QSet<QString> &present, const QString &watcherProcess)
{
    for (const Row &row : table) {
        const bool isNamed = !row.busName.isEmpty() && present.contains(row.busName.toString());
        if (isNamed || (!row.process.isEmpty() && row.process == watcherProcess))
            return row.quirks;
    }
    return {};
}

QString HostQuirks::lines(const MenuItem &item) const
{
    const QString indentation(qsizetype(4) * qMax(0, item.indentation), u' ');
    if (item.detail.isEmpty())
        return indentation + plainLine(item.title);
    const QString join = twoLineLabels ? u'\n' + indentation : u" — "_s;
    return indentation + plainLine(item.title, longestName) + join + plainLine(item.detail);
}

QString HostQuirks::label(const MenuItem &item) const
{
    return lines(item).replace(u'_', u"__"_s);
}

QStringList HostQuirks::shortcut(const MenuItem &item) const
{
    if (item.shortcut.isEmpty())
        return {};
    return {u"Control"_s, item.shortcut == u"," ? u"comma"_s : item.shortcut};
}

QString HostQuirks::accessibleDescription(const MenuItem &item) const
{
    if (!item.image || item.image->description.isEmpty() || item.title.endsWith(item.image->description))
        return {};
    return plainLine(item.title) + u", "_s + plainLine(item.image->description);
}
