// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ExportedMenu.h"

#include <QSet>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

bool doesTheSame(const MenuItem &a, const MenuItem &b)
{
    return a.isSeparator == b.isSeparator && a.action == b.action && a.data == b.data;
}

void compare(int id, const QVariantMap &before, const QVariantMap &after, MenuChange &change)
{
    QVariantMap changed;
    for (auto property = after.cbegin(); property != after.cend(); ++property) {
        const auto old = before.constFind(property.key());
        if (old == before.cend() || *old != *property)
            changed.insert(property.key(), *property);
    }
    QStringList removed;
    for (auto property = before.cbegin(); property != before.cend(); ++property) {
        if (!after.contains(property.key()))
            removed += property.key();
    }
    if (!changed.isEmpty())
        change.updated += {id, changed};
    if (!removed.isEmpty())
        change.removed += {id, removed};
}

} // namespace

ExportedMenu::ExportedMenu(EntryProperties::ImageEncoder png)
    : m_png(std::move(png))
{
}

MenuChange ExportedMenu::update(const Menu &menu, const HostQuirks &quirks)
{
    MenuChange change;
    const bool redrawAll = std::exchange(m_quirks, quirks) != quirks;
    QList<Entry> entries;
    QHash<int, qsizetype> positions;
    QHash<QString, int> numbers;
    entries.reserve(menu.size());
    for (const MenuItem &item : menu) {
        if (numbers.contains(item.id))
            continue; // a second entry of that id could not be told from the first
        Entry entry = entryFor(item);
        if (redrawAll || item != entry.item || entry.properties.isEmpty()) {
            const QVariantMap properties = EntryProperties::of(item, quirks, m_png);
            if (m_positions.contains(entry.id))
                compare(entry.id, entry.properties, properties, change);
            entry.item = item;
            entry.properties = properties;
        }
        positions.insert(entry.id, entries.size());
        numbers.insert(item.id, entry.id);
        entries += std::move(entry);
    }
    const auto sameNumber = [](const Entry &a, const Entry &b) { return a.id == b.id; };
    change.layoutChanged =
        !std::equal(entries.cbegin(), entries.cend(), m_entries.cbegin(), m_entries.cend(), sameNumber);
    m_entries = std::move(entries);
    m_positions = std::move(positions);
    m_numbers = std::move(numbers);
    return change;
}

ExportedMenu::Entry ExportedMenu::entryFor(const MenuItem &item)
{
    if (const auto number = m_numbers.constFind(item.id); number != m_numbers.cend()) {
        const Entry &old = m_entries[m_positions.value(*number)];
        if (doesTheSame(old.item, item))
            return old;
    }
    return {.id = ++m_lastNumber, .item = item, .properties = {}};
}

const MenuItem *ExportedMenu::item(int id) const
{
    const auto position = m_positions.constFind(id);
    return position == m_positions.cend() ? nullptr : &m_entries[*position].item;
}

std::optional<MenuLayout> ExportedMenu::layout(int id, int depth, const QStringList &propertyNames) const
{
    if (!contains(id))
        return std::nullopt;
    MenuLayout layout{id, EntryProperties::selected(propertiesOf(id), propertyNames), {}};
    if (id == rootId && depth != 0) {
        layout.children.reserve(m_entries.size());
        for (const Entry &entry : m_entries)
            layout.children += {entry.id, EntryProperties::selected(entry.properties, propertyNames), {}};
    }
    return layout;
}

MenuPropertiesList ExportedMenu::properties(const QList<int> &ids, const QStringList &propertyNames) const
{
    QList<int> wanted = ids;
    if (wanted.isEmpty()) {
        wanted += rootId;
        for (const Entry &entry : m_entries)
            wanted += entry.id;
    }
    MenuPropertiesList list;
    QSet<int> answered;
    for (const int id : std::as_const(wanted)) {
        if (contains(id) && !answered.contains(id)) {
            answered += id;
            list += {id, EntryProperties::selected(propertiesOf(id), propertyNames)};
        }
    }
    return list;
}

QVariant ExportedMenu::property(int id, const QString &name) const
{
    if (!contains(id))
        return {};
    return propertiesOf(id).value(name, EntryProperties::defaultValue(name));
}

QVariantMap ExportedMenu::propertiesOf(int id) const
{
    if (id == rootId)
        return {{u"children-display"_s, u"submenu"_s}};
    return m_entries[m_positions.value(id)].properties;
}
