// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "StatusItem.h"

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QList>
#include <QString>

/// The picture of the status item: the status's symbol with the count drawn in, as one SVG that is sharp at
/// every size.
///
/// A panel may be light or dark whatever the palette says, so the shades are ones that stand out from both.
class StatusPicture
{
public:
    /// Nothing is drawn for an absent image or a symbol that has no icon.
    static StatusPicture of(const StatusItemContent &content);
    /// The pictures without a count, in no particular order.
    static QList<StatusPicture> withoutCount();

    bool isNull() const { return m_name.isEmpty(); }
    /// The icon's name, never the same for two different pictures: "morvanel-connected-2".
    QString name() const;
    bool hasCount() const { return !m_count.isEmpty(); }
    /// The file's contents. An uncounted template image follows the colour scheme of panels that tint.
    QByteArray svg() const;
    /// `pixels` by `pixels`; a template image is drawn in the text colour.
    QImage image(int pixels, const QColor &textColor) const;

    bool operator==(const StatusPicture &) const = default;

private:
    QByteArray drawn(const QColor &color) const;

    QString m_name;  ///< base name, without the count
    QString m_count; ///< as drawn in; empty for none
    QString m_symbolName;
    ColorRole m_color = ColorRole::None;
    bool m_isTemplate = false;
};
