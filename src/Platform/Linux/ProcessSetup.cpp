// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ProcessSetup.h"

#include <csignal>
#include <optional>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

struct Limits
{
    rlimit openFiles;
    rlimit coreSize;
};
std::optional<Limits> limitsAtStart;
std::optional<Limits> ownLimits;
sigset_t ignoredAtStart; // none until the process has looked

/// Sets the limits; does nothing in a process that never called `prepare`.
void apply(const std::optional<Limits> &limits)
{
    if (!limits)
        return;
    ::setrlimit(RLIMIT_NOFILE, &limits->openFiles);
    ::setrlimit(RLIMIT_CORE, &limits->coreSize);
}

void openMissingStandardStreams()
{
    // The lowest free number is the one that gets opened. These three are meant to be inherited.
    int fd = 0;
    do
        fd = ::open("/dev/null", O_RDWR); // NOLINT(android-cloexec-open)
    while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO)
        ::close(fd);
}

/// Unblocks all signals, since a blocked SIGTERM would make this process deaf, and stops ignoring SIGCHLD,
/// which would lose its children's exit statuses. Notes which others are ignored.
void takeOverSignals()
{
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGCHLD, SIG_DFL);
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action
        {
        };
        if (::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
            ::sigaddset(&ignoredAtStart, number);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

void takeOverLimits()
{
    Limits limits{};
    ::getrlimit(RLIMIT_NOFILE, &limits.openFiles);
    ::getrlimit(RLIMIT_CORE, &limits.coreSize);
    limitsAtStart = limits;
    limits.openFiles.rlim_cur = limits.openFiles.rlim_max;
    limits.coreSize.rlim_cur = 0;
    ownLimits = limits;
    apply(ownLimits);
}

} // namespace

void ProcessSetup::prepare()
{
    openMissingStandardStreams();
    takeOverSignals();
    takeOverLimits();
}

void ProcessSetup::restoreInChild()
{
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action
        {
        };
        action.sa_handler = ::sigismember(&ignoredAtStart, number) ? SIG_IGN : SIG_DFL;
        ::sigaction(number, &action, nullptr);
    }
    apply(limitsAtStart);
}

ProcessSetup::OriginalLimits::OriginalLimits()
{
    apply(limitsAtStart);
}

ProcessSetup::OriginalLimits::~OriginalLimits()
{
    apply(ownLimits);
}
