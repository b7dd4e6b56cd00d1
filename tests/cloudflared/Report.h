// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Signals.h"

#include <string>

/// What this process was given by its launcher, one fact in a line: `arg` and `env` lines in their order,
/// `fd` lines (number and target), `blocked` and `ignored` (signal numbers or "none"), `pid`, `parent`,
/// `group`, `session`, and `end`. A backslash and control characters in a value are written as \xHH.
std::string launchReport(const char *const *argv, const Signals::Inherited &inherited);
