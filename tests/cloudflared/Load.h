// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

/// Output in bulk. Each function ends early, at the end of a line, when SIGTERM is noted.
namespace Load {

struct Blast
{
    std::uint64_t lines = 0;
    std::size_t bytes = 0;    ///< of each line, the line feed included
    bool chunked = false;     ///< 64 KiB in each write instead of one line
    bool connections = false; ///< every tenth line registers or loses one of four connections, in turn
};

/// Writes numbered lines, all of the same length, as fast as they are read.
void blast(const Blast &blast);

/// Writes `rate` numbered lines a second, one in each write, for `duration`; a rate of 0 is as fast as they
/// are read, a duration of 0 is without end.
void flood(std::uint64_t rate, std::chrono::seconds duration);

/// Writes one line of `bytes` bytes, the line feed included, in writes of 1 MiB.
void longLine(std::uint64_t bytes);

} // namespace Load
