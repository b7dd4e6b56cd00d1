// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "SymbolImage.h"

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QPalette>
#include <QString>

/// Draws the program's own symbols, one SVG each in the resources under its symbol name.
namespace SymbolDrawing {

/// The symbol in one colour on a transparent, square ground of `pixels` by `pixels` device pixels; a null
/// image when there is no symbol of that name.
QImage image(const QString &symbolName, int pixels, const QColor &color);

/// The symbol as an icon that is sharp at every size and scale; a null icon when there is none.
QIcon icon(const QString &symbolName, const QColor &color);

/// The shade for a role on that palette's window background, with a contrast of at least 3:1 for the three
/// named colours. `None` is the text colour, `TertiaryLabel` the dimmed one.
QColor color(ColorRole role, const QPalette &palette);

} // namespace SymbolDrawing
