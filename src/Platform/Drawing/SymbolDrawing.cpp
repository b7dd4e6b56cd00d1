// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SymbolDrawing.h"

#include <QFile>
#include <QFontInfo>
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

constexpr double readableContrast = 4.5; // of small text, as WCAG 2 has it
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

/// Returns a colour between two, as a screen shows it: in 8 bits a channel.
QColor mixed(const QColor &color, const QColor &other, float part)
{
    const auto channel = [part](float from, float to) { return from + (to - from) * part; };
    return QColor::fromRgbF(channel(color.redF(), other.redF()), channel(color.greenF(), other.greenF()),
                            channel(color.blueF(), other.blueF()))
        .rgb();
}

/// Returns the one of black and white that stands out more from the ground.
QColor strongest(const QPalette &palette, QPalette::ColorRole ground)
{
    const auto contrast = [&](const QColor &color) {
        return SymbolDrawing::contrast(color, palette, ground);
    };
    return contrast(Qt::white) > contrast(Qt::black) ? Qt::white : Qt::black;
}

/// Returns the shade for a light or a dark ground, moved towards black or white until it can be read.
QColor readable(QRgb onLight, QRgb onDark, const QPalette &palette, QPalette::ColorRole ground)
{
    const QColor limit = strongest(palette, ground);
    constexpr int steps = 20;
    for (int step = 0; step < steps; ++step) {
        const QColor shade = mixed(limit == Qt::white ? onDark : onLight, limit, float(step) / steps);
        if (SymbolDrawing::contrast(shade, palette, ground) >= readableContrast)
            return shade;
    }
    return limit;
}

/// Returns the text colour at no more opacity than it needs to be read.
QColor dimmed(const QColor &text, const QPalette &palette, QPalette::ColorRole ground)
{
    constexpr int steps = 20;
    QColor color = text;
    for (int step = steps / 2; step <= steps; ++step) {
        color.setAlphaF(float(step) / steps);
        if (SymbolDrawing::contrast(color, palette, ground) >= readableContrast)
            return color;
    }
    return strongest(palette, ground);
}

QPalette::ColorRole textOn(QPalette::ColorRole ground)
{
    if (ground == QPalette::Base)
        return QPalette::Text;
    return ground == QPalette::Highlight ? QPalette::HighlightedText : QPalette::WindowText;
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

QColor color(ColorRole role, const QPalette &palette, QPalette::ColorRole ground)
{
    const QColor text = palette.color(textOn(ground));
    switch (role) {
    case ColorRole::Green:
        return readable(0x1f8a3b, 0x3fc46a, palette, ground);
    case ColorRole::Orange:
        return readable(0xb85c00, 0xf5a040, palette, ground);
    case ColorRole::Red:
        return readable(0xc9302c, 0xff7b72, palette, ground);
    case ColorRole::SecondaryLabel:
        return ground == QPalette::Highlight ? dimmed(text, palette, ground)
                                             : palette.color(QPalette::PlaceholderText);
    case ColorRole::TertiaryLabel:
        return mixed(text, palette.color(ground), 0.5F);
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

QFont captionFont(const QFont &base)
{
    constexpr qreal scale = 0.85;
    QFont font = base;
    font.setPointSizeF(QFontInfo(base).pointSizeF() * scale); // also of a font that is measured in pixels
    return font;
}

QColor colorInRim(ColorRole role)
{
    switch (role) {
    case ColorRole::Green:
        return QColor(0x1a, 0x7f, 0x37);
    case ColorRole::Orange:
        return QColor(0xb0, 0x57, 0x00);
    case ColorRole::Red:
        return QColor(0xc9, 0x30, 0x2c);
    case ColorRole::SecondaryLabel:
    case ColorRole::TertiaryLabel:
    case ColorRole::None:
        break;
    }
    return QColor(0x60, 0x60, 0x60);
}

double contrast(const QColor &one, const QColor &other)
{
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

double contrast(const QColor &color, const QPalette &palette, QPalette::ColorRole ground)
{
    const auto contrastTo = [&color](const QColor &under) {
        return contrast(mixed(under, color, color.alphaF()), under);
    };
    constexpr int pageOfTabs = 150; // in percent of the window's lightness
    const QColor under = palette.color(ground);
    return ground == QPalette::Window ? std::min(contrastTo(under), contrastTo(under.lighter(pageOfTabs)))
                                      : contrastTo(under);
}

} // namespace SymbolDrawing
