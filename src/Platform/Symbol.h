// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TunnelState.h"

#include <QString>

/// A symbol to draw, as data: which drawing, in which colour.
struct Symbol
{
    QString symbolName;
    QString description; ///< for a screen reader
    QString iconName;    ///< base name of its file in icon themes; empty where it has none
    ColorRole color = ColorRole::None;
    bool isTemplate = false; ///< tinted by whoever shows it

    bool operator==(const Symbol &) const = default;
};
