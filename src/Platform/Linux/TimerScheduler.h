// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Scheduler.h"

#include <QTimer>

#include <utility>

/// Deadlines by the event loop's timers, which follow the monotonic clock.
class TimerScheduler : public Scheduler
{
public:
    Duration now() const override
    {
        return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch());
    }
    [[nodiscard]] std::unique_ptr<ScheduledWork> after(Duration delay, std::function<void()> work) override
    {
        return std::make_unique<TimedWork>(delay, std::move(work));
    }

private:
    class TimedWork : public ScheduledWork
    {
    public:
        TimedWork(Duration delay, std::function<void()> work)
            : m_work(std::move(work))
        {
            m_timer.setSingleShot(true);
            m_timer.setTimerType(Qt::PreciseTimer);
            m_timer.callOnTimeout(&m_timer, [this] {
                const auto due = std::exchange(m_work, {});
                due(); // may destroy this object
            });
            m_timer.start(delay);
        }

    private:
        QTimer m_timer;
        std::function<void()> m_work;
    };
};
