// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Menu.h"

#include <QString>
#include <QStringList>

struct HostQuirks;

/// The texts of a menu entry as a panel shows them. They may hold anything that a user or a child process
/// wrote.
namespace EntryText {

/// Returns title and detail in two lines or one, indented by four blanks a level and shortened where they
/// are very long, without any markup.
QString lines(const MenuItem &item, const HostQuirks &quirks);
/// Returns the `label` of com.canonical.dbusmenu, in which an underscore would mark a mnemonic.
QString label(const MenuItem &item, const HostQuirks &quirks);
/// Returns the key for com.canonical.dbusmenu, such as {"Control", "comma"}; empty for no key. Of the
/// characters that have a name only the comma is in use.
QStringList shortcut(const MenuItem &item, const HostQuirks &quirks);
/// Returns whether an entry needs an empty picture to begin where its indentation says: further in than the
/// title above it, which stands behind a picture.
bool needsEmptyPicture(const MenuItem &item, const HostQuirks &quirks);
/// Returns the text for a screen reader: the title and the meaning of its image. Empty where the label alone
/// says it.
QString accessibleDescription(const MenuItem &item);

} // namespace EntryText
