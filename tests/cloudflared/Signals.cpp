// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Signals.h"

#include <cstdlib>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t termNoted = 0;

void noteTerm(int)
{
    termNoted = 1;
}

timespec timespecOf(std::chrono::nanoseconds duration)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((duration - seconds).count())};
}

/// Waits with SIGTERM let in by the waiting call only, so that none slips in just before it.
void waitOnce(const timespec *timeout)
{
    sigset_t term, before;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    sigprocmask(SIG_BLOCK, &term, &before);
    if (!termNoted) {
        ppoll(nullptr, 0, timeout, &before);
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

void unblock(int signal)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

} // namespace

Signals::Inherited Signals::inherited()
{
    Inherited result{};
    sigprocmask(SIG_BLOCK, nullptr, &result.blocked);
    sigemptyset(&result.ignored);
    for (int number = 1; number <= SIGRTMAX; ++number) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            sigaddset(&result.ignored, number);
        }
    }
    return result;
}

void Signals::handleTerm()
{
    struct sigaction action = {};
    action.sa_handler = noteTerm;
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGTERM, &action, nullptr);
}

void Signals::ignoreTerm()
{
    std::signal(SIGTERM, SIG_IGN);
}

void Signals::defaultTerm()
{
    std::signal(SIGTERM, SIG_DFL);
}

bool Signals::termRequested()
{
    return termNoted != 0;
}

void Signals::acknowledgeTerm()
{
    termNoted = 0;
}

void Signals::limitLifetime(unsigned seconds)
{
    std::signal(SIGALRM, SIG_DFL);
    unblock(SIGALRM);
    alarm(seconds);
}

unsigned Signals::remainingLifetime()
{
    const unsigned seconds = alarm(0);
    alarm(seconds);
    return seconds;
}

bool Signals::pause(std::chrono::nanoseconds duration)
{
    const auto end = std::chrono::steady_clock::now() + duration;
    for (auto left = duration; left.count() > 0 && !termNoted;
         left = end - std::chrono::steady_clock::now()) {
        const timespec timeout = timespecOf(left);
        waitOnce(&timeout);
    }
    return !termNoted;
}

void Signals::waitForTerm()
{
    while (!termNoted) {
        waitOnce(nullptr);
    }
}

void Signals::dieBy(int signal)
{
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    std::signal(signal, SIG_DFL);
    unblock(signal);
    raise(signal);
    std::_Exit(128 + signal); // a signal whose default is not to end a process
}
