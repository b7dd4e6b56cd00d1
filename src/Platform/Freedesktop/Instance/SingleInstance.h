// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FileDescriptor.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <optional>

/// Sees to it that a user runs one Morvanel, and takes the requests of launchers.
///
/// In a session the owner of the name `com.ardentwick.Morvanel` on the bus is the one; the bus decides, so
/// launches at the same time leave exactly one. Among the sessions of a user, which share tunnels and
/// preferences, it is the holder of a file's lock, which the kernel frees at the end of the process, however
/// that ended. An object of this class is made and asked before the application object, so that a launch that
/// hands over never connects to the display.
///
/// The platform data of a request are those of the Desktop Entry standard: "activation-token" (Wayland)
/// and "desktop-startup-id" (X11) let the window that follows come to the front.
class SingleInstance : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    explicit SingleInstance(QObject *parent = nullptr);

    /// Asks a Morvanel that runs already to show itself. Returns the exit status with which this process has
    /// to end: 0, or 1 after a sentence on standard error when the other one does not answer within 3
    /// seconds. Returns nothing when this process is the one to go on, also where there is no bus to ask or
    /// nothing can be locked (said on standard error). One that is quitting is waited for, at most 6 seconds,
    /// and this process goes on. One of another session is waited for as long, because it may be quitting;
    /// then the status is 1, after a sentence on standard error and a notification.
    [[nodiscard]] std::optional<int> handOver(const QString &lockPath);

    /// Returns the action that the bus started this process to perform; empty when it was started for
    /// something else or the request has not come yet. To be asked before `listen`, which then emits it.
    QString launchAction();
    /// Takes requests from now on, and at once those that came while the program was starting. Needs the
    /// application object.
    void listen();
    /// Answers requests for windows with an error and a notification from now on: this process has no
    /// display. A launch that gets the error says so on standard error and ends with status 1.
    void setWindowless() { m_isWindowless = true; }
    /// Turns down all requests but "quit" from now on: a launch waits for this process to end and takes its
    /// place.
    void setQuitting() { m_isQuitting = true; }

    /// Returns the platform data that this process itself was launched with, in its environment.
    const QVariantMap &launcherData() const { return m_launcherData; }

    // The methods of org.freedesktop.Application, called by the bus.
    void Activate(const QVariantMap &platformData);
    /// Answers with an error: the program opens no files.
    void Open(const QStringList &uris, const QVariantMap &platformData);
    /// Answers with an error where there is no such action. No action takes a parameter.
    void ActivateAction(const QString &name, const QVariantList &parameter, const QVariantMap &platformData);

Q_SIGNALS:
    /// Sent when the bus started this process for this request: the launch itself, not a second one.
    void launched(const QVariantMap &platformData);
    /// Sent when the program was started again, or its icon was clicked.
    void activated(const QVariantMap &platformData);
    /// Sent when "settings", "logs", "start-all", "stop-all" or "quit" is to be done.
    void actionRequested(const QString &name, const QVariantMap &platformData);
    /// Sent when a request, one of the three above, has been served.
    void served(const QVariantMap &platformData);

private Q_SLOTS:
    void reportLostBus() const;

private:
    struct Request
    {
        QString action; ///< empty: an activation
        QVariantMap platformData;
        QDBusMessage message;
    };

    std::optional<int> handOverInSession();
    std::optional<int> yieldToOtherSession(const QString &lockPath);
    bool isTheOne();
    void take(const QString &action, const QVariantMap &platformData);
    void deliver(const Request &request);

    QDBusConnection m_bus;
    FileDescriptor m_lock;
    QList<Request> m_kept; ///< until `listen`
    bool m_isListening = false;
    bool m_isWindowless = false;
    bool m_isQuitting = false;
    bool m_isLaunchDue; ///< the bus started this process and the request that made it do so is still to come
    QVariantMap m_launcherData;
};
