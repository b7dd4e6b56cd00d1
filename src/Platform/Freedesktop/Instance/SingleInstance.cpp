// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SingleInstance.h"

#include "ApplicationAdaptor.h"
#include "ChildLauncher.h"
#include "StandardError.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QFileInfo>

#include <glib.h>
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr QLatin1StringView service{"com.ardentwick.Morvanel"};
constexpr QLatin1StringView object{"/com/ardentwick/Morvanel"};
/// The error with which a program that is quitting turns requests down.
constexpr QLatin1StringView quittingError{"com.ardentwick.Morvanel.Error.Quitting"};
constexpr QLatin1StringView windowlessError{"com.ardentwick.Morvanel.Error.Windowless"};

/// Time limit for an answer of the bus or of another instance: 3 seconds, also when the timer, which is a
/// coarse one, fires early.
constexpr std::chrono::milliseconds answerTimeout = 3100ms;
constexpr std::chrono::milliseconds quitTimeout = ChildPatience::atQuit + 2s;
constexpr int maxAttempts = 10; // there is another one only when the instance found has just ended

/// Returns the data that the launcher of this process wants handed on, for the window to come to the front.
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

/// Returns whether a message bus started this process. Takes the variables that say so away: a program that
/// is started from here was not started by the bus.
bool takeStartedByBus()
{
    const bool started = qEnvironmentVariableIsSet("DBUS_STARTER_BUS_TYPE");
    qunsetenv("DBUS_STARTER_BUS_TYPE");
    qunsetenv("DBUS_STARTER_ADDRESS");
    return started;
}

/// Waits for the end of a process; false when the time is over first.
bool waitForEnd(uint processId, std::chrono::milliseconds timeout)
{
    const FileDescriptor process(::pidfd_open(pid_t(processId), 0));
    if (!process.isOpen())
        return true;
    pollfd ended{process.get(), POLLIN, 0};
    return ::poll(&ended, 1, int(timeout.count())) == 1;
}

/// Returns the call that shows a sentence to the user of this session, where there is something to show it.
QDBusMessage notification(const QString &sentence)
{
    QDBusMessage message = QDBusMessage::createMethodCall(u"org.freedesktop.Notifications"_s,
                                                          u"/org/freedesktop/Notifications"_s,
                                                          u"org.freedesktop.Notifications"_s, u"Notify"_s);
    message << u"Morvanel"_s << 0U << QString(service) << u"Morvanel"_s << sentence << QStringList()
            << QVariantMap{{u"desktop-entry"_s, QString(service)}} << -1;
    return message;
}

/// Asks the instance that owns the name now to show itself. Returns the exit status of this process; nothing
/// when the other one has left its place meanwhile.
std::optional<int> handOverToOwner(const QDBusConnection &bus, const QVariantMap &platformData)
{
    // Its unique name: nothing sent there ever starts another one.
    const QString owner = bus.interface()->serviceOwner(service);
    if (owner.isEmpty())
        return std::nullopt;
    QDBusMessage request =
        QDBusMessage::createMethodCall(owner, object, u"org.freedesktop.Application"_s, u"Activate"_s);
    request << platformData;
    const QDBusMessage reply = bus.call(request, QDBus::Block, int(answerTimeout.count()));
    if (reply.type() == QDBusMessage::ReplyMessage)
        return 0;
    if (reply.errorName() == windowlessError) {
        writeToStandardError(reply.errorMessage());
        return 1;
    }
    const uint processId = bus.interface()->servicePid(owner);
    if (reply.errorName() == quittingError) {
        if (waitForEnd(processId, quitTimeout))
            return std::nullopt;
        writeToStandardError(
            u"Morvanel is quitting (process %1) and does not come to an end."_s.arg(processId));
        return 1;
    }
    if (!bus.interface()->isServiceRegistered(owner))
        return std::nullopt;
    writeToStandardError(u"Morvanel runs already (process %1) but does not answer. (%2)"_s.arg(processId).arg(
        reply.errorMessage()));
    return 1;
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

std::optional<int> SingleInstance::handOver(const QString &lockPath)
{
    const std::optional<int> status = handOverInSession();
    return status ? status : yieldToOtherSession(lockPath);
}

std::optional<int> SingleInstance::handOverInSession()
{
    if (!m_bus.isConnected()) {
        writeToStandardError(u"There is no session bus, so most panels show no icon, tokens cannot be "
                             "read or stored, and a second start cannot show this one. (%1)"_s.arg(
                                 m_bus.lastError().message()));
        return std::nullopt;
    }
    m_bus.interface()->setTimeout(int(answerTimeout.count()));
    // QtDBus relays this signal of its own only to a slot that is named.
    m_bus.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                  u"Disconnected"_s, this, SLOT(reportLostBus()));
    // The object comes before the name: a caller that finds the name finds the object too.
    m_bus.registerObject(object, this);
    for (int attempt = 0; attempt < maxAttempts; ++attempt) {
        if (isTheOne())
            return std::nullopt;
        if (const std::optional<int> status = handOverToOwner(m_bus, m_launcherData))
            return status;
    }
    writeToStandardError(u"Morvanel is started and ended by something all the time; gave up."_s);
    return 1;
}

