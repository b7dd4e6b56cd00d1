// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Script.h"

/// The script this process has to play, chosen by its environment as README.md describes; that of a healthy
/// tunnel when nothing is asked for. Throws ScriptError when a scenario is asked for that does not exist.
Script chooseScript();
