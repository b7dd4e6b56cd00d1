// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceLink.h"

#include <array>
#include <chrono>
#include <cstring>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto servicePath = "/org/freedesktop/secrets";
constexpr auto serviceInterface = "org.freedesktop.Secret.Service";
constexpr auto defaultAlias = "default";
constexpr const char *noPath = nullptr; ///< ends a list of paths

/// Longest time for a service to start; at log-in everything starts at once.
constexpr std::chrono::milliseconds startTime = 15s;
/// Longest time for a service that was started by another name to take its own; KWallet needs milliseconds.
constexpr std::chrono::milliseconds namingTime = 1s;

/// Returns the words of an error, without the name that the bus put in front.
QString describe(GError *error)
{
    if (!error)
        return u"no reason given"_s;
    g_dbus_error_strip_remote_error(error);
    return QString::fromUtf8(error->message);
}

bool isNobodyThere(const GError *error)
{
    return g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER);
}

SecretResult toAbsence(GError *error)
{
    return {SecretStatus::Absent, u"no Secret Service is running: "_s + describe(error)};
}

} // namespace

SecretResult toFailure(GError *error)
{
    if (g_error_matches(error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED))
        return {SecretStatus::Locked, u"the keyring is locked: "_s + describe(error)};
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED))
        return {SecretStatus::NotAvailable, u"the session bus cannot be reached: "_s + describe(error)};
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT))
        return {SecretStatus::NotAvailable, u"the Secret Service does not answer"_s};
    if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY) || isNobodyThere(error))
        return {SecretStatus::NotAvailable, u"the Secret Service has ended"_s};
    return {SecretStatus::Failed, u"the Secret Service failed: "_s + describe(error)};
}

SecretServiceLink::SecretServiceLink(bool mayAsk, std::function<void(bool isAsking)> tellAsking,
                                     std::chrono::milliseconds answerTime)
    : m_answerTime(answerTime)
    , m_tellAsking(std::move(tellAsking))
    , m_isRefused(!mayAsk)
{
}

SecretServiceLink::~SecretServiceLink()
{
    m_service.reset();
    if (m_context) {
        // Sources that wait there hold the connection, which holds the context.
        while (g_main_context_iteration(m_context, FALSE)) {
        }
        m_bus.reset();
        g_main_context_pop_thread_default(m_context);
        g_main_context_unref(m_context);
    }
}

Failure SecretServiceLink::open()
{
    if (m_service)
        return std::nullopt;
    if (!m_context) {
        m_context = g_main_context_new();
        g_main_context_push_thread_default(m_context);
    }
    if (Failure failure = connectToBus())
        return failure;
    if (Failure failure = reachService())
        return failure;
    g_autoptr(GError) error = nullptr;
    m_service.reset(secret_service_open_sync(SECRET_TYPE_SERVICE, serviceName, SECRET_SERVICE_OPEN_SESSION,
                                             nullptr, &error));
    if (m_service)
        g_dbus_proxy_set_default_timeout(G_DBUS_PROXY(m_service.get()), int(m_answerTime.count()));
    return m_service ? std::nullopt : Failure(toFailure(error));
}

/// Connects so that the end of the session bus does not end the process. Fails on a closed connection: GLib
/// shares one in the process and hands that out for as long as anybody holds it.
Failure SecretServiceLink::connectToBus()
{
    g_autoptr(GError) error = nullptr;
    m_bus.reset(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error));
    if (m_bus)
        g_dbus_connection_set_exit_on_close(m_bus.get(), FALSE);
    if (m_bus && !g_dbus_connection_is_closed(m_bus.get()))
        return std::nullopt;
    return SecretResult{SecretStatus::NotAvailable,
                        u"the session bus cannot be reached: "_s +
                            (m_bus ? u"it closed the connection"_s : describe(error))};
}

/// Starts the service where there is none. One that is stopped or stuck would hold up this thread for as long
/// as the bus lets it, so it has to answer a small question first.
Failure SecretServiceLink::reachService()
{
    Failure failure = probe();
    if (failure && failure->status == SecretStatus::Absent) {
        failure = startService();
        if (!failure)
            failure = probe();
    }
    return failure;
}

GVariant *SecretServiceLink::call(const SecretServiceMethod &method, GVariant *arguments,
                                  GError **error) const
{
    return g_dbus_connection_call_sync(m_bus.get(), serviceName, method.object, method.interface, method.name,
                                       arguments, G_VARIANT_TYPE(method.replyType),
                                       G_DBUS_CALL_FLAGS_NO_AUTO_START, int(m_answerTime.count()), nullptr,
                                       error);
}

