// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "KeychainStore.h"

#include "Preferences.h"
#include "Scheduler.h"
#include "SecretStore.h"
#include "StandardError.h"
#include "Text.h"
#include "TunnelConfig.h"

#include <QPointer>
#include <QStringList>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Time after which `waiting` is sent; an open store answers sooner.
constexpr std::chrono::milliseconds waitTime = 300ms;
/// Time for which a patient read waits for a store to appear.
constexpr std::chrono::milliseconds patienceTime = 30s;
/// Number of tokens that are read in one go. The first tunnels of many start before the last token is read,
/// and each start of so many children holds up the event loop for a short time only.
constexpr qsizetype readsAtOnce = 32;
constexpr auto removalsKey = "tokensToRemove"_L1;

SecretCall callFor(SecretCall::Kind kind, const QUuid &id)
{
    return {kind, {u"com.ardentwick.Morvanel.token"_s, tunnelIdText(id)}};
}

bool isFailure(const SecretResult &result)
{
    return result.status != SecretStatus::Success && result.status != SecretStatus::NotFound;
}

/// Returns whether no call can succeed for now.
bool isClosed(SecretStatus status)
{
    return status == SecretStatus::Locked || status == SecretStatus::Absent ||
           status == SecretStatus::NotAvailable;
}

} // namespace

/// Changes and reads that the store is asked for in one go.
struct KeychainStore::Request
{
    QHash<QUuid, std::optional<QString>> changes;
    QList<QUuid> wanted;
    bool mayAsk;

    QList<SecretCall> calls() const
    {
        QList<SecretCall> calls;
        for (auto change = changes.begin(); change != changes.end(); ++change) {
            SecretCall call =
                callFor(*change ? SecretCall::Kind::Store : SecretCall::Kind::Remove, change.key());
            call.data = change->value_or(QString()).toUtf8();
            call.label = u"Morvanel token"_s;
            calls += call;
        }
        for (const QUuid &id : wanted)
            calls += callFor(SecretCall::Kind::Lookup, id);
        return calls;
    }
};

/// The replies to a request, by tunnel.
struct KeychainStore::Outcome
{
    QHash<QUuid, SecretResult> changes;
    QHash<QUuid, StoredToken> tokens;
    SecretResult closed; ///< the reason for which no call can succeed for now; else a success

    Outcome(const Request &request, const QList<SecretReply> &replies)
    {
        auto reply = replies.begin();
        for (auto change = request.changes.begin(); change != request.changes.end(); ++change, ++reply)
            changes[change.key()] = {reply->status, reply->reason};
        for (const QUuid &id : request.wanted) {
            tokens[id] = {id, {}, isFailure(*reply) ? reply->reason : QString()};
            if (reply->status == SecretStatus::Success && Text::isUtf8(reply->data))
                tokens[id].token = Text::fromUtf8(reply->data);
            ++reply;
        }
        // Where the user was not asked, a locked store is no answer for those who came meanwhile.
        const auto found = std::find_if(replies.begin(), replies.end(), [&](const SecretReply &each) {
            return isClosed(each.status) && (request.mayAsk || each.status != SecretStatus::Locked);
        });
        if (found != replies.end())
            closed = {found->status, found->reason};
    }
};

KeychainStore::KeychainStore(SecretStore &secrets, Preferences &preferences, Scheduler &scheduler)
    : m_secrets(secrets)
    , m_preferences(preferences)
    , m_scheduler(scheduler)
{
    for (const QString &text : preferences.string(removalsKey).value_or(QString()).split(u' ')) {
        if (const QUuid id(text); !id.isNull())
            m_changes[id] = std::nullopt;
    }
    secrets.setCallbacks({[this](bool isAsking) {
                              noticeLater();
                              if (isAsking)
                                  announceWait(u"Waiting for the keyring to be unlocked"_s);
                          },
                          [this] {
                              m_hasAppeared = m_isExchanging;
                              if (!m_isExchanging)
                                  readTokens(QList<QUuid>(m_missed), Patience::ForStore);
                          }});
}

