// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

/// The feedback that a desktop gives while it waits for what it launched: a busy pointer, mostly. After the
/// Startup Notification Protocol.
namespace StartupNotification {

/// Tells the desktop that the launch with this id has been served, also when no window opened for it. Does
/// nothing for an empty id, and nothing on Wayland, where only a window can tell so.
void complete(const QByteArray &id);

} // namespace StartupNotification
