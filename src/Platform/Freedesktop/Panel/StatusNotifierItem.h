// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "IconFolder.h"
#include "IconPixmap.h"
#include "StatusItem.h"
#include "StatusPicture.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

/// The program's item as an object on the session bus: org.kde.StatusNotifierItem. It is announced to panels
/// by NotifierWatcher.
///
/// Contents set within one turn of the event loop are announced once, in the next, and only as far as they
/// differ.
class StatusNotifierItem : public QObject
{
    Q_OBJECT

public:
    /// Stands on the bus at "/StatusNotifierItem" for as long as it lives.
    ///
    /// @param menuPath the com.canonical.dbusmenu object of its menu
    /// @param runtimeFolder see IconFolder
    StatusNotifierItem(const QDBusConnection &bus, QString menuPath, const QString &runtimeFolder,
                       QObject *parent = nullptr);
    ~StatusNotifierItem() override;

    void setContent(const StatusItemContent &content);
    /// After a change of the palette: a template image is drawn in its text colour.
    void redraw();
    /// Whether to answer `Activate` and its like with an error, for panels that then open the menu.
    void setRefusesActivate(bool refuses) { m_refusesActivate = refuses; }
    bool refusesActivate() const { return m_refusesActivate; }

    QString title() const;
    QString menuPath() const { return m_menuPath; }
    QString iconName() const { return m_icons.iconName(m_picture); }
    QString iconThemePath() const { return m_icons.themePath(); }
    QString iconDescription() const;
    /// Drawn when first asked for.
    IconPixmapList pixmaps();
    ItemToolTip toolTip();

Q_SIGNALS:
    /// The user clicked and the panel leaves it to the program to show something.
    void activated();
    /// The panel hands over what makes the window that the next click opens come to the front, an
    /// xdg-activation token.
    void activationTokenProvided(const QByteArray &token);

private:
    void announceLater(const QStringList &signalNames);
    void announce();

    QDBusConnection m_bus;
    QString m_menuPath;
    IconFolder m_icons;
    StatusItemContent m_content;
    StatusPicture m_picture;
    IconPixmapList m_pixmaps; ///< empty until asked for
    QStringList m_due;        ///< signals to send in the next turn
    bool m_refusesActivate = false;
};
