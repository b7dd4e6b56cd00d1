// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PanelIcon.h"

#include "SymbolDrawing.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QSaveFile>
#include <QSvgRenderer>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array panelSides{16, 22, 24, 32, 48, 64};
constexpr double drawingSide = 16; ///< of the square that everything is drawn on

/// The square that a picture shows of the drawing, and a pixel of the size that it is made for, both in units
/// of the drawing.
struct Grid
{
    QRectF shown;
    double pixel;
};

/// Strokes are on whole pixels at 16 and, one and a half times that, at 24. In a picture of 22 the outermost
/// of those 24 are left out, which are empty; one with a margin has one more around it instead.
Grid gridOf(PanelIcon::Fit fit)
{
    constexpr double fine = drawingSide / 24;
    switch (fit) {
    case PanelIcon::Fit::Full:
        return {{fine, fine, 22 * fine, 22 * fine}, fine};
    case PanelIcon::Fit::Margin:
        return {{-0.25, -0.25, 16.5, 16.5}, 0.75};
    case PanelIcon::Fit::Small:
        break;
    }
    return {{0, 0, drawingSide, drawingSide}, 1};
}

Grid gridFor(int pixels)
{
    if (pixels == 24)
        return {{0, 0, drawingSide, drawingSide}, drawingSide / 24};
    return gridOf(pixels == 22 ? PanelIcon::Fit::Full : PanelIcon::Fit::Small);
}

/// Digits are lines in a box of 2 by 4, so that they look the same whatever fonts there are. As strokes of
/// one pixel they are 3 by 5 pixels large; where there are more, at one and a half times the size and as
/// strokes of two, 5 by 8. The plus has strokes of one pixel and is 3 by 3 or 5 by 5.
constexpr std::array digits{
    "M0 0H2V4H0Z",    "M1.333 0H2V4",   "M0 0H2V2H0V4H2", "M0 0H2V4H0M0 2H2",  "M0 0V2H2M2 0V4",
    "M2 0H0V2H2V4H0", "M2 0H0V4H2V2H0", "M0 0H2V4",       "M0 0H2V4H0ZM0 2H2", "M0 4H2V0H0V2H2",
};
constexpr auto smallPlus = "M1 1V3M0 2H2";
constexpr auto largePlus = "M1 1V3.667M-0.333 2.333H2.333";

constexpr auto themeIndex = R"([Icon Theme]
Name=Hicolor
Comment=Icons of Morvanel's panel item
Directories=22x22/status,scalable/status

[22x22/status]
Context=Status
Size=22
Type=Fixed

[scalable/status]
Context=Status
Size=16
MinSize=8
MaxSize=512
Type=Scalable
)";

/// Returns the digits of a short title such as " 2"; empty where it is anything else.
QString countIn(const QString &title)
{
    const QString count = title.trimmed();
    const auto isDigit = [](QChar c) { return c >= u'0' && c <= u'9'; };
    return std::all_of(count.cbegin(), count.cend(), isDigit) ? count : QString();
}

/// Returns an SVG fragment that lies over the lower right corner of the picture: light digits on a dark
/// plate. There is room for three glyphs: numbers above 99 become "99+".
QByteArray plate(const QString &count, const Grid &grid)
{
    const QString text = count.size() > 2 ? u"99+"_s : count;
    if (text.isEmpty())
        return {};
    const bool isLarge = grid.pixel < 1;
    const double scale = isLarge ? 1.5 : 1;
    const double stroke = isLarge ? 2 : 1;
    const double advance = 2 * scale + stroke + 1;
    const double padding = text.size() > 1 ? 1 : 2;
    const double width = advance * double(text.size()) - 1 + 2 * padding;
    const double height = 4 * scale + stroke + 2;
    QString svg = u"<g transform='translate(%1 %1) scale(%2)'>"
                  "<rect x='-%3' y='-%4' width='%3' height='%4' rx='2' fill='#1d1d1d'/>"
                  "<g fill='none' stroke='#ffffff' stroke-linecap='square' "
                  "stroke-linejoin='round'>"_s.arg(grid.shown.right())
                      .arg(grid.pixel)
                      .arg(width)
                      .arg(height);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isDigit = text[i].isDigit();
        const char *plus = isLarge ? largePlus : smallPlus;
        const char *glyph = isDigit ? digits[static_cast<std::size_t>(text[i].digitValue())] : plus;
        svg += u"<path transform='translate(%1 %2) scale(%3)' stroke-width='%4' d='%5'/>"_s
                   .arg(-width + padding + stroke / 2 + advance * double(i))
                   .arg(-height + 1 + stroke / 2)
                   .arg(scale)
                   .arg((isDigit ? stroke : 1) / scale)
                   .arg(QLatin1StringView(glyph));
    }
    return svg.toLatin1() + "</g></g>";
}

