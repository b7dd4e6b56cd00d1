// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Symbol.h"

#include <QByteArray>
#include <QHash>
#include <QString>

/// The pictures of menu entries as PNG for panels that draw the menu themselves, on a ground of their own.
/// Each is drawn once; there are as many as symbols and colours.
class DotImages
{
public:
    /// A square as wide as menu icons are; empty for a symbol that does not exist.
    QByteArray png(const Symbol &image);

private:
    QHash<QString, QByteArray> m_drawn;
};
