// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelNotifications.h"

#include "Text.h"
#include "TunnelManager.h"
#include "TunnelRunner.h"
#include "Windows.h"

#include <QStringList>

#include <algorithm>
#include <iterator>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds patienceTime = 60s;
/// Time within which the same trouble of several tunnels counts as one, and between two changes of a text.
constexpr std::chrono::milliseconds shortTime = 1s;
constexpr int sharedNameCharacters = 60;
constexpr qsizetype mostNames = 10;

bool isOver(TunnelState::Case kind)
{
    using enum TunnelState::Case;
    return kind == Connected || kind == Stopping || kind == Stopped;
}

/// Returns the first ones, and how many more there are.
QString listed(const QStringList &items, const QString &separator)
{
    const QStringList shown = items.mid(0, mostNames);
    const qsizetype more = items.size() - shown.size();
    return shown.join(separator) + (more > 0 ? separator + u"and %1 more"_s.arg(more) : QString());
}

} // namespace

TunnelNotifications::TunnelNotifications(TunnelManager &manager, Windows &windows,
                                         Notifications &notifications, Scheduler &scheduler)
    : m_manager(manager)
    , m_windows(windows)
    , m_notifications(notifications)
    , m_scheduler(scheduler)
{
    connect(&manager, &TunnelManager::objectDidChange, this, &TunnelNotifications::refresh);
    connect(&manager, &TunnelManager::tokenNotStored, this, &TunnelNotifications::tellLostToken);
    connect(&manager, &TunnelManager::tokenStored, this,
            [this](const QUuid &id) { m_notifications.withdraw(id); });
}

/// Tells at the end of the program of tokens that would be lost, and follows no tunnel any more.
void TunnelNotifications::end()
{
    disconnect(&m_manager, &TunnelManager::objectDidChange, this, nullptr);
    m_followed.clear();
    for (const auto &[tag, shared] : std::exchange(m_shared, {}))
        m_notifications.withdraw(tag);
    const QList<QUuid> unstored = m_manager.unstoredTokens();
    for (const QUuid &id : unstored)
        tellLostToken(id, u"Morvanel ends before the keyring has taken it"_s);
}

void TunnelNotifications::tellPreferencesFailure(const std::optional<QString> &reason)
{
    static const QUuid tag(u"{6d1ff3b1-6d43-4d5c-9a3c-1a2f3c0e7b11}"_s); // no tunnel's
    if (reason)
        m_notifications.show(tag, {u"Settings are not stored"_s, *reason});
    else
        m_notifications.withdraw(tag);
}

void TunnelNotifications::tellLostToken(const QUuid &id, const QString &reason)
{
    for (const TunnelConfig &tunnel : m_manager.tunnels()) {
        if (tunnel.id == id)
            m_notifications.show(id, {u"The token of “%1” is not stored"_s.arg(Text::oneLine(tunnel.name)),
                                      reason + u": set it again in Settings"_s,
                                      [this, id] { m_windows.showTunnel(id); }});
    }
}

void TunnelNotifications::refresh()
{
    for (auto at = m_followed.begin(); at != m_followed.end();) {
        const bool isGone = !m_manager.runner(at->first);
        if (isGone) {
            leave(at->second);
            m_notifications.withdraw(at->first);
        }
        at = isGone ? m_followed.erase(at) : std::next(at);
    }
    for (const TunnelConfig &tunnel : m_manager.tunnels())
        follow(tunnel.id, m_followed[tunnel.id]);
    send();
}

/// Compares the tunnel's state with the one before, and waits a minute for a tunnel that tries to connect.
void TunnelNotifications::follow(const QUuid &id, Followed &followed)
{
    const TunnelStatus status = m_manager.runner(id)->status();
    const TunnelStatus before = std::exchange(followed.status, status);
    if (status == before)
        return;
    if (status.state == before.state && status.failureCount == before.failureCount)
        return retell(followed);
    followed.patience.reset();
    if (isOver(status.state.kind()))
        leave(followed);
    else if (status.isFailed())
        tell(id, Trouble::Failed);
    else
        followed.patience = m_scheduler.after(patienceTime, [this, id] {
            const TunnelRunner *runner = m_manager.runner(id);
            if (!runner)
                return; // it was removed, which is told on the next turn
            Followed &tired = m_followed[id];
            tired.status = runner->status();
            tell(id, tired.status.doubt.isEmpty() ? Trouble::NotConnected : Trouble::Unreadable);
            sendLater();
        });
}

/// Shows a notification for the tunnel's new trouble: one that others have just got for the same reason, its
/// own old one, or another.
void TunnelNotifications::tell(const QUuid &id, Trouble trouble)
{
    Followed &followed = m_followed[id];
    followed.told = followed.status;
    const QString explanation = followed.status.explanation();
    QUuid tag = joinable(trouble, explanation);
    if (tag.isNull()) {
        tag = followed.tag.isNull() || !isAlone(followed.tag) ? QUuid::createUuid() : followed.tag;
        const Scheduler::Duration now = m_scheduler.now();
        m_shared[tag] = Shared{trouble, explanation, now + shortTime, now, true, true, nullptr};
    }
    if (followed.tag != tag)
        leave(followed);
    followed.tag = tag;
    m_shared[tag].mustReappear = true;
    m_shared[tag].needsSending = true;
}

