// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "PopupMenu.h"
#include "StatusItem.h"

#include <QObject>
#include <QSystemTrayIcon>

/// The item in a panel that knows the old XEmbed tray alone.
///
/// Qt decides once per process, when its tray is first used, which kind of panel it speaks to. So nobody may
/// make one of these before it is known that no panel for StatusNotifierItem is there.
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    /// Shows itself, with the menu, which must live longer, for both mouse buttons.
    explicit TrayIcon(PopupMenu &menu, QObject *parent = nullptr);

    void setContent(const StatusItemContent &content);

Q_SIGNALS:
    void activated(); ///< the user clicked with the left button

private:
    QSystemTrayIcon m_icon;
};