Failure SecretServiceLink::probe()
{
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply =
        call({servicePath, serviceInterface, "ReadAlias", "(o)"}, g_variant_new("(s)", defaultAlias), &error);
    if (reply)
        return std::nullopt;
    return isNobodyThere(error) ? toAbsence(error) : toFailure(error);
}

/// Starts the first service that the bus can start. KWallet offers the Secret Service since KDE
/// Frameworks 5.97, but the bus knows it by its own names only.
Failure SecretServiceLink::startService()
{
    Failure failure;
    for (const char *name : {serviceName, "org.kde.kwalletd6", "org.kde.kwalletd5"}) {
        g_autoptr(GError) error = nullptr;
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            m_bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "StartServiceByName", g_variant_new("(su)", name, 0U), G_VARIANT_TYPE("(u)"),
            G_DBUS_CALL_FLAGS_NONE, int(startTime.count()), nullptr, &error);
        if (reply) {
            awaitOwner();
            return std::nullopt;
        }
        if (!failure)
            failure = toAbsence(error);
        if (!isNobodyThere(error))
            break;
    }
    return failure;
}

/// Waits for somebody to own the service's name, for a short time.
void SecretServiceLink::awaitOwner()
{
    bool hasEnded = false;
    const auto end = [](gpointer data) -> gboolean {
        *static_cast<bool *>(data) = true;
        return G_SOURCE_CONTINUE;
    };
    const auto endAtOwner = [](GDBusConnection *, const char *, const char *, gpointer data) {
        *static_cast<bool *>(data) = true;
    };
    const guint watch = g_bus_watch_name_on_connection(
        m_bus.get(), serviceName, G_BUS_NAME_WATCHER_FLAGS_NONE, endAtOwner, nullptr, &hasEnded, nullptr);
    g_autoptr(GSource) timer = g_timeout_source_new(guint(namingTime.count()));
    g_source_set_callback(timer, end, &hasEnded, nullptr);
    g_source_attach(timer, m_context);
    while (!hasEnded)
        g_main_context_iteration(m_context, TRUE);
    g_source_destroy(timer);
    g_bus_unwatch_name(watch);
}

Failure SecretServiceLink::unlock(gpointer object)
{
    gboolean isLocked = FALSE;
    g_object_get(object, "locked", &isLocked, nullptr);
    if (!isLocked)
        return std::nullopt;
    const char *path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(object));
    return callWithConsent({servicePath, serviceInterface, "Unlock", "(aoo)"},
                           g_variant_new("(^ao)", std::array{path, noPath}.data()),
                           {SecretStatus::Locked, u"the keyring is locked and was not unlocked"_s});
}

Failure SecretServiceLink::openDefaultCollection(bool mayCreate, Collection &collection)
{
    const auto find = [&] {
        g_autoptr(GError) error = nullptr;
        collection.reset(secret_collection_for_alias_sync(service(), defaultAlias, SECRET_COLLECTION_NONE,
                                                          nullptr, &error));
        return error ? Failure(toFailure(error)) : std::nullopt;
    };
    Failure failure = find();
    if (!failure && !collection && mayCreate) {
        failure = createDefaultCollection();
        if (!failure)
            failure = find();
    }
    if (failure || !collection)
        return failure;
    return unlock(collection.get());
}

Failure SecretServiceLink::createDefaultCollection()
{
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Collection.Label",
                          g_variant_new_string("Default keyring"));
    return callWithConsent({servicePath, serviceInterface, "CreateCollection", "(oo)"},
                           g_variant_new("(a{sv}s)", &properties, defaultAlias),
                           {SecretStatus::Locked, u"there is no keyring yet and none was created"_s});
}

Failure SecretServiceLink::add(SecretCollection *collection, const SecretKey &key, const QString &label,
                               SecretValue *value)
{
    GVariantBuilder pairs;
    g_variant_builder_init(&pairs, G_VARIANT_TYPE("a{ss}"));
    g_variant_builder_add(&pairs, "{ss}", "service", key.service.toUtf8().constData());
    g_variant_builder_add(&pairs, "{ss}", "account", key.account.toUtf8().constData());
    g_variant_builder_add(&pairs, "{ss}", "xdg:schema", "com.ardentwick.Morvanel");
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Label",
                          g_variant_new_string(label.toUtf8().constData()));
    g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Attributes",
                          g_variant_builder_end(&pairs));
    const char *path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(collection));
    return callWithConsent({path, "org.freedesktop.Secret.Collection", "CreateItem", "(oo)"},
                           g_variant_new("(a{sv}@(oayays)b)", &properties,
                                         secret_service_encode_dbus_secret(service(), value), TRUE),
                           {SecretStatus::Failed, u"the new entry was refused"_s});
}

