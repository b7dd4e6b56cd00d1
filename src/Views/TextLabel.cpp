// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TextLabel.h"

#include "SymbolDrawing.h"

#include <QEvent>

TextLabel::TextLabel(FontRole font, ColorRole color, QWidget *parent)
    : QLabel(parent)
    , m_colorRole(color)
{
    setTextFormat(Qt::PlainText);
    applyFontRole(this, font);
    setColorRole(color);
}

void TextLabel::setWraps(bool wraps)
{
    setWordWrap(wraps);
    QSizePolicy policy(wraps ? QSizePolicy::Ignored : QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(wraps);
    setSizePolicy(policy);
}

void TextLabel::setColorRole(ColorRole color)
{
    m_colorRole = color;
    setForegroundRole(color == ColorRole::TertiaryLabel ? QPalette::PlaceholderText : QPalette::WindowText);
    applyColor();
}

void TextLabel::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        applyColor();
}

/// A palette that is set announces a change, which leads here again: only what differs is set.
void TextLabel::applyColor()
{
    const bool isNamed = m_colorRole != ColorRole::None && m_colorRole != ColorRole::TertiaryLabel;
    const QColor color = SymbolDrawing::color(m_colorRole, palette());
    if (isNamed && palette().color(QPalette::WindowText) != color) {
        QPalette own;
        own.setColor(QPalette::WindowText, color);
        setPalette(own);
    } else if (!isNamed && testAttribute(Qt::WA_SetPalette)) {
        setPalette({});
    }
}
