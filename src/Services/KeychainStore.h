// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUuid>

#include <memory>
#include <optional>

class Preferences;
class ScheduledWork;
class Scheduler;
class SecretStore;
struct SecretReply;

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
/// stored is kept in memory. Requests made during such a wait share its outcome: nobody is asked twice.
///
/// A read that finds no store is answered with the reason, a patient one after 30 seconds, and made again
/// when a store appears. A removal that finds none, or a locked one, is kept in the preferences until it
/// succeeds.
class KeychainStore : public QObject
{
    Q_OBJECT

public:
    enum class Patience {
        None,
        ForStore, ///< up to 30 seconds for a store to appear, as at log-in
    };

    /// Everything outlives this object.
    KeychainStore(SecretStore &secrets, Preferences &preferences, Scheduler &scheduler);
    /// Tells on standard error of tokens that there was no time to store.
    ~KeychainStore() override;

    /// Stores or replaces the token, unchanged.
    void setToken(const QUuid &id, const QString &token);
    void deleteToken(const QUuid &id);
    /// Asks for the tokens, which `tokensRead` brings, maybe before this returns. Also tries earlier removals
    /// again; for these alone the user is not asked to unlock the store.
    void readTokens(const QList<QUuid> &ids, Patience patience = Patience::None);
    /// Takes back what `readTokens` asked for.
    void cancelRead(const QUuid &id);
    /// Returns the tunnels whose tokens are kept in memory until the store takes them.
    QList<QUuid> unstored() const;

Q_SIGNALS:
    /// Sent when reading this token takes longer than with an open store, with the cause in words for the
    /// user. May come more than once.
    void waiting(const QUuid &id, const QString &cause);
    /// Sent with the outcome of any number of reads, in the order in which they were asked for.
    void tokensRead(const QList<StoredToken> &tokens);
    /// Sent when the store has taken a token.
    void stored(const QUuid &id);
    /// Sent when a token was given up, with the reason.
    void notStored(const QUuid &id, const QString &reason);

private:
    struct Request;
    struct Outcome;

    void change(const QUuid &id, const std::optional<QString> &token);
    void saveRemovals();
    void proceed();
    void readFromMemory();
    void noticeLater();
    void announceWait(const QString &cause);
    void finish(const Request &request, const Outcome &outcome);
    QHash<QUuid, QString> takeRefusals(const Request &request, const Outcome &outcome);
    QList<StoredToken> takeReads(const Outcome &outcome);
    void endPatience(const QString &reason);

    SecretStore &m_secrets;
    Preferences &m_preferences;
    Scheduler &m_scheduler;
    QHash<QUuid, std::optional<QString>> m_changes; ///< a token to store; none: to be removed
    QList<QUuid> m_awaited;                         ///< in the order of the reads
    QList<QUuid> m_missed;                          ///< reads that found no store
    QSet<QUuid> m_patient;                          ///< reads that are not answered before the time is up
    bool m_hasNewChange = false;                    ///< since the exchange began
    bool m_isExchanging = false;                    ///< an exchange is under way
    bool m_hasAppeared = false;                     ///< a store has, since the exchange began
    QString m_cause;                           ///< of the wait; empty while it is too early to speak of one
    std::unique_ptr<ScheduledWork> m_notice;   ///< while it is too early to speak of a wait
    std::unique_ptr<ScheduledWork> m_patience; ///< while patient reads wait
};
