// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ChildLauncher.h"
#include "DescriptorWatcher.h"

#include <list>
#include <memory>
#include <vector>

class Keeper;
class LinuxChild;

/// Learns of the end of children through a pidfd, so that no signal handler is involved. A program that
/// cannot be watched is not run.
///
/// Owns every child until nothing of it is left, also when the handle given out is gone. Children that are
/// left when the launcher goes are the keeper's.
class LinuxChildLauncher : public ChildLauncher
{
public:
    /// `keeper` outlives the launcher.
    explicit LinuxChildLauncher(Keeper &keeper);
    ~LinuxChildLauncher() override;

    [[nodiscard]] Prepared prepare(const ChildCommand &command, ChildProcess::Callbacks callbacks) override;
    void terminateOrphan(qint32 pid, QByteArrayView pathEnd) override;

private:
    Keeper &m_keeper;
    DescriptorWatcher m_watcher;
    std::vector<char> m_readBuffer;                    ///< shared: only one child is read at a time
    std::list<std::shared_ptr<LinuxChild>> m_children; ///< in order of launch
};
