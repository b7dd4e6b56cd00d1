// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

class QWindow;

/// Messages to an X11 window manager about windows, after the Extended Window Manager Hints, and to the
/// desktop about launches, after the Startup Notification Protocol.
namespace X11Windows {

/// Returns whether this process shows its windows on an X server; nothing else here may be called otherwise.
bool isAvailable();

/// Leaves a window that is about to be shown out of the task bar and the window switcher, or not. To be
/// called each time: a window manager forgets it when a window is withdrawn.
void prepareSkipsTaskbar(const QWindow &window, bool skips);
/// Does the same for a window that is shown or minimised.
void requestSkipsTaskbar(const QWindow &window, bool skips);

/// Asks for the window to be raised and to get the keyboard, as a direct wish of the user. `time` is the X
/// server's time of that wish; 0 when it is not known.
void activate(const QWindow &window, quint32 time);

/// Ends the feedback, a busy pointer mostly, that the desktop gives for the launch with this id.
void completeStartup(const QByteArray &id);

} // namespace X11Windows
