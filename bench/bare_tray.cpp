// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// The least that Qt needs to show an item in the panel, to compare with.

#include <QApplication>
#include <QIcon>
#include <QPixmap>
#include <QSystemTrayIcon>

int main(int argc, char **argv)
{
    const QApplication app(argc, argv);
    QPixmap pixmap(22, 22);
    pixmap.fill(Qt::green);
    QSystemTrayIcon icon{QIcon(pixmap)};
    icon.show();
    return QApplication::exec();
}
