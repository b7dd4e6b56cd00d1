// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>

#include <csignal>

/// How signals reach this process, and how it waits for them without using the processor. A mask or an
/// ignored SIGTERM that was inherited stays in force, so that a launcher which passes one on is found out.
namespace Signals {

/// What the launcher handed over, before anything here changed it.
struct Inherited
{
    sigset_t blocked;
    sigset_t ignored;
};

/// Reads the inherited state. Call first.
Inherited inherited();

/// From here on one SIGTERM is noted, and the next one kills.
void handleTerm();
void ignoreTerm();
/// SIGTERM kills without a word, as in the first moments of a real child.
void defaultTerm();

/// Whether a SIGTERM was noted and not yet acknowledged.
bool termRequested();
void acknowledgeTerm();

/// Ends the process with SIGALRM after `seconds`, whatever it then does; 0 for never.
void limitLifetime(unsigned seconds);
/// The seconds that are left of it; 0 when there is no limit.
unsigned remainingLifetime();

/// Waits for `duration`; returns early, with false, when SIGTERM is noted.
bool pause(std::chrono::nanoseconds duration);
/// Waits, in one system call, until SIGTERM is noted.
void waitForTerm();

/// Ends the process by `signal` with its default disposition and no core file.
[[noreturn]] void dieBy(int signal);

} // namespace Signals
