// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PanelIcon.h"

#include "SymbolDrawing.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QSaveFile>
#include <QSvgRenderer>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array panelSides{16, 22, 24, 32, 48, 64};
constexpr int canvas = 64; ///< side of the square that everything is drawn on

/// Symbols stand on a square of 16 units; one beside a count is smaller and in the upper left corner, so that
/// the plate leaves the mark free that tells it from the others without its colour.
constexpr auto whole = "scale(4)";
constexpr auto besideCount = "translate(-1 -9) scale(3.5)";

constexpr double glyphWidth = 12;
constexpr double glyphHeight = 20;
constexpr double glyphAdvance = 18;
constexpr double plateHeight = 35;
constexpr double rim = 3;

struct PlateLayout
{
    double digitScale = 0;
    double plateWidth = 0;
};

/// Sizes by number of glyphs, from one on.
constexpr std::array plateLayouts{PlateLayout{1.15, 35}, PlateLayout{1.1, 49}, PlateLayout{0.9, 61}};

/// Strokes in a box of 12 by 20, so that digits look the same whatever fonts there are.
constexpr std::array digits{
    "M6 0A6 6 0 0 1 12 6V14A6 6 0 0 1 0 14V6A6 6 0 0 1 6 0Z",
    "M2 4L7 0V20",
    "M0 6A6 6 0 0 1 12 6C12 11 0 15 0 20H12",
    "M0.5 3.5A5.8 5 0 1 1 6 9.6A6 5.2 0 1 1 0 16.5",
    "M9 20V0L0 14H12",
    "M11 0H2L1 9.5A6 5.9 0 1 1 0 16.5",
    "M10 0C4 3 0 8 0 14A6 6 0 1 0 12 14A6 6 0 1 0 0 14",
    "M0 0H12L4 20",
    "M6 9.5A5 4.75 0 1 1 6 0A5 4.75 0 1 1 6 9.5A6 5.25 0 1 1 6 20A6 5.25 0 1 1 6 9.5Z",
    "M2 20C8 17 12 12 12 6A6 6 0 1 0 0 6A6 6 0 1 0 12 6",
};
constexpr auto plus = "M6 5V15M1 10H11";

constexpr auto themeIndex = R"([Icon Theme]
Name=Hicolor
Comment=Icons of Morvanel's panel item
Directories=scalable/status

[scalable/status]
Context=Status
Size=64
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

/// Returns an SVG fragment for the lower right corner: a dark plate with a light rim and light digits,
/// readable down to 22 pixels. More than two digits become "99+".
QByteArray plate(const QString &count)
{
    const QString text = count.size() > 2 ? u"99+"_s : count;
    if (text.isEmpty())
        return {};
    const PlateLayout &layout = plateLayouts[static_cast<std::size_t>(text.size() - 1)];
    const double x = canvas - layout.plateWidth - rim / 2;
    const double y = canvas - plateHeight - rim / 2;
    const double textWidth = (glyphAdvance * double(text.size() - 1) + glyphWidth) * layout.digitScale;
    const double left = x + (layout.plateWidth - textWidth) / 2;
    const double top = y + (plateHeight - glyphHeight * layout.digitScale) / 2;

    QString svg = u"<rect x='%1' y='%2' width='%3' height='%4' rx='16' fill='#1d1d1d' stroke='#ffffff' "
                  "stroke-width='%5'/><g transform='translate(%6 %7) scale(%8)' fill='none' stroke='#ffffff' "
                  "stroke-width='4.4' stroke-linecap='round' stroke-linejoin='round'>"_s.arg(x)
                      .arg(y)
                      .arg(layout.plateWidth)
                      .arg(plateHeight)
                      .arg(rim)
                      .arg(left)
                      .arg(top)
                      .arg(layout.digitScale);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char *glyph = text[i].isDigit() ? digits[static_cast<std::size_t>(text[i].digitValue())] : plus;
        svg += u"<path transform='translate(%1 0)' d='%2'/>"_s.arg(glyphAdvance * double(i))
                   .arg(QLatin1StringView(glyph));
    }
    return svg.toLatin1() + "</g>";
}

QByteArray document(const QByteArray &content)
{
    return R"(<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64" viewBox="0 0 64 64">)" +
           content + "</svg>\n";
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

QList<QImage> PanelIcon::images() const
{
    if (isNull())
        return {};
    QSvgRenderer renderer(
        document(drawn(m_symbol.isTemplate ? QGuiApplication::palette().color(QPalette::WindowText)
                                           : SymbolDrawing::colorOnAnyGround(m_symbol.color))));
    QList<QImage> images;
    for (const int side : panelSides) {
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
    const QString themed = folder + u"/hicolor/scalable/status"_s;
    const QString file = u'/' + name + u".svg"_s;
    const QByteArray picture = svg();
    if (!QDir().mkpath(themed) || !ensureFile(folder + u"/hicolor/index.theme"_s, themeIndex) ||
        !ensureFile(folder + file, picture) || !ensureFile(themed + file, picture))
        return {};
    return m_count.isEmpty() ? name : folder + file;
}

/// Returns the content of the document: the inside of the symbol's own, and the count.
QByteArray PanelIcon::drawn(const QColor &color) const
{
    const QByteArray symbol = SymbolDrawing::svg(m_symbol.symbolName, color);
    const qsizetype start = symbol.indexOf('>') + 1;
    const qsizetype end = symbol.lastIndexOf("</svg>");
    if (start <= 0 || end < start)
        return plate(m_count);
    const QByteArray transform = m_count.isEmpty() ? whole : besideCount;
    return "<g transform=\"" + transform + "\">" + symbol.sliced(start, end - start) + "</g>" +
           plate(m_count);
}

/// Returns the file's contents. A template image follows the colour scheme of panels that tint.
QByteArray PanelIcon::svg() const
{
    const QColor color = SymbolDrawing::colorOnAnyGround(m_symbol.color);
    QByteArray content = drawn(color);
    if (!m_symbol.isTemplate)
        return document(content);
    // Panels that follow a colour scheme look for this style; those that tint symbolic icons need none.
    const QByteArray name = color.name().toLatin1();
    content.replace(name, "currentColor");
    return document(R"(<style type="text/css" id="current-color-scheme">.ColorScheme-Text{color:)" + name +
                    R"(;}</style><g class="ColorScheme-Text" color=")" + name + R"(" fill="currentColor">)" +
                    content + "</g>");
}
