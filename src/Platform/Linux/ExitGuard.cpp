// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ExitGuard.h"

#include "LinuxChildLauncher.h"

#include <unistd.h>

#include <cstdlib>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds patience = 4s;

// What exit(3) calls can reach nothing but a static object.
LinuxChildLauncher *guarded = nullptr;

void endGuarded()
{
    if (!guarded)
        return;
    guarded->endAll(patience);
    ::_exit(0); // the objects of the program are still alive, so nothing else may be destroyed
}

} // namespace

ExitGuard::ExitGuard(LinuxChildLauncher &launcher)
{
    guarded = &launcher;
    std::atexit(endGuarded);
}

ExitGuard::~ExitGuard()
{
    guarded = nullptr;
}
