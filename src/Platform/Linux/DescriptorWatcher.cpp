// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DescriptorWatcher.h"

#include <sys/epoll.h>

#include <array>
#include <utility>

DescriptorWatcher::DescriptorWatcher()
    : m_epoll(::epoll_create1(EPOLL_CLOEXEC))
    , m_notifier(m_epoll.get(), QSocketNotifier::Read)
{
    QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] { dispatch(); });
}

DescriptorWatcher::Key DescriptorWatcher::watch(const FileDescriptor &fd, std::function<void()> ready)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = m_lastKey + 1;
    if (::epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, fd.get(), &event) != 0)
        return 0;
    m_entries.emplace(++m_lastKey, Entry{fd.get(), std::move(ready)});
    return m_lastKey;
}

void DescriptorWatcher::unwatch(Key key)
{
    const auto entry = m_entries.find(key);
    if (entry == m_entries.end())
        return;
    ::epoll_ctl(m_epoll.get(), EPOLL_CTL_DEL, entry->second.fd, nullptr);
    m_entries.erase(entry);
}

void DescriptorWatcher::dispatch()
{
    std::array<epoll_event, 64> events;
    const int count = ::epoll_wait(m_epoll.get(), events.data(), int(events.size()), 0);
    for (int i = 0; i < count; ++i) {
        const auto entry = m_entries.find(events[size_t(i)].data.u64);
        if (entry == m_entries.end())
            continue;
        const std::function<void()> ready = entry->second.ready; // the call may end its own watch
        ready();
    }
}
