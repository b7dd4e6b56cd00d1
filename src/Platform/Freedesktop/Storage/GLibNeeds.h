// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

/// What GLib ends the whole process without, to be looked for before it is asked for something.
namespace GLibNeeds {

/// Whether there are more descriptors than one call of it takes.
bool areDescriptorsLeft();
/// Whether the threads of a first connection to the bus can be made.
bool areThreadsLeft();

} // namespace GLibNeeds