/// Brings the text of the tunnel's notification up to date, not more often than once a second.
void TunnelNotifications::retell(Followed &followed)
{
    const auto found = m_shared.find(followed.tag);
    if (found == m_shared.end() || followed.status.isFailed() != followed.told.isFailed())
        return; // nothing to change, or a tunnel that tries again after a failure
    followed.told = followed.status;
    Shared &shared = found->second;
    if (shared.wait)
        return;
    const Scheduler::Duration wait = shared.lastSent + shortTime - m_scheduler.now();
    shared.wait = m_scheduler.after(std::max(wait, 0ms), [this, tag = followed.tag] {
        Shared &due = m_shared[tag];
        due.wait.reset();
        due.needsSending = true;
        sendLater();
    });
}

/// Takes the tunnel out of its notification, which goes with its last one.
void TunnelNotifications::leave(Followed &followed)
{
    const auto found = m_shared.find(std::exchange(followed.tag, {}));
    if (found != m_shared.end())
        found->second.needsSending = true;
}

/// Returns the notification that others have got for the same reason within this second; null for none.
QUuid TunnelNotifications::joinable(Trouble trouble, const QString &explanation) const
{
    const auto found = std::find_if(m_shared.begin(), m_shared.end(), [&](const auto &item) {
        const Shared &shared = item.second;
        return shared.trouble == trouble && shared.explanation == explanation &&
               m_scheduler.now() < shared.joinableUntil;
    });
    return found == m_shared.end() ? QUuid() : found->first;
}

bool TunnelNotifications::isAlone(const QUuid &tag) const
{
    return std::ranges::count_if(m_followed, [&](const auto &item) { return item.second.tag == tag; }) == 1;
}

/// Sends what is due with what follows on this turn of the event loop: many tunnels tire at the same time.
void TunnelNotifications::sendLater()
{
    if (!std::exchange(m_isSending, true))
        QMetaObject::invokeMethod(this, &TunnelNotifications::send, Qt::QueuedConnection);
}

void TunnelNotifications::send()
{
    m_isSending = false;
    for (auto at = m_shared.begin(); at != m_shared.end();) {
        auto &[tag, shared] = *at++;
        if (!std::exchange(shared.needsSending, false))
            continue;
        shared.lastSent = m_scheduler.now();
        const std::optional<Notification> notification = compose(tag, shared.trouble);
        if (notification && std::exchange(shared.mustReappear, false)) {
            m_notifications.show(tag, *notification);
        } else if (notification) {
            m_notifications.update(tag, *notification);
        } else {
            m_notifications.withdraw(tag);
            m_shared.erase(std::prev(at));
        }
    }
}

/// Returns the notification for the tunnels with that tag; none where there are none.
std::optional<Notification> TunnelNotifications::compose(const QUuid &tag, Trouble trouble) const
{
    QStringList names;
    QStringList reasons;
    QStringList lines;
    std::optional<QUuid> first;
    TunnelStatus::Remedy remedy{};
    for (const TunnelConfig &tunnel : m_manager.tunnels()) {
        const auto found = m_followed.find(tunnel.id);
        if (found == m_followed.end() || found->second.tag != tag)
            continue;
        if (!first)
            remedy = found->second.told.remedy;
        first = first.value_or(tunnel.id);
        names += Text::shortenedInMiddle(Text::oneLine(tunnel.name), sharedNameCharacters);
        reasons += Text::oneLine(found->second.told.explanation());
        lines += names.last() + u": "_s + reasons.last();
    }
    if (!first)
        return std::nullopt;
    const bool isOne = names.size() == 1;
    const QString who = isOne ? u'“' + names.first() + u'”' : u"%1 tunnels"_s.arg(names.size());
    const QString notConnected = isOne ? u"%1 is not connected"_s : u"%1 are not connected"_s;
    const QString title = trouble == Trouble::Failed         ? u"%1 failed"_s
                          : trouble == Trouble::NotConnected ? notConnected
                                                             : u"The state of %1 cannot be read"_s;
    const bool isOneReason = reasons.count(reasons.first()) == reasons.size();
    const QString together = isOne ? reasons.first() : reasons.first() + u'\n' + listed(names, u", "_s);
    const auto showLog = [this, id = *first] { m_windows.showLog(id); };
    const auto showRemedy = [this, showLog, id = *first, remedy] {
        switch (remedy) {
        case TunnelStatus::Remedy::Log:
            return showLog();
        case TunnelStatus::Remedy::Token:
            return m_windows.showTunnel(id);
        case TunnelStatus::Remedy::Program:
            return m_windows.showGeneral();
        }
    };
    Notification notification{title.arg(who),
                              isOneReason ? together : listed(lines, u"\n"_s),
                              showRemedy,
                              {{u"log"_s, u"Log…"_s, showLog}}};
    if (remedy == TunnelStatus::Remedy::Log)
        notification.clickLabel = notification.buttons.front().label;
    return notification;
}

#include "moc_TunnelNotifications.cpp"
