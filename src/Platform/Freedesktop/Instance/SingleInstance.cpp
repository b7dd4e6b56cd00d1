// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SingleInstance.h"

#include "ApplicationAdaptor.h"
#include "BusNames.h"
#include "MessageBus.h"
#include "RunningInstance.h"
#include "StandardError.h"

#include <QCoreApplication>
#include <QDBusError>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int quitTimeout = 6000; // milliseconds; quitting takes 4.2 seconds at the most
constexpr int maxAttempts = 10;   // there is another one only when the instance found has just ended

enum NameReply { // of RequestName in the D-Bus standard
    PrimaryOwner = 1,
    Exists = 3,
};
constexpr uint doNotQueue = 4;

/// What the launcher that started this process wants handed on, for the window to come to the front.
QVariantMap platformDataOfLauncher()
{
    constexpr std::pair<const char *, QLatin1StringView> entries[]{
        {"XDG_ACTIVATION_TOKEN", QLatin1StringView("activation-token")},
        {"DESKTOP_STARTUP_ID", QLatin1StringView("desktop-startup-id")},
    };
    QVariantMap data;
    for (const auto &[variable, key] : entries) {
        if (const QString value = qEnvironmentVariable(variable); !value.isEmpty())
            data.insert(key, value);
    }
    return data;
}

/// Whether a message bus started this process. The variables are taken away: what is started from here was
/// not started by the bus.
bool takeStartedByBus()
{
    const bool started = qEnvironmentVariableIsSet("DBUS_STARTER_BUS_TYPE");
    qunsetenv("DBUS_STARTER_BUS_TYPE");
    qunsetenv("DBUS_STARTER_ADDRESS");
    return started;
}

} // namespace

SingleInstance::SingleInstance(QObject *parent)
    : QObject(parent)
    , m_bus(QDBusConnection::sessionBus())
    , m_isLaunchDue(takeStartedByBus())
    , m_launcherData(platformDataOfLauncher())
{
    new ApplicationAdaptor(this);
}

std::optional<int> SingleInstance::handOver()
{
    if (!m_bus.isConnected()) {
        writeToStandardError(
            u"There is no session bus, so most panels show no icon, tokens cannot be "
            "read or stored, and a second start is not noticed. (%1)"_s.arg(m_bus.lastError().message()));
        return std::nullopt;
    }
    m_bus.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                  u"Disconnected"_s, this, SLOT(reportLostBus()));
    // The object comes before the name: who finds the name finds the object too.
    m_bus.registerObject(BusNames::object, this);
    for (int attempt = 0; attempt < maxAttempts; ++attempt) {
        if (isTheOne())
            return std::nullopt;
        RunningInstance other(m_bus);
        if (const std::optional<int> status = handOverTo(other))
            return status;
    }
    writeToStandardError(u"Morvanel is started and ended by something all the time; gave up."_s);
    return 1;
}

void SingleInstance::listen()
{
    QCoreApplication::sendPostedEvents(this);
    m_isListening = true;
    const QList<Request> kept = std::exchange(m_kept, {});
    for (const Request &request : kept)
        deliver(request);
    m_isLaunchDue = false;
}

QString SingleInstance::launchAction()
{
    if (!m_isLaunchDue)
        return {};
    // The bus sends the request with the name: once it answers anything else, the request is here.
    MessageBus::ask(m_bus, u"GetId"_s);
    QCoreApplication::sendPostedEvents(this);
    return m_kept.isEmpty() ? QString() : m_kept.first().action;
}

QStringList SingleInstance::actions()
{
    return {u"settings"_s, u"logs"_s, u"start-all"_s, u"stop-all"_s, u"quit"_s};
}

/// Whether this process owns the program's name; also when the bus would not say who does.
bool SingleInstance::isTheOne()
{
    const QDBusMessage reply =
        MessageBus::ask(m_bus, u"RequestName"_s, {QString(BusNames::service), doNotQueue});
    if (reply.type() == QDBusMessage::ReplyMessage)
        return reply.arguments().value(0).toUInt() != Exists;
    writeToStandardError(
        u"The session bus does not hand out the name %1, so a second start is not noticed. (%2)"_s.arg(
            BusNames::service, reply.errorMessage()));
    return true;
}

void SingleInstance::reportLostBus() const
{
    writeToStandardError(u"The session bus is gone. The tunnels go on; most panels show no icon any more, "
                         u"tokens cannot be read "
                         "or stored, and a second start is not noticed. A signal (SIGTERM) ends Morvanel."_s);
}

/// The exit status of this process, or nothing when `other` has left its place meanwhile.
std::optional<int> SingleInstance::handOverTo(RunningInstance &other) const
{
    switch (other.activate(m_launcherData)) {
    case RunningInstance::Answer::Taken:
        return 0;
    case RunningInstance::Answer::Gone:
        return std::nullopt;
    case RunningInstance::Answer::Quitting:
        if (other.waitForEnd(quitTimeout))
            return std::nullopt;
        writeToStandardError(
            u"Morvanel is quitting (process %1) and does not come to an end."_s.arg(other.processId()));
        return 1;
    case RunningInstance::Answer::None:
        break;
    }
    writeToStandardError(
        u"Morvanel runs already (process %1) but does not answer. (%2)"_s.arg(other.processId())
            .arg(other.error()));
    return 1;
}

void SingleInstance::take(const Request &request)
{
    request.message.setDelayedReply(true);
    if (m_isListening)
        deliver(request);
    else
        m_kept.append(request);
}

void SingleInstance::refuse(const QDBusMessage &message, const QString &errorName, const QString &text)
{
    message.setDelayedReply(true);
    m_bus.send(message.createErrorReply(errorName, text));
}

void SingleInstance::deliver(const Request &request)
{
    const bool isLaunch = std::exchange(m_isLaunchDue, false);
    if (m_isQuitting && request.action != "quit"_L1) {
        refuse(request.message, BusNames::quittingError, u"Morvanel is quitting."_s);
        return;
    }
    m_bus.send(request.message.createReply());
    if (!request.action.isEmpty())
        Q_EMIT actionRequested(request.action, request.platformData);
    else if (isLaunch)
        Q_EMIT launched(request.platformData);
    else
        Q_EMIT activated(request.platformData);
    Q_EMIT served(request.platformData);
}
