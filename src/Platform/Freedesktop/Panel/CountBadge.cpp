// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "CountBadge.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

struct Layout
{
    double digitScale = 0;
    double plateWidth = 0;
};

constexpr double glyphWidth = 12;
constexpr double glyphHeight = 20;
constexpr double glyphAdvance = 18;
constexpr double plateHeight = 35;
constexpr double rim = 3;

/// By number of glyphs, from one on.
constexpr std::array layouts{Layout{1.15, 35}, Layout{1.1, 49}, Layout{0.9, 61}};

/// Strokes in a box of 12 by 20.
const char *glyph(QChar c)
{
    static constexpr std::array digits{
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
    return c.isDigit() ? digits[static_cast<std::size_t>(c.digitValue())] : "M6 5V15M1 10H11";
}

} // namespace

QByteArray CountBadge::draw(const QString &count)
{
    const QString text = count.size() > 2 ? u"99+"_s : count;
    if (text.isEmpty())
        return {};
    const Layout &layout = layouts[static_cast<std::size_t>(text.size() - 1)];
    const double x = canvas - layout.plateWidth - rim / 2;
    const double y = canvas - plateHeight - rim / 2;
    const double textWidth = (glyphAdvance * double(text.size() - 1) + glyphWidth) * layout.digitScale;
    const double left = x + (layout.plateWidth - textWidth) / 2;
    const double top = y + (plateHeight - glyphHeight * layout.digitScale) / 2;

    QString badge = u"<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" rx=\"16\" "_s.arg(x)
                        .arg(y)
                        .arg(layout.plateWidth)
                        .arg(plateHeight);
    badge += u"fill=\"#1d1d1d\" stroke=\"#ffffff\" stroke-width=\"%1\"/>"_s.arg(rim);
    badge +=
        u"<g transform=\"translate(%1 %2) scale(%3)\" fill=\"none\" stroke=\"#ffffff\" stroke-width=\"4.4\" "
        "stroke-linecap=\"round\" stroke-linejoin=\"round\">"_s.arg(left)
            .arg(top)
            .arg(layout.digitScale);
    for (qsizetype i = 0; i < text.size(); ++i) {
        badge += u"<path transform=\"translate(%1 0)\" d=\"%2\"/>"_s.arg(glyphAdvance * double(i))
                     .arg(QLatin1StringView(glyph(text[i])));
    }
    return badge.toLatin1() + "</g>";
}
