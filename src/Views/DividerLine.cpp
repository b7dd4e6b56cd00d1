// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DividerLine.h"

#include <QPainter>

namespace {

constexpr float lineOpacity = 0.15F;

} // namespace

DividerLine::DividerLine(QWidget *parent)
    : QWidget(parent)
{
    setFixedWidth(1);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
}

QColor DividerLine::color(const QPalette &palette)
{
    QColor color = palette.color(QPalette::WindowText);
    color.setAlphaF(lineOpacity);
    return color;
}

void DividerLine::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), color(palette()));
}
