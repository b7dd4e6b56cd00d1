// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>

class QWidget;

/// Lets the user choose one existing file, starting in `folder`; empty when the user chose none. Returns when
/// the user is done.
using FileChooser = std::function<QString(QWidget *parent, const QString &folder)>;

/// With the desktop's own dialog.
QString chooseFile(QWidget *parent, const QString &folder);

/// `folder`, or the nearest folder above it that exists.
QString nearestExistingFolder(const QString &folder);
