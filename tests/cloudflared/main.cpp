// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Output.h"
#include "Player.h"
#include "Scenario.h"

#include <cstdlib>
#include <exception>

namespace {

/// The number in variable `name`, or `fallback` when it is not set. Throws when it is none.
double numberFrom(const char *name, double fallback)
{
    const char *text = std::getenv(name);
    if (!text) {
        return fallback;
    }
    char *end = nullptr;
    const double number = std::strtod(text, &end);
    if (end == text || *end != '\0' || number < 0) {
        throw ScriptError(std::string(name) + " is not a number");
    }
    return number;
}

} // namespace

int main(int, char **argv)
{
    constexpr int usageError = 64; // EX_USAGE of sysexits.h
    try {
        const Signals::Inherited inherited = Signals::inherited();
        Signals::limitLifetime(static_cast<unsigned>(numberFrom("MORVANEL_LIFETIME", 600)));
        if (sigismember(&inherited.ignored, SIGTERM) == 0) {
            Signals::handleTerm();
        }
        return Player(chooseScript(), {argv, inherited, numberFrom("MORVANEL_SPEED", 1)}).play();
    } catch (const std::exception &error) {
        Output::line(std::string("stand-in: ") + error.what());
        return usageError;
    }
}
