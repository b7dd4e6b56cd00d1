// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "StatusPicture.h"

#include <QString>

/// The icon theme folder that the program brings along for its panel item: the freedesktop.org "hicolor"
/// theme and, for readers of loose files, the same files beside it.
///
/// A panel keeps what it read under a name, and looks for new names late or never. So a name always means the
/// same picture; the pictures that panels look up by name are there from the start, and those with a count
/// are handed over as files.
class IconFolder
{
public:
    /// @param runtimeFolder where files live as long as the session; the icons go to "morvanel/icons" there
    explicit IconFolder(const QString &runtimeFolder);

    /// For `IconThemePath`; empty if the icons could not be written.
    QString themePath() const { return m_isUsable ? m_path : QString(); }
    /// For `IconName`: a name within the theme or a file. Empty for no picture and where files cannot be
    /// written.
    /// What has gone from the folder is written again first.
    QString iconName(const StatusPicture &picture) const;

private:
    bool write(const StatusPicture &picture) const;

    QString m_path;
    bool m_isUsable = false;
};
