// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Symbol.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>
#include <variant>

/// The effect of choosing a menu entry.
enum class MenuAction { None, ToggleTunnel, OpenURL, StartAll, StopAll, OpenLogs, OpenSettings, Quit };

/// Longest name or address in a menu, in user-perceived characters: a screen could not hold more.
constexpr int longestMenuName = 200;

/// One entry of a menu, as a value: built by whoever decides, compared and drawn by whoever shows it.
struct MenuItem
{
    /// Unique within its menu, and the same while the entry's texts and picture change.
    QString id;
    bool isSeparator = false;
    QString title;
    QString detail; ///< second line, smaller and dimmed; may be empty
    QString toolTip;
    QString shortcut; ///< one character, pressed together with Ctrl; empty for none
    bool isEnabled = true;
    int indentation = 0;
    std::optional<Symbol> image;
    MenuAction action = MenuAction::None;
    /// Object of the action: a tunnel's id or an address.
    std::variant<std::monostate, QUuid, QUrl> data;

    bool operator==(const MenuItem &) const = default;
};

using Menu = QList<MenuItem>;
