// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DBusMenu.h"

#include "DBusMenuAdaptor.h"
#include "EntryText.h"
#include "SymbolDrawing.h"

#include <QBuffer>
#include <QDBusError>
#include <QGuiApplication>
#include <QImage>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QString noSuchEntry(int id)
{
    return u"There is no menu entry %1"_s.arg(id);
}

bool doesTheSame(const MenuItem &a, const MenuItem &b)
{
    return a.isSeparator == b.isSeparator && a.action == b.action && a.data == b.data;
}

/// Returns the value of a property that an entry does not list; invalid for a name that does not exist.
QVariant defaultValue(const QString &name)
{
    static const QVariantMap defaults{
        {u"type"_s, u"standard"_s},
        {u"label"_s, QString()},
        {u"enabled"_s, true},
        {u"visible"_s, true},
        {u"icon-name"_s, QString()},
        {u"icon-data"_s, QByteArray()},
        {u"shortcut"_s, QVariant::fromValue(MenuShortcut())},
        {u"toggle-type"_s, QString()},
        {u"toggle-state"_s, -1},
        {u"children-display"_s, QString()},
        {u"disposition"_s, u"normal"_s},
        {u"accessible-desc"_s, QString()},
    };
    return defaults.value(name);
}

/// Adds the differences between the properties of one entry.
void compare(int id, const QVariantMap &before, const QVariantMap &after, MenuChange &change)
{
    QVariantMap updated = after;
    updated.removeIf(
        [&before](QVariantMap::iterator property) { return before.value(property.key()) == *property; });
    QVariantMap removed = before;
    removed.removeIf([&after](QVariantMap::iterator property) { return after.contains(property.key()); });
    if (!updated.isEmpty())
        change.updated += {id, updated};
    if (!removed.isEmpty())
        change.removed += {id, removed.keys()};
}

} // namespace

MenuChange ExportedMenu::update(const Menu &menu, const HostQuirks &quirks)
{
    MenuChange change;
    const bool redrawsAll = std::exchange(m_quirks, quirks) != quirks;
    QList<Entry> entries;
    QHash<int, qsizetype> positions;
    QHash<QString, int> numbers;
    for (const MenuItem &item : menu) {
        if (numbers.contains(item.id))
            continue;
        Entry entry = entryFor(item);
        if (redrawsAll || item != entry.item || entry.properties.isEmpty()) {
            const QVariantMap before = std::exchange(entry.properties, propertiesOf(item));
            entry.item = item;
            if (m_positions.contains(entry.id))
                compare(entry.id, before, entry.properties, change);
        }
        positions.insert(entry.id, entries.size());
        numbers.insert(item.id, entry.id);
        entries += std::move(entry);
    }
    change.isNewLayout = !std::equal(entries.cbegin(), entries.cend(), m_entries.cbegin(), m_entries.cend(),
                                     [](const Entry &a, const Entry &b) { return a.id == b.id; });
    m_entries = std::move(entries);
    m_positions = std::move(positions);
    m_numbers = std::move(numbers);
    return change;
}

/// Returns the entry as it was sent, or a new one under a new number and still without properties.
ExportedMenu::Entry ExportedMenu::entryFor(const MenuItem &item)
{
    if (const auto number = m_numbers.constFind(item.id); number != m_numbers.cend()) {
        const Entry &old = m_entries[m_positions.value(*number)];
        if (doesTheSame(old.item, item))
            return old;
    }
    return {.id = ++m_lastNumber, .item = item, .properties = {}};
}

QVariantMap ExportedMenu::propertiesOf(const MenuItem &item)
{
    if (item.isSeparator)
        return {{u"type"_s, u"separator"_s}};
    QVariantMap properties{{u"label"_s, EntryText::label(item, m_quirks)}};
    if (!item.isEnabled)
        properties[u"enabled"_s] = false;
    if (const QStringList shortcut = EntryText::shortcut(item, m_quirks); !shortcut.isEmpty())
        properties[u"shortcut"_s] = QVariant::fromValue(MenuShortcut{shortcut});
    if (const QString description = EntryText::accessibleDescription(item); !description.isEmpty())
        properties[u"accessible-desc"_s] = description;
    QByteArray picture;
    if (item.image)
        picture = png(*item.image);
    else if (EntryText::needsEmptyPicture(item, m_quirks))
        picture = png({});
    if (!picture.isEmpty())
        properties[u"icon-data"_s] = picture;
    return properties;
}

/// Returns a picture for a menu that the panel draws, on a ground and at a scale that are not known: large
/// enough to be made smaller. Transparent for a symbol without a name, empty for one that does not exist.
QByteArray ExportedMenu::png(const Symbol &symbol)
{
    constexpr int side = 32;
    QByteArray &png = m_pngs[symbol.symbolName + QString::number(int(symbol.color))];
    QBuffer buffer(&png);
    if (!png.isEmpty() || !buffer.open(QIODevice::WriteOnly))
        return png;
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    if (!symbol.symbolName.isEmpty()) {
        const QColor color = SymbolDrawing::colorOnAnyGround(symbol.color);
        image = SymbolDrawing::image(symbol.symbolName, side, color);
    }
    image.save(&buffer, "PNG");
    return png;
}

const MenuItem *ExportedMenu::item(int id) const
{
    const auto position = m_positions.constFind(id);
    return position == m_positions.cend() ? nullptr : &m_entries[*position].item;
}

QList<int> ExportedMenu::numbers() const
{
    QList<int> numbers;
    for (const Entry &entry : m_entries)
        numbers += entry.id;
    return numbers;
}

