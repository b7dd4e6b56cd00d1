// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Symbol.h"

#include <QByteArray>
#include <QColor>
#include <QFont>
#include <QIcon>
#include <QImage>
#include <QPalette>
#include <QString>

/// Draws the program's own symbols, one SVG each in the resources under its symbol name: in one colour, some
/// on white, on a square of 16 units. Has the colours and the small font beside them too, for whoever draws.
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

/// Returns the shade for a role on a palette's ground: `Window`, `Base` or `Highlight`. The three named
/// colours have a contrast of at least 4.5:1, that of small text, wherever the ground allows one. `None` is
/// the ground's text colour, `TertiaryLabel` half-way from it to the ground. `SecondaryLabel` is the
/// palette's own for secondary text; of `Highlight`, for which there is none, the text colour at the lowest
/// opacity that gives 4.5:1, or black or white where even the whole does not.
QColor color(ColorRole role, const QPalette &palette, QPalette::ColorRole ground = QPalette::Window);

/// Returns the shade for a role on a ground that is not known, as a panel's: the named colours keep 3:1 on
/// white and on dark grey; the others are a middle grey.
QColor colorOnAnyGround(ColorRole role);

/// Returns the font of small texts beside texts in `base`.
QFont captionFont(const QFont &base);

/// Returns the shade for a role in a symbol that has a white rim, on a ground that is not known: the rim is
/// what stands out from dark grounds, so the shade is one for all light ones.
QColor colorInRim(ColorRole role);

/// Returns the contrast of two opaque colours as WCAG 2 defines it, 1 to 21.
double contrast(const QColor &one, const QColor &other);

/// Returns the contrast of a colour, which may be translucent, to a palette's ground. For `Window` it is the
/// lower one of two: Qt's own style draws the pages of tabs lighter than the window around them.
double contrast(const QColor &color, const QPalette &palette, QPalette::ColorRole ground);

} // namespace SymbolDrawing
