// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string_view>

/// The connection to the X server that Qt's windows use. Needs the application object.
namespace X11 {

struct Free
{
    void operator()(void *reply) const { std::free(reply); }
};
template <typename T> using Reply = std::unique_ptr<T, Free>;

/// Qt's; null on anything but an X server.
xcb_connection_t *connection();

/// The number of the screen that `$DISPLAY` names: where Qt's windows, the panel and its tray are.
int screenNumber();

/// Of that screen.
xcb_window_t root();

/// 0 (none) when the server is out of memory or gone.
quint32 atom(std::string_view name);

} // namespace X11
