// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceLink.h"

#include "GLibNeeds.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto serviceName = "org.freedesktop.secrets";
constexpr auto servicePath = "/org/freedesktop/secrets";
constexpr auto serviceInterface = "org.freedesktop.Secret.Service";
constexpr auto busName = "org.freedesktop.DBus";
constexpr auto busPath = "/org/freedesktop/DBus";
constexpr auto defaultAlias = "default";

/// How long a running service may take to answer.
constexpr auto answerTime = 2s;
/// The same when it did not answer a short while ago: a program with many tunnels asks many times in a row.
constexpr auto answerTimeAfterSilence = 100ms;
constexpr auto silenceTime = 30s;
/// How long a service may take to start; at log-in everything starts at once.
constexpr auto startTime = 15s;
constexpr auto refusalTime = 1s;

/// Errors that mean that nobody is there to answer.
bool isUnavailable(const GError *error)
{
    constexpr std::array busErrors = {
        G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER, G_DBUS_ERROR_NO_REPLY,
        G_DBUS_ERROR_NO_SERVER,       G_DBUS_ERROR_DISCONNECTED,      G_DBUS_ERROR_TIMEOUT,
        G_DBUS_ERROR_TIMED_OUT,       G_DBUS_ERROR_ACCESS_DENIED,
    };
    constexpr std::array ioErrors = {G_IO_ERROR_TIMED_OUT, G_IO_ERROR_BROKEN_PIPE, G_IO_ERROR_NOT_CONNECTED};
    const auto isCode = [error](int code) { return code == error->code; };
    return (error->domain == G_DBUS_ERROR && std::any_of(busErrors.begin(), busErrors.end(), isCode)) ||
           (error->domain == G_IO_ERROR && std::any_of(ioErrors.begin(), ioErrors.end(), isCode));
}

/// The words of an error, without the name that the bus put in front.
QString describe(const GError *error)
{
    if (!error)
        return u"no reason given"_s;
    const std::unique_ptr<GError, GLibDeleter<g_error_free>> copy(g_error_copy(error));
    g_dbus_error_strip_remote_error(copy.get());
    return QString::fromUtf8(copy->message);
}

} // namespace

SecretFailure toSecretFailure(const GError *error)
{
    if (g_error_matches(error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED))
        return {SecretStatus::InteractionNotAllowed, u"it is locked: "_s + describe(error)};
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED))
        return {SecretStatus::NotAvailable, u"the session bus cannot be reached: "_s + describe(error)};
    if (error && isUnavailable(error))
        return {SecretStatus::NotAvailable, u"the Secret Service is gone: "_s + describe(error)};
    return {SecretStatus::Failed, u"the Secret Service failed: "_s + describe(error)};
}

SecretService *SecretServiceLink::open()
{
    m_isReused = false;
    if (!GLibNeeds::areDescriptorsLeft())
        throw SecretFailure{SecretStatus::NotAvailable, u"there are too many open files"_s};
    connectToBus();
    const QByteArray owner = findOwner();
    if (owner != m_owner)
        m_service.reset();
    checkAnswers(owner);
    m_isReused = m_service != nullptr;
    if (m_service)
        return m_service.get();
    GErrorSlot error;
    m_service.reset(secret_service_open_sync(SECRET_TYPE_SERVICE, serviceName, SECRET_SERVICE_OPEN_SESSION,
                                             nullptr, error.receive()));
    if (!m_service)
        throw toSecretFailure(error.get());
    m_owner = owner;
    return m_service.get();
}

bool SecretServiceLink::close()
{
    m_service.reset();
    m_bus.reset();
    return std::exchange(m_isReused, false);
}

bool SecretServiceLink::unlock(gpointer object)
{
    if (!m_refusal.hasExpired())
        return false;
    GErrorSlot error;
    GList objects = {object, nullptr, nullptr};
    if (secret_service_unlock_sync(m_service.get(), &objects, nullptr, nullptr, error.receive()) > 0)
        return true;
    if (error.get() && !error.is(SECRET_ERROR, SECRET_ERROR_IS_LOCKED))
        throw toSecretFailure(error.get());
    m_refusal.setRemainingTime(refusalTime);
    return false;
}

