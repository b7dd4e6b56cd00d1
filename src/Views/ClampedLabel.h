// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "TextLabel.h"

/// A text that gets no more than some lines: what does not fit is cut with an ellipsis, and the tooltip has
/// the whole then. Its height is always that of all its lines, so that nothing moves when the text changes.
class ClampedLabel : public TextLabel
{
    Q_OBJECT

public:
    ClampedLabel(FontRole font, ColorRole color, int maximumLines, QWidget *parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return false; }

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    /// The lines as they are shown in the present width.
    QStringList lines() const;

    int m_maximumLines;
};
