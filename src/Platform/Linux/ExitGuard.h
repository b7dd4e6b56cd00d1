// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

class LinuxChildLauncher;

/// Ends the children where the process ends without its event loop: Qt leaves by exit(3) as soon as the
/// display server is gone, which is how many desktop sessions end. At most one object at a time.
class ExitGuard
{
public:
    /// `launcher` outlives the guard.
    explicit ExitGuard(LinuxChildLauncher &launcher);
    ~ExitGuard();
    Q_DISABLE_COPY_MOVE(ExitGuard)
};
