// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>
#include <QUuid>

#include <functional>
#include <vector>

/// A notification: plain texts, the body of one line or more, and what a click does, called on the main
/// thread.
struct Notification
{
    struct Button
    {
        QString key; ///< the button's name for the desktop, which is not shown
        QString label;
        std::function<void()> pressed;
    };

    QString title;
    QString body;
    std::function<void()> clicked = {}; ///< on the notification itself, once or more
    std::vector<Button> buttons = {};
    /// Says what a click opens, for desktops that draw a button for it.
    QString clickLabel = QStringLiteral("Settings…");

    /// Returns whether both read the same.
    bool looksLike(const Notification &other) const { return title == other.title && body == other.body; }
};

/// The desktop's notifications, at most one for each tag. Nothing waits for the desktop, and where it shows
/// none, nothing happens.
class Notifications
{
public:
    virtual ~Notifications() = default;

    /// Shows a notification, in place of the tag's earlier one.
    virtual void show(const QUuid &tag, const Notification &notification) = 0;
    /// Changes the tag's notification where it is still on show; one that the user has closed stays closed.
    virtual void update(const QUuid &tag, const Notification &notification) = 0;
    /// Does nothing where the tag has none.
    virtual void withdraw(const QUuid &tag) = 0;
};
