// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Draws an SVG file into square PNG files: RenderIcon FILE.svg SIZE FILE.png [SIZE FILE.png]...
// Part of the build; 1 is returned when a file cannot be read or written.

#include <QCoreApplication>
#include <QImage>
#include <QPainter>
#include <QStringList>
#include <QSvgRenderer>

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
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
