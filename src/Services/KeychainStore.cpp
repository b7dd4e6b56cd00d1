// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "KeychainStore.h"

#include "Scheduler.h"
#include "SecretStore.h"
#include "StandardError.h"
#include "Text.h"
#include "TunnelConfig.h"

#include <QPointer>
#include <QRegularExpression>

#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Time after which `waiting` is sent; an open store answers sooner.
constexpr std::chrono::milliseconds waitTime = 300ms;
/// Number of tokens that are read in one go. The first tunnels of many start before the last token is read,
/// and each start of so many children holds up the event loop for a short time only.
constexpr qsizetype readsAtOnce = 32;

SecretKey keyOf(const QUuid &id)
{
    return {u"com.ardentwick.Morvanel.token"_s, tunnelIdText(id)};
}

SecretResult store(Secrets &secrets, const QUuid &id, const QString &token)
{
    const QByteArray data = token.toUtf8();
    SecretResult result = secrets.update(keyOf(id), data);
    if (result.status == SecretStatus::NotFound)
        result = secrets.add(keyOf(id), data, u"Morvanel token"_s);
    return result;
}

} // namespace

/// Changes and reads that the store is asked for in one go.
struct KeychainStore::Request
{
    QHash<QUuid, std::optional<QString>> changes;
    QList<QUuid> wanted;
};

struct KeychainStore::Reply
{
    QHash<QUuid, QString> refusals; ///< reasons for which changes were not made
    QHash<QUuid, StoredToken> tokens;
    QString closed; ///< reason for which the store could not be used at all; else empty

    /// Makes the changes, then reads.
    Reply(const Request &request, Secrets &secrets)
    {
        for (auto change = request.changes.begin(); change != request.changes.end(); ++change) {
            const QUuid &id = change.key();
            const SecretResult result = *change ? store(secrets, id, **change) : secrets.remove(keyOf(id));
            if (isFailure(result))
                refusals[id] = result.reason;
        }
        for (const QUuid &id : request.wanted) {
            const Secrets::Lookup found = secrets.lookup(keyOf(id));
            StoredToken read{id};
            if (isFailure(found))
                read.reason = found.reason;
            else if (found.status == SecretStatus::Success && Text::isUtf8(found.data))
                read.token = Text::fromUtf8(found.data);
            tokens[id] = read;
        }
    }

private:
    bool isFailure(const SecretResult &result)
    {
        if (result.status == SecretStatus::Locked || result.status == SecretStatus::NotAvailable)
            closed = result.reason;
        return result.status != SecretStatus::Success && result.status != SecretStatus::NotFound;
    }
};

KeychainStore::KeychainStore(SecretStore &secrets, Scheduler &scheduler)
    : m_secrets(secrets)
    , m_scheduler(scheduler)
{
}

KeychainStore::~KeychainStore()
{
    for (auto change = m_changes.begin(); change != m_changes.end(); ++change)
        writeToStandardError(u"the end came before the keyring could %1 the token of tunnel %2"_s.arg(
            *change ? u"store"_s : u"remove"_s, tunnelIdText(change.key())));
}

void KeychainStore::setToken(const QUuid &id, const QString &token)
{
    m_changes[id] = token;
    proceed();
}

void KeychainStore::deleteToken(const QUuid &id)
{
    cancelRead(id);
    m_changes[id] = std::nullopt;
    proceed();
}

void KeychainStore::readTokens(const QList<QUuid> &ids)
{
    for (const QUuid &id : ids) {
        if (!m_awaited.contains(id))
            m_awaited += id;
    }
    proceed();
    if (m_isBusy && m_isWaitLong)
        announceWait();
}

void KeychainStore::announceWait()
{
    const QList<QUuid> ids = m_awaited; // a copy: reads may be taken back in answer
    for (const QUuid &id : ids)
        Q_EMIT waiting(id);
}

void KeychainStore::cancelRead(const QUuid &id)
{
    m_awaited.removeAll(id);
}

void KeychainStore::proceed()
{
    readFromMemory();
    if (m_isBusy || (m_awaited.isEmpty() && m_changes.isEmpty()))
        return;
    m_isBusy = true;
    if (!m_notice && !m_isWaitLong) {
        m_notice = m_scheduler.after(waitTime, [this] {
            m_notice.reset();
            m_isWaitLong = true;
            announceWait();
        });
    }
    const Request request{m_changes, m_awaited.mid(0, readsAtOnce)};
    m_secrets.perform(
        [self = QPointer<KeychainStore>(this), request](Secrets &secrets) -> std::function<void()> {
            return [self, request, reply = Reply(request, secrets)] {
                if (self)
                    self->finish(request, reply);
            };
        });
}

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

void KeychainStore::finish(const Request &request, const Reply &reply)
{
    m_isBusy = false;
    const QHash<QUuid, QString> refusals = takeRefusals(request, reply);
    QList<StoredToken> read;
    for (const QUuid &id : std::as_const(m_awaited)) {
        if (reply.tokens.contains(id))
            read += reply.tokens[id];
        else if (!reply.closed.isEmpty())
            read += {id, {}, reply.closed};
    }
    for (const StoredToken &token : std::as_const(read))
        cancelRead(token.id);
    for (auto refusal = refusals.begin(); refusal != refusals.end(); ++refusal)
        Q_EMIT notStored(refusal.key(), *refusal);
    if (!read.isEmpty())
        Q_EMIT tokensRead(read);
    if (reply.closed.isEmpty())
        proceed();
    if (m_isBusy)
        return;
    m_notice.reset();
    m_isWaitLong = false;
}

/// Forgets the changes that were made or refused, and returns the reasons for which tokens were not stored. A
/// change that came during the wait shares its outcome. A removal from a store that is closed is tried again
/// with the next exchange.
QHash<QUuid, QString> KeychainStore::takeRefusals(const Request &request, const Reply &reply)
{
    QHash<QUuid, QString> refusals;
    for (auto tried = request.changes.begin(); tried != request.changes.end(); ++tried) {
        const QUuid &id = tried.key();
        const QString reason = reply.refusals.value(id);
        if (!*tried && !reason.isEmpty() && !reply.closed.isEmpty())
            continue;
        if (m_changes.value(id) == *tried)
            m_changes.remove(id);
        if (!reason.isEmpty() && *tried)
            refusals[id] = reason;
        else if (!reason.isEmpty())
            writeToStandardError(u"cannot remove the token of tunnel %1: %2"_s.arg(tunnelIdText(id), reason));
    }
    if (reply.closed.isEmpty())
        return refusals;
    m_changes.removeIf([&](std::pair<const QUuid &, std::optional<QString> &> change) {
        if (change.second)
            refusals[change.first] = reply.closed;
        return change.second.has_value();
    });
    return refusals;
}

QString KeychainStore::normalizeToken(const QString &raw)
{
    static const QRegularExpression separator(uR"([\p{Z}\x{9}-\x{d}\x{85}=])"_s);
    static const QRegularExpression quotes(uR"(\A["']+|["']+\z)"_s);
    QStringList pieces = raw.split(separator);
    pieces.replaceInStrings(quotes, {});
    pieces.removeAll(QString());
    static const QRegularExpression token(u"eyJ.*"_s);
    if (const qsizetype place = pieces.indexOf(token); place >= 0)
        return pieces[place];
    const qsizetype flag = pieces.indexOf(u"--token"_s);
    if (flag >= 0 && flag + 1 < pieces.size())
        return pieces[flag + 1];
    return pieces.size() == 1 ? pieces.first() : raw.trimmed();
}

#include "moc_KeychainStore.cpp"