GObjectPointer<SecretCollection> SecretServiceLink::defaultCollection()
{
    GErrorSlot error;
    GObjectPointer<SecretCollection> collection(secret_collection_for_alias_sync(
        m_service.get(), defaultAlias, SECRET_COLLECTION_NONE, nullptr, error.receive()));
    if (!collection && error.get())
        throw toSecretFailure(error.get());
    return collection;
}

GObjectPointer<SecretCollection> SecretServiceLink::createdDefaultCollection()
{
    if (GObjectPointer<SecretCollection> collection = defaultCollection())
        return collection;
    GErrorSlot error;
    GObjectPointer<SecretCollection> collection;
    if (m_refusal.hasExpired())
        collection.reset(secret_collection_create_sync(m_service.get(), "Default keyring", defaultAlias,
                                                       SECRET_COLLECTION_CREATE_NONE, nullptr,
                                                       error.receive()));
    if (collection)
        return collection;
    if (toSecretFailure(error.get()).status == SecretStatus::NotAvailable)
        throw toSecretFailure(error.get());
    m_refusal.setRemainingTime(refusalTime);
    throw SecretFailure{SecretStatus::InteractionNotAllowed,
                        u"there is no default collection yet and none was created: "_s +
                            describe(error.get())};
}

/// The end of the session bus must end this connection and not the process. GLib shares one connection in the
/// process and hands out a closed one for as long as anybody holds it.
void SecretServiceLink::connectToBus()
{
    if (m_bus && !g_dbus_connection_is_closed(m_bus.get()))
        return;
    close();
    if (!GLibNeeds::areThreadsLeft())
        throw SecretFailure{SecretStatus::NotAvailable, u"there are too many processes"_s};
    GErrorSlot error;
    GObjectPointer<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, error.receive()));
    if (!bus || g_dbus_connection_is_closed(bus.get()))
        throw SecretFailure{SecretStatus::NotAvailable,
                            u"the session bus cannot be reached: "_s +
                                (bus ? u"it closed the connection"_s : describe(error.get()))};
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    m_bus = std::move(bus);
}

/// The bus name of the process that is the service now; starts one where there is none.
QByteArray SecretServiceLink::findOwner()
{
    GErrorSlot error;
    const auto askBus = [&](const char *method, GVariant *arguments, Milliseconds patience) {
        return call(busName, busPath, busName, method, arguments, patience, error);
    };
    GVariantPointer reply = askBus("GetNameOwner", g_variant_new("(s)", serviceName), answerTime);
    if (!reply && error.is(G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) &&
        askBus("StartServiceByName", g_variant_new("(su)", serviceName, 0U), startTime))
        reply = askBus("GetNameOwner", g_variant_new("(s)", serviceName), answerTime);
    if (error.is(G_IO_ERROR, G_IO_ERROR_CLOSED))
        throw toSecretFailure(error.get());
    if (!reply)
        throw SecretFailure{SecretStatus::NotAvailable,
                            u"no Secret Service is running: "_s + describe(error.get())};
    const char *owner = nullptr;
    g_variant_get(reply.get(), "(&s)", &owner);
    return owner;
}

/// A service that is stopped or stuck would hold up this thread for as long as the bus lets it.
void SecretServiceLink::checkAnswers(const QByteArray &owner)
{
    GErrorSlot error;
    const Milliseconds patience = m_silence.hasExpired() ? answerTime : answerTimeAfterSilence;
    const GVariantPointer reply = call(owner.constData(), servicePath, serviceInterface, "ReadAlias",
                                       g_variant_new("(s)", defaultAlias), patience, error);
    if (reply) {
        m_silence = QDeadlineTimer();
        return;
    }
    if (error.is(G_IO_ERROR, G_IO_ERROR_TIMED_OUT)) {
        m_silence.setRemainingTime(silenceTime);
        throw SecretFailure{SecretStatus::NotAvailable, u"the Secret Service does not answer"_s};
    }
    throw toSecretFailure(error.get());
}

GVariantPointer SecretServiceLink::call(const char *name, const char *path, const char *interface,
                                        const char *method, GVariant *arguments, Milliseconds patience,
                                        GErrorSlot &error)
{
    return GVariantPointer(g_dbus_connection_call_sync(m_bus.get(), name, path, interface, method, arguments,
                                                       nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
                                                       int(patience.count()), nullptr, error.receive()));
}
