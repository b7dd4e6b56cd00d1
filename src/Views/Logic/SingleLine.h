// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// The text with a blank for each control character and line separator, for places that have one line.
QString singleLine(QString text);
