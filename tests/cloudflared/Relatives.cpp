// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Relatives.h"

#include "Output.h"
#include "Signals.h"

#include <cstdlib>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

[[noreturn]] void keepOutputOpen(std::chrono::seconds lifetime, std::chrono::milliseconds interval)
{
    Signals::defaultTerm();
    Signals::limitLifetime(static_cast<unsigned>(lifetime.count()));
    while (interval.count() == 0) {
        Signals::waitForTerm();
    }
    while (Signals::pause(interval)) {
        Output::stampedLine("INF Still here");
    }
    std::_Exit(0);
}

[[noreturn]] void killAfter(int process, unsigned seconds)
{
    Signals::defaultTerm();
    Output::close();
    pollfd ended = {process, POLLIN, 0};
    const timespec limit = {static_cast<time_t>(seconds), 0};
    if (ppoll(&ended, 1, &limit, nullptr) == 0) {
        syscall(SYS_pidfd_send_signal, process, SIGKILL, nullptr, 0);
    }
    std::_Exit(0);
}

} // namespace

void Relatives::holdOutput(std::chrono::seconds lifetime, std::chrono::milliseconds interval)
{
    std::signal(SIGCHLD, SIG_IGN); // no zombie of ours
    if (fork() == 0) {
        keepOutputOpen(lifetime, interval);
    }
}

void Relatives::stopSelf()
{
    if (const unsigned seconds = Signals::remainingLifetime(); seconds != 0) {
        const int self = static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0));
        std::signal(SIGCHLD, SIG_IGN);
        if (self >= 0 && fork() == 0) {
            killAfter(self, seconds);
        }
        close(self);
    }
    raise(SIGSTOP);
}
