// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "LoginItem.h"

/// The login item as a desktop file in the user's autostart folder (Desktop Application Autostart, Desktop
/// Entry standard).
///
/// The entry belongs to this program: registering writes it anew, which also switches it on again. A
/// symbolic link in its place (to the installed desktop file, say) is replaced or removed; what it leads to
/// is left alone.
class AutostartLoginItem final : public LoginItem
{
public:
    /// `program` is the absolute path of the program to start.
    AutostartLoginItem(const QString &folder, QString program);

    /// Returns `$XDG_CONFIG_HOME/autostart`, in `~/.config` by default.
    static QString defaultFolder();

    /// Reads the entry. A file that is no desktop entry starts nothing and counts as not registered.
    LoginItemStatus status() const override;
    void registerItem() override;
    void unregisterItem() override;

private:
    QByteArray entry() const;

    QString m_path;
    QString m_program;
};