std::optional<int> SingleInstance::yieldToOtherSession(const QString &lockPath)
{
    g_mkdir_with_parents(QFile::encodeName(QFileInfo(lockPath).path()).constData(), S_IRWXU);
    m_lock = FileDescriptor(
        ::open(QFile::encodeName(lockPath).constData(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    struct flock holder
    {
    };
    for (int attempt = 0; attempt < maxAttempts; ++attempt) {
        struct flock lock
        {
        };
        lock.l_type = F_WRLCK;
        if (m_lock.isOpen() && ::fcntl(m_lock.get(), F_SETLK, &lock) == 0)
            return std::nullopt;
        if (errno != EAGAIN) {
            writeToStandardError(
                u"%1 cannot be locked, so a start in another session is not noticed. (%2)"_s.arg(
                    lockPath, qt_error_string()));
            return std::nullopt;
        }
        holder = lock;
        // Unlike flock(2) this tells who holds the lock, so that the end of it can be waited for.
        if (::fcntl(m_lock.get(), F_GETLK, &holder) == 0 && holder.l_type != F_UNLCK &&
            !waitForEnd(uint(holder.l_pid), quitTimeout))
            break;
    }
    const QString sentence = u"Morvanel runs in another session (process %1)."_s.arg(holder.l_pid);
    writeToStandardError(sentence);
    // Waited for: this process ends, and what shows it may have to be started first.
    m_bus.call(notification(sentence), QDBus::Block, int(answerTimeout.count()));
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
    m_bus.interface()->isServiceRegistered(service);
    QCoreApplication::sendPostedEvents(this);
    return m_kept.isEmpty() ? QString() : m_kept.first().action;
}

/// Returns whether this process owns the program's name; true as well when the bus does not hand it out.
bool SingleInstance::isTheOne()
{
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        m_bus.interface()->registerService(service);
    if (reply.isValid())
        return reply != QDBusConnectionInterface::ServiceNotRegistered;
    writeToStandardError(
        u"The session bus does not hand out the name %1, so a second start cannot show this one. (%2)"_s.arg(
            service, reply.error().message()));
    return true;
}

void SingleInstance::reportLostBus() const
{
    writeToStandardError(
        u"The session bus is gone. The tunnels go on; most panels show no icon any more, "
        u"tokens cannot be read "
        "or stored, and a second start cannot show this one. A signal (SIGTERM) ends Morvanel."_s);
}

void SingleInstance::Activate(const QVariantMap &platformData)
{
    take(QString(), platformData);
}

void SingleInstance::Open(const QStringList &, const QVariantMap &)
{
    sendErrorReply(QDBusError::NotSupported, u"Morvanel opens no files."_s);
}

void SingleInstance::ActivateAction(const QString &name, const QVariantList &,
                                    const QVariantMap &platformData)
{
    const QStringList actions{u"settings"_s, u"logs"_s, u"start-all"_s, u"stop-all"_s, u"quit"_s};
    if (actions.contains(name))
        take(name, platformData);
    else
        sendErrorReply(QDBusError::InvalidArgs, u"Morvanel has no action \"%1\"."_s.arg(name));
}

void SingleInstance::take(const QString &action, const QVariantMap &platformData)
{
    setDelayedReply(true);
    const Request request{action, platformData, message()};
    if (m_isListening)
        deliver(request);
    else
        m_kept.append(request);
}

void SingleInstance::deliver(const Request &request)
{
    const bool isLaunch = std::exchange(m_isLaunchDue, false);
    if (m_isQuitting && request.action != "quit"_L1) {
        m_bus.send(request.message.createErrorReply(quittingError, u"Morvanel is quitting."_s));
        return;
    }
    const bool wantsWindow =
        request.action.isEmpty() || request.action == "settings"_L1 || request.action == "logs"_L1;
    if (m_isWindowless && wantsWindow && !isLaunch) {
        const QString sentence =
            u"Morvanel runs without windows (process %1): it was started without a display. "
            "Quit it, then start it again."_s.arg(QCoreApplication::applicationPid());
        m_bus.send(request.message.createErrorReply(windowlessError, sentence));
        m_bus.send(notification(sentence)); // a desktop that asked for the window shows no errors
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

#include "moc_SingleInstance.cpp"
