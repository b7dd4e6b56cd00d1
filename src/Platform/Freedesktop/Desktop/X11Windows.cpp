// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "X11Windows.h"

#include <QGuiApplication>
#include <QWindow>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace {

struct Free
{
    void operator()(void *reply) const { std::free(reply); }
};
template <typename T> using Reply = std::unique_ptr<T, Free>;

xcb_connection_t *connection()
{
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

quint32 atom(std::string_view name)
{
    const auto request = xcb_intern_atom(connection(), false, uint16_t(name.size()), name.data());
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection(), request, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

std::vector<quint32> atomList(quint32 window, quint32 property)
{
    constexpr uint32_t most = 1024;
    const auto request = xcb_get_property(connection(), false, window, property, XCB_ATOM_ATOM, 0, most);
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection(), request, nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto *first = static_cast<const quint32 *>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

} // namespace

bool X11Windows::isAvailable()
{
    return connection() != nullptr;
}

void X11Windows::activate(QWindow &window, quint32 time)
{
    constexpr quint32 directUserAction = 2;
    sendToRoot(quint32(window.winId()), atoms().activeWindow, {directUserAction, time, 0, 0, 0});
}

/// Before a window is mapped its state is its own to write; from then on it is the window manager's.
void X11Windows::prepareSkipsTaskbar(QWindow &window, bool skips)
{
    const auto id = quint32(window.winId());
    std::vector<quint32> states = atomList(id, atoms().state);
    for (const quint32 skip : {atoms().skipTaskbar, atoms().skipPager}) {
        std::erase(states, skip);
        if (skips)
            states.push_back(skip);
    }
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, id, atoms().state, XCB_ATOM_ATOM, 32,
                        uint32_t(states.size()), states.data());
    xcb_flush(connection());
}

void X11Windows::requestSkipsTaskbar(QWindow &window, bool skips)
{
    constexpr quint32 application = 1;
    sendToRoot(quint32(window.winId()), atoms().state,
               {skips ? 1U : 0U, atoms().skipTaskbar, atoms().skipPager, application, 0});
}

void X11Windows::sendToRoot(quint32 window, quint32 type, const quint32 (&data)[5])
{
    xcb_client_message_event_t event = {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    std::copy(std::begin(data), std::end(data), event.data.data32);
    const auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection()));
    xcb_send_event(connection(), false, screens.data->root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(connection());
}

const X11Windows::Atoms &X11Windows::atoms()
{
    if (m_atoms.state == 0) {
        m_atoms = {atom("_NET_WM_STATE"), atom("_NET_WM_STATE_SKIP_TASKBAR"),
                   atom("_NET_WM_STATE_SKIP_PAGER"), atom("_NET_ACTIVE_WINDOW")};
    }
    return m_atoms;
}
