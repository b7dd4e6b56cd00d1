// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Draws an SVG file into square PNG files: RenderIcon FILE.svg SIZE FILE.png [SIZE FILE.png]...
// Writes the icons of the panel's item: RenderIcon --panel FOLDER
// Part of the build; 1 is returned when a file cannot be read or written.

#include "PanelIcon.h"
#include "StatusIcon.h"

#include <QCoreApplication>
#include <QImage>
#include <QPainter>
#include <QStringList>
#include <QSvgRenderer>

#include <algorithm>

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == u"--panel") {
        const QList<Symbol> icons = StatusIcon::images();
        return std::any_of(icons.cbegin(), icons.cend(), [&arguments](const Symbol &icon) {
            return PanelIcon(icon).writeTheme(arguments.value(2)).isEmpty();
        });
    }
    QSvgRenderer drawing(arguments.value(1));
    if (!drawing.isValid())
        return 1;
    for (int i = 2; i + 1 < arguments.size(); i += 2) {
        const int size = arguments.at(i).toInt();
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        drawing.render(&painter);
        painter.end();
        if (!image.save(arguments.at(i + 1), "PNG"))
            return 1;
    }
    return 0;
}
