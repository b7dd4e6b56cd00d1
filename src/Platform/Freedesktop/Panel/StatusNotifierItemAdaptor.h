// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "StatusNotifierItem.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>

/// The methods and properties of org.kde.StatusNotifierItem, in the bus's types. Owned by its item.
///
/// There is no `XAyatanaLabel`, not even an empty one: a panel that knows it would show it instead of the
/// icon.
class StatusNotifierItemAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_CLASSINFO("D-Bus Introspection", "<interface name='org.kde.StatusNotifierItem'>"
                                       "  <property name='Category' type='s' access='read'/>"
                                       "  <property name='Id' type='s' access='read'/>"
                                       "  <property name='Title' type='s' access='read'/>"
                                       "  <property name='Status' type='s' access='read'/>"
                                       "  <property name='WindowId' type='i' access='read'/>"
                                       "  <property name='IconThemePath' type='s' access='read'/>"
                                       "  <property name='Menu' type='o' access='read'/>"
                                       "  <property name='ItemIsMenu' type='b' access='read'/>"
                                       "  <property name='IconName' type='s' access='read'/>"
                                       "  <property name='IconPixmap' type='a(iiay)' access='read'/>"
                                       "  <property name='IconAccessibleDesc' type='s' access='read'/>"
                                       "  <property name='OverlayIconName' type='s' access='read'/>"
                                       "  <property name='OverlayIconPixmap' type='a(iiay)' access='read'/>"
                                       "  <property name='AttentionIconName' type='s' access='read'/>"
                                       "  <property name='AttentionIconPixmap' type='a(iiay)' access='read'/>"
                                       "  <property name='AttentionMovieName' type='s' access='read'/>"
                                       "  <property name='ToolTip' type='(sa(iiay)ss)' access='read'/>"
                                       "  <method name='ContextMenu'>"
                                       "    <arg name='x' type='i' direction='in'/>"
                                       "    <arg name='y' type='i' direction='in'/>"
                                       "  </method>"
                                       "  <method name='Activate'>"
                                       "    <arg name='x' type='i' direction='in'/>"
                                       "    <arg name='y' type='i' direction='in'/>"
                                       "  </method>"
                                       "  <method name='SecondaryActivate'>"
                                       "    <arg name='x' type='i' direction='in'/>"
                                       "    <arg name='y' type='i' direction='in'/>"
                                       "  </method>"
                                       "  <method name='XAyatanaSecondaryActivate'>"
                                       "    <arg name='timestamp' type='u' direction='in'/>"
                                       "  </method>"
                                       "  <method name='Scroll'>"
                                       "    <arg name='delta' type='i' direction='in'/>"
                                       "    <arg name='orientation' type='s' direction='in'/>"
                                       "  </method>"
                                       "  <method name='ProvideXdgActivationToken'>"
                                       "    <arg name='token' type='s' direction='in'/>"
                                       "  </method>"
                                       "  <signal name='NewTitle'/>"
                                       "  <signal name='NewIcon'/>"
                                       "  <signal name='NewAttentionIcon'/>"
                                       "  <signal name='NewOverlayIcon'/>"
                                       "  <signal name='NewMenu'/>"
                                       "  <signal name='NewToolTip'/>"
                                       "  <signal name='NewStatus'>"
                                       "    <arg name='status' type='s'/>"
                                       "  </signal>"
                                       "  <signal name='NewIconThemePath'>"
                                       "    <arg name='path' type='s'/>"
                                       "  </signal>"
                                       "</interface>")
    Q_PROPERTY(QString Category READ category CONSTANT)
    Q_PROPERTY(QString Id READ id CONSTANT)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status CONSTANT)
    Q_PROPERTY(int WindowId READ windowId CONSTANT)
    Q_PROPERTY(QString IconThemePath READ iconThemePath CONSTANT)
    Q_PROPERTY(QDBusObjectPath Menu READ menu CONSTANT)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu CONSTANT)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(IconPixmapList IconPixmap READ iconPixmap)
    Q_PROPERTY(QString IconAccessibleDesc READ iconAccessibleDesc)
    Q_PROPERTY(QString OverlayIconName READ none CONSTANT)
    Q_PROPERTY(IconPixmapList OverlayIconPixmap READ noPixmap CONSTANT)
    Q_PROPERTY(QString AttentionIconName READ none CONSTANT)
    Q_PROPERTY(IconPixmapList AttentionIconPixmap READ noPixmap CONSTANT)
    Q_PROPERTY(QString AttentionMovieName READ none CONSTANT)
    Q_PROPERTY(ItemToolTip ToolTip READ toolTip)

public:
    StatusNotifierItemAdaptor(const QDBusConnection &bus, StatusNotifierItem *item);

    QString category() const;
    QString id() const;
    QString title() const { return m_item->title(); }
    QString status() const;
    int windowId() const { return 0; }
    QString iconThemePath() const { return m_item->iconThemePath(); }
    QDBusObjectPath menu() const { return QDBusObjectPath(m_item->menuPath()); }
    bool itemIsMenu() const { return true; }
    QString iconName() const { return m_item->iconName(); }
    IconPixmapList iconPixmap() const { return m_item->pixmaps(); }
    QString iconAccessibleDesc() const { return m_item->iconDescription(); }
    QString none() const { return {}; }
    IconPixmapList noPixmap() const { return {}; }
    ItemToolTip toolTip() const { return m_item->toolTip(); }

public Q_SLOTS:
    void ContextMenu(int x, int y, const QDBusMessage &message);
    void Activate(int x, int y, const QDBusMessage &message);
    void SecondaryActivate(int x, int y, const QDBusMessage &message);
    void XAyatanaSecondaryActivate(uint timestamp, const QDBusMessage &message);
    void Scroll(int delta, const QString &orientation);
    void ProvideXdgActivationToken(const QString &token);

private:
    void activate(const QDBusMessage &message);

    QDBusConnection m_bus;
    StatusNotifierItem *m_item;
};
