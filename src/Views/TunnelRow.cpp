// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TunnelRow.h"

#include "SymbolDrawing.h"
#include "Text.h"
#include "TextLabel.h"
#include "TunnelListModel.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

namespace {

constexpr int usualDotSide = 8;
constexpr int dotRim = 2;
constexpr int partSpacing = 8;
constexpr int tunnelLineSpacing = 1;
constexpr int tunnelPadding = 2;
constexpr int tunnelMargin = 6;
constexpr float stoppedOpacity = 0.4F;

QColor withOpacity(QColor color, float opacity)
{
    color.setAlphaF(color.alphaF() * opacity);
    return color;
}

void drawLine(QPainter *painter, const QRect &rect, const QFont &font, const QColor &color,
              const QString &text)
{
    painter->setFont(font);
    painter->setPen(color);
    const Qt::Alignment side = QStyle::visualAlignment(painter->layoutDirection(), Qt::AlignLeading);
    painter->drawText(rect, int(side | Qt::AlignVCenter) | Qt::TextSingleLine,
                      QFontMetrics(font).elidedText(Text::oneLine(text), Qt::ElideRight, rect.width()));
}

/// Returns the shade on the ground of lists, a faint one for a stopped tunnel.
QColor dotColor(const TunnelState &state, const QPalette &palette)
{
    if (state.colorRole() == ColorRole::TertiaryLabel)
        return withOpacity(palette.color(QPalette::PlaceholderText), stoppedOpacity);
    return SymbolDrawing::color(state.colorRole(), palette, QPalette::Base);
}

/// Returns the colour behind a selected row: the palette's, moved away from the text until that can be read
/// in small letters too.
QColor selectedGround(const QPalette &palette)
{
    constexpr double readableContrast = 4.5;
    constexpr int steps = 40;
    const QColor text = palette.color(QPalette::HighlightedText);
    const bool isLight = SymbolDrawing::contrast(text, Qt::black) > SymbolDrawing::contrast(text, Qt::white);
    QColor ground = palette.color(QPalette::Highlight);
    for (int step = 0; step < steps && SymbolDrawing::contrast(text, ground) < readableContrast; ++step)
        ground = isLight ? ground.darker(105) : ground.lighter(105);
    return ground;
}

} // namespace

TunnelRow::Parts TunnelRow::partsOf(const QStyleOptionViewItem &option, const QModelIndex &index)
{
    Parts parts{{}, {}, {}, fontFor(FontRole::Caption, option.font), 0};
    const bool hasHostname = !index.data(TunnelListModel::HostnameRole).toString().isEmpty();
    const int dotSide = grownWith(option.font, usualDotSide);
    const int nameHeight = QFontMetrics(option.font).height();
    const int hostnameHeight = QFontMetrics(parts.captionFont).height();
    parts.height = nameHeight + (hasHostname ? tunnelLineSpacing + hostnameHeight : 0);
    const QRect inner = option.rect.adjusted(tunnelMargin, 0, -tunnelMargin, 0);
    const int top = inner.top() + (inner.height() - parts.height) / 2;
    const int left = inner.left() + dotSide + partSpacing;
    const int width = qMax(0, inner.right() + 1 - left);
    const auto placed = [&option](const QRect &rect) {
        return QStyle::visualRect(option.direction, option.rect, rect);
    };
    parts.dot = placed({inner.left(), inner.top() + (inner.height() - dotSide) / 2, dotSide, dotSide});
    parts.name = placed({left, top, width, nameHeight});
    if (hasHostname)
        parts.hostname = placed({left, top + nameHeight + tunnelLineSpacing, width, hostnameHeight});
    return parts;
}

QSize TunnelRow::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem shown = option;
    initStyleOption(&shown, index);
    return {0, partsOf(shown, index).height + 2 * tunnelPadding};
}

void TunnelRow::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem shown = option;
    initStyleOption(&shown, index);
    shown.text.clear();
    shown.palette.setColor(QPalette::Highlight, selectedGround(shown.palette));
    const QStyle *style = shown.widget->style();
    style->drawControl(QStyle::CE_ItemViewItem, &shown, painter, shown.widget); // ground and focus frame

    const bool isSelected = shown.state.testFlag(QStyle::State_Selected);
    const QColor text = shown.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text);
    const QColor secondary = SymbolDrawing::color(ColorRole::SecondaryLabel, shown.palette,
                                                  isSelected ? QPalette::Highlight : QPalette::Base);
    const Parts parts = partsOf(shown, index);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    if (isSelected) { // the dot's colour is one for the list's own ground
        painter->setBrush(shown.palette.brush(QPalette::Base));
        painter->drawEllipse(parts.dot.adjusted(-dotRim, -dotRim, dotRim, dotRim));
    }
    painter->setBrush(dotColor(index.data(TunnelListModel::StateRole).value<TunnelState>(), shown.palette));
    painter->drawEllipse(parts.dot);
    drawLine(painter, parts.name, shown.font, text, index.data(Qt::DisplayRole).toString());
    if (!parts.hostname.isEmpty())
        drawLine(painter, parts.hostname, parts.captionFont, secondary,
                 index.data(TunnelListModel::HostnameRole).toString());
    painter->restore();
}

bool TunnelRow::helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                          const QModelIndex &index)
{
    if (event->type() != QEvent::ToolTip || !index.isValid())
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    QStyleOptionViewItem shown = option;
    initStyleOption(&shown, index);
    const Parts parts = partsOf(shown, index);
    const QString name = Text::oneLine(index.data(Qt::DisplayRole).toString());
    const QString hostname = Text::oneLine(index.data(TunnelListModel::HostnameRole).toString());
    const bool isCut = QFontMetrics(shown.font).horizontalAdvance(name) > parts.name.width() ||
                       QFontMetrics(parts.captionFont).horizontalAdvance(hostname) > parts.name.width();
    QToolTip::showText(event->globalPos(),
                       (isCut ? Text::toolTip(name) + Text::toolTip(hostname) : QString()) +
                           Text::toolTip(index.data(Qt::ToolTipRole).toString()),
                       view, view->visualRect(index));
    return true;
}

#include "moc_TunnelRow.cpp"
