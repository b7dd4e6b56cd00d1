// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QFont>
#include <QProxyStyle>
#include <QString>
#include <QStyleOptionMenuItem>

/// Draws menu entries whose text has two lines, the second smaller and dimmed, in the desktop's own style.
class PopupMenuStyle : public QProxyStyle
{
    Q_OBJECT

public:
    void drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                     const QWidget *widget) const override;
    QSize sizeFromContents(ContentsType type, const QStyleOption *option, const QSize &size,
                           const QWidget *widget) const override;

private:
    void drawEntry(const QStyleOptionMenuItem &option, QPainter *painter, const QWidget *widget) const;
};
