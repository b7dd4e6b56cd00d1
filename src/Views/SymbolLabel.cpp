// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SymbolLabel.h"

#include "SymbolView.h"
#include "TextLabel.h"

#include <QEvent>
#include <QHBoxLayout>

namespace {

constexpr int symbolSpacing = 6;

} // namespace

SymbolLabel::SymbolLabel(QWidget *parent)
    : QWidget(parent)
    , m_symbol(new SymbolView(0, this))
    , m_text(new TextLabel(FontRole::Caption, ColorRole::None, this))
{
    m_text->setWraps();
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(symbolSpacing);
    row->addWidget(m_symbol, 0, Qt::AlignTop);
    row->addWidget(m_text, 1);
    applyFontRole(this, FontRole::Caption);
    fitSymbol();
}

void SymbolLabel::setContent(const QString &symbolName, const QString &text, ColorRole color)
{
    m_symbol->setSymbol(symbolName, color);
    m_text->setColorRole(color);
    m_text->setText(text);
}

void SymbolLabel::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        fitSymbol();
}

/// As high as a line of the text.
void SymbolLabel::fitSymbol()
{
    m_symbol->setSide(fontMetrics().height());
}
