// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "UrlOpener.h"

/// Opens addresses with the program that the user's desktop has for them, as `xdg-open` does.
class DesktopUrlOpener : public UrlOpener
{
public:
    void open(const QUrl &url) override;
};
