// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>
#include <utility>

namespace {

volatile std::sig_atomic_t termNoted = 0;

/// Waits for `timeout`, or without end, with SIGTERM let in by the waiting call only, so that none slips in
/// before it.
void waitOnce(const timespec *timeout)
{
    sigset_t term, before;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    sigprocmask(SIG_BLOCK, &term, &before);
    if (!termNoted)
        ppoll(nullptr, 0, timeout, &before);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

std::string descriptors()
{
    std::string text;
    for (int number = 0; number < 256; ++number) {
        std::error_code closed;
        const auto target = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(number), closed);
        if (!closed)
            text += "fd " + std::to_string(number) + ' ' + target.string() + '\n';
    }
    return text;
}

/// A mask of signals in /proc/self/status.
std::string signalMask(const std::string &field)
{
    std::ifstream status("/proc/self/status");
    for (std::string word, mask; status >> word;) {
        if (word == field && status >> mask)
            return mask.find_first_not_of('0') == std::string::npos ? "none" : mask;
    }
    return "unknown";
}

} // namespace

void Process::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(STDERR_FILENO, bytes.data(), bytes.size());
        if (count < 0)
            std::_Exit(1);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void Process::writeStamped(std::string_view text)
{
    const std::time_t now = std::time(nullptr);
    char stamp[32];
    const std::size_t length = std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ ", std::gmtime(&now));
    write(std::string(stamp, length).append(text).append("\n"));
}

void Process::closeOutput()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
}

void Process::handleTerm()
{
    struct sigaction action = {};
    action.sa_handler = [](int) { termNoted = 1; };
    action.sa_flags = SA_RESETHAND | SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
}

bool Process::termRequested()
{
    return termNoted != 0;
}

bool Process::takeTerm()
{
    return std::exchange(termNoted, 0) != 0;
}

void Process::waitForTerm()
{
    while (!termNoted)
        waitOnce(nullptr);
}

void Process::pause(std::chrono::nanoseconds duration)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(duration);
    const timespec timeout = {seconds.count(), (duration - seconds).count()};
    waitOnce(&timeout);
}

void Process::dieBy(int signal)
{
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    std::signal(signal, SIG_DFL);
    raise(signal);
    std::_Exit(128 + signal); // a signal that ends no process
}

void Process::holdOutput(std::chrono::seconds lifetime, std::chrono::milliseconds interval)
{
    if (fork() != 0)
        return;
    std::signal(SIGTERM, SIG_DFL);
    alarm(static_cast<unsigned>(lifetime.count()));
    while (true) {
        std::this_thread::sleep_for(interval);
        writeStamped("INF Still here");
    }
}

std::string Process::launchReport(const char *const *argv)
{
    std::string text;
    for (; *argv; ++argv)
        text.append("arg ").append(*argv).append("\n");
    for (const char *const *variable = environ; *variable; ++variable)
        text.append("env ").append(*variable).append("\n");
    return text + descriptors() + "blocked " + signalMask("SigBlk:") + "\nignored " + signalMask("SigIgn:") +
           "\nparent " + std::to_string(getppid()) + "\ngroup " + std::to_string(getpgrp()) + '\n';
}
