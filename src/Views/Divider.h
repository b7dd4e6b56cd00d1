// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QApplication>
#include <QFrame>
#include <QPainter>
#include <QVBoxLayout>

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

/// The line around a widget that has none, stronger and in the colour of the selection while that has the
/// keyboard. A list's own frame loses its right side where a pixel of the layout is no whole number of the
/// screen's (Fusion of Qt 6.4 at 150 %).
class FocusBorder : public Divider
{
public:
    FocusBorder(QWidget *inside, QWidget *parent)
        : Divider(QFrame::Box, parent)
        , m_inside(inside)
    {
        constexpr int width = 2;
        setLineWidth(width);
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0); // inside the line
        layout->addWidget(inside);
        connect(qApp, &QApplication::focusChanged, this, [this] { update(); });
    }

protected:
    void paintEvent(QPaintEvent *event) override
    {
        if (m_inside->hasFocus())
            QPainter(this).fillRect(rect(), palette().color(QPalette::Highlight));
        else
            Divider::paintEvent(event);
    }

private:
    QWidget *m_inside;
};
