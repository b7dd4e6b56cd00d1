// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DisplayServer.h"

#include "FileDescriptor.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>

#include <sys/socket.h>
#include <sys/un.h>
#include <xcb/xcb.h>

#include <algorithm>

using namespace Qt::StringLiterals;

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

/// Returns whether Qt's plug-in for Wayland is there: it is a package of its own, and without it Qt ends the
/// process.
bool hasWaylandPlugin()
{
    const QStringList folders = QCoreApplication::libraryPaths();
    return std::any_of(folders.cbegin(), folders.cend(), [](const QString &folder) {
        return !QDir(folder + u"/platforms"_s).entryList({u"libqwayland*"_s}).isEmpty();
    });
}

} // namespace

DisplayServer::DisplayServer()
    : m_connection(nullptr, &::xcb_disconnect)
{
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM"); // may name several, the best one first
    const bool wantsWayland = platform.startsWith("wayland") && !platform.contains(';');
    if (!platform.isEmpty() && !wantsWayland)
        return;
    const bool isOnWayland = wantsWayland || hasCompositor();
    if (isOnWayland && hasWaylandPlugin())
        return;
    if (!wantsWayland && connectToXServer())
        return;
    m_problem = isOnWayland ? u"Qt's plug-in for Wayland is missing (package qt6-wayland)"_s
                            : u"no display can be reached"_s;
}

bool DisplayServer::connectToXServer()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return false;
    m_connection.reset(::xcb_connect(nullptr, nullptr));
    return ::xcb_connection_has_error(m_connection.get()) == 0;
}
