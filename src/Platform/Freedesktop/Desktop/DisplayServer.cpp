// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DisplayServer.h"

#include <QByteArray>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
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
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isConnected = ::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    ::close(fd);
    return isConnected;
}

bool hasXServer()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return false;
    xcb_connection_t *connection = ::xcb_connect(nullptr, nullptr);
    const bool isConnected = ::xcb_connection_has_error(connection) == 0;
    ::xcb_disconnect(connection);
    return isConnected;
}

} // namespace

bool DisplayServer::isReachable()
{
    return !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") || hasCompositor() || hasXServer();
}
