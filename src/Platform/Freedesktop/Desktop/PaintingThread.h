// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

/// The thread that Qt paints large areas with.
namespace PaintingThread {

/// Makes it now, as the only one and for as long as the program runs. Otherwise Qt makes threads when it
/// paints, and where the system has none left at that moment, it waits for them for ever.
void keepOne();

} // namespace PaintingThread
