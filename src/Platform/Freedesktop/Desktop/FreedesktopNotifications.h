// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Notifications.h"

#include <QDBusConnection>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

class NotificationServer;
class QDBusPendingCall;
class QDBusPendingCallWatcher;

/// Notifications through org.freedesktop.Notifications (Desktop Notifications 1.2 of freedesktop.org). The
/// server is not looked for before there is something to show.
class FreedesktopNotifications : public QObject, public Notifications
{
    Q_OBJECT

public:
    /// `icon` draws the program's icon. It is sent along while the program is not installed, when the desktop
    /// has none of that name.
    FreedesktopNotifications(const QDBusConnection &bus, std::function<QImage()> icon);
    ~FreedesktopNotifications() override;

    void show(const QUuid &tag, const Notification &notification) override;
    void update(const QUuid &tag, const Notification &notification) override;
    void withdraw(const QUuid &tag) override;

Q_SIGNALS:
    /// Sent with the xdg-activation token of a click, just before the click itself is told.
    void activationTokenProvided(const QByteArray &token);

private:
    struct Entry
    {
        std::optional<Notification> wanted;
        Notification sent;
        QDBusPendingCallWatcher *call = nullptr; ///< to `Notify`, not answered yet
        quint32 id = 0;                          ///< at the server; 0 for none
    };

    void connectServer();
    void forgetServer();
    void askCapabilities();
    void send(const QUuid &tag);
    void finishSending(const QUuid &tag, QDBusPendingCallWatcher *call);
    void forget(quint32 id);
    void answer(quint32 id, const QString &key);
    QStringList actionsOf(const Notification &notification) const;
    QVariantMap hints() const;
    std::optional<QUuid> tagOf(quint32 id) const;
    QDBusPendingCallWatcher *watch(const QDBusPendingCall &call,
                                   std::function<void(QDBusPendingCallWatcher *call)> finished);

    QDBusConnection m_bus;
    std::function<QImage()> m_icon;
    std::unique_ptr<NotificationServer> m_server;
    QDBusPendingCallWatcher *m_question = nullptr; ///< to `GetCapabilities`, not answered yet
    std::optional<QStringList> m_capabilities;
    bool m_drawsDefaultAction = false; ///< as a button beside the others
    QHash<QUuid, Entry> m_entries;
};
