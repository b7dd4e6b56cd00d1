// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <memory>

struct xcb_connection_t;

/// The display server that the environment names, to be asked before the application object is made, which
/// ends the process where it finds none.
///
/// Keeps its connection to an X server while it lives: one that is left by its last client starts anew, and
/// turns down a client that comes at that moment.
class DisplayServer
{
public:
    DisplayServer();

    /// Returns why no windows can be shown; empty where they can: a Wayland compositor or an X server could
    /// be connected to, or the user chose one of Qt's platforms.
    const QString &problem() const { return m_problem; }

private:
    bool connectToXServer();

    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t *)> m_connection;
    QString m_problem;
};
