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
    QStringView process; ///< the name in /proc of the notifier watcher's owner; empty: not told by it
    HostQuirks quirks;
};

constexpr HostQuirks plasma{.joinsLines = true,
                            .opensMenuIfRefused = true,
                            .blursFiles = true,
                            .tintsByStyle = true,
                            .hasMargins = true,
                            .takesKeysLiterally = true,
                            .hasImageColumn = true};
constexpr HostQuirks lxqt{
    .joinsLines = true, .tintsNothing = true, .takesKeysLiterally = true, .hasImageColumn = true};
constexpr HostQuirks gnome{.hasSmallIcons = true, .undoublesOnce = true, .hasImageColumn = true};
constexpr HostQuirks untinted{.tintsNothing = true};
constexpr HostQuirks xfce{.showsDescription = true};

/// Of several rows that fit the first one counts. The kernel cuts names of processes after 15 characters.
constexpr std::array table{
    Row{u"org.kde.plasmashell", {}, plasma}, Row{{}, u"lxqt-panel", lxqt},
    Row{{}, u"gnome-shell", gnome},          Row{{}, u"xapp-sn-watcher", untinted},
    Row{{}, u"notification-ar", untinted},   Row{{}, u"waybar", untinted},
    Row{u"org.xfce.Panel", {}, xfce},
};

/// Limits in user-perceived characters: the longest title beside a detail, since a menu could not hold more,
/// and the longest line of any other kind, since a launcher's entry holds a whole failure message.
constexpr int longestName = 200;
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
        return mark(item.title) + indentation + plainLine(item.title);
    const QString join = joinsLines ? u" — "_s : u'\n' + indentation;
    return mark(item.title) + indentation + plainLine(item.title, longestName) + join +
           plainLine(item.detail);
}

QString HostQuirks::label(const MenuItem &item) const
{
    QString label = lines(item);
    if (!undoublesOnce)
        return label.replace(u'_', u"__"_s);
    for (qsizetype i = label.indexOf(u'_'); i >= 0 && i + 1 < label.size(); i = label.indexOf(u'_', i + 1)) {
        if (label[i + 1] != u'_')
            return label.insert(i, u'_');
    }
    return label;
}

QStringList HostQuirks::shortcut(const MenuItem &item) const
{
    if (item.shortcut.isEmpty())
        return {};
    return {u"Control"_s, item.shortcut == u"," && !takesKeysLiterally ? u"comma"_s : item.shortcut};
}

bool HostQuirks::needsEmptyPicture(const MenuItem &item) const
{
    return !hasImageColumn && item.indentation > 0 && !item.image;
}

QString HostQuirks::accessibleDescription(const MenuItem &item) const
{
    if (!item.image || item.image->description.isEmpty() || item.title.endsWith(item.image->description))
        return {};
    return plainLine(item.title) + u", "_s + plainLine(item.image->description);
}
