// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QStyledItemDelegate>

/// Draws one row of the list of tunnels: a dot in the colour of the tunnel's state, the name and below it the
/// host name, where there is one. Each text has one line; the tooltip shows what had no room, and the last
/// error of a tunnel that is trying to connect.
class TunnelRow : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;

private:
    struct Parts
    {
        QRect dot;
        QRect name;
        QRect hostname; ///< empty without a host name
        QFont captionFont;
        int height; ///< of the texts
    };
    static Parts partsOf(const QStyleOptionViewItem &option, const QModelIndex &index);
};
