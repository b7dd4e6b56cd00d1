// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

// glibc 2.36 declares the functions without C linkage for C++.
extern "C" {
#include <sys/pidfd.h>
}
