// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DotImages.h"

#include "SymbolDrawing.h"

#include <QBuffer>
#include <QImage>

using namespace Qt::StringLiterals;

namespace {

/// What panels draw menu icons at; a dot fills the middle of it.
constexpr int side = 16;

QByteArray draw(const Symbol &symbol)
{
    const QImage square =
        SymbolDrawing::image(symbol.symbolName, side, SymbolDrawing::colorOnAnyGround(symbol.color));
    if (square.isNull())
        return {};
    QByteArray png;
    QBuffer buffer(&png);
    return buffer.open(QIODevice::WriteOnly) && square.save(&buffer, "PNG") ? png : QByteArray();
}

} // namespace

QByteArray DotImages::png(const Symbol &image)
{
    const QString key = u"%1 %2"_s.arg(image.symbolName).arg(int(image.color));
    const auto found = m_drawn.constFind(key);
    return found != m_drawn.cend() ? *found : *m_drawn.insert(key, draw(image));
}
