// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TerminationSignals.h"

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
    struct sigaction action
    {
    };
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    for (const int signal : handledSignals)
        ::sigaction(signal, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals(DescriptorWatcher &watcher, QObject *parent)
    : QObject(parent)
    , m_watcher(watcher)
    , m_pipe(O_NONBLOCK)
{
    if (!m_pipe.isOpen())
        return;
    m_watch = m_watcher.watch(m_pipe.readEnd.get(), [this] { drain(); });
    handlerPipe = m_pipe.writeEnd.get();
    setHandler(writeToPipe);
}

TerminationSignals::~TerminationSignals()
{
    setHandler(SIG_IGN); // the process is ending already
    m_watcher.unwatch(m_watch);
    handlerPipe = -1;
}

void TerminationSignals::drain()
{
    std::array<char, 64> bytes;
    while (::read(m_pipe.readEnd.get(), bytes.data(), bytes.size()) > 0) {
    }
    Q_EMIT received();
}
