// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Symbol.h"

#include <QByteArray>
#include <QColor>
#include <QIcon>
#include <QImage>
#include <QPalette>
#include <QString>

/// Draws the program's own symbols, one SVG each in the resources under its symbol name: single-coloured, on
/// a square of 16 units.
namespace SymbolDrawing {

/// Returns the symbol in one colour on a transparent, square ground of `pixels` by `pixels` device pixels; a
/// null image when there is no symbol of that name.
QImage image(const QString &symbolName, int pixels, const QColor &color);

/// Returns the symbol as an icon that is sharp at every size and scale; a null icon when there is none.
/// Disabled, it is dimmed.
QIcon icon(const QString &symbolName, const QColor &color);

/// Returns the symbol as the text of an SVG document (SVG Tiny 1.2) in that colour, without its alpha; empty
/// when there is no symbol of that name.
QByteArray svg(const QString &symbolName, const QColor &color);

/// Returns the shade for a role on that palette's window background, with a contrast of at least 3:1 for the
/// three named colours. `None` is the text colour, `SecondaryLabel` the palette's own for secondary text,
/// `TertiaryLabel` half-way between text and ground.
QColor color(ColorRole role, const QPalette &palette);

/// Returns the shade for a role on a ground that is not known, as a panel's: the named colours keep 3:1 on
/// white and on dark grey; the others are a middle grey.
QColor colorOnAnyGround(ColorRole role);

/// Returns the contrast of two opaque colours as WCAG 2 defines it, 1 to 21.
double contrast(const QColor &one, const QColor &other);

} // namespace SymbolDrawing
