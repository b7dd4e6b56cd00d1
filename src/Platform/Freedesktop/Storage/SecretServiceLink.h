// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

// The encoding of a secret for the bus, which is there since libsecret 0.16, counts as unstable.
#define SECRET_API_SUBJECT_TO_CHANGE
#include <libsecret/secret.h>

#include "SecretStore.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// Gives back one reference to a GObject.
struct Unref
{
    void operator()(gpointer object) const { g_object_unref(object); }
};
/// Owns one reference to a GObject.
template <typename T> using GObjectPointer = std::unique_ptr<T, Unref>;
using Collection = GObjectPointer<SecretCollection>;
using Items = std::vector<GObjectPointer<SecretItem>>;

/// The reason why a step has failed; none after a success.
using Failure = std::optional<SecretResult>;

/// A method of an object of the service, on the bus.
struct SecretServiceMethod
{
    const char *object;
    const char *interface;
    const char *name;
    const char *replyType; ///< of what it returns, as D-Bus writes it
};

/// Returns the failure that an error of GLib, GDBus or libsecret stands for.
SecretResult toFailure(GError *error);

/// One conversation with the Secret Service, on one thread from beginning to end.
class SecretServiceLink
{
public:
    static constexpr auto serviceName = "org.freedesktop.secrets";

    /// Asks the user nothing unless it may; tells, on its own thread, when a question is on the screen and
    /// when no more. `answerTime` is the longest time for a running service to answer; also how long it may
    /// leave a question of its own unanswered before it is asked whether it still runs.
    SecretServiceLink(bool mayAsk, std::function<void(bool isAsking)> tellAsking,
                      std::chrono::milliseconds answerTime);
    ~SecretServiceLink();
    Q_DISABLE_COPY_MOVE(SecretServiceLink)

    /// Makes sure of a service with a session, starting one where there is none. It has 15 seconds to start,
    /// and then the time to answer.
    [[nodiscard]] Failure open();
    /// Returns the service, after a successful `open`.
    SecretService *service() const { return m_service.get(); }
    /// Unlocks the item or collection, after asking the user if need be. A user who refused is not asked
    /// again.
    [[nodiscard]] Failure unlock(gpointer object);
    /// Adds an item to an unlocked collection, in place of one with this key; the service may
    /// ask the user first.
    [[nodiscard]] Failure add(SecretCollection *collection, const SecretKey &key, const QString &label,
                              SecretValue *value);
    /// Removes an unlocked item; the service may ask the user first.
    [[nodiscard]] Failure remove(SecretItem *item);
    /// Puts the default collection, unlocked, into `collection`. When there is none, creates it if
    /// `mayCreate`, else sets `collection` to null.
    [[nodiscard]] Failure openDefaultCollection(bool mayCreate, Collection &collection);

private:
    [[nodiscard]] Failure connectToBus();
    [[nodiscard]] Failure reachService();
    [[nodiscard]] Failure startService();
    void awaitOwner();
    /// Calls a method of an object of the service, if that runs. Returns its reply; null after an error, such
    /// as a reply of another type.
    GVariant *call(const SecretServiceMethod &method, GVariant *arguments, GError **error) const;
    /// Has the service answer a small question.
    [[nodiscard]] Failure probe();
    [[nodiscard]] Failure createDefaultCollection();
    /// Calls a method that may need the user's consent, and waits for that. The path of the service's prompt
    /// is the last of what the method returns. Without consent returns `refusal`, with `Locked` where the
    /// user was not asked.
    [[nodiscard]] Failure callWithConsent(const SecretServiceMethod &method, GVariant *arguments,
                                          const SecretResult &refusal);
    [[nodiscard]] Failure awaitConsent(const char *prompt, const SecretResult &refusal);

    GMainContext *m_context = nullptr; ///< keeps what the service announces from other threads
    GObjectPointer<GDBusConnection> m_bus;
    GObjectPointer<SecretService> m_service;
    std::chrono::milliseconds m_answerTime;
    std::function<void(bool isAsking)> m_tellAsking;
    bool m_isRefused; ///< by the user, who is asked once, or who must not be asked
};
