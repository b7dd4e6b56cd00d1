// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LauncherEntry.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

QString objectPath()
{
    return u"/com/canonical/unity/launcherentry/morvanel"_s;
}

} // namespace

LauncherEntry::LauncherEntry(const QDBusConnection &bus, QString quicklistPath, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_quicklistPath(std::move(quicklistPath))
{
    new LauncherEntryAdaptor(this);
    if (!m_bus.isConnected())
        return;
    m_bus.registerObject(objectPath(), this, QDBusConnection::ExportAdaptors);
    m_launchers.setConnection(m_bus);
    m_launchers.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
    m_launchers.addWatchedService(u"com.canonical.Unity"_s);
    connect(&m_launchers, &QDBusServiceWatcher::serviceRegistered, this, &LauncherEntry::announce);
    announce();
}

LauncherEntry::~LauncherEntry()
{
    m_bus.unregisterObject(objectPath());
}

void LauncherEntry::setBadge(const QString &badge)
{
    if (std::exchange(m_badge, badge) != badge)
        announce();
}

QString LauncherEntry::applicationUri()
{
    return u"application://com.ardentwick.Morvanel.desktop"_s;
}

QVariantMap LauncherEntry::properties() const
{
    bool isNumber = false;
    const qint64 count = m_badge.toLongLong(&isNumber);
    return {{u"count"_s, count}, {u"count-visible"_s, isNumber}, {u"quicklist"_s, m_quicklistPath}};
}

void LauncherEntry::announce()
{
    QDBusMessage signal =
        QDBusMessage::createSignal(objectPath(), u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s);
    signal.setArguments({applicationUri(), properties()});
    m_bus.send(signal);
}

LauncherEntryAdaptor::LauncherEntryAdaptor(LauncherEntry *entry)
    : QDBusAbstractAdaptor(entry)
    , m_entry(entry)
{
    setAutoRelaySignals(false);
}

QString LauncherEntryAdaptor::Query(QVariantMap &properties)
{
    properties = m_entry->properties();
    return LauncherEntry::applicationUri();
}
