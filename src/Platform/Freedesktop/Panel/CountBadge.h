// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

/// Draws a count into the lower right corner of an icon.
namespace CountBadge {

/// Side of the square that `draw` draws for.
inline constexpr int canvas = 64;

/// An SVG fragment: a dark plate with a light rim and light digits, readable down to 22 pixels. The digits
/// are strokes, so that they look the same whatever fonts there are. More than two digits become "99+".
QByteArray draw(const QString &count);

} // namespace CountBadge
