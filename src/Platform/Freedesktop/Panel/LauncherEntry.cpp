// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LauncherEntry.h"

#include "LauncherEntryAdaptor.h"

#include <utility>

using namespace Qt::StringLiterals;

LauncherEntry::LauncherEntry(QDBusConnection bus, const QString &quicklistPath)
    : m_properties{{u"count"_s, 0LL}, {u"count-visible"_s, false}, {u"quicklist"_s, quicklistPath}}
{
    new LauncherEntryAdaptor(this);
    if (!bus.isConnected())
        return;
    bus.registerObject(u"/com/canonical/unity/launcherentry/morvanel"_s, this,
                       QDBusConnection::ExportAdaptors);
    m_launchers.setConnection(bus);
    m_launchers.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
    m_launchers.addWatchedService(u"com.canonical.Unity"_s);
    connect(&m_launchers, &QDBusServiceWatcher::serviceRegistered, this, &LauncherEntry::announce);
    announce();
}

void LauncherEntry::setBadge(const QString &badge)
{
    QVariantMap properties = m_properties;
    bool isNumber = false;
    properties[u"count"_s] = badge.toLongLong(&isNumber);
    properties[u"count-visible"_s] = isNumber;
    if (std::exchange(m_properties, properties) != properties)
        announce();
}

QString LauncherEntry::Query(QVariantMap &properties) const
{
    properties = m_properties;
    return u"application://com.ardentwick.Morvanel.desktop"_s;
}

void LauncherEntry::announce()
{
    QVariantMap properties;
    const QString uri = Query(properties);
    Q_EMIT Update(uri, properties);
}

#include "moc_LauncherEntry.cpp"
