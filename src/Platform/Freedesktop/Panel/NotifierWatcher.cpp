// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "NotifierWatcher.h"

#include "NotifierWatcherInterface.h"

#include <QDBusPendingCallWatcher>
#include <QFile>
#include <QLoggingCategory>
#include <QTimer>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

Q_LOGGING_CATEGORY(panelLog, "morvanel.panel", QtWarningMsg)

/// Limits for registering: a watcher may own its name before it answers to it.
constexpr int attempts = 5;
constexpr auto pauseBetweenAttempts = 200ms;

QString watcherName()
{
    return QString::fromLatin1(NotifierWatcherInterface::staticInterfaceName());
}

QDBusMessage watcherCall(const QString &watcher, const QString &interface, const QString &method)
{
    return QDBusMessage::createMethodCall(watcher, u"/StatusNotifierWatcher"_s, interface, method);
}

QDBusMessage busCall(const QString &method, const QString &name)
{
    return QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                          u"org.freedesktop.DBus"_s, method)
           << name;
}

QDBusMessage registration(const QString &watcher, const QDBusConnection &bus)
{
    return watcherCall(watcher, watcherName(), u"RegisterStatusNotifierItem"_s) << bus.baseService();
}

bool isError(const QDBusMessage &reply)
{
    return reply.type() == QDBusMessage::ErrorMessage;
}

QString outcome(const QDBusMessage &reply)
{
    return isError(reply) ? reply.errorName() : u"accepted by "_s + reply.service();
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

NotifierWatcher::NotifierWatcher(const QDBusConnection &bus)
    : m_bus(bus)
{
    if (!m_bus.isConnected()) {
        m_host = Host::Absent;
        return;
    }
    m_names.setConnection(m_bus);
    m_names.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    connect(&m_names, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &name, const QString &, const QString &owner) {
                m_asked.remove(name);
                setOwner(name, owner);
            });
    auto *watcher = new NotifierWatcherInterface(watcherName(), u"/StatusNotifierWatcher"_s, m_bus, this);
    connect(watcher, &NotifierWatcherInterface::StatusNotifierHostRegistered, this,
            &NotifierWatcher::findHost);
    connect(watcher, &NotifierWatcherInterface::StatusNotifierHostUnregistered, this,
            &NotifierWatcher::findHost);
    // Qt hands this signal out by its name alone.
    m_bus.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                  u"Disconnected"_s, this, SLOT(forgetBus()));
    announceAtOnce();
    for (const QString &name : HostQuirks::busNames())
        watch(name);
}

/// Registers before it is known who owns the name: the main thread starts tunnels now, and an answer would
/// have to wait. The owner is asked for just before: a reply does not name its sender in Qt 6.8.
void NotifierWatcher::announceAtOnce()
{
    callLater(m_bus, busCall(u"GetNameOwner"_s, watcherName()), this, [this](const QDBusMessage &reply) {
        m_announcedTo = isError(reply) ? QString() : reply.arguments().value(0).toString();
    });
    QDBusMessage call = registration(watcherName(), m_bus);
    call.setAutoStartService(false);
    callLater(m_bus, call, this, [this](const QDBusMessage &reply) {
        qCDebug(panelLog) << "registration at once:" << outcome(reply);
        if (isError(reply))
            m_announcedTo.clear();
        watch(watcherName());
    });
}

/// Follows the owner of the name from now on. Qt may hand a reply out after a signal that the bus has sent
/// later, so that a signal wins.
void NotifierWatcher::watch(const QString &name)
{
    m_names.addWatchedService(name);
    m_asked.insert(name);
    callLater(m_bus, busCall(u"GetNameOwner"_s, name), this, [this, name](const QDBusMessage &reply) {
        if (m_asked.remove(name))
            setOwner(name, isError(reply) ? QString() : reply.arguments().value(0).toString());
    });
}

/// Takes every panel for gone: without the bus nobody tells of their end.
void NotifierWatcher::forgetBus()
{
    m_presentNames.clear();
    setWatcher({});
    findQuirks();
}

void NotifierWatcher::setOwner(const QString &name, const QString &owner)
{
    if (name == watcherName())
        return setWatcher(owner);
    if (owner.isEmpty())
        m_presentNames.remove(name);
    else
        m_presentNames.insert(name);
    findQuirks();
}

/// Registers with a new watcher, unless the registration at once has reached it already.
void NotifierWatcher::setWatcher(const QString &owner)
{
    const QString before = std::exchange(m_owner, owner);
    const QString announcedTo = std::exchange(m_announcedTo, {});
    if (owner.isEmpty()) {
        setHost(Host::Absent);
    } else if (before != owner) {
        if (announcedTo != owner)
            registerItem(1);
        findHost();
        findProcess();
    }
}

void NotifierWatcher::registerItem(int attempt)
{
    callLater(m_bus, registration(m_owner, m_bus), this,
              [this, attempt, owner = m_owner](const QDBusMessage &reply) {
                  qCDebug(panelLog) << "registration at" << owner << "attempt" << attempt << outcome(reply);
                  if (!isError(reply) || attempt == attempts)
                      return;
                  QTimer::singleShot(pauseBetweenAttempts, this, [this, attempt, owner] {
                      if (owner == m_owner)
                          registerItem(attempt + 1);
                  });
              });
}

void NotifierWatcher::findHost()
{
    if (m_owner.isEmpty())
        return;
    const auto call = watcherCall(m_owner, u"org.freedesktop.DBus.Properties"_s, u"Get"_s)
                      << watcherName() << u"IsStatusNotifierHostRegistered"_s;
    callLater(m_bus, call, this, [this, owner = m_owner](const QDBusMessage &reply) {
        if (owner != m_owner)
            return;
        // A watcher that cannot tell would not be there without a panel.
        const QVariant value = reply.arguments().value(0).value<QDBusVariant>().variant();
        setHost(!isError(reply) && value == QVariant(false) ? Host::Absent : Host::Present);
    });
}

/// Finds the name of the watcher's process, by which panels without a name of their own on the bus are known.
void NotifierWatcher::findProcess()
{
    const auto call = busCall(u"GetConnectionUnixProcessID"_s, m_owner);
    callLater(m_bus, call, this, [this, owner = m_owner](const QDBusMessage &reply) {
        QFile name(u"/proc/%1/comm"_s.arg(reply.arguments().value(0).toUInt()));
        if (owner != m_owner || isError(reply) || !name.open(QIODevice::ReadOnly))
            return;
        m_process = QString::fromUtf8(name.readAll()).trimmed();
        findQuirks();
    });
}

void NotifierWatcher::setHost(Host host)
{
    if (std::exchange(m_host, host) == host)
        return;
    qCDebug(panelLog) << (host == Host::Present ? "a panel is there" : "there is no panel");
    Q_EMIT hostChanged();
}

void NotifierWatcher::findQuirks()
{
    const HostQuirks quirks = HostQuirks::of(m_presentNames, m_process);
    if (std::exchange(m_quirks, quirks) == quirks)
        return;
    qCDebug(panelLog) << "quirks of" << m_process << m_presentNames << "joins lines:" << quirks.joinsLines
                      << "opens the menu if refused:" << quirks.opensMenuIfRefused;
    Q_EMIT quirksChanged();
}

#include "moc_NotifierWatcher.cpp"
