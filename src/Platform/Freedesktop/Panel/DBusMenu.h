// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "BusTypes.h"
#include "HostQuirks.h"
#include "Menu.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QHash>
#include <QObject>
#include <QString>

/// The differences between two states of a menu that a client has to hear of.
struct MenuChange
{
    bool isNewLayout = false;   ///< entries came, went or moved
    MenuPropertiesList updated; ///< of entries that stayed
    MenuPropertyNamesList removed;
};

/// A menu as it is known outside: entries under numbers, below the root 0, with the properties last sent.
///
/// A number stands for one entry that does one thing to one object. It is kept while that entry stays and is
/// never given to another one, so that a late click cannot reach an entry that the user did not see.
class ExportedMenu
{
public:
    static constexpr int rootId = 0;

    /// Takes over the menu; the work is linear in its length. Of entries with the same id the first counts.
    MenuChange update(const Menu &menu, const HostQuirks &quirks);

    /// Returns the numbers of all entries in their order, without the root.
    QList<int> numbers() const;
    bool contains(int id) const { return id == rootId || m_positions.contains(id); }
    /// Returns the entry as it was last sent; nullptr for the root and for unknown numbers.
    const MenuItem *item(int id) const;
    /// Returns those of the properties of a known entry that are asked for and differ from their defaults;
    /// all of them for an empty list of names.
    QVariantMap properties(int id, const QStringList &names) const;

private:
    struct Entry
    {
        int id = 0;
        MenuItem item;
        QVariantMap properties;
    };

    Entry entryFor(const MenuItem &item);
    QVariantMap propertiesOf(const MenuItem &item);
    QByteArray png(const Symbol &symbol);

    HostQuirks m_quirks;
    QList<Entry> m_entries;
    QHash<int, qsizetype> m_positions; ///< in m_entries, by number
    QHash<QString, int> m_numbers;     ///< by the entry's own id
    QHash<QString, QByteArray> m_pngs; ///< by symbol and colour; each is drawn once
    int m_lastNumber = rootId;
};

/// A menu as an object on the session bus, for a panel or launcher to show: com.canonical.dbusmenu.
///
/// A changed menu is announced at once, with nothing but the differences. A click is answered at once and
/// acts in the next turn of the event loop, so that a panel never waits for its consequences.
class DBusMenu : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    /// Stands on the bus at `path` for as long as it lives.
    DBusMenu(QDBusConnection bus, const QString &path);

    void setMenu(const Menu &menu);
    void setQuirks(const HostQuirks &quirks);

    // The methods of the interface. A call that names no known entry is answered with an error.
    /// Fills in the entry with `recursionDepth` levels below it, all for a negative number. Returns the
    /// menu's revision.
    uint GetLayout(int parentId, int recursionDepth, const QStringList &propertyNames,
                   MenuLayout &layout) const;
    /// Leaves unknown and repeated numbers out: a short question has no endless answer. No numbers at all
    /// stand for all entries.
    MenuPropertiesList GetGroupProperties(const QList<int> &ids, const QStringList &propertyNames) const;
    QDBusVariant GetProperty(int id, const QString &name) const;
    /// "clicked" chooses the entry. Some panels send "opened" instead of asking before they show the menu.
    void Event(int id, const QString &eventId, const QDBusVariant &data, uint timestamp);
    QList<int> EventGroup(const MenuEventList &events);
    bool AboutToShow(int id);
    QList<int> AboutToShowGroup(const QList<int> &ids, QList<int> &idErrors);

Q_SIGNALS:
    void ItemsPropertiesUpdated(const MenuPropertiesList &updatedProps,
                                const MenuPropertyNamesList &removedProps);
    void LayoutUpdated(uint revision, int parent);

    void aboutToShow();
    void chosen(const MenuItem &item); ///< as it was drawn

private:
    void update();
    bool handleEvent(int id, const QString &eventId);
    bool prepareToShow();
    void refuse(const QString &text) const;

    Menu m_menu;
    HostQuirks m_quirks;
    ExportedMenu m_exported;
    uint m_revision = 1;
};
