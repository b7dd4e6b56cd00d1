// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>

/// Processes that the stand-in leaves beside itself.
namespace Relatives {

/// Forks a child that keeps the output open for `lifetime`, whatever becomes of this process, and writes a
/// line every `interval` when that is not 0. SIGTERM ends it.
void holdOutput(std::chrono::seconds lifetime, std::chrono::milliseconds interval);

/// Stops this process with SIGSTOP until somebody continues it. A stopped process cannot keep its own limit
/// of life, so a guard, a child that does not hold the output, kills it then; without a limit there is no
/// guard.
void stopSelf();

} // namespace Relatives
