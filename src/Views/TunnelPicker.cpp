// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelPicker.h"

#include "ShownText.h"

#include <QHelpEvent>
#include <QStyleOption>
#include <QStylePainter>
#include <QToolTip>

TunnelPicker::TunnelPicker(QWidget *parent)
    : QComboBox(parent)
{
    setSizeAdjustPolicy(AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(1);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

bool TunnelPicker::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return QComboBox::event(event);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    const bool isCut = shownText(option) != option.currentText;
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       isCut ? toolTipText(option.currentText) : QString(), this);
    return true;
}

void TunnelPicker::paintEvent(QPaintEvent *)
{
    QStylePainter painter(this);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    painter.setPen(palette().color(QPalette::Text));
    painter.drawComplexControl(QStyle::CC_ComboBox, option);
    option.currentText = shownText(option);
    painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

QString TunnelPicker::shownText(const QStyleOptionComboBox &option) const
{
    constexpr int margin = 8; // what styles leave free around the text
    const QRect field =
        style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
    return fontMetrics().elidedText(option.currentText, Qt::ElideRight, field.width() - margin);
}
