// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "HostQuirks.h"
#include "Menu.h"

#include <QByteArray>
#include <QVariantMap>

#include <functional>

/// The properties that com.canonical.dbusmenu gives an entry, as far as they differ from its defaults.
namespace EntryProperties {

/// Gives the picture of a symbol as PNG; empty where it cannot be drawn.
using ImageEncoder = std::function<QByteArray(const Symbol &)>;

QVariantMap of(const MenuItem &item, const HostQuirks &quirks, const ImageEncoder &png);

/// What holds for a property that an entry does not list; invalid for a name that does not exist.
QVariant defaultValue(const QString &name);

/// Those of the properties that are asked for; all of them for an empty list of names.
QVariantMap selected(const QVariantMap &properties, const QStringList &names);

} // namespace EntryProperties
