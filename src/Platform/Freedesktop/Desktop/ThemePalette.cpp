// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ThemePalette.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPalette>

ThemePalette::ThemePalette(QObject *parent)
    : QObject(parent)
{
    complete();
    qGuiApp->installEventFilter(this);
}

bool ThemePalette::hasDimmedText(const QPalette &palette)
{
    const QColor dimmed = palette.color(QPalette::PlaceholderText);
    const auto base = float(qGray(palette.color(QPalette::Base).rgb()));
    const auto text = float(qGray(palette.color(QPalette::Text).rgb()));
    const float shown = base + (float(qGray(dimmed.rgb())) - base) * dimmed.alphaF();
    constexpr float weakest = 0.3F;
    constexpr float strongest = 0.9F;
    const float share = text == base ? 0 : (shown - base) / (text - base);
    return share >= weakest && share <= strongest;
}

bool ThemePalette::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange)
        complete();
    return QObject::eventFilter(watched, event);
}

/// Only this colour is set: the others go on to follow the desktop.
void ThemePalette::complete()
{
    QPalette palette = QGuiApplication::palette();
    if (hasDimmedText(palette) || palette.color(QPalette::Text) == palette.color(QPalette::Base))
        return;
    constexpr float dimmed = 0.5F;
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QColor color = palette.color(group, QPalette::Text);
        color.setAlphaF(dimmed);
        palette.setColor(group, QPalette::PlaceholderText, color);
    }
    QGuiApplication::setPalette(palette);
}
