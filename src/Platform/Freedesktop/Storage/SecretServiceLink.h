// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <libsecret/secret.h>

#include "GLibPointers.h"
#include "SecretStore.h"

#include <QDeadlineTimer>

#include <chrono>

/// Why an operation on the Secret Service did not end well.
struct SecretFailure
{
    SecretStatus status;
    QString reason; ///< for the user to read; never holds a secret
};

/// The failure that an error of GLib, GDBus or libsecret stands for.
SecretFailure toSecretFailure(const GError *error);

/// The connection to the Secret Service: opened when it is first needed, checked before every use, and
/// opened anew when the service was restarted in between.
class SecretServiceLink
{
public:
    /// The service with a session. Throws `SecretFailure` when it cannot be reached; one that does not answer
    /// is waited for only for a short time, and for hardly any when it did not answer just before.
    SecretService *open();
    /// Forgets the session, and the connection to the bus; returns whether they are older than the last call
    /// of `open`, so that trying again may help.
    bool close();

    /// Whether the item or collection is unlocked after asking the user if need be. A user who just refused
    /// is not asked again for the next thing at once. Throws when the service fails.
    bool unlock(gpointer object);
    /// The default collection, created when there is none yet. Throws when it cannot be.
    GObjectPointer<SecretCollection> createdDefaultCollection();
    /// The default collection; null when there is none.
    GObjectPointer<SecretCollection> defaultCollection();

private:
    using Milliseconds = std::chrono::milliseconds;

    void connectToBus();
    QByteArray findOwner();
    void checkAnswers(const QByteArray &owner);
    GVariantPointer call(const char *name, const char *path, const char *interface, const char *method,
                         GVariant *arguments, Milliseconds patience, GErrorSlot &error);

    GObjectPointer<GDBusConnection> m_bus;
    GObjectPointer<SecretService> m_service;
    QByteArray m_owner;       ///< of the service's name when the session was opened
    bool m_isReused = false;  ///< whether the session is older than the last `open`
    QDeadlineTimer m_silence; ///< runs for a while after the service did not answer
    QDeadlineTimer m_refusal; ///< runs for a moment after the user refused to unlock
};
