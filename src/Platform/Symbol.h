// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// A colour by its role; the palette and the theme decide the shade.
enum class ColorRole { None, Green, Orange, Red, SecondaryLabel, TertiaryLabel };

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
