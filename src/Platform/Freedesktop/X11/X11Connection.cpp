// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "X11Connection.h"

#include <QGuiApplication>

xcb_connection_t *X11::connection()
{
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

int X11::screenNumber()
{
    char *host = nullptr;
    int display = 0;
    int screen = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen) != 0)
        std::free(host);
    return screen;
}

xcb_window_t X11::root()
{
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection()));
    for (int number = screenNumber(); number > 0 && screens.rem > 1; --number)
        xcb_screen_next(&screens);
    return screens.data->root;
}

quint32 X11::atom(std::string_view name)
{
    const auto request = xcb_intern_atom(connection(), false, uint16_t(name.size()), name.data());
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection(), request, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

std::vector<quint32> X11::property(xcb_window_t window, quint32 name, quint32 type)
{
    constexpr uint32_t most = 1024;
    const auto request = xcb_get_property(connection(), false, window, name, type, 0, most);
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection(), request, nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto *first = static_cast<const quint32 *>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}
