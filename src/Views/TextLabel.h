// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FontRole.h"
#include "SymbolImage.h"

#include <QLabel>

/// A plain text with a font and a colour by their roles. Its colour follows the palette.
class TextLabel : public QLabel
{
    Q_OBJECT

public:
    /// `TertiaryLabel` is the palette's own colour for secondary text.
    explicit TextLabel(FontRole font, ColorRole color = ColorRole::None, QWidget *parent = nullptr);

    /// Whether the text takes as many lines as it needs or only one.
    void setWraps(bool wraps);
    void setColorRole(ColorRole color);

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyColor();

    ColorRole m_colorRole;
};
