// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DBusMenuExporter.h"

#include "DBusMenuAdaptor.h"

#include <QDBusMessage>

#include <utility>

using namespace Qt::StringLiterals;

DBusMenuExporter::DBusMenuExporter(const QDBusConnection &bus, const QString &path, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_path(path)
    , m_exported([this](const Symbol &image) { return m_dots.png(image); })
{
    registerMenuTypes();
    new DBusMenuAdaptor(m_bus, this);
    m_bus.registerObject(m_path, this, QDBusConnection::ExportAdaptors);
}

DBusMenuExporter::~DBusMenuExporter()
{
    m_bus.unregisterObject(m_path);
}

void DBusMenuExporter::setMenu(const Menu &menu)
{
    m_menu = menu;
    refreshLater();
}

void DBusMenuExporter::setQuirks(const HostQuirks &quirks)
{
    if (quirks == m_quirks)
        return;
    m_quirks = quirks;
    refreshLater();
}

void DBusMenuExporter::refreshLater()
{
    if (std::exchange(m_isRefreshDue, true))
        return;
    QMetaObject::invokeMethod(this, &DBusMenuExporter::refresh, Qt::QueuedConnection);
}

bool DBusMenuExporter::refresh()
{
    if (!std::exchange(m_isRefreshDue, false))
        return false;
    const MenuChange change = m_exported.update(m_menu, m_quirks);
    if (!change.updated.isEmpty() || !change.removed.isEmpty()) {
        emitOnBus(u"ItemsPropertiesUpdated"_s,
                  {QVariant::fromValue(change.updated), QVariant::fromValue(change.removed)});
    }
    if (change.layoutChanged)
        emitOnBus(u"LayoutUpdated"_s, {++m_revision, ExportedMenu::rootId});
    return change.layoutChanged;
}

bool DBusMenuExporter::prepareToShow()
{
    Q_EMIT aboutToShow();
    return refresh();
}

bool DBusMenuExporter::handleEvent(int id, const QString &eventId)
{
    if (!m_exported.contains(id))
        return false;
    if (id == ExportedMenu::rootId && eventId == u"opened")
        Q_EMIT aboutToShow();
    const MenuItem *item = m_exported.item(id);
    if (eventId == u"clicked" && item && item->isEnabled && !item->isSeparator) {
        QMetaObject::invokeMethod(
            this, [this, drawn = *item] { Q_EMIT chosen(drawn); }, Qt::QueuedConnection);
    }
    return true;
}

void DBusMenuExporter::emitOnBus(const QString &name, const QVariantList &arguments) const
{
    QDBusMessage signal = QDBusMessage::createSignal(m_path, u"com.canonical.dbusmenu"_s, name);
    signal.setArguments(arguments);
    m_bus.send(signal);
}