QVariantMap ExportedMenu::properties(int id, const QStringList &names) const
{
    QVariantMap properties{{u"children-display"_s, u"submenu"_s}};
    if (id != rootId)
        properties = m_entries[m_positions.value(id)].properties;
    if (!names.isEmpty())
        properties.removeIf([&names](QVariantMap::iterator entry) { return !names.contains(entry.key()); });
    return properties;
}

DBusMenu::DBusMenu(QDBusConnection bus, const QString &path)
{
    registerBusTypes();
    setProperty("Version", 3U);
    setProperty("TextDirection", QGuiApplication::isRightToLeft() ? u"rtl"_s : u"ltr"_s);
    setProperty("Status", u"normal"_s);
    new DBusMenuAdaptor(this);
    bus.registerObject(path, this, QDBusConnection::ExportAdaptors);
}

void DBusMenu::setMenu(const Menu &menu)
{
    m_menu = menu;
    update();
}

void DBusMenu::setQuirks(const HostQuirks &quirks)
{
    m_quirks = quirks;
    update();
}

void DBusMenu::update()
{
    const MenuChange change = m_exported.update(m_menu, m_quirks);
    if (!change.updated.isEmpty() || !change.removed.isEmpty())
        Q_EMIT ItemsPropertiesUpdated(change.updated, change.removed);
    if (change.isNewLayout)
        Q_EMIT LayoutUpdated(++m_revision, ExportedMenu::rootId);
}

uint DBusMenu::GetLayout(int parentId, int recursionDepth, const QStringList &propertyNames,
                         MenuLayout &layout) const
{
    if (!m_exported.contains(parentId)) {
        refuse(noSuchEntry(parentId));
        return m_revision;
    }
    layout = {parentId, m_exported.properties(parentId, propertyNames), {}};
    if (parentId == ExportedMenu::rootId && recursionDepth != 0) {
        const QList<int> numbers = m_exported.numbers();
        for (const int id : numbers) {
            const MenuLayout child{id, m_exported.properties(id, propertyNames), {}};
            layout.children += QVariant::fromValue(child);
        }
    }
    return m_revision;
}

MenuPropertiesList DBusMenu::GetGroupProperties(const QList<int> &ids, const QStringList &propertyNames) const
{
    const QList<int> wanted = ids.isEmpty() ? QList{ExportedMenu::rootId} + m_exported.numbers() : ids;
    MenuPropertiesList list;
    QSet<int> answered;
    for (const int id : wanted) {
        if (m_exported.contains(id) && !answered.contains(id)) {
            answered += id;
            list += {id, m_exported.properties(id, propertyNames)};
        }
    }
    if (list.isEmpty())
        refuse(u"None of the menu entries exists"_s);
    return list;
}

QDBusVariant DBusMenu::GetProperty(int id, const QString &name) const
{
    QVariant value;
    if (m_exported.contains(id))
        value = m_exported.properties(id, {}).value(name, defaultValue(name));
    if (!value.isValid())
        refuse(u"Menu entry %1 has no property \"%2\""_s.arg(id).arg(name));
    return QDBusVariant(value);
}

void DBusMenu::Event(int id, const QString &eventId, const QDBusVariant &, uint)
{
    if (!handleEvent(id, eventId))
        refuse(noSuchEntry(id));
}

QList<int> DBusMenu::EventGroup(const MenuEventList &events)
{
    QList<int> unknown;
    for (const MenuEvent &event : events) {
        if (!handleEvent(event.id, event.eventId))
            unknown += event.id;
    }
    if (!events.isEmpty() && unknown.size() == events.size())
        refuse(u"None of the events is about an existing menu entry"_s);
    return unknown;
}

bool DBusMenu::AboutToShow(int id)
{
    if (m_exported.contains(id))
        return prepareToShow();
    refuse(noSuchEntry(id));
    return false;
}

QList<int> DBusMenu::AboutToShowGroup(const QList<int> &ids, QList<int> &idErrors)
{
    QList<int> known;
    for (const int id : ids)
        (m_exported.contains(id) ? known : idErrors) += id;
    if (!ids.isEmpty() && known.isEmpty())
        refuse(u"None of the menu entries exists"_s);
    return !known.isEmpty() && prepareToShow() ? known : QList<int>();
}

/// Acts on a later turn, once the panel has its answer: it waits for that with the menu on the screen.
bool DBusMenu::handleEvent(int id, const QString &eventId)
{
    if (!m_exported.contains(id))
        return false;
    const MenuItem *entry = m_exported.item(id);
    if (eventId == u"clicked" && entry && entry->isEnabled && !entry->isSeparator) {
        QMetaObject::invokeMethod(
            this, [this, drawn = *entry] { Q_EMIT chosen(drawn); }, Qt::QueuedConnection);
    }
    if (id == ExportedMenu::rootId && eventId == u"opened")
        QMetaObject::invokeMethod(this, &DBusMenu::aboutToShow, Qt::QueuedConnection);
    return true;
}

/// Lets the menu be brought up to date; tells whether its layout changed.
bool DBusMenu::prepareToShow()
{
    const uint before = m_revision;
    Q_EMIT aboutToShow();
    return m_revision != before;
}

void DBusMenu::refuse(const QString &text) const
{
    if (!calledFromDBus())
        return;
    setDelayedReply(true);
    if (message().isReplyRequired())
        sendErrorReply(QDBusError::InvalidArgs, text);
}

#include "moc_DBusMenu.cpp"
