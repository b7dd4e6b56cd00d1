// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>
#include <QVariantMap>

/// The badge and the menu of the program's icon in a launcher or task bar, as an object on the session bus:
/// com.canonical.Unity.LauncherEntry.
class LauncherEntry : public QObject
{
    Q_OBJECT

public:
    /// @param quicklistPath the com.canonical.dbusmenu object of the icon's menu
    LauncherEntry(QDBusConnection bus, const QString &quicklistPath);

    /// Shows a number; any other text takes the badge away.
    void setBadge(const QString &badge);

    /// Returns the address of the program's desktop file and fills in what `Update` announces.
    QString Query(QVariantMap &properties) const;

Q_SIGNALS:
    void Update(const QString &app_uri, const QVariantMap &properties);

private:
    void announce();

    QVariantMap m_properties;
    QDBusServiceWatcher m_launchers; ///< a launcher that starts late hears of the badge as well
};
