// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TimerScheduler.h"

#include <QTimer>

#include <utility>

namespace {

class TimedWork : public ScheduledWork
{
public:
    TimedWork(Scheduler::Duration delay, std::function<void()> work)
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

} // namespace

Scheduler::Duration TimerScheduler::now() const
{
    return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch());
}

std::unique_ptr<ScheduledWork> TimerScheduler::after(Duration delay, std::function<void()> work)
{
    return std::make_unique<TimedWork>(delay, std::move(work));
}
