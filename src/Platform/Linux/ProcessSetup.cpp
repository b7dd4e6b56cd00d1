// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ProcessSetup.h"

#include <sys/resource.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace {

constexpr std::array handledSignals{SIGTERM, SIGINT, SIGHUP};

// A signal handler can reach nothing but a static object.
std::atomic<int> handlerPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

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
    for (const int signal : handledSignals)
        ::sigaction(signal, &action, nullptr);
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
