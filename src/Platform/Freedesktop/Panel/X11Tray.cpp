// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "X11Tray.h"

#include "SymbolDrawing.h"
#include "X11Connection.h"

#include <QGuiApplication>

#include <string>
#include <utility>
#include <vector>

X11Tray::X11Tray(std::function<void()> appeared)
    : m_appeared(std::move(appeared))
{
    if (!X11::connection())
        return;
    m_selection = X11::atom("_NET_SYSTEM_TRAY_S" + std::to_string(X11::screenNumber()));
    m_manager = X11::atom("MANAGER");
    qGuiApp->installNativeEventFilter(this);
}

bool X11Tray::isThere() const
{
    return owner() != XCB_NONE;
}

QColor X11Tray::textColor() const
{
    // Red, green and blue of 16 bits each, of the text first of all.
    const std::vector<quint32> colors =
        X11::property(owner(), X11::atom("_NET_SYSTEM_TRAY_COLORS"), XCB_ATOM_CARDINAL);
    if (colors.size() < 3)
        return SymbolDrawing::colorOnAnyGround(ColorRole::None);
    const auto channel = [&colors](size_t index) { return int(colors[index] >> 8 & 0xff); };
    return {channel(0), channel(1), channel(2)};
}

quint32 X11Tray::owner() const
{
    xcb_connection_t *connection = X11::connection();
    if (!connection)
        return XCB_NONE;
    const X11::Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, m_selection), nullptr));
    return reply ? reply->owner : xcb_window_t(XCB_NONE);
}

bool X11Tray::nativeEventFilter(const QByteArray &, void *message, qintptr *)
{
    const auto *event = static_cast<xcb_client_message_event_t *>(message);
    if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE && event->type == m_manager &&
        event->data.data32[1] == m_selection)
        m_appeared();
    return false;
}
