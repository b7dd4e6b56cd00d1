// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

class QWindow;

/// What an X11 window manager is told about windows, after the Extended Window Manager Hints.
class X11Windows
{
public:
    /// Whether this process shows its windows on an X server.
    static bool isAvailable();

    /// Whether a window that is about to be shown will be left out of the task bar and the window switcher.
    /// To be told each time: a window manager forgets it when a window is withdrawn.
    void prepareSkipsTaskbar(QWindow &window, bool skips);
    /// The same for a window that is shown or minimised.
    void requestSkipsTaskbar(QWindow &window, bool skips);

    /// Asks for the window to be raised and to get the keyboard, as a direct wish of the user. `time` is the
    /// X server's time of that wish; 0 when it is not known.
    void activate(QWindow &window, quint32 time);

private:
    struct Atoms
    {
        quint32 state = 0;
        quint32 skipTaskbar = 0;
        quint32 skipPager = 0;
        quint32 activeWindow = 0;
    };

    const Atoms &atoms();
    void sendToRoot(quint32 window, quint32 type, const quint32 (&data)[5]);

    Atoms m_atoms;
};
