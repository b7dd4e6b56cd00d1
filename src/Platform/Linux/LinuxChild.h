// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildLauncher.h"
#include "DescriptorWatcher.h"
#include "HeldProcess.h"

#include <QTimer>

#include <list>
#include <optional>

class Keeper;

/// One child and its process group, until nothing of it is left; see `ChildProcess`. Once abandoned its
/// output is read and thrown away, so that it is never held up by a full pipe nor killed by a closed one.
class LinuxChild
{
public:
    /// Hands the child over to `keeper`. Calls `forget` when the child is gone for good; that may drop the
    /// last reference.
    LinuxChild(std::unique_ptr<HeldProcess> process, FileDescriptor output, DescriptorWatcher &watcher,
               Keeper &keeper, std::vector<char> &readBuffer, ChildProcess::Callbacks callbacks,
               std::function<void()> forget);
    ~LinuxChild();
    Q_DISABLE_COPY_MOVE(LinuxChild)

    /// Watches output and end of the child. Returns whether that works; `errno` says why not.
    [[nodiscard]] bool watch();
    qint32 pid() const { return m_pid; }
    bool isRunning() const { return !m_hasEnded; }
    [[nodiscard]] QString run();
    void terminate();
    void kill();
    /// Calls nothing back any more.
    void abandon();

private:
    struct Survivor
    {
        FileDescriptor pidfd;
        DescriptorWatcher::Key watch;
    };

    void readOutput();
    bool readOnce(size_t limit);
    void drainOutput();
    void closeOutput();
    void collectLeader();
    void waitForSurvivors();
    void forgetSurvivor(std::list<Survivor>::iterator place);
    void finish();

    std::unique_ptr<HeldProcess> m_process; ///< until the child was let run
    const qint32 m_pid;                     ///< of the leader, and of the group
    FileDescriptor m_pidfd;
    FileDescriptor m_output;
    DescriptorWatcher &m_watcher;
    DescriptorWatcher::Key m_exitWatch = 0;
    DescriptorWatcher::Key m_outputWatch = 0;
    Keeper &m_keeper;
    std::vector<char> &m_readBuffer;
    ChildProcess::Callbacks m_callbacks;
    std::function<void()> m_forget;
    std::optional<int> m_leaderStatus; ///< once the leader was collected
    QString m_leaderSignal;            ///< the name of the signal that ended the leader
    std::list<Survivor> m_survivors;   ///< of the leader
    QTimer m_survivorsEnd;
    bool m_isTerminated = false; ///< the group has been sent SIGTERM
    bool m_hasEnded = false;
    bool m_isAbandoned = false;
};
