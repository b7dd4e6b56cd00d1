// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

/// What this process needs to be before anything else of it runs.
namespace ProcessSetup {

/// Opens the null device where standard input, output or error is closed, so that no other file gets one of
/// these numbers; undoes what a launcher may have left blocked or ignored; makes a closed pipe an error
/// instead of a signal; and forbids core files, here and in the children, because their memory holds tokens.
void prepare();

} // namespace ProcessSetup
