// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "DBusMenuExporter.h"
#include "MenuTypes.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

/// The methods and properties of com.canonical.dbusmenu, in the bus's types. Owned by its exporter.
class DBusMenuAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_CLASSINFO("D-Bus Introspection", "<interface name='com.canonical.dbusmenu'>"
                                       "  <property name='Version' type='u' access='read'/>"
                                       "  <property name='TextDirection' type='s' access='read'/>"
                                       "  <property name='Status' type='s' access='read'/>"
                                       "  <property name='IconThemePath' type='as' access='read'/>"
                                       "  <method name='GetLayout'>"
                                       "    <arg name='parentId' type='i' direction='in'/>"
                                       "    <arg name='recursionDepth' type='i' direction='in'/>"
                                       "    <arg name='propertyNames' type='as' direction='in'/>"
                                       "    <arg name='revision' type='u' direction='out'/>"
                                       "    <arg name='layout' type='(ia{sv}av)' direction='out'/>"
                                       "  </method>"
                                       "  <method name='GetGroupProperties'>"
                                       "    <arg name='ids' type='ai' direction='in'/>"
                                       "    <arg name='propertyNames' type='as' direction='in'/>"
                                       "    <arg name='properties' type='a(ia{sv})' direction='out'/>"
                                       "  </method>"
                                       "  <method name='GetProperty'>"
                                       "    <arg name='id' type='i' direction='in'/>"
                                       "    <arg name='name' type='s' direction='in'/>"
                                       "    <arg name='value' type='v' direction='out'/>"
                                       "  </method>"
                                       "  <method name='Event'>"
                                       "    <arg name='id' type='i' direction='in'/>"
                                       "    <arg name='eventId' type='s' direction='in'/>"
                                       "    <arg name='data' type='v' direction='in'/>"
                                       "    <arg name='timestamp' type='u' direction='in'/>"
                                       "  </method>"
                                       "  <method name='EventGroup'>"
                                       "    <arg name='events' type='a(isvu)' direction='in'/>"
                                       "    <arg name='idErrors' type='ai' direction='out'/>"
                                       "  </method>"
                                       "  <method name='AboutToShow'>"
                                       "    <arg name='id' type='i' direction='in'/>"
                                       "    <arg name='needUpdate' type='b' direction='out'/>"
                                       "  </method>"
                                       "  <method name='AboutToShowGroup'>"
                                       "    <arg name='ids' type='ai' direction='in'/>"
                                       "    <arg name='updatesNeeded' type='ai' direction='out'/>"
                                       "    <arg name='idErrors' type='ai' direction='out'/>"
                                       "  </method>"
                                       "  <signal name='ItemsPropertiesUpdated'>"
                                       "    <arg name='updatedProps' type='a(ia{sv})'/>"
                                       "    <arg name='removedProps' type='a(ias)'/>"
                                       "  </signal>"
                                       "  <signal name='LayoutUpdated'>"
                                       "    <arg name='revision' type='u'/>"
                                       "    <arg name='parent' type='i'/>"
                                       "  </signal>"
                                       "  <signal name='ItemActivationRequested'>"
                                       "    <arg name='id' type='i'/>"
                                       "    <arg name='timestamp' type='u'/>"
                                       "  </signal>"
                                       "</interface>")
    Q_PROPERTY(uint Version READ version CONSTANT)
    Q_PROPERTY(QString TextDirection READ textDirection CONSTANT)
    Q_PROPERTY(QString Status READ status CONSTANT)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath CONSTANT)

public:
    DBusMenuAdaptor(const QDBusConnection &bus, DBusMenuExporter *exporter);

    uint version() const { return 3; }
    QString textDirection() const;
    QString status() const;
    QStringList iconThemePath() const { return {}; }

public Q_SLOTS:
    uint GetLayout(int parentId, int recursionDepth, const QStringList &propertyNames,
                   const QDBusMessage &message, MenuLayout &layout);
    MenuPropertiesList GetGroupProperties(const QList<int> &ids, const QStringList &propertyNames,
                                          const QDBusMessage &message);
    QDBusVariant GetProperty(int id, const QString &name, const QDBusMessage &message);
    void Event(int id, const QString &eventId, const QDBusVariant &data, uint timestamp,
               const QDBusMessage &message);
    QList<int> EventGroup(const MenuEventList &events, const QDBusMessage &message);
    bool AboutToShow(int id, const QDBusMessage &message);
    QList<int> AboutToShowGroup(const QList<int> &ids, const QDBusMessage &message, QList<int> &idErrors);

private:
    void refuse(const QDBusMessage &message, const QString &text) const;

    QDBusConnection m_bus;
    DBusMenuExporter *m_exporter;
};
