// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

/// The display server that the environment names.
namespace DisplayServer {

/// Whether windows can be shown: a Wayland compositor or an X server can be connected to, or the user chose
/// one of Qt's platforms. To be asked before the application object is made, which ends the process
/// otherwise.
bool isReachable();

} // namespace DisplayServer
