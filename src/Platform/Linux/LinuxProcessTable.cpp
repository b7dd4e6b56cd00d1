// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LinuxProcessTable.h"

#include "FileDescriptor.h"
#include "Pidfd.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <climits>
#include <csignal>

namespace {

/// How long a process may take from the word to run its program until it does, on a busy machine.
constexpr std::chrono::seconds startTime(2);
constexpr int lookEvery = 10; // milliseconds

bool isSameFile(const char *a, const char *b)
{
    struct stat first;
    struct stat second;
    return ::stat(a, &first) == 0 && ::stat(b, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

QByteArray executableOf(qint32 pid)
{
    const QByteArray link = "/proc/" + QByteArray::number(pid) + "/exe";
    std::array<char, PATH_MAX> buffer;
    const ssize_t length = ::readlink(link.constData(), buffer.data(), buffer.size());
    if (length < 1)
        return {};
    QByteArray path(buffer.data(), length);
    // The kernel marks a program whose file is gone, unless that is really part of a file's name.
    if (path.endsWith(" (deleted)") && !isSameFile(link.constData(), path.constData()))
        path.chop(qsizetype(sizeof(" (deleted)")) - 1);
    return path;
}

class Handle : public ProcessHandle
{
public:
    Handle(qint32 pid, FileDescriptor pidfd)
        : m_pid(pid)
        , m_pidfd(std::move(pidfd))
    {
    }

    QByteArray executablePath() const override
    {
        QByteArray path = executableOf(m_pid);
        if (m_pid == ::getpid())
            return path;
        // Perhaps a child of an earlier run that was told to run its program and has not come to it yet.
        const QByteArray own = executableOf(::getpid());
        const auto deadline = std::chrono::steady_clock::now() + startTime;
        pollfd ended{m_pidfd.get(), POLLIN, 0};
        while (path == own && std::chrono::steady_clock::now() < deadline &&
               ::poll(&ended, 1, lookEvery) == 0)
            path = executableOf(m_pid);
        return path;
    }

    void terminate() override { ::pidfd_send_signal(m_pidfd.get(), SIGTERM, nullptr, 0); }

private:
    qint32 m_pid;
    FileDescriptor m_pidfd;
};

} // namespace

std::unique_ptr<ProcessHandle> LinuxProcessTable::find(qint32 pid)
{
    FileDescriptor pidfd(::pidfd_open(pid, 0));
    if (!pidfd.isOpen() || ::pidfd_send_signal(pidfd.get(), 0, nullptr, 0) != 0)
        return nullptr;
    return std::make_unique<Handle>(pid, std::move(pidfd));
}
