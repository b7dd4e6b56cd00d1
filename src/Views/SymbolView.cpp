// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SymbolView.h"

#include "SymbolDrawing.h"

#include <QEvent>
#include <QPainter>

SymbolView::SymbolView(int side, QWidget *parent)
    : QWidget(parent)
{
    setSide(side);
}

void SymbolView::setSymbol(const QString &symbolName, ColorRole color)
{
    m_symbolName = symbolName;
    m_color = color;
    m_icon = SymbolDrawing::icon(symbolName, SymbolDrawing::color(color, palette()));
    update();
}

void SymbolView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        setSymbol(m_symbolName, m_color);
}

void SymbolView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    m_icon.paint(&painter, rect());
}
