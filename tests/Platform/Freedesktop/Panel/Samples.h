// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "StatusItem.h"

#include <QString>

/// Contents and menus as a running program shows them, for tests.
namespace Samples {

Symbol dot(ColorRole color, const QString &description);
MenuItem separator(const QString &id);
MenuItem command(const QString &id, const QString &title, MenuAction action, const QString &key = {});
/// A tunnel's entry; the number makes its identifier.
MenuItem tunnel(int number, const QString &name, const QString &detail, ColorRole color);
MenuItem openAddress(int number, const QString &host);
/// Header, `tunnels` entries, "Start All" and the rest of the commands.
Menu menu(int tunnels);

/// One of "idle", "connecting", "connected" and "problem" with a count of connected tunnels.
StatusItemContent content(const QString &status, int connected);

} // namespace Samples
