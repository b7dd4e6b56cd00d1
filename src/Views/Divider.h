// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QFrame>
#include <QPainter>

/// A quiet line between two parts of a window, as `QFrame::HLine` or `QFrame::VLine`, or an area in its
/// colour
/// (`QFrame::Box`), of which the widget inside leaves a border.
class Divider : public QFrame
{
public:
    explicit Divider(QFrame::Shape shape, QWidget *parent = nullptr)
        : QFrame(parent)
    {
        setFrameShape(shape);
    }

    /// Returns the text's colour, faint, so that it suits every ground.
    static QColor color(const QPalette &palette)
    {
        constexpr float opacity = 0.15F;
        QColor color = palette.color(QPalette::WindowText);
        color.setAlphaF(opacity);
        return color;
    }

    QSize sizeHint() const override { return {1, 1}; }

protected:
    void paintEvent(QPaintEvent *) override
    {
        const int around = lineWidth() - 1; // of a border that can be drawn wider
        QPainter(this).fillRect(rect().adjusted(around, around, -around, -around), color(palette()));
    }
};
