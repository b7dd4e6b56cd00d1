// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildProcess.h"
#include "DescriptorWatcher.h"
#include "FileDescriptor.h"

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

/// One child from its launch until its exit status has been collected. Once abandoned its output is read and
/// thrown away, so that it is never held up by a full pipe nor killed by a closed one.
class LinuxChild
{
public:
    /// `reaped` is called when the child is gone for good; it may drop the last reference.
    LinuxChild(qint32 pid, FileDescriptor pidfd, FileDescriptor output, DescriptorWatcher &watcher,
               std::vector<char> &readBuffer, ChildProcess::Callbacks callbacks,
               std::function<void()> reaped);
    ~LinuxChild();

    /// Whether the end of the child can be noticed. A child that cannot be watched must not be kept.
    bool watch();

    qint32 pid() const { return m_pid; }
    bool isRunning() const;
    void send(int signal);
    /// Blocks for at most `patience`; whether the child has ended.
    bool waitForEnd(std::chrono::milliseconds patience) const;
    /// No callback is called any more.
    void abandon() { m_isAbandoned = true; }

private:
    void readOutput();
    bool readOnce(size_t limit);
    void drainOutput();
    void closeOutput();
    void handleExit();

    const qint32 m_pid;
    FileDescriptor m_pidfd;
    FileDescriptor m_output;
    DescriptorWatcher &m_watcher;
    DescriptorWatcher::Key m_exitWatch = 0;
    DescriptorWatcher::Key m_outputWatch = 0;
    std::vector<char> &m_readBuffer;
    ChildProcess::Callbacks m_callbacks;
    std::function<void()> m_reaped;
    bool m_isReaped = false;
    bool m_isAbandoned = false;
};
