// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Menu.h"

#include <QString>

#include <functional>
#include <optional>

/// Contents of the item in the panel besides its menus.
struct StatusItemContent
{
    std::optional<Symbol> image;
    QString title; ///< short text beside the image, such as " 2"; empty for none
    QString toolTip;
    QString badge; ///< for the launcher's icon; empty for none

    bool operator==(const StatusItemContent &) const = default;
};

/// The program's item in the panel. It is there whenever a panel is, and never waits for one.
///
/// Setting what is already shown sends nothing. The callbacks are called on the main thread.
class StatusItem
{
public:
    struct Callbacks
    {
        std::function<void()> menuAboutToShow; ///< a menu set in this call is what the user sees
        /// The entry as it was drawn when the user chose it.
        std::function<void(const MenuItem &)> itemChosen;
    };

    virtual ~StatusItem() = default;

    virtual void setCallbacks(Callbacks callbacks) = 0;
    virtual void setContent(const StatusItemContent &content) = 0;
    virtual void setMenu(const Menu &menu) = 0;
    /// Sets the menu of the program's icon in the launcher or task bar.
    virtual void setDockMenu(const Menu &menu) = 0;
};