KeychainStore::~KeychainStore()
{
    m_secrets.setCallbacks({});
    for (const QUuid &id : unstored()) {
        writeToStandardError(u"the end came before the keyring could store the token of tunnel "_s +
                             tunnelIdText(id));
    }
}

void KeychainStore::setToken(const QUuid &id, const QString &token)
{
    change(id, token);
}

void KeychainStore::deleteToken(const QUuid &id)
{
    cancelRead(id);
    change(id, std::nullopt);
}

/// Remembers the change until the store has made or refused it; a later one for the same tunnel replaces it.
void KeychainStore::change(const QUuid &id, const std::optional<QString> &token)
{
    m_changes[id] = token;
    m_hasNewChange = true;
    saveRemovals();
    proceed();
}

QList<QUuid> KeychainStore::unstored() const
{
    QList<QUuid> ids;
    for (auto change = m_changes.begin(); change != m_changes.end(); ++change) {
        if (*change)
            ids += change.key();
    }
    return ids;
}

/// Writes down which tokens are still to be removed.
void KeychainStore::saveRemovals()
{
    QStringList ids;
    for (auto change = m_changes.begin(); change != m_changes.end(); ++change) {
        if (!*change)
            ids += tunnelIdText(change.key());
    }
    ids.sort();
    const QString text = ids.join(u' ');
    if (text == m_preferences.string(removalsKey).value_or(QString()))
        return;
    if (text.isEmpty())
        m_preferences.remove(removalsKey);
    else
        m_preferences.setString(removalsKey, text);
}

void KeychainStore::readTokens(const QList<QUuid> &ids, Patience patience)
{
    for (const QUuid &id : ids) {
        cancelRead(id);
        m_awaited += id;
        if (patience == Patience::ForStore)
            m_patient += id;
    }
    proceed();
    if (m_isExchanging && !m_cause.isEmpty())
        announceWait(m_cause);
}

void KeychainStore::cancelRead(const QUuid &id)
{
    m_awaited.removeAll(id);
    m_missed.removeAll(id);
    m_patient.remove(id);
}

/// Speaks of a wait when it takes longer than with an open store.
void KeychainStore::noticeLater()
{
    m_notice = m_scheduler.after(waitTime, [this] { announceWait(u"Waiting for the keyring"_s); });
}

void KeychainStore::announceWait(const QString &cause)
{
    m_notice.reset();
    m_cause = cause;
    const QList<QUuid> ids = m_awaited; // a copy: reads may be taken back in answer
    for (const QUuid &id : ids)
        Q_EMIT waiting(id, cause);
}

/// Starts the next exchange, unless one is under way or there is nothing to ask for: all changes, since one
/// conversation with the store costs as much as many calls, and a part of the reads.
void KeychainStore::proceed()
{
    readFromMemory();
    if (m_isExchanging || (m_awaited.isEmpty() && m_changes.isEmpty()))
        return;
    m_isExchanging = true;
    m_hasAppeared = false;
    if (!m_notice && m_cause.isEmpty())
        noticeLater();
    const Request request{m_changes, m_awaited.mid(0, readsAtOnce),
                          std::exchange(m_hasNewChange, false) || !m_awaited.isEmpty()};
    m_secrets.exchange(request.calls(), request.mayAsk,
                       [self = QPointer<KeychainStore>(this), request](const QList<SecretReply> &replies) {
                           if (self)
                               self->finish(request, {request, replies});
                       });
}

/// Answers the reads of tokens that are still to be stored, so that a tunnel starts while the keyring is
/// locked.
void KeychainStore::readFromMemory()
{
    QList<StoredToken> known;
    for (const QUuid &id : std::as_const(m_awaited)) {
        if (const std::optional<QString> token = m_changes.value(id))
            known += {id, token};
    }
    for (const StoredToken &read : std::as_const(known))
        cancelRead(read.id);
    if (!known.isEmpty())
        Q_EMIT tokensRead(known);
}

