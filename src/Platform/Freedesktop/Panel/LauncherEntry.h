// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>
#include <QVariantMap>

/// The badge and the menu of the program's icon in a launcher or task bar: com.canonical.Unity.LauncherEntry.
class LauncherEntry : public QObject
{
    Q_OBJECT

public:
    /// @param quicklistPath the com.canonical.dbusmenu object of the icon's menu
    LauncherEntry(const QDBusConnection &bus, QString quicklistPath, QObject *parent = nullptr);
    ~LauncherEntry() override;

    /// A number; anything else takes the badge away.
    void setBadge(const QString &badge);

    static QString applicationUri();
    QVariantMap properties() const;

private:
    void announce();

    QDBusConnection m_bus;
    QString m_quicklistPath;
    QString m_badge;
    QDBusServiceWatcher m_launchers; ///< a launcher that starts late hears of the badge as well
};

/// The interface's method. Owned by its entry.
class LauncherEntryAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.Unity.LauncherEntry")
    Q_CLASSINFO("D-Bus Introspection", "<interface name='com.canonical.Unity.LauncherEntry'>"
                                       "  <method name='Query'>"
                                       "    <arg name='app_uri' type='s' direction='out'/>"
                                       "    <arg name='properties' type='a{sv}' direction='out'/>"
                                       "  </method>"
                                       "  <signal name='Update'>"
                                       "    <arg name='app_uri' type='s'/>"
                                       "    <arg name='properties' type='a{sv}'/>"
                                       "  </signal>"
                                       "</interface>")

public:
    explicit LauncherEntryAdaptor(LauncherEntry *entry);

public Q_SLOTS:
    QString Query(QVariantMap &properties);

private:
    LauncherEntry *m_entry;
};
