// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

/// A colour by its role; the palette and the theme decide the shade.
enum class ColorRole { None, Green, Orange, Red, SecondaryLabel, TertiaryLabel };
