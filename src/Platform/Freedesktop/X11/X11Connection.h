// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

/// The connection to the X server that Qt's windows use. Needs the application object.
namespace X11 {

struct Free
{
    void operator()(void *reply) const { std::free(reply); }
};
template <typename T> using Reply = std::unique_ptr<T, Free>;

/// Returns Qt's connection; null on anything but an X server.
xcb_connection_t *connection();

/// Returns the number of the screen that `$DISPLAY` names: where Qt's windows, the panel and its tray are.
int screenNumber();

/// Returns the root window of that screen.
xcb_window_t root();

/// Returns the atom of that name; 0 (none) when the server is out of memory or gone.
quint32 atom(std::string_view name);

/// Returns a window's property of 32-bit values of that type; empty where it has none.
std::vector<quint32> property(xcb_window_t window, quint32 name, quint32 type);

} // namespace X11
