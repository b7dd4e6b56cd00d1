// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "BusTypes.h"
#include "HostQuirks.h"
#include "StatusItem.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariant>

/// The program's item as an object on the session bus: org.kde.StatusNotifierItem. It is announced to panels
/// by NotifierWatcher.
///
/// Its properties on the bus are the dynamic properties of this object, under the same names; one that is
/// never set is empty. There is no `XAyatanaLabel`, not even an empty one: a panel that knows it would show
/// it instead of the icon.
class StatusNotifierItem : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    /// Stands on the bus at "/StatusNotifierItem" for as long as it lives.
    ///
    /// @param menuPath the com.canonical.dbusmenu object of its menu
    /// @param runtimeFolder where files live as long as the session; the icons go to "morvanel/icons" there
    /// @param icons those that panels may look for before they are shown
    StatusNotifierItem(QDBusConnection bus, const QString &menuPath, const QString &runtimeFolder,
                       const QList<Symbol> &icons);

    /// Draws the content and announces it as far as it looks different. To be repeated after a change of the
    /// palette, in whose text colour a template image is drawn.
    void setContent(const StatusItemContent &content);
    /// Takes effect on the icon with the next `setContent`.
    void setQuirks(const HostQuirks &quirks) { m_quirks = quirks; }

    // The methods of the interface.
    void ContextMenu(int, int) { activate(); }
    void Activate(int, int) { activate(); }
    void SecondaryActivate(int, int) { activate(); }
    void XAyatanaSecondaryActivate(uint) { activate(); }
    /// Does nothing: the answer alone keeps panels from complaining.
    void Scroll(int, const QString &) {}
    void ProvideXdgActivationToken(const QString &token) { Q_EMIT activationTokenProvided(token.toUtf8()); }

Q_SIGNALS:
    void NewTitle();
    void NewIcon();
    void NewToolTip();

    /// Sent when the user clicked and the panel leaves it to the program to show something.
    void activated();
    /// Sent with the panel's xdg-activation token, with which the window that the next click opens comes to
    /// the front.
    void activationTokenProvided(const QByteArray &token);

private:
    QString iconName(const StatusItemContent &content) const;
    bool change(const char *property, const QVariant &value);
    void activate();

    QString m_iconFolder; ///< empty where files cannot be written
    HostQuirks m_quirks;
    QTimer m_reminder; ///< for panels that lose signals; armed by a change alone
};
