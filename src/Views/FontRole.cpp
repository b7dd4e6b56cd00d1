// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FontRole.h"

#include <QApplication>
#include <QFontDatabase>
#include <QWidget>

namespace {

constexpr auto roleProperty = "fontRole";
constexpr qreal captionScale = 0.85;
constexpr qreal titleScale = 1.3;

/// In the unit that the font is measured in.
QFont scaled(QFont font, qreal factor)
{
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * factor);
    else
        font.setPixelSize(qRound(font.pixelSize() * factor));
    return font;
}

QFont monospaced(const QFont &base)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    if (base.pointSizeF() > 0)
        font.setPointSizeF(base.pointSizeF());
    else
        font.setPixelSize(base.pixelSize());
    return font;
}

} // namespace

QFont fontFor(FontRole role, const QFont &base)
{
    QFont font = base;
    switch (role) {
    case FontRole::Body:
        break;
    case FontRole::Monospaced:
        font = monospaced(base);
        break;
    case FontRole::Caption:
        font = scaled(base, captionScale);
        break;
    case FontRole::Headline:
        font.setBold(true);
        break;
    case FontRole::Title:
        font = scaled(base, titleScale);
        font.setWeight(QFont::DemiBold);
        break;
    }
    return font;
}

void applyFontRole(QWidget *widget, FontRole role)
{
    widget->setProperty(roleProperty, int(role));
    widget->setFont(fontFor(role, QApplication::font(widget)));
}

void renewFontRoles(QWidget *root)
{
    const QList<QWidget *> widgets = root->findChildren<QWidget *>();
    for (QWidget *widget : widgets) {
        const QVariant role = widget->property(roleProperty);
        if (role.isValid())
            applyFontRole(widget, FontRole(role.toInt()));
    }
}
