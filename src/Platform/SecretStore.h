// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>

/// Outcome of a call of a secret store.
enum class SecretStatus {
    Success,
    NotFound,     ///< nothing matches
    Locked,       ///< and nobody unlocked it
    Absent,       ///< there is no secret store; one may come later
    NotAvailable, ///< the secret store cannot be reached, or it does not answer
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

/// Something that a secret store is asked to do.
struct SecretCall
{
    enum class Kind {
        Lookup, ///< returns the data of one item that matches; of several, of the one that was changed last
        Store,  ///< replaces the data of the items that match and nothing else; adds one where none does
        Remove, ///< removes every item that matches
    };

    Kind kind = Kind::Lookup;
    SecretKey key;
    QByteArray data = {}; ///< to be stored
    QString label = {};   ///< of a new item, as the desktop shows it to the user
};

/// The outcome of a call, with the data that a lookup has found.
struct SecretReply : SecretResult
{
    QByteArray data = {};
};

/// The user's secrets. Everything is called on the main thread and nothing there waits for the store,
/// whatever it does with its own threads.
class SecretStore
{
public:
    struct Callbacks
    {
        std::function<void(bool isAsking)> asking; ///< the user is asked for something, or is not any more
        std::function<void()> appeared;            ///< there is a secret store where there was none
    };
    using Calls = QList<SecretCall>;
    using Done = std::function<void(const QList<SecretReply> &)>;

    virtual ~SecretStore() = default;

    virtual void setCallbacks(Callbacks callbacks) = 0;
    /// Makes the calls in order, then calls `done` with a reply to each, unless the store is destroyed first.
    /// The first call that finds the store locked waits for the user to unlock it, if
    /// the user may be asked; once the user has refused, or the store has not answered, all others fail at
    /// once. Not to be called again before `done` has been.
    virtual void exchange(const Calls &calls, bool mayAsk, Done done) = 0;
};
