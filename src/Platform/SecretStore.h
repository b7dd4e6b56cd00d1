// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

/// Outcome of a call of `Secrets`.
enum class SecretStatus {
    Success,
    NotFound,     ///< nothing matches
    Locked,       ///< and nobody unlocked it
    NotAvailable, ///< no secret store can be reached, or it does not answer
    Failed,       ///< any other failure
};

/// A status with the reason of a failure other than `NotFound`, for the user to read. It never holds a
/// secret.
struct SecretResult
{
    SecretStatus status = SecretStatus::Success;
    QString reason = {};
};

/// Identity of a secret.
struct SecretKey
{
    QString service;
    QString account;
};

/// The user's secrets. Each call waits for its answer. The first one that finds the store locked waits for
/// the user to unlock it; once the user has refused, or the store has not answered, all others fail at once.
class Secrets
{
public:
    struct Lookup : SecretResult
    {
        QByteArray data = {}; ///< the secret's bytes; empty unless `status` is `Success`
    };

    virtual ~Secrets() = default;

    /// Returns the data of one item that matches; of several, of the one that was changed last.
    [[nodiscard]] virtual Lookup lookup(const SecretKey &key) = 0;
    /// Replaces the data of the items that match and nothing else.
    [[nodiscard]] virtual SecretResult update(const SecretKey &key, const QByteArray &data) = 0;
    /// Stores a new item. The label is what the desktop shows the user of it.
    [[nodiscard]] virtual SecretResult add(const SecretKey &key, const QByteArray &data,
                                           const QString &label) = 0;
    /// Removes every item that matches.
    [[nodiscard]] virtual SecretResult remove(const SecretKey &key) = 0;
};

/// The way to the user's secrets, which may take its time.
class SecretStore
{
public:
    /// Uses the secrets and returns what is left to do on the main thread. Owns whatever it needs: the store
    /// may be gone before the task has ended.
    using Task = std::function<std::function<void()>(Secrets &)>;

    virtual ~SecretStore() = default;

    /// Runs `task` where its waiting holds up nothing, then, on the main thread, what it returned; that is
    /// left out when the store is destroyed meanwhile. Not to be called again before both have run.
    virtual void perform(Task task) = 0;
};
