// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QFont>

class QWidget;

/// What a text is in its window; the application's font decides how that looks.
enum class FontRole {
    Body,
    Monospaced, ///< the body's size in the desktop's fixed-width font
    Caption,    ///< notes: smaller
    Headline,   ///< bold
    Title,      ///< of a pane: larger, semibold
};

/// `base` as the role wants it.
QFont fontFor(FontRole role, const QFont &base);

/// Sets a widget's font from the application's.
void applyFontRole(QWidget *widget, FontRole role);

/// Does so again for all widgets below `root` that were given a role. A widget with a font of its own is not
/// told when the application's changes, but one without is: that one calls this.
void renewFontRoles(QWidget *root);
