// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

/// Outcome of a call of a `SecretStore`.
enum class SecretStatus {
    Success,
    NotFound,     ///< nothing matches
    Locked,       ///< and nobody unlocked it
    NotAvailable, ///< no secret store can be reached
    Failed,       ///< any other failure
};

/// Identity of an item of a `SecretStore`.
struct SecretKey
{
    QString service;
    QString account;
};

/// The user's store of secrets. The calls are synchronous and may wait for the user to unlock the store.
///
/// A failure other than `NotFound` is explained in one line on standard error, never with the secret.
class SecretStore
{
public:
    struct Lookup
    {
        SecretStatus status;
        QByteArray data; ///< the secret's bytes; empty unless `status` is `Success`
    };

    virtual ~SecretStore() = default;

    /// Returns the data of one item that matches; of several, of the one that was changed last.
    virtual Lookup lookup(const SecretKey &key) = 0;
    /// Replaces the data of the items that match and nothing else.
    [[nodiscard]] virtual SecretStatus update(const SecretKey &key, const QByteArray &data) = 0;
    /// Stores a new item. The label is what the desktop shows the user of it.
    [[nodiscard]] virtual SecretStatus add(const SecretKey &key, const QByteArray &data,
                                           const QString &label) = 0;
    /// Removes every item that matches.
    virtual SecretStatus remove(const SecretKey &key) = 0;
};
