// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TextLabel.h"

#include "SymbolDrawing.h"

#include <QEvent>

namespace {

constexpr int preferredLineLength = 40;
constexpr qsizetype mostMeasured = 64;

} // namespace

TextLabel::TextLabel(FontRole font, ColorRole color, QWidget *parent)
    : QLabel(parent)
    , m_colorRole(color)
{
    setTextFormat(Qt::PlainText);
    applyFontRole(this, font);
    setColorRole(color);
}

void TextLabel::setWraps()
{
    setWordWrap(true);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void TextLabel::setColorRole(ColorRole color)
{
    m_colorRole = color;
    setForegroundRole(color == ColorRole::SecondaryLabel ? QPalette::PlaceholderText : QPalette::WindowText);
    applyColor();
}

/// A text that wraps takes any width and says what height that needs.
QSize TextLabel::sizeHint() const
{
    if (!wordWrap())
        return QLabel::sizeHint();
    const int width = fontMetrics().averageCharWidth() * preferredLineLength;
    return {width, heightForWidth(width)};
}

QSize TextLabel::minimumSizeHint() const
{
    return wordWrap() ? QSize(0, fontMetrics().height()) : QLabel::minimumSizeHint();
}

int TextLabel::heightForWidth(int width) const
{
    if (!wordWrap())
        return QLabel::heightForWidth(width);
    if (m_measured.text != text() || m_measured.font != font() || m_measured.heights.size() == mostMeasured)
        m_measured = {text(), font(), {}};
    const auto known = m_measured.heights.constFind(width);
    if (known != m_measured.heights.constEnd())
        return *known;
    return *m_measured.heights.insert(width, QLabel::heightForWidth(width));
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
    const bool isNamed = m_colorRole != ColorRole::None && m_colorRole != ColorRole::SecondaryLabel;
    const QColor color = SymbolDrawing::color(m_colorRole, palette());
    if (isNamed && palette().color(QPalette::WindowText) != color) {
        QPalette own;
        own.setColor(QPalette::WindowText, color);
        setPalette(own);
    } else if (!isNamed && testAttribute(Qt::WA_SetPalette)) {
        setPalette({});
    }
}
