// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TrayIcon.h"

#include "StatusPicture.h"

#include <QGuiApplication>
#include <QIcon>
#include <QPalette>
#include <QPixmap>

TrayIcon::TrayIcon(PopupMenu &menu, QObject *parent)
    : QObject(parent)
{
    m_icon.setContextMenu(&menu);
    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            Q_EMIT activated();
    });
}

void TrayIcon::setContent(const StatusItemContent &content)
{
    const StatusPicture picture = StatusPicture::of(content);
    QIcon icon;
    if (!picture.isNull()) {
        const QColor textColor = QGuiApplication::palette().color(QPalette::WindowText);
        for (const int side : {16, 22, 24, 32, 48, 64})
            icon.addPixmap(QPixmap::fromImage(picture.image(side, textColor)));
    }
    m_icon.setIcon(icon);
    m_icon.setToolTip(content.toolTip);
    m_icon.setVisible(!icon.isNull());
}
