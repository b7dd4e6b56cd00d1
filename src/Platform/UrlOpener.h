// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QUrl>

/// Hands an address to the user's default program for it.
class UrlOpener
{
public:
    virtual ~UrlOpener() = default;

    /// Does not wait, and does not tell whether it worked.
    virtual void open(const QUrl &url) = 0;
};
