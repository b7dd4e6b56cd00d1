// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildLauncher.h"
#include "FileDescriptor.h"

#include <QSocketNotifier>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

class LinuxChild;

/// Tells when descriptors become readable. All of them stand behind one epoll descriptor, which is the only
/// one that the event loop sees: a wake-up costs the same with two children and with two hundred.
class DescriptorWatcher
{
public:
    using Key = quint64;

    DescriptorWatcher();

    /// Calls `ready` on this thread for as long as `fd` is readable or at its end; the caller keeps `fd` open
    /// until `unwatch`. Returns 0 when the descriptor cannot be watched.
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

/// Learns of the end of children through a pidfd, so that no signal handler is involved and a signal can
/// never reach a stranger that got the same process id. A program that cannot be watched is not run.
///
/// Owns every child until its exit status has been collected, also when the handle given out is gone.
class LinuxChildLauncher : public ChildLauncher
{
public:
    LinuxChildLauncher();
    ~LinuxChildLauncher() override;

    [[nodiscard]] Prepared prepare(const ChildCommand &command, ChildProcess::Callbacks callbacks) override;

    /// Sends SIGTERM to every child, and SIGKILL to those that have not ended after `patience`. Waits for
    /// them and calls nothing back: for the end of the process only.
    void endAll(std::chrono::milliseconds patience);
    /// Ends the children also where the process ends without its event loop: Qt leaves by exit(3) as soon as
    /// the X server is gone, or by _exit(2) with the Wayland compositor, which is how many desktop sessions
    /// end. For one launcher at a time.
    void endAllAtExit();

private:
    DescriptorWatcher m_watcher;
    std::vector<char> m_readBuffer;                    ///< shared: only one child is read at a time
    std::list<std::shared_ptr<LinuxChild>> m_children; ///< in order of launch
};
