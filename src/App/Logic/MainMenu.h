// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QString>

/// The program's main menu as data: every window shows it as its menu bar.
namespace MainMenu {

enum class Action {
    None, ///< a separator
    About,
    Settings,
    Hide,
    Quit,
    Undo,
    Redo,
    Cut,
    Copy,
    Paste,
    SelectAll,
    TunnelLogs,
    Minimize,
    Close,
};

struct Item
{
    Action action = Action::None;
    QString title;
    QString key; ///< portable text of the key sequence; empty for none
};

struct Submenu
{
    QString title;
    QList<Item> items;
    bool listsWindows = false; ///< the open windows follow its own entries
};

QList<Submenu> make();

/// Returns whether the command acts on the text that has the keyboard.
constexpr bool isEditing(Action action)
{
    return action >= Action::Undo && action <= Action::SelectAll;
}

} // namespace MainMenu
