// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FadingLabel.h"

#include <QPainter>
#include <QStyle>
#include <QVariantAnimation>

FadingLabel::FadingLabel(FontRole font, ColorRole color, QWidget *parent)
    : TextLabel(font, color, parent)
    , m_fade(new QVariantAnimation(this))
{
    hide();
    m_fade->setStartValue(0.0);
    m_fade->setEndValue(1.0);
    connect(m_fade, &QVariantAnimation::valueChanged, this, qOverload<>(&QWidget::update));
    connect(m_fade, &QVariantAnimation::finished, this, [this] { setVisible(m_isIn); });
}

void FadingLabel::setIn(bool isIn)
{
    if (isIn == m_isIn)
        return;
    m_isIn = isIn;
    if (isIn)
        show();
    m_fade->setDuration(style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this));
    m_fade->setDirection(isIn ? QAbstractAnimation::Forward : QAbstractAnimation::Backward);
    if (m_fade->state() == QAbstractAnimation::Stopped)
        m_fade->start();
}

void FadingLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setOpacity(m_fade->currentValue().toReal());
    style()->drawItemText(&painter, contentsRect(), int(alignment()), palette(), isEnabled(), text(),
                          foregroundRole());
}
