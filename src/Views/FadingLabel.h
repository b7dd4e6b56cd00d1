// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TextLabel.h"

class QVariantAnimation;

/// A short note that fades in and out with the style's own duration, at once where the style has none. It
/// takes no room and cannot be read by anyone while it is out.
class FadingLabel : public TextLabel
{
    Q_OBJECT

public:
    explicit FadingLabel(FontRole font, ColorRole color, QWidget *parent = nullptr);

    /// Whether the note is in or on its way in.
    void setIn(bool isIn);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QVariantAnimation *m_fade;
    bool m_isIn = false;
};
