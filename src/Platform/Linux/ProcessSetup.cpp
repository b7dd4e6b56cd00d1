// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ProcessSetup.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

namespace {

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

/// A blocked SIGTERM would make this process deaf, an ignored SIGCHLD would lose its children's exit
/// statuses.
void inheritNoSignalSettings()
{
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGCHLD, SIG_DFL);
}

} // namespace

void ProcessSetup::prepare()
{
    openMissingStandardStreams();
    inheritNoSignalSettings();
    std::signal(SIGPIPE, SIG_IGN);
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}
