// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FontRole.h"
#include "Symbol.h"

#include <QHash>
#include <QLabel>

/// A plain text with a font and a colour by their roles. Its colour follows the palette.
class TextLabel : public QLabel
{
    Q_OBJECT

public:
    explicit TextLabel(FontRole font, ColorRole color = ColorRole::None, QWidget *parent = nullptr);

    /// Makes the text take as many lines as it needs instead of one.
    void setWraps();
    void setColorRole(ColorRole color);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    int heightForWidth(int width) const override;

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyColor();

    /// Heights by width: breaking a text into lines is what takes most time when a form is laid out.
    struct Measured
    {
        QString text;
        QFont font;
        QHash<int, int> heights;
    };

    ColorRole m_colorRole;
    mutable Measured m_measured;
};
