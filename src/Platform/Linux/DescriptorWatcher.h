// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FileDescriptor.h"

#include <QSocketNotifier>

#include <functional>
#include <unordered_map>

/// Tells when descriptors become readable. All of them stand behind one epoll descriptor, which is the only
/// one that the event loop sees: a wake-up costs the same with two children and with two hundred.
class DescriptorWatcher
{
public:
    using Key = quint64;

    DescriptorWatcher();

    /// Calls `ready` on this thread again and again while `fd` is readable or at its end; the caller keeps
    /// `fd` open until `unwatch`. Returns 0 when the descriptor cannot be watched.
    [[nodiscard]] Key watch(const FileDescriptor &fd, std::function<void()> ready);
    /// Does nothing for 0 or a key that is gone. Allowed from inside a `ready` call, also its own.
    void unwatch(Key key);

private:
    struct Entry
    {
        int fd;
        std::function<void()> ready;
    };

    void dispatch();

    FileDescriptor m_epoll;
    QSocketNotifier m_notifier;
    std::unordered_map<Key, Entry> m_entries;
    Key m_lastKey = 0;
};
