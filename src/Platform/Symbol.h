// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ColorRole.h"

#include <QString>

/// A symbol to draw, as data: which drawing, how large, in which colour.
struct Symbol
{
    QString symbolName;
    QString description;
    int pointSize = 0; ///< height in points
    ColorRole color = ColorRole::None;
    bool isTemplate = false; ///< tinted by whoever shows it

    bool operator==(const Symbol &) const = default;
};
