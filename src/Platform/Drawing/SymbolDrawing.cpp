// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SymbolDrawing.h"

#include <QFile>
#include <QIconEngine>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr double readableContrast = 3;
constexpr qreal disabledOpacity = 0.4;

/// Draws one symbol as vectors, whatever the size and scale it is asked for.
class SymbolIconEngine : public QIconEngine
{
public:
    SymbolIconEngine(QString symbolName, const QByteArray &svg, qreal opacity)
        : m_symbolName(std::move(symbolName))
        , m_renderer(std::make_shared<QSvgRenderer>(svg))
        , m_opacity(opacity)
    {
    }

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State) override
    {
        const int side = qMin(rect.width(), rect.height());
        QRectF square(0, 0, side, side);
        square.moveCenter(QRectF(rect).center());
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setOpacity(painter->opacity() * m_opacity * (mode == QIcon::Disabled ? disabledOpacity : 1));
        m_renderer->render(painter, square);
        painter->restore();
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, pixmap.rect(), mode, state);
        return pixmap;
    }

    QString key() const override { return u"SymbolIconEngine"_s; }
    QString iconName() override { return m_symbolName; }
    QIconEngine *clone() const override { return new SymbolIconEngine(*this); }

private:
    QString m_symbolName;
    std::shared_ptr<QSvgRenderer> m_renderer; // shared by copies: it only reads
    qreal m_opacity;
};

/// Returns the relative luminance as WCAG 2 defines it, 0 to 1.
double luminance(const QColor &color)
{
    const auto linear = [](double channel) {
        return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

QColor mixed(const QColor &color, const QColor &other, float part)
{
    const auto channel = [part](float from, float to) { return from + (to - from) * part; };
    return QColor::fromRgbF(channel(color.redF(), other.redF()), channel(color.greenF(), other.greenF()),
                            channel(color.blueF(), other.blueF()));
}

bool isDark(const QColor &ground)
{
    return SymbolDrawing::contrast(Qt::white, ground) > SymbolDrawing::contrast(Qt::black, ground);
}

/// Returns the shade, moved towards black or white until it can be told from the ground.
QColor readable(const QColor &shade, const QColor &ground)
{
    const QColor limit = isDark(ground) ? Qt::white : Qt::black;
    constexpr int steps = 20;
    for (int step = 0; step < steps; ++step) {
        const QColor candidate = mixed(shade, limit, static_cast<float>(step) / steps);
        if (SymbolDrawing::contrast(candidate, ground) >= readableContrast)
            return candidate;
    }
    return limit;
}

} // namespace

namespace SymbolDrawing {

QByteArray svg(const QString &symbolName, const QColor &color)
{
    QFile file(u":/symbols/%1.svg"_s.arg(symbolName));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll().replace("currentColor", color.name(QColor::HexRgb).toLatin1());
}

QIcon icon(const QString &symbolName, const QColor &color)
{
    const QByteArray text = svg(symbolName, color);
    if (text.isEmpty())
        return {};
    return QIcon(new SymbolIconEngine(symbolName, text, color.alphaF()));
}

QImage image(const QString &symbolName, int pixels, const QColor &color)
{
    const QByteArray text = svg(symbolName, color);
    if (text.isEmpty())
        return {};
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    SymbolIconEngine(symbolName, text, color.alphaF())
        .paint(&painter, image.rect(), QIcon::Normal, QIcon::Off);
    return image;
}

QColor color(ColorRole role, const QPalette &palette)
{
    const QColor ground = palette.color(QPalette::Window);
    const QColor text = palette.color(QPalette::WindowText);
    const auto shade = [&ground](QRgb onLight, QRgb onDark) {
        return readable(isDark(ground) ? onDark : onLight, ground);
    };
    switch (role) {
    case ColorRole::Green:
        return shade(0x1f8a3b, 0x3fc46a);
    case ColorRole::Orange:
        return shade(0xb85c00, 0xf5a040);
    case ColorRole::Red:
        return shade(0xc9302c, 0xff7b72);
    case ColorRole::SecondaryLabel:
        return palette.color(QPalette::PlaceholderText);
    case ColorRole::TertiaryLabel:
        return mixed(text, ground, 0.5F);
    case ColorRole::None:
        break;
    }
    return text;
}

QColor colorOnAnyGround(ColorRole role)
{
    switch (role) {
    case ColorRole::Green:
        return QColor(0x23, 0x9a, 0x47);
    case ColorRole::Orange:
        return QColor(0xd0, 0x6c, 0x08);
    case ColorRole::Red:
        return QColor(0xe5, 0x48, 0x4d);
    case ColorRole::SecondaryLabel:
    case ColorRole::TertiaryLabel:
    case ColorRole::None:
        break;
    }
    return QColor(0x80, 0x80, 0x80);
}

double contrast(const QColor &one, const QColor &other)
{
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

} // namespace SymbolDrawing
