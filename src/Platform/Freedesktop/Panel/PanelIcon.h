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
/// A panel may be light or dark whatever the palette says, so the shades are ones that stand out from both.
class PanelIcon
{
public:
    /// Draws nothing for an absent symbol and for one without an icon name or a drawing.
    ///
    /// @param title the short text beside the icon; a number in it is drawn in
    explicit PanelIcon(const std::optional<Symbol> &symbol, const QString &title = {});

    bool isNull() const { return m_symbol.iconName.isEmpty(); }
    /// Returns the pictures in all sizes that panels use; a template image in the colour `tint`.
    QList<QImage> images(const QColor &tint) const;
    /// Writes the icon into an icon theme folder: the freedesktop.org "hicolor" theme and, for readers of
    /// loose files, the same file beside it. Returns the name for panels: one within the theme or, for an
    /// icon with a count, the file. Empty for no picture and where files cannot be written. A template image
    /// is written once more under a name that ends with `symbolicEnd`.
    ///
    /// A panel keeps the picture that it read under a name, and looks for new names late or never. So a name
    /// always means the same picture, such as "morvanel-connected-2", and icons without a count are to be
    /// written before a panel first looks.
    QString writeTo(const QString &folder) const;

    /// End of the names of icons that GTK draws in the text's colour. Cinnamon draws none of them.
    static constexpr QLatin1StringView symbolicEnd{"-symbolic"};

private:
    QByteArray drawn(const QColor &color, int side) const;
    QByteArray svg(int side) const;

    Symbol m_symbol;
    QString m_count; ///< as drawn in; empty for none
};
