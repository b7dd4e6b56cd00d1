// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildProcess.h"
#include "DescriptorWatcher.h"

#include <chrono>
#include <memory>
#include <unordered_map>
#include <vector>

class LinuxChild;

/// Learns of the end of children through a pidfd, so that no signal handler is involved and a signal can
/// never reach a stranger that got the same process id. A program that cannot be watched is not run.
///
/// Owns every child until its exit status has been collected, also when the handle given out is gone.
class LinuxChildLauncher : public ChildLauncher
{
public:
    /// `watcher` outlives the launcher.
    explicit LinuxChildLauncher(DescriptorWatcher &watcher);
    ~LinuxChildLauncher() override;

    Result launch(const ChildCommand &command, ChildProcess::Callbacks callbacks) override;

    /// SIGTERM to every child, and SIGKILL to those that have not ended after `patience`. Waits for them and
    /// calls nothing back: for the end of the process only.
    void endAll(std::chrono::milliseconds patience);

private:
    DescriptorWatcher &m_watcher;
    std::vector<char> m_readBuffer; ///< shared: only one child is read at a time
    std::unordered_map<quint64, std::shared_ptr<LinuxChild>> m_children; ///< by order of launch
    quint64 m_lastNumber = 0;
};
