// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Notifications.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QStringList>

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
    explicit FreedesktopNotifications(const QDBusConnection &bus);
    ~FreedesktopNotifications() override;

    void show(const QUuid &tag, const QString &title, const QString &body) override;
    void withdraw(const QUuid &tag) override;
    void setActivated(std::function<void(const QUuid &tag)> activated) override
    {
        m_activated = std::move(activated);
    }

Q_SIGNALS:
    /// Sent with the xdg-activation token of a click, just before the click itself is told.
    void activationTokenProvided(const QByteArray &token);

private:
    struct Note
    {
        QString title;
        QString body;

        bool operator==(const Note &) const = default;
    };
    struct Entry
    {
        std::optional<Note> wanted;
        std::optional<Note> sent;
        QDBusPendingCallWatcher *call = nullptr; ///< to `Notify`, not answered yet
        quint32 id = 0;                          ///< at the server; 0 for none
    };

    void connectServer();
    void forgetServer();
    void askCapabilities();
    void send(const QUuid &tag);
    void finishSending(const QUuid &tag, QDBusPendingCallWatcher *call);
    void forget(quint32 id);
    std::optional<QUuid> tagOf(quint32 id) const;
    QDBusPendingCallWatcher *watch(const QDBusPendingCall &call,
                                   std::function<void(QDBusPendingCallWatcher *call)> finished);

    QDBusConnection m_bus;
    std::unique_ptr<NotificationServer> m_server;
    QDBusPendingCallWatcher *m_question = nullptr; ///< to `GetCapabilities`, not answered yet
    std::optional<QStringList> m_capabilities;
    QHash<QUuid, Entry> m_entries;
    std::function<void(const QUuid &tag)> m_activated;
};
