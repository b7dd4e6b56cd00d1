// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FileDescriptor.h"

#include <fcntl.h>

/// Both ends of a pipe, which no started program inherits. Neither is open when the system has no more;
/// `errno` says which it lacks, right after the creation.
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
