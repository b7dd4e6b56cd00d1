// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SymbolLabel.h"

#include "SymbolDrawing.h"
#include "TextLabel.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QPainter>

namespace {

constexpr int symbolSpacing = 6;

} // namespace

SymbolView::SymbolView(int side, QWidget *parent)
    : QWidget(parent)
    , m_side(side)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void SymbolView::setSymbol(const QString &symbolName, ColorRole color)
{
    m_symbolName = symbolName;
    m_color = color;
    update();
}

QSize SymbolView::sizeHint() const
{
    const int side = m_side ? grownWith(font(), m_side) : fontMetrics().height();
    return {side, side};
}

void SymbolView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    SymbolDrawing::icon(m_symbolName, SymbolDrawing::color(m_color, palette())).paint(&painter, rect());
}

SymbolLabel::SymbolLabel(QWidget *parent)
    : QWidget(parent)
    , m_symbol(new SymbolView)
    , m_text(new TextLabel(FontRole::Caption))
{
    applyFontRole(m_symbol, FontRole::Caption);
    m_text->setWraps();
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(symbolSpacing);
    row->addWidget(m_symbol, 0, Qt::AlignTop);
    row->addWidget(m_text, 1);
}

void SymbolLabel::setContent(const QString &symbolName, const QString &text, ColorRole color)
{
    m_symbol->setSymbol(symbolName, color);
    m_text->setColorRole(color);
    m_text->setText(text);
}

SymbolButton::SymbolButton(int symbolSide, QSize size, QWidget *parent)
    : QToolButton(parent)
    , m_symbolSide(symbolSide)
    , m_size(size)
{
    setAutoRaise(true);
    setToolButtonStyle(Qt::ToolButtonIconOnly);
    setFocusPolicy(Qt::StrongFocus);
    applyFont();
}

void SymbolButton::setContent(const QString &symbolName, const QString &title)
{
    m_symbolName = symbolName;
    drawIcon();
    setToolTip(title);
    setAccessibleName(title);
}

void SymbolButton::changeEvent(QEvent *event)
{
    QToolButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        drawIcon();
    else if (event->type() == QEvent::FontChange)
        applyFont();
}

void SymbolButton::applyFont()
{
    const int side = grownWith(font(), m_symbolSide);
    setIconSize({side, side});
    if (!m_size.isEmpty())
        setFixedSize(grownWith(font(), m_size.width()), grownWith(font(), m_size.height()));
}

void SymbolButton::drawIcon()
{
    setIcon(SymbolDrawing::icon(m_symbolName, palette().color(QPalette::Active, QPalette::ButtonText)));
}

#include "moc_SymbolLabel.cpp"
