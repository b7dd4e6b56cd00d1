// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <libsecret/secret.h>

#include "SecretStore.h"

#include <QDeadlineTimer>

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

/// The reason for which a step did not end well.
struct SecretFailure
{
    SecretStatus status;
    QString reason; ///< for the user to read; never holds a secret
};
/// No value after a success.
using Failure = std::optional<SecretFailure>;

/// Returns the failure that an error of GLib, GDBus or libsecret stands for.
SecretFailure toFailure(GError *error);

/// The connection to the Secret Service: opened when it is first needed, checked before every use, and
/// opened anew when the service was restarted in between.
class SecretServiceLink
{
public:
    /// Makes sure of a service with a session. One that does not answer is waited for only for a short time,
    /// and for hardly any when it did not answer just before.
    [[nodiscard]] Failure open();
    /// Forgets the session and the connection to the bus. Returns whether they are older than the last call
    /// of `open`, so that trying again may help.
    bool close();

    /// The service, after a successful `open`.
    SecretService *service() const { return m_service.get(); }
    /// Unlocks the item or collection, after asking the user if need be. A user who just refused is not asked
    /// again for the next thing at once. `name` stands for it in the reason of a failure.
    [[nodiscard]] Failure unlock(gpointer object, const QString &name);
    /// Puts the default collection, unlocked, into `collection`. When there is none, it is created or, unless
    /// `mayCreate`, `collection` is null.
    [[nodiscard]] Failure openDefaultCollection(bool mayCreate, Collection &collection);

private:
    [[nodiscard]] Failure connectToBus();
    [[nodiscard]] Failure reachService();
    [[nodiscard]] Failure createDefaultCollection(Collection &collection);

    GObjectPointer<GDBusConnection> m_bus;
    GObjectPointer<SecretService> m_service;
    bool m_isReused = false;  ///< whether the session is older than the last `open`
    QDeadlineTimer m_silence; ///< runs for a while after the service did not answer
    QDeadlineTimer m_refusal; ///< runs for a moment after the user refused to unlock
};
