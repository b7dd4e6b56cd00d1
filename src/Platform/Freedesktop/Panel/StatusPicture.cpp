// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusPicture.h"

#include "CountBadge.h"
#include "SymbolDrawing.h"

#include <QPainter>
#include <QSvgRenderer>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

struct Icon
{
    QStringView symbolName;
    QStringView iconName;
    ColorRole color;
    bool isTemplate;
};

/// The icons of all statuses, as they are before any has been shown. App/StatusIcon gives the same colours
/// and the same template: to be changed together, or a panel finds another picture under a name that it
/// knows.
constexpr std::array icons{
    Icon{u"bolt.horizontal.icloud", u"morvanel-idle-symbolic", ColorRole::None, true},
    Icon{u"arrow.clockwise.icloud", u"morvanel-connecting", ColorRole::Orange, false},
    Icon{u"bolt.horizontal.icloud.fill", u"morvanel-connected", ColorRole::Green, false},
    Icon{u"exclamationmark.icloud.fill", u"morvanel-problem", ColorRole::Red, false},
};

/// The digits of a short title such as " 2"; empty where it is anything else.
QString countIn(const QString &title)
{
    const QString count = title.trimmed();
    return std::all_of(count.cbegin(), count.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; })
               ? count
               : QString();
}

/// Symbols stand on a square of 16 units; one beside a count is smaller and in the upper left corner, so that
/// the plate leaves the mark free that tells it from the others without its colour.
constexpr auto whole = "scale(4)";
constexpr auto besideCount = "translate(-1 -9) scale(3.5)";

/// What stands inside the outermost element of a symbol, on the badge's canvas.
QByteArray insideOf(const QByteArray &symbol, const QByteArray &transform)
{
    const qsizetype start = symbol.indexOf('>') + 1;
    const qsizetype end = symbol.lastIndexOf("</svg>");
    if (start <= 0 || end < start)
        return {};
    return "<g transform=\"" + transform + "\">" + symbol.sliced(start, end - start) + "</g>";
}

QByteArray document(const QByteArray &content)
{
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"64\" height=\"64\" viewBox=\"0 0 64 64\">" +
           content + "</svg>\n";
}

} // namespace

StatusPicture StatusPicture::of(const StatusItemContent &content)
{
    StatusPicture picture;
    if (!content.image)
        return picture;
    const auto icon = std::find_if(icons.cbegin(), icons.cend(), [&](const Icon &candidate) {
        return candidate.symbolName == content.image->symbolName;
    });
    if (icon == icons.cend())
        return picture;
    picture.m_name = icon->iconName.toString();
    picture.m_count = countIn(content.title);
    picture.m_symbolName = content.image->symbolName;
    picture.m_color = content.image->color;
    picture.m_isTemplate = content.image->isTemplate;
    return picture;
}

QList<StatusPicture> StatusPicture::withoutCount()
{
    QList<StatusPicture> pictures;
    for (const Icon &icon : icons) {
        Symbol symbol;
        symbol.symbolName = icon.symbolName.toString();
        symbol.color = icon.color;
        symbol.isTemplate = icon.isTemplate;
        StatusItemContent content;
        content.image = symbol;
        pictures += of(content);
    }
    return pictures;
}

QString StatusPicture::name() const
{
    return hasCount() ? m_name + u'-' + m_count : m_name;
}

QByteArray StatusPicture::svg() const
{
    const QColor color = SymbolDrawing::colorOnAnyGround(m_color);
    if (!m_isTemplate)
        return document(drawn(color));
    // Panels that follow a colour scheme look for this style; those that tint symbolic icons need none.
    QByteArray content = drawn(color);
    content.replace(color.name().toLatin1(), "currentColor");
    return document("<style type=\"text/css\" id=\"current-color-scheme\">.ColorScheme-Text{color:" +
                    color.name().toLatin1() + ";}</style><g class=\"ColorScheme-Text\" color=\"" +
                    color.name().toLatin1() + "\" fill=\"currentColor\">" + content + "</g>");
}

QImage StatusPicture::image(int pixels, const QColor &textColor) const
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(
        document(drawn(m_isTemplate ? textColor : SymbolDrawing::colorOnAnyGround(m_color))));
    QPainter painter(&image);
    renderer.render(&painter);
    return image;
}

QByteArray StatusPicture::drawn(const QColor &color) const
{
    return insideOf(SymbolDrawing::svg(m_symbolName, color), hasCount() ? besideCount : whole) +
           CountBadge::draw(m_count);
}
