// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Output.h"

#include "Signals.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

void Output::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(STDERR_FILENO, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EPIPE) {
            Signals::dieBy(SIGPIPE);
        } else if (errno == EAGAIN) {
            pollfd writable = {STDERR_FILENO, POLLOUT, 0};
            poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            return;
        }
    }
}

void Output::line(std::string_view text)
{
    write(std::string(text) + '\n');
}

void Output::stampedLine(std::string_view text)
{
    line(stamp().append(text));
}

std::string Output::stamp()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc = {};
    gmtime_r(&now, &utc);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ ", &utc)};
}

void Output::close()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    ::close(nowhere);
}
