// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "FileAccess.h"

/// stat(2) and access(2).
class PosixFileAccess : public FileAccess
{
public:
    bool isExecutableFile(const QString &path) const override;
};
