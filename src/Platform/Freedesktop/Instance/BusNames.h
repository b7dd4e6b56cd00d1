// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QLatin1StringView>

#include <chrono>

/// The program on the session bus, as other programs know it.
namespace BusNames {

inline constexpr QLatin1StringView service{"com.ardentwick.Morvanel"};
inline constexpr QLatin1StringView object{"/com/ardentwick/Morvanel"};
inline constexpr QLatin1StringView application{"org.freedesktop.Application"};
/// The error with which a program that is quitting turns requests down.
inline constexpr QLatin1StringView quittingError{"com.ardentwick.Morvanel.Error.Quitting"};

/// How long an answer, of the bus or of another instance, is waited for: 3 seconds, also when the timer,
/// which is a coarse one, fires early.
inline constexpr std::chrono::milliseconds answerTimeout{3100};

} // namespace BusNames
