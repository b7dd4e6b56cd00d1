// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PanelIcon.h"

#include "SymbolDrawing.h"

#include <QDir>
#include <QFile>
#include <QPainter>
#include <QSaveFile>
#include <QSvgRenderer>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array panelSides{16, 22, 24, 32, 48, 64};
constexpr double grid = 16; ///< side of the square that everything is drawn on
constexpr int croppedSide = 22;

/// Returns the visible part of the grid for a picture of this side. Strokes are on whole pixels at one and a
/// half times the grid, which is a side of 24; for one of 22 the outermost pixels are left out, which are
/// empty.
QRectF shownAt(int side)
{
    const double shown = side == croppedSide ? croppedSide / 1.5 : grid;
    return QRectF(0, 0, shown, shown).translated((grid - shown) / 2, (grid - shown) / 2);
}

/// Digits are strokes of one unit in a box of 2 by 4, on whole pixels at a side of 16, so that they look the
/// same whatever fonts there are.
constexpr double digitAdvance = 4;
constexpr double plateHeight = 7;
constexpr std::array digits{
    "M0 0H2V4H0Z",    "M0.5 0H1V4",     "M0 0H2V2H0V4H2", "M0 0H2V4H0M0.5 2H2", "M0 0V2H2M2 0V4",
    "M2 0H0V2H2V4H0", "M2 0H0V4H2V2H0", "M0 0H2V4",       "M0 0H2V4H0ZM0 2H2",  "M0 4H2V0H0V2H2",
};
constexpr auto plus = "M1 1V3M0 2H2";

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
/// plate. Numbers above 99 become "9+", the most that can be read at 16 pixels.
QByteArray plate(const QString &count, double corner)
{
    const QString text = count.size() > 2 ? u"9+"_s : count;
    if (text.isEmpty())
        return {};
    const double padding = text.size() > 1 ? 1 : 2;
    const double width = digitAdvance * double(text.size()) - 1 + 2 * padding;
    QString svg = u"<rect x='%1' y='%2' width='%3' height='%4' rx='2' fill='#1d1d1d'/>"
                  "<g fill='none' stroke='#ffffff' stroke-linecap='square' stroke-linejoin='round'>"_s
                      .arg(corner - width)
                      .arg(corner - plateHeight)
                      .arg(width)
                      .arg(plateHeight);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char *glyph = text[i].isDigit() ? digits[static_cast<std::size_t>(text[i].digitValue())] : plus;
        svg += u"<path transform='translate(%1 %2)' d='%3'/>"_s
                   .arg(corner - width + padding + 0.5 + digitAdvance * double(i))
                   .arg(corner - plateHeight + 1.5)
                   .arg(QLatin1StringView(glyph));
    }
    return svg.toLatin1() + "</g>";
}

/// Leaves a file alone that already holds the data, so that no panel reads it again.
bool ensureFile(const QString &path, const QByteArray &data)
{
    if (QFile existing(path); existing.open(QIODevice::ReadOnly) && existing.readAll() == data)
        return true;
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit();
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
    const QColor color = m_symbol.isTemplate ? tint : SymbolDrawing::colorOnAnyGround(m_symbol.color);
    for (const int side : panelSides) {
        QSvgRenderer renderer(drawn(color, side));
        QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        renderer.render(&painter);
        painter.end();
        images += image;
    }
    return images;
}

QString PanelIcon::writeTo(const QString &folder) const
{
    if (isNull())
        return {};
    const QString name = m_count.isEmpty() ? m_symbol.iconName : m_symbol.iconName + u'-' + m_count;
    QStringList names{name};
    if (m_symbol.isTemplate)
        names += name + symbolicEnd;
    const QByteArray picture = svg(int(grid));
    const auto write = [&](const QString &subfolder, const QByteArray &data) {
        return QDir().mkpath(folder + subfolder) && std::ranges::all_of(names, [&](const QString &each) {
                   return ensureFile(folder + subfolder + u'/' + each + u".svg"_s, data);
               });
    };
    if (!write({}, picture) || !write(u"/hicolor/scalable/status"_s, picture) ||
        !write(u"/hicolor/22x22/status"_s, svg(croppedSide)) ||
        !ensureFile(folder + u"/hicolor/index.theme"_s, themeIndex))
        return {};
    return m_count.isEmpty() ? name : folder + u'/' + name + u".svg"_s;
}

/// Returns the symbol's document with the count in it.
QByteArray PanelIcon::drawn(const QColor &color, int side) const
{
    const QRectF shown = shownAt(side);
    QByteArray svg = SymbolDrawing::svg(m_symbol.symbolName, color);
    svg.replace("0 0 16 16", u"%1 %1 %2 %2"_s.arg(shown.x()).arg(shown.width()).toLatin1());
    return svg.replace("</svg>", plate(m_count, shown.right()) + "</svg>");
}

/// Returns the file's contents. A template image follows the colour scheme of panels that put theirs into a
/// style of this name; a colour in an attribute would win over it. It is a group under the icon's name, since
/// Plasma draws by that name what its own theme's folder holds; a line gives the group its size (a
/// rectangle without a fill would get one from GTK).
QByteArray PanelIcon::svg(int side) const
{
    const QColor color = SymbolDrawing::colorOnAnyGround(m_symbol.color);
    QByteArray svg = drawn(color, side);
    if (!m_symbol.isTemplate)
        return svg;
    const QByteArray name = color.name().toLatin1();
    svg.replace('"' + name + '"', R"("currentColor" class="ColorScheme-Text")");
    const QRectF shown = shownAt(side);
    const QString head =
        u"<style type='text/css' id='current-color-scheme'>.ColorScheme-Text{color:%1;}</style>\n"
        "<g id='%2'><path d='M%3 %3L%4 %4z'/>"_s.arg(color.name(), m_symbol.iconName)
            .arg(shown.left())
            .arg(shown.right());
    svg.replace("</svg>", "</g></svg>");
    return svg.insert(svg.indexOf('>') + 1, '\n' + head.toLatin1());
}
