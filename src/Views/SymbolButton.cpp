// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SymbolButton.h"

#include "SymbolDrawing.h"

#include <QEvent>

SymbolButton::SymbolButton(QWidget *parent)
    : QToolButton(parent)
{
    setAutoRaise(true);
    setToolButtonStyle(Qt::ToolButtonIconOnly);
    setFocusPolicy(Qt::StrongFocus);
}

void SymbolButton::setSymbol(const QString &symbolName)
{
    m_symbolName = symbolName;
    setIcon(SymbolDrawing::icon(symbolName, palette().color(QPalette::Active, QPalette::ButtonText)));
}

void SymbolButton::setTitle(const QString &title)
{
    setToolTip(title);
    setAccessibleName(title);
}

void SymbolButton::changeEvent(QEvent *event)
{
    QToolButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        setSymbol(m_symbolName);
}