Failure SecretServiceLink::remove(SecretItem *item)
{
    const char *path = g_dbus_proxy_get_object_path(G_DBUS_PROXY(item));
    return callWithConsent({path, "org.freedesktop.Secret.Item", "Delete", "(o)"},
                           g_variant_new_tuple(nullptr, 0),
                           {SecretStatus::Failed, u"the removal was refused"_s});
}

Failure SecretServiceLink::callWithConsent(const SecretServiceMethod &method, GVariant *arguments,
                                           const SecretResult &refusal)
{
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = call(method, arguments, &error);
    if (!reply)
        return toFailure(error);
    g_autoptr(GVariant) path = g_variant_get_child_value(reply, g_variant_n_children(reply) - 1);
    const char *prompt = g_variant_get_string(path, nullptr);
    if (std::strcmp(prompt, "/") == 0)
        return std::nullopt;
    if (m_isRefused)
        return SecretResult{SecretStatus::Locked, refusal.reason};
    m_tellAsking(true);
    Failure failure = awaitConsent(prompt, refusal);
    m_tellAsking(false);
    m_isRefused = failure.has_value();
    return failure;
}

/// Waits for the user without end, but not for a service that is gone or stuck; libsecret's own wait misses
/// that.
Failure SecretServiceLink::awaitConsent(const char *prompt, const SecretResult &refusal)
{
    struct Wait
    {
        SecretServiceLink &link;
        const SecretResult &refusal;
        std::optional<Failure> outcome = {};
    } wait{*this, refusal};
    const auto takeAnswer = [](GDBusConnection *, const char *, const char *, const char *, const char *,
                               GVariant *parameters, gpointer data) {
        gboolean isDismissed = TRUE;
        if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(bv)")))
            g_variant_get_child(parameters, 0, "b", &isDismissed);
        auto *waiting = static_cast<Wait *>(data);
        waiting->outcome.emplace(isDismissed ? Failure(waiting->refusal) : std::nullopt);
    };
    const auto takeEnd = [](GDBusConnection *, const char *, const char *, const char *, const char *,
                            GVariant *, gpointer data) {
        static_cast<Wait *>(data)->outcome.emplace(
            SecretResult{SecretStatus::NotAvailable, u"the Secret Service has ended"_s});
    };
    const auto check = [](gpointer data) -> gboolean {
        auto *waiting = static_cast<Wait *>(data);
        if (const Failure failure = waiting->link.probe())
            waiting->outcome.emplace(failure);
        return G_SOURCE_CONTINUE;
    };
    g_autofree char *owner = g_dbus_proxy_get_name_owner(G_DBUS_PROXY(service()));
    const std::array subscriptions{
        g_dbus_connection_signal_subscribe(m_bus.get(), owner, "org.freedesktop.Secret.Prompt", "Completed",
                                           prompt, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, takeAnswer, &wait,
                                           nullptr),
        g_dbus_connection_signal_subscribe(m_bus.get(), "org.freedesktop.DBus", "org.freedesktop.DBus",
                                           "NameOwnerChanged", "/org/freedesktop/DBus", owner,
                                           G_DBUS_SIGNAL_FLAGS_NONE, takeEnd, &wait, nullptr)};
    g_autoptr(GSource) timer = g_timeout_source_new(guint(m_answerTime.count()));
    g_source_set_callback(timer, check, &wait, nullptr);
    g_source_attach(timer, m_context);
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_bus.get(), owner, prompt, "org.freedesktop.Secret.Prompt", "Prompt", g_variant_new("(s)", ""),
        G_VARIANT_TYPE_UNIT, G_DBUS_CALL_FLAGS_NO_AUTO_START, int(m_answerTime.count()), nullptr, &error);
    while (reply && !wait.outcome && !g_dbus_connection_is_closed(m_bus.get()))
        g_main_context_iteration(m_context, TRUE);
    g_source_destroy(timer);
    for (const guint subscription : subscriptions)
        g_dbus_connection_signal_unsubscribe(m_bus.get(), subscription);
    if (!reply)
        return toFailure(error);
    return wait.outcome.value_or(SecretResult{SecretStatus::NotAvailable, u"the session bus has ended"_s});
}
