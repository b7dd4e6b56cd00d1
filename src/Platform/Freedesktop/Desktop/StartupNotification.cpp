// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StartupNotification.h"

#include "X11Connection.h"

#include <algorithm>
#include <iterator>

namespace {

QByteArray quoted(QByteArray text)
{
    text.replace('\\', "\\\\").replace('"', "\\\"");
    return '"' + text + '"';
}

/// To everybody who listens on the root window, in pieces; the end of the text is its NUL.
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

} // namespace

void StartupNotification::complete(const QByteArray &id)
{
    if (X11::connection() && !id.isEmpty())
        broadcast("remove: ID=" + quoted(id));
}
