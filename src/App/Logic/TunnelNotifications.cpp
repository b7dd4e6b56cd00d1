// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelNotifications.h"

#include "Notifications.h"
#include "Text.h"
#include "TunnelManager.h"
#include "TunnelRunner.h"
#include "Windows.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds patienceTime = 60s;

} // namespace

TunnelNotifications::TunnelNotifications(TunnelManager &manager, Windows &windows,
                                         Notifications &notifications, Scheduler &scheduler)
    : m_manager(manager)
    , m_windows(windows)
    , m_notifications(notifications)
    , m_scheduler(scheduler)
{
    connect(&manager, &TunnelManager::objectDidChange, this, &TunnelNotifications::refresh);
}

void TunnelNotifications::end()
{
    m_manager.disconnect(this);
    for (const auto &[id, followed] : std::exchange(m_followed, {}))
        m_notifications.withdraw(id);
}

void TunnelNotifications::refresh()
{
    std::erase_if(m_followed, [this](const auto &item) {
        if (m_manager.runner(item.first))
            return false;
        m_notifications.withdraw(item.first);
        return true;
    });
    for (const TunnelConfig &tunnel : m_manager.tunnels())
        follow(tunnel.id, m_followed[tunnel.id]);
}

void TunnelNotifications::follow(const QUuid &id, Followed &followed)
{
    const TunnelStatus status = m_manager.runner(id)->status();
    if (status.state == followed.state && status.failureCount == followed.failureCount)
        return;
    followed.state = status.state;
    followed.failureCount = status.failureCount;
    followed.patience.reset();
    switch (status.state.kind()) {
    case TunnelState::Case::Failed:
        return show(id);
    case TunnelState::Case::Starting:
    case TunnelState::Case::Reconnecting:
        followed.patience = m_scheduler.after(patienceTime, [this, id] { show(id); });
        return;
    case TunnelState::Case::Connected:
    case TunnelState::Case::Stopping:
    case TunnelState::Case::Stopped:
        m_notifications.withdraw(id);
    }
}

void TunnelNotifications::show(const QUuid &id)
{
    const TunnelRunner *runner = m_manager.runner(id);
    for (const TunnelConfig &tunnel : m_manager.tunnels()) {
        if (tunnel.id != id || !runner)
            continue;
        const TunnelStatus status = runner->status();
        const auto showLog = [this, id] { m_windows.showLog(id); };
        return m_notifications.show(
            id, {Text::oneLine(tunnel.name),
                 Text::oneLine(status.reason.isEmpty() ? status.state.label() : status.reason),
                 showLog,
                 {{u"log"_s, u"Log…"_s, showLog}}});
    }
}

#include "moc_TunnelNotifications.cpp"
