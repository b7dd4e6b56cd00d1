// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "EntryProperties.h"
#include "Menu.h"
#include "MenuTypes.h"

#include <QHash>
#include <QString>

#include <optional>

/// What a client has to hear after a menu changed.
struct MenuChange
{
    bool layoutChanged = false; ///< entries came, went or moved
    MenuPropertiesList updated; ///< of entries that stayed
    MenuPropertyNamesList removed;
};

/// A menu as it is known outside: entries under numbers, below the root 0, with the properties last sent.
///
/// A number stands for one entry that does one thing to one object. It is kept while that entry stays and
/// is never given to another one, so that a late click cannot reach what the user did not see.
class ExportedMenu
{
public:
    static constexpr int rootId = 0;

    explicit ExportedMenu(EntryProperties::ImageEncoder png);

    /// Takes over the menu; the work is linear in its length.
    MenuChange update(const Menu &menu, const HostQuirks &quirks);

    bool contains(int id) const { return id == rootId || m_positions.contains(id); }
    /// The entry as it was last sent, nullptr for the root and for unknown numbers.
    const MenuItem *item(int id) const;
    /// Nothing for an unknown number. `depth` counts the levels below the entry, a negative one means all.
    std::optional<MenuLayout> layout(int id, int depth, const QStringList &propertyNames) const;
    /// Unknown numbers are left out, and repeated ones: a short question has no endless answer. No numbers at
    /// all stand for all entries.
    MenuPropertiesList properties(const QList<int> &ids, const QStringList &propertyNames) const;
    /// Also a default; invalid where there is no such entry or property.
    QVariant property(int id, const QString &name) const;

private:
    struct Entry
    {
        int id = 0;
        MenuItem item;
        QVariantMap properties;
    };

    /// The entry as it was sent, or a new one under a new number and still without properties.
    Entry entryFor(const MenuItem &item);
    QVariantMap propertiesOf(int id) const;

    EntryProperties::ImageEncoder m_png;
    HostQuirks m_quirks;
    QList<Entry> m_entries;
    QHash<int, qsizetype> m_positions; ///< in m_entries, by number
    QHash<QString, int> m_numbers;     ///< by the entry's own id
    int m_lastNumber = rootId;
};
