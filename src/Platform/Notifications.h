// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>
#include <QUuid>

#include <functional>

/// The desktop's notifications, at most one for each tag. Nothing waits for the desktop, and where it shows
/// none, nothing happens.
class Notifications
{
public:
    virtual ~Notifications() = default;

    /// Shows plain texts, in place of the tag's earlier notification.
    virtual void show(const QUuid &tag, const QString &title, const QString &body) = 0;
    /// Does nothing where the tag has none.
    virtual void withdraw(const QUuid &tag) = 0;
    /// Has `activated` called on the main thread when the user clicks a notification.
    virtual void setActivated(std::function<void(const QUuid &tag)> activated) = 0;
};
