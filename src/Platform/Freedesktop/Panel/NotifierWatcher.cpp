// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "NotifierWatcher.h"

#include "NotifierWatcherInterface.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QTimer>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// A watcher may own its name before it answers to it.
constexpr int attempts = 5;
constexpr auto pauseBetweenAttempts = 200ms;

QString watcherName()
{
    return NotifierWatcherInterface::serviceName();
}

QDBusMessage busCall(const QString &method, const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                       u"org.freedesktop.DBus"_s, method);
    call.setArguments(arguments);
    return call;
}

QDBusMessage watcherCall(const QString &owner, const QString &interface, const QString &method,
                         const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(owner, u"/StatusNotifierWatcher"_s, interface, method);
    call.setArguments(arguments);
    return call;
}

/// Calls without waiting; `done` runs with the answer as long as the context lives.
template <typename Done>
void callLater(const QDBusConnection &bus, const QDBusMessage &call, QObject *context, Done done)
{
    auto *pending = new QDBusPendingCallWatcher(bus.asyncCall(call), context);
    QObject::connect(pending, &QDBusPendingCallWatcher::finished, context, [pending, done = std::move(done)] {
        pending->deleteLater();
        done(pending->reply());
    });
}

} // namespace

NotifierWatcher::NotifierWatcher(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
    if (!m_bus.isConnected()) {
        m_host = Host::Absent;
        return;
    }
    m_names.setConnection(m_bus);
    m_names.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    connect(&m_names, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &name, const QString &, const QString &owner) { setOwner(name, owner); });
    m_interface = std::make_unique<NotifierWatcherInterface>(m_bus);
    connect(m_interface.get(), &NotifierWatcherInterface::StatusNotifierHostRegistered, this,
            &NotifierWatcher::findHost);
    connect(m_interface.get(), &NotifierWatcherInterface::StatusNotifierHostUnregistered, this,
            &NotifierWatcher::findHost);
    m_bus.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                  u"Disconnected"_s, this, SLOT(forgetBus()));
    announceAtOnce();
    findNames();
}

NotifierWatcher::~NotifierWatcher() = default;

/// Before it is known who owns the name: the main thread starts tunnels now, and an answer would have to
/// wait.
void NotifierWatcher::announceAtOnce()
{
    m_isFirstCallPending = true;
    QDBusMessage call =
        watcherCall(watcherName(), watcherName(), u"RegisterStatusNotifierItem"_s, {m_bus.baseService()});
    call.setAutoStartService(false);
    callLater(m_bus, call, this, [this](const QDBusMessage &reply) {
        m_isFirstCallPending = false;
        const bool isError = reply.type() == QDBusMessage::ErrorMessage;
        if (m_owner.isEmpty())
            m_announcedTo = isError ? QString() : reply.service();
        else if (isError || reply.service() != m_owner)
            retryLater(1, m_owner);
    });
}

void NotifierWatcher::findNames()
{
    const QStringList names = HostQuirks::busNames() + QStringList{watcherName()};
    for (const QString &name : names) {
        m_names.addWatchedService(name);
        callLater(m_bus, busCall(u"GetNameOwner"_s, {name}), this, [this, name](const QDBusMessage &reply) {
            const bool isOwned = reply.type() == QDBusMessage::ReplyMessage;
            setOwner(name, isOwned ? reply.arguments().value(0).toString() : QString());
        });
    }
}

/// Nobody tells any more that the panel is gone.
void NotifierWatcher::forgetBus()
{
    const QSet<QString> names = m_presentNames;
    for (const QString &name : names)
        setOwner(name, {});
    setWatcher({});
}

void NotifierWatcher::setOwner(const QString &name, const QString &owner)
{
    if (name == watcherName()) {
        setWatcher(owner);
        return;
    }
    const HostQuirks before = quirks();
    if (owner.isEmpty())
        m_presentNames.remove(name);
    else
        m_presentNames.insert(name);
    if (quirks() != before)
        Q_EMIT quirksChanged();
}

void NotifierWatcher::setWatcher(const QString &owner)
{
    const QString before = std::exchange(m_owner, owner);
    const QString announcedTo = std::exchange(m_announcedTo, {});
    if (owner.isEmpty()) {
        setHost(Host::Absent);
    } else if (before != owner) {
        if (!m_isFirstCallPending && announcedTo != owner)
            registerItem(1);
        findHost();
        findProcess();
    }
}

void NotifierWatcher::registerItem(int attempt)
{
    const auto call =
        watcherCall(m_owner, watcherName(), u"RegisterStatusNotifierItem"_s, {m_bus.baseService()});
    callLater(m_bus, call, this, [this, attempt, owner = m_owner](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ErrorMessage && attempt < attempts)
            retryLater(attempt, owner);
    });
}

void NotifierWatcher::retryLater(int attempt, const QString &owner)
{
    QTimer::singleShot(pauseBetweenAttempts, this, [this, attempt, owner] {
        if (owner == m_owner)
            registerItem(attempt + 1);
    });
}

void NotifierWatcher::findHost()
{
    if (m_owner.isEmpty())
        return;
    const auto call = watcherCall(m_owner, u"org.freedesktop.DBus.Properties"_s, u"Get"_s,
                                  {watcherName(), u"IsStatusNotifierHostRegistered"_s});
    callLater(m_bus, call, this, [this, owner = m_owner](const QDBusMessage &reply) {
        if (owner != m_owner)
            return;
        // A watcher that cannot tell would not be there without a panel.
        const QVariant value = reply.arguments().value(0).value<QDBusVariant>().variant();
        const bool isAbsent = reply.type() == QDBusMessage::ReplyMessage && value == QVariant(false);
        setHost(isAbsent ? Host::Absent : Host::Present);
    });
}

void NotifierWatcher::findProcess()
{
    const auto call = busCall(u"GetConnectionUnixProcessID"_s, {m_owner});
    callLater(m_bus, call, this, [this, owner = m_owner](const QDBusMessage &reply) {
        QFile name(u"/proc/%1/comm"_s.arg(reply.arguments().value(0).toUInt()));
        if (owner != m_owner || reply.type() != QDBusMessage::ReplyMessage || !name.open(QIODevice::ReadOnly))
            return;
        const HostQuirks before = quirks();
        m_process = QString::fromUtf8(name.readAll()).trimmed();
        if (quirks() != before)
            Q_EMIT quirksChanged();
    });
}

void NotifierWatcher::setHost(Host host)
{
    if (std::exchange(m_host, host) != host)
        Q_EMIT hostChanged();
}
