// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "X11Tray.h"

#include "X11Connection.h"

#include <QGuiApplication>

#include <string>

X11Tray::X11Tray(QObject *parent)
    : QObject(parent)
{
    if (!X11::connection())
        return;
    m_selection = X11::atom("_NET_SYSTEM_TRAY_S" + std::to_string(X11::screenNumber()));
    m_manager = X11::atom("MANAGER");
    qGuiApp->installNativeEventFilter(this);
}

X11Tray::~X11Tray() = default;

bool X11Tray::isThere() const
{
    xcb_connection_t *connection = X11::connection();
    if (!connection)
        return false;
    const X11::Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, m_selection), nullptr));
    return reply && reply->owner != XCB_NONE;
}

bool X11Tray::nativeEventFilter(const QByteArray &, void *message, qintptr *)
{
    const auto *event = static_cast<xcb_generic_event_t *>(message);
    if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE)
        return false;
    const auto *clientMessage = static_cast<xcb_client_message_event_t *>(message);
    if (clientMessage->type == m_manager && clientMessage->data.data32[1] == m_selection)
        Q_EMIT appeared();
    return false;
}
