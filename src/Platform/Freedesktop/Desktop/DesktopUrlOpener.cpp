// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DesktopUrlOpener.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QTimer>

/// On a later turn of the event loop, so that a menu that was just clicked closes first.
void DesktopUrlOpener::open(const QUrl &url)
{
    QTimer::singleShot(0, qApp, [url] { QDesktopServices::openUrl(url); });
}
