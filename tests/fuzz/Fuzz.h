// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>

/// The pieces that every fuzz target shares.
namespace Fuzz {

/// Ends the run as a find when something that must hold does not.
inline void expect(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

inline QByteArray bytes(const std::uint8_t *data, std::size_t size)
{
    return {reinterpret_cast<const char *>(data), qsizetype(size)};
}

} // namespace Fuzz
