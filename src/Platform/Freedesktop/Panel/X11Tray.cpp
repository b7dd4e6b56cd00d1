// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "X11Tray.h"

#include <QByteArray>
#include <QGuiApplication>

#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace {

struct Free
{
    void operator()(void *memory) const { std::free(memory); }
};

template <typename Reply> using ReplyPointer = std::unique_ptr<Reply, Free>;

int defaultScreen()
{
    char *host = nullptr;
    int display = 0;
    int screen = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen) != 0)
        std::free(host);
    return screen;
}

} // namespace

X11Tray::X11Tray(QObject *parent)
    : QObject(parent)
{
    if (const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
        m_connection = x11->connection();
    if (!m_connection)
        return;
    m_selection = atom("_NET_SYSTEM_TRAY_S" + QByteArray::number(defaultScreen()));
    m_manager = atom("MANAGER");
    qGuiApp->installNativeEventFilter(this);
}

X11Tray::~X11Tray() = default;

bool X11Tray::isThere() const
{
    if (!m_connection)
        return false;
    const ReplyPointer<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        m_connection, xcb_get_selection_owner(m_connection, m_selection), nullptr));
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

std::uint32_t X11Tray::atom(const QByteArray &name) const
{
    const auto request =
        xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(name.size()), name.constData());
    const ReplyPointer<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, request, nullptr));
    return reply ? reply->atom : std::uint32_t(XCB_ATOM_NONE);
}
