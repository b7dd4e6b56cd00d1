// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <string>
#include <string_view>

/// The stand-in as a process: its output, the signals that reach it, and what its launcher gave it.
namespace Process {

/// Writes all bytes to standard error, waiting for the reader where the pipe is full. Without a reader it
/// ends.
void write(std::string_view bytes);
/// Writes a line that begins with the time: "2026-11-24T17:16:51Z " and `text`.
void writeStamped(std::string_view text);
/// Gives up both output streams: a reader sees the end of file.
void closeOutput();

/// Notes one SIGTERM from here on; the next one kills.
void handleTerm();
/// Returns whether a SIGTERM was noted and not yet taken.
bool termRequested();
bool takeTerm();
/// Waits until SIGTERM is noted.
void waitForTerm();
/// Waits for `duration`, or until SIGTERM is noted.
void pause(std::chrono::nanoseconds duration);
/// Ends the process by `signal` without a core file.
[[noreturn]] void dieBy(int signal);

/// Forks a child that keeps the output open for `lifetime`, whatever becomes of this process, and writes a
/// line every `interval`. SIGTERM ends it.
void holdOutput(std::chrono::seconds lifetime, std::chrono::milliseconds interval);

/// Returns facts about the launch, one in a line: `arg` and `env` lines in their order, `fd` lines (number
/// and target), `blocked` and `ignored` (masks of signals, or "none"), `parent` and `group`.
std::string launchReport(const char *const *argv);

} // namespace Process
