// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

class ScheduledWork;
class Scheduler;
class SecretStore;

/// Outcome of a read for one tunnel.
struct StoredToken
{
    QUuid id;
    /// None when nothing is stored, the store cannot be read, or the bytes are no UTF-8.
    std::optional<QString> token = {};
    QString reason = {}; ///< for which the store could not be read; else empty
};

/// The tokens, one item per tunnel in the user's secret store, found by the tunnel's id.
///
/// The store may take its time, up to the answer of a user who is asked to unlock it. Meanwhile a token to be
/// stored is kept in memory. All that comes up during such a wait shares its outcome: nobody is asked twice.
class KeychainStore : public QObject
{
    Q_OBJECT

public:
    /// Both outlive this object.
    KeychainStore(SecretStore &secrets, Scheduler &scheduler);
    /// Tells on standard error of tokens that there was no time to store.
    ~KeychainStore() override;

    /// Stores or replaces the token, unchanged.
    void setToken(const QUuid &id, const QString &token);
    void deleteToken(const QUuid &id);
    /// Asks for the tokens, which `tokensRead` brings, maybe before this returns.
    void readTokens(const QList<QUuid> &ids);
    /// Takes back what `readTokens` asked for.
    void cancelRead(const QUuid &id);
    /// Returns whether a change is on its way to the store and has not taken long yet.
    bool isStoring() const { return m_notice && !m_changes.isEmpty(); }

    /// Returns the bare token in whatever was pasted: the token itself or a command line that holds it.
    static QString normalizeToken(const QString &raw);

Q_SIGNALS:
    /// Sent when reading this token takes longer than with an open store; the user may have been asked for a
    /// password. May come more than once.
    void waiting(const QUuid &id);
    /// Sent with the outcome of any number of reads, in the order in which they were asked for.
    void tokensRead(const QList<StoredToken> &tokens);
    /// Sent when a token was given up, with the reason.
    void notStored(const QUuid &id, const QString &reason);

private:
    struct Request;
    struct Reply;

    void proceed();
    void readFromMemory();
    void announceWait();
    void finish(const Request &request, const Reply &reply);
    QHash<QUuid, QString> takeRefusals(const Request &request, const Reply &reply);

    SecretStore &m_secrets;
    Scheduler &m_scheduler;
    QHash<QUuid, std::optional<QString>> m_changes; ///< not stored yet; none: to be removed
    QList<QUuid> m_awaited;                         ///< in the order of the reads
    bool m_isBusy = false;                          ///< the store has been asked
    bool m_isWaitLong = false;                      ///< `waiting` has been sent
    std::unique_ptr<ScheduledWork> m_notice;        ///< while it is too early to speak of a wait
};
