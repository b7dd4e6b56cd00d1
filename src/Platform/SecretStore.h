// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

/// How a call of a `SecretStore` ended.
enum class SecretStatus : qint32 {
    Success = 0,
    NotAvailable = -25291, ///< no secret store can be reached
    ItemNotFound = -25300,
    InteractionNotAllowed = -25308, ///< locked, and nobody unlocked it
    Failed = -67671,                ///< any other failure
};

/// What identifies an item of a `SecretStore`.
struct SecretKey
{
    QString service;
    QString account;
};

/// The user's store of secrets. The calls are synchronous and may wait for the user to unlock the store.
///
/// A failure other than `ItemNotFound` is explained in one line on standard error, never with the secret.
class SecretStore
{
public:
    struct Lookup
    {
        SecretStatus status;
        QByteArray data; ///< the secret's bytes; empty unless `status` is `Success`
    };

    virtual ~SecretStore() = default;

    /// The data of one item that matches; the most recently changed one where there are several.
    virtual Lookup copyMatching(const SecretKey &key) = 0;
    /// Replaces the data of what matches and nothing else; `ItemNotFound` when nothing does.
    virtual SecretStatus update(const SecretKey &key, const QByteArray &data) = 0;
    virtual SecretStatus add(const SecretKey &key, const QByteArray &data, const QString &label) = 0;
    /// Removes every item that matches.
    virtual SecretStatus remove(const SecretKey &key) = 0;
};
