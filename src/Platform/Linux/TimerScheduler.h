// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Scheduler.h"

/// Deadlines by the event loop's timers, which follow the monotonic clock.
class TimerScheduler : public Scheduler
{
public:
    Duration now() const override;
    std::unique_ptr<ScheduledWork> after(Duration delay, std::function<void()> work) override;
};