/// Returns a symbol's document with the count in it.
QByteArray drawn(const Symbol &symbol, const QString &count, const QColor &color, const Grid &grid)
{
    QByteArray svg = SymbolDrawing::svg(symbol.symbolName, color);
    svg.replace("0 0 16 16", u"%1 %1 %2 %2"_s.arg(grid.shown.x()).arg(grid.shown.width()).toLatin1());
    return svg.replace("</svg>", plate(count, grid) + "</svg>");
}

/// Leaves a file alone that already holds the data, so that no panel reads it again.
bool ensureFile(const QString &path, const QByteArray &data)
{
    if (QFile existing(path); existing.open(QIODevice::ReadOnly) && existing.readAll() == data)
        return true;
    QSaveFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
           file.write(data) == data.size() && file.commit();
}

} // namespace

PanelIcon::PanelIcon(const std::optional<Symbol> &symbol, const QString &title)
    : m_symbol(symbol.value_or(Symbol()))
    , m_count(countIn(title))
{
}

QList<QImage> PanelIcon::images(const QColor &tint) const
{
    QList<QImage> images;
    if (isNull())
        return images;
    const QColor color = m_symbol.isTemplate ? tint : SymbolDrawing::colorInRim(m_symbol.color);
    for (const int pixels : panelSides) {
        QSvgRenderer renderer(drawn(m_symbol, m_count, color, gridFor(pixels)));
        QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        renderer.render(&painter);
        painter.end();
        images += image;
    }
    return images;
}

QString PanelIcon::writeTheme(const QString &folder) const
{
    const auto writeNamed = [&](const QString &name, Fit scalable, Fit fixed) {
        const QString file = u'/' + name + u".svg"_s;
        return ensureFile(folder + file, svg(fixed)) &&
               ensureFile(folder + u"/hicolor/scalable/status"_s + file, svg(scalable)) &&
               ensureFile(folder + u"/hicolor/22x22/status"_s + file, svg(fixed));
    };
    const QString name = m_symbol.iconName;
    const bool isWritten = m_symbol.isTemplate ? writeNamed(name + symbolicEnd, Fit::Small, Fit::Full) &&
                                                     writeNamed(name, Fit::Margin, Fit::Margin)
                                               : !isNull() && writeNamed(name, Fit::Small, Fit::Full);
    return isWritten && ensureFile(folder + u"/hicolor/index.theme"_s, themeIndex) ? name : QString();
}

QString PanelIcon::writeFile(const QString &folder, Fit fit) const
{
    constexpr std::array subfolders{"full", "small", "margin"};
    const QString path = folder + u'/' + QLatin1StringView(subfolders[static_cast<std::size_t>(fit)]) + u'/' +
                         m_symbol.iconName + (m_count.isEmpty() ? QString() : u'-' + m_count) + u".svg"_s;
    return !isNull() && ensureFile(path, svg(fit)) ? path : QString();
}

/// Returns the file's contents. Its own size is large: several panels scale a file down, but draw a smaller
/// one as small as it is (Xfce 4.18) or blurred (MATE 1.27, waybar 0.9).
///
/// A template image follows the colour scheme of panels that put theirs into a style of this name; a colour
/// in an attribute would win over it. It is a group under the icon's name, since Plasma draws by that name
/// what its own theme's folder holds; a line gives the group its size (a rectangle without a fill would get
/// one from GTK).
QByteArray PanelIcon::svg(Fit fit) const
{
    const Grid grid = gridOf(fit);
    const QColor color = m_symbol.isTemplate ? SymbolDrawing::colorOnAnyGround(m_symbol.color)
                                             : SymbolDrawing::colorInRim(m_symbol.color);
    QByteArray svg = drawn(m_symbol, m_count, color, grid);
    svg.replace(R"(width="16" height="16")", R"(width="64" height="64")");
    if (!m_symbol.isTemplate)
        return svg;
    const QByteArray name = color.name().toLatin1();
    svg.replace('"' + name + '"', R"("currentColor" class="ColorScheme-Text")");
    const QString head =
        u"<style type='text/css' id='current-color-scheme'>.ColorScheme-Text{color:%1;}</style>\n"
        "<g id='%2'><path d='M%3 %3L%4 %4z'/>"_s.arg(color.name(), m_symbol.iconName)
            .arg(grid.shown.left())
            .arg(grid.shown.right());
    svg.replace("</svg>", "</g></svg>");
    return svg.insert(svg.indexOf('>') + 1, '\n' + head.toLatin1());
}
