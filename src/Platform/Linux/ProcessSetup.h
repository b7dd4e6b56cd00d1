// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

namespace ProcessSetup {

/// Makes this process what it needs to be before anything else of it runs. Opens the null device where
/// standard input, output or error is closed, so that no other file gets one of these numbers; unblocks
/// signals; makes a closed pipe an error instead of a signal; allows as many open files as the system grants;
/// and forbids core files, because its memory holds tokens.
void prepare();

/// Gives this process the limits that it was started with, until the end of the scope, for programs that a
/// library starts in it. A fork handler would miss those: Qt 6.8 starts programs by vfork(2).
class OriginalLimits
{
public:
    OriginalLimits();
    ~OriginalLimits();
    Q_DISABLE_COPY_MOVE(OriginalLimits)
};

/// Gives a child that was made with _Fork(3) what this process was started with: its limits, and default
/// dispositions but for the signals that were ignored. Only SIGCHLD is never left ignored. Makes only calls
/// that are allowed between fork(2) and execve(2).
void restoreInChild();

} // namespace ProcessSetup
