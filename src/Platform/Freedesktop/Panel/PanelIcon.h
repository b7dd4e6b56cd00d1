// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "StatusItem.h"

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QList>
#include <QString>

/// The icon in the panel: a symbol with the count drawn in.
///
/// A panel may be light or dark whatever the palette says: coloured pictures have dark shades for light ones
/// and a white rim for the others.
class PanelIcon
{
public:
    /// The part of the picture's square that is drawn on.
    enum class Fit {
        Full,   ///< all of it, for 22 and 24 pixels
        Small,  ///< all of it, for 16 pixels
        Margin, ///< all but a margin, for 22 pixels beside Breeze's icons, which are 16 of 22
    };

    /// Draws nothing for an absent symbol and for one without an icon name or a drawing.
    ///
    /// @param title the short text beside the icon; a number in it is drawn in
    explicit PanelIcon(const std::optional<Symbol> &symbol, const QString &title = {});

    bool isNull() const { return m_symbol.iconName.isEmpty(); }
    bool hasCount() const { return !m_count.isEmpty(); }
    /// Returns the pictures in all sizes that panels use; a template image in the colour `tint`.
    QList<QImage> images(const QColor &tint) const;

    /// Writes the icon into an icon theme folder: the freedesktop.org "hicolor" theme and, for readers of
    /// loose files, the same file beside it. Returns its name there; empty for no picture and where files
    /// cannot be written. A template image is written once more under a name that ends with `symbolicEnd`,
    /// for panels that tint such names; the one without is for Plasma and has a margin.
    ///
    /// A panel looks for new names late or never: to be called for all icons before a panel first looks.
    QString writeTheme(const QString &folder) const;
    /// Writes the icon into a file of its own. Returns its path; empty as above.
    ///
    /// A panel keeps the picture that it read under a path. So a path always means the same picture, such as
    /// "full/morvanel-connected-2.svg".
    QString writeFile(const QString &folder, Fit fit) const;

    /// End of the names of icons that GTK draws in the text's colour. Cinnamon draws none of them.
    static constexpr QLatin1StringView symbolicEnd{"-symbolic"};

private:
    QByteArray svg(Fit fit) const;

    Symbol m_symbol;
    QString m_count; ///< as drawn in; empty for none
};