void KeychainStore::finish(const Request &request, const Outcome &outcome)
{
    m_isExchanging = false;
    // A store that appeared while it was being looked for may have been missed.
    if (outcome.closed.status == SecretStatus::Absent && m_hasAppeared) {
        m_hasNewChange = m_hasNewChange || request.mayAsk;
        return proceed();
    }
    const QHash<QUuid, QString> refusals = takeRefusals(request, outcome);
    const QList<StoredToken> read = takeReads(outcome);
    // All of it is taken over before anybody hears of it: who hears may change or read tokens.
    for (auto refusal = refusals.begin(); refusal != refusals.end(); ++refusal)
        Q_EMIT notStored(refusal.key(), *refusal);
    if (!read.isEmpty())
        Q_EMIT tokensRead(read);
    if (outcome.closed.status == SecretStatus::Success && (m_hasNewChange || !m_awaited.isEmpty()))
        proceed();
    if (m_isExchanging)
        return;
    m_notice.reset();
    m_cause.clear();
}

/// Forgets the changes that were made or refused, and returns the reasons for which tokens were not stored. A
/// change that came during the wait shares its outcome. A removal from a store that is closed is tried again
/// with the next exchange.
QHash<QUuid, QString> KeychainStore::takeRefusals(const Request &request, const Outcome &outcome)
{
    QHash<QUuid, QString> refusals;
    for (auto tried = request.changes.begin(); tried != request.changes.end(); ++tried) {
        const QUuid &id = tried.key();
        const SecretResult result = outcome.changes.value(id);
        if (!*tried && isClosed(result.status))
            continue;
        if (m_changes.value(id) == *tried)
            m_changes.remove(id);
        if (isFailure(result) && *tried)
            refusals[id] = result.reason;
        else if (*tried)
            Q_EMIT stored(id);
        else if (isFailure(result))
            writeToStandardError(
                u"cannot remove the token of tunnel %1: %2"_s.arg(tunnelIdText(id), result.reason));
    }
    // Tokens that came meanwhile for a store that is closed; a removal is remembered instead.
    if (outcome.closed.status != SecretStatus::Success) {
        m_changes.removeIf([&](std::pair<const QUuid &, std::optional<QString> &> change) {
            if (change.second)
                refusals[change.first] = outcome.closed.reason;
            return change.second.has_value();
        });
    }
    if (!request.changes.isEmpty())
        saveRemovals();
    return refusals;
}

/// Returns the reads that are answered now. Those that found no store are kept for one that appears, and the
/// patient ones among them are not answered yet.
QList<StoredToken> KeychainStore::takeReads(const Outcome &outcome)
{
    const SecretResult &closed = outcome.closed;
    QList<StoredToken> read;
    for (const QUuid &id : std::as_const(m_awaited)) {
        if (outcome.tokens.contains(id) || closed.status != SecretStatus::Success)
            read += outcome.tokens.value(id, {id, {}, closed.reason});
    }
    for (const StoredToken &token : std::as_const(read)) {
        m_awaited.removeAll(token.id);
        if (closed.status == SecretStatus::Absent)
            m_missed += token.id;
        else
            m_patient.remove(token.id);
    }
    if (closed.status != SecretStatus::Absent)
        return read;
    read.removeIf([this](const StoredToken &token) { return m_patient.contains(token.id); });
    if (!m_patient.isEmpty() && !m_patience)
        m_patience = m_scheduler.after(patienceTime, [this, reason = closed.reason] { endPatience(reason); });
    const QSet<QUuid> patient = m_patient; // a copy: reads may be taken back in answer
    for (const QUuid &id : patient)
        Q_EMIT waiting(id, u"Waiting for a keyring"_s);
    return read;
}

/// Answers the patient reads that found no store. They stay among those that are repeated when one appears.
void KeychainStore::endPatience(const QString &reason)
{
    m_patience.reset();
    const QSet<QUuid> patient = std::exchange(m_patient, {});
    QList<StoredToken> read;
    for (const QUuid &id : std::as_const(m_missed)) {
        if (patient.contains(id))
            read += {id, {}, reason};
    }
    Q_EMIT tokensRead(read);
}

#include "moc_KeychainStore.cpp"
