// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ProcessSetup.h"

#include <sys/resource.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <optional>

namespace {

constexpr std::array handledSignals{SIGTERM, SIGINT, SIGHUP};

// A signal handler can reach nothing but a static object.
std::atomic<int> handlerPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

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

extern "C" void writeToPipe(int)
{
    const int saved = errno;
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = ::write(handlerPipe, &byte, 1);
    errno = saved;
}

void setHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    for (const int signal : handledSignals) {
        if (!::sigismember(&ignoredAtStart, signal))
            ::sigaction(signal, &action, nullptr);
    }
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

TerminationSignals::TerminationSignals(QObject *parent)
    : QObject(parent)
{
    if (!m_pipe.isOpen())
        return;
    connect(&m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::drain);
    handlerPipe = m_pipe.writeEnd.get();
    setHandler(writeToPipe);
}

TerminationSignals::~TerminationSignals()
{
    setHandler(SIG_IGN); // the process is ending already
    handlerPipe = -1;
}

void TerminationSignals::drain()
{
    std::array<char, 64> bytes;
    while (::read(m_pipe.readEnd.get(), bytes.data(), bytes.size()) > 0) {
    }
    Q_EMIT received();
}

#include "moc_ProcessSetup.cpp"
