// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelPicker.h"

#include "Text.h"

#include <QHelpEvent>
#include <QStyleOption>
#include <QStylePainter>
#include <QToolTip>

#include <algorithm>
#include <utility>

TunnelPicker::TunnelPicker(QWidget *parent)
    : QComboBox(parent)
{
    setSizeAdjustPolicy(AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(1);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void TunnelPicker::setTunnels(const QList<TunnelConfig> &tunnels)
{
    const bool isSame = std::equal(tunnels.begin(), tunnels.end(), m_tunnels.begin(), m_tunnels.end(),
                                   [](const TunnelConfig &one, const TunnelConfig &other) {
                                       return one.id == other.id && one.name == other.name;
                                   });
    if (isSame)
        return;
    m_tunnels = tunnels;
    fill();
    setCurrentIndex(-1);
}

void TunnelPicker::fill()
{
    constexpr int widest = 560; // of the list
    const int chosen = currentIndex();
    clear();
    for (const TunnelConfig &tunnel : std::as_const(m_tunnels)) {
        const QString name = Text::oneLine(tunnel.name);
        const QString cut = fontMetrics().elidedText(name, Qt::ElideRight, widest);
        addItem(cut, tunnel.id);
        setItemData(count() - 1, name, Qt::AccessibleTextRole);
        setItemData(count() - 1, cut == name ? QVariant() : Text::toolTip(name), Qt::ToolTipRole);
    }
    setCurrentIndex(chosen);
}

void TunnelPicker::changeEvent(QEvent *event)
{
    QComboBox::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        fill();
}

bool TunnelPicker::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return QComboBox::event(event);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    const bool isCut = fieldText(option) != wholeText();
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       isCut ? Text::toolTip(wholeText()) : QString(), this);
    return true;
}

void TunnelPicker::paintEvent(QPaintEvent *)
{
    QStylePainter painter(this);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    painter.setPen(palette().color(QPalette::Text));
    painter.drawComplexControl(QStyle::CC_ComboBox, option);
    option.currentText = fieldText(option);
    painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

QString TunnelPicker::fieldText(const QStyleOptionComboBox &option) const
{
    constexpr int margin = 8; // what styles leave free around the text
    const QRect field =
        style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
    return fontMetrics().elidedText(option.currentText, Qt::ElideRight, field.width() - margin);
}
