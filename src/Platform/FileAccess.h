// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// Questions to the file system.
class FileAccess
{
public:
    virtual ~FileAccess() = default;

    /// Whether `path`, taken as it stands, names a regular file that the user may execute. Symbolic links are
    /// followed.
    virtual bool isExecutableFile(const QString &path) const = 0;
};
