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

/// Sets the handler of those signals that are not ignored.
void setHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    for (const int signal : handledSignals) {
        struct sigaction present = {};
        if (::sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

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

#include "moc_TerminationSignals.cpp"
