// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "X11Windows.h"

#include "X11Connection.h"

#include <QWindow>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view stateName = "_NET_WM_STATE";
constexpr std::string_view skipTaskbarName = "_NET_WM_STATE_SKIP_TASKBAR";
constexpr std::string_view skipPagerName = "_NET_WM_STATE_SKIP_PAGER";

QByteArray quoted(QByteArray text)
{
    text.replace('\\', "\\\\").replace('"', "\\\"");
    return '"' + text + '"';
}

/// Sends a text to everybody who listens on the root window, in pieces; the NUL at its end is the last byte.
void broadcast(const QByteArray &text)
{
    xcb_connection_t *connection = X11::connection();
    const xcb_window_t root = X11::root();
    const xcb_window_t sender = xcb_generate_id(connection); // tells the pieces of one text from another's
    xcb_create_window(connection, 0, sender, root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_client_message_event_t piece = {};
    piece.response_type = XCB_CLIENT_MESSAGE;
    piece.format = 8;
    piece.window = sender;
    piece.type = X11::atom("_NET_STARTUP_INFO_BEGIN");
    const xcb_atom_t next = X11::atom("_NET_STARTUP_INFO");
    constexpr qsizetype pieceSize = sizeof piece.data.data8;
    for (qsizetype at = 0; at <= text.size(); at += pieceSize) {
        std::fill(std::begin(piece.data.data8), std::end(piece.data.data8), uint8_t(0));
        std::copy_n(text.cbegin() + at, std::min(pieceSize, text.size() - at), std::begin(piece.data.data8));
        xcb_send_event(connection, false, root, XCB_EVENT_MASK_PROPERTY_CHANGE,
                       reinterpret_cast<const char *>(&piece));
        piece.type = next;
    }
    xcb_destroy_window(connection, sender);
    xcb_flush(connection);
}

void sendToRoot(const QWindow &window, xcb_atom_t type, const quint32 (&data)[5])
{
    xcb_client_message_event_t event = {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = xcb_window_t(window.winId());
    event.type = type;
    std::copy(std::begin(data), std::end(data), event.data.data32);
    xcb_send_event(X11::connection(), false, X11::root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(X11::connection());
}

} // namespace

bool X11Windows::isAvailable()
{
    return X11::connection() != nullptr;
}

void X11Windows::activate(const QWindow &window, quint32 time)
{
    constexpr quint32 directUserAction = 2;
    sendToRoot(window, X11::atom("_NET_ACTIVE_WINDOW"), {directUserAction, time, 0, 0, 0});
}

/// Writes the state itself, which belongs to the window manager only from the mapping of the window on.
void X11Windows::prepareSkipsTaskbar(const QWindow &window, bool skips)
{
    const auto id = xcb_window_t(window.winId());
    const xcb_atom_t state = X11::atom(stateName);
    std::vector<quint32> states = X11::property(id, state, XCB_ATOM_ATOM);
    for (const xcb_atom_t skip : {X11::atom(skipTaskbarName), X11::atom(skipPagerName)}) {
        std::erase(states, skip);
        if (skips)
            states.push_back(skip);
    }
    xcb_change_property(X11::connection(), XCB_PROP_MODE_REPLACE, id, state, XCB_ATOM_ATOM, 32,
                        uint32_t(states.size()), states.data());
    xcb_flush(X11::connection());
}

void X11Windows::requestSkipsTaskbar(const QWindow &window, bool skips)
{
    constexpr quint32 application = 1;
    sendToRoot(window, X11::atom(stateName),
               {skips ? 1U : 0U, X11::atom(skipTaskbarName), X11::atom(skipPagerName), application, 0});
}

void X11Windows::completeStartup(const QByteArray &id)
{
    broadcast("remove: ID=" + quoted(id));
}
