// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

// glibc 2.36 declares the functions without C linkage for C++.
extern "C" {
#include <sys/pidfd.h>
}

/// Owns a file descriptor.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd)
        : m_fd(fd)
    {
    }
    FileDescriptor(FileDescriptor &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return m_fd; }
    bool isOpen() const { return m_fd >= 0; }
    void reset()
    {
        if (m_fd >= 0)
            ::close(std::exchange(m_fd, -1));
    }

private:
    int m_fd = -1;
};

/// Both ends of a pipe, which no started program inherits. Neither is open when the system refuses one;
/// `errno` says why, right after the creation.
struct Pipe
{
    /// @param flags for both ends, such as O_NONBLOCK
    explicit Pipe(int flags = 0)
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC | flags) != 0)
            return;
        readEnd = FileDescriptor(ends[0]);
        writeEnd = FileDescriptor(ends[1]);
    }
    bool isOpen() const { return readEnd.isOpen(); }

    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};
