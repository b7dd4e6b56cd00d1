// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArrayView>
#include <QString>

/// Text as it is: Qt's own conversion takes a leading U+FEFF for a mark of the encoding and drops it.
namespace Utf8 {

bool isValid(QByteArrayView bytes);
QString decode(QByteArrayView bytes);

} // namespace Utf8
