// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QUuid>

#include <optional>

/// Opens the program's windows.
class Windows
{
public:
    virtual ~Windows() = default;

    virtual void showSettings() = 0;
    /// Opens the Settings window with this tunnel's form.
    virtual void showTunnel(const QUuid &tunnel) = 0;
    /// Opens the Settings window with the program's own settings.
    virtual void showGeneral() = 0;
    /// Opens the Logs window. The tunnel counts only when it is made; one that exists keeps its selection.
    virtual void showLogs(const std::optional<QUuid> &selecting) = 0;
    /// Opens the Logs window with this tunnel selected, also where the window exists.
    virtual void showLog(const QUuid &tunnel) = 0;
};
