// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <functional>
#include <memory>

/// Work that waits for its time. Destroying it cancels the work.
class ScheduledWork
{
public:
    virtual ~ScheduledWork() = default;
};

/// The clock of the program's deadlines and the work that waits for them.
class Scheduler
{
public:
    using Duration = std::chrono::milliseconds;

    virtual ~Scheduler() = default;

    /// Monotonic time since some fixed point; setting the wall clock does not change it.
    virtual Duration now() const = 0;
    /// Runs `work` once on the calling thread's event loop, not before `delay` has passed. The work may
    /// destroy its own handle.
    [[nodiscard]] virtual std::unique_ptr<ScheduledWork> after(Duration delay,
                                                               std::function<void()> work) = 0;
};
