// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "X11Windows.h"

#include "X11Connection.h"

#include <QWindow>

#include <algorithm>
#include <vector>

namespace {

std::vector<quint32> atomList(quint32 window, quint32 property)
{
    constexpr uint32_t most = 1024;
    const auto request = xcb_get_property(X11::connection(), false, window, property, XCB_ATOM_ATOM, 0, most);
    const X11::Reply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(X11::connection(), request, nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto *first = static_cast<const quint32 *>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

} // namespace

bool X11Windows::isAvailable()
{
    return X11::connection() != nullptr;
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
    xcb_change_property(X11::connection(), XCB_PROP_MODE_REPLACE, id, atoms().state, XCB_ATOM_ATOM, 32,
                        uint32_t(states.size()), states.data());
    xcb_flush(X11::connection());
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
    xcb_send_event(X11::connection(), false, X11::root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(X11::connection());
}

const X11Windows::Atoms &X11Windows::atoms()
{
    if (m_atoms.state == 0) {
        m_atoms = {X11::atom("_NET_WM_STATE"), X11::atom("_NET_WM_STATE_SKIP_TASKBAR"),
                   X11::atom("_NET_WM_STATE_SKIP_PAGER"), X11::atom("_NET_ACTIVE_WINDOW")};
    }
    return m_atoms;
}
