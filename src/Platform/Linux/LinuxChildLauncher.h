// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildLauncher.h"
#include "DescriptorWatcher.h"

#include <chrono>
#include <list>
#include <memory>
#include <vector>

class LinuxChild;

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
