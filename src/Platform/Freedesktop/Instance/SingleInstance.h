// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <optional>

class RunningInstance;

/// Sees to it that one Morvanel runs per session, and takes what launchers ask of it.
///
/// Who owns the name `com.ardentwick.Morvanel` on the session bus is the one; the bus decides, so launches at
/// the same time leave exactly one. It is made and asked before the application object is: a launch that
/// hands over never connects to the display.
///
/// The platform data of a request are those of the Desktop Entry standard: "activation-token" (Wayland)
/// and "desktop-startup-id" (X11) let the window that follows come to the front.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    explicit SingleInstance(QObject *parent = nullptr);

    /// Asks a Morvanel that runs already to show itself. Returns the exit status with which this process has
    /// to end: 0, or 1 after a sentence on standard error when the other one does not answer within 3
    /// seconds. Nothing is returned when this process is the one to go on, also where there is no bus to ask
    /// (said on standard error). One that is quitting is waited for, at most 6 seconds, and this process goes
    /// on.
    std::optional<int> handOver();

    /// The action that the bus started this process to perform; empty when it was started for something else
    /// or the request has not come yet. To be asked before `listen`, which then emits it.
    QString launchAction();
    /// From now on requests are taken; those that came before, while the program was starting, are taken at
    /// once. Needs the application object.
    void listen();
    /// From now on all requests but "quit" are turned down: a launch waits for this process to end and takes
    /// its place.
    void setQuitting() { m_isQuitting = true; }

    /// The platform data that this process itself was launched with, in its environment.
    const QVariantMap &launcherData() const { return m_launcherData; }

    /// The names `actionRequested` can come with.
    static QStringList actions();

Q_SIGNALS:
    /// The bus started this process to answer this request: the launch itself, not a second one.
    void launched(const QVariantMap &platformData);
    /// The program was started again, or its icon was clicked.
    void activated(const QVariantMap &platformData);
    void actionRequested(const QString &name, const QVariantMap &platformData);
    /// What was asked for, one of the three above, has been done.
    void served(const QVariantMap &platformData);

private Q_SLOTS:
    void reportLostBus() const;

private:
    friend class ApplicationAdaptor;

    struct Request
    {
        QString action; ///< empty: an activation
        QVariantMap platformData;
        QDBusMessage message;
    };

    bool isTheOne();
    std::optional<int> handOverTo(RunningInstance &other) const;
    void take(const Request &request);
    void refuse(const QDBusMessage &message, const QString &errorName, const QString &text);
    void deliver(const Request &request);

    QDBusConnection m_bus;
    QList<Request> m_kept; ///< until `listen`
    bool m_isListening = false;
    bool m_isQuitting = false;
    bool m_isLaunchDue; ///< the bus started this process and the request that made it do so is still to come
    QVariantMap m_launcherData;
};
