// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DisplayServer.h"

#include "FileDescriptor.h"

#include <QByteArray>

#include <sys/socket.h>
#include <sys/un.h>
#include <xcb/xcb.h>

#include <algorithm>

namespace {

bool hasCompositor()
{
    const QByteArray name = qgetenv("WAYLAND_DISPLAY");
    if (name.isEmpty())
        return qEnvironmentVariableIsSet("WAYLAND_SOCKET");
    const QByteArray path = name.startsWith('/') ? name : qgetenv("XDG_RUNTIME_DIR") + '/' + name;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= qsizetype(sizeof address.sun_path))
        return false;
    std::copy(path.begin(), path.end(), address.sun_path);
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return ::connect(socket.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
}

} // namespace

DisplayServer::DisplayServer()
    : m_connection(nullptr, &::xcb_disconnect)
    , m_isReachable(!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") || hasCompositor() || connectToXServer())
{
}

bool DisplayServer::connectToXServer()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return false;
    m_connection.reset(::xcb_connect(nullptr, nullptr));
    return ::xcb_connection_has_error(m_connection.get()) == 0;
}
