// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>

/// The pieces of a window as its user finds them: those that are shown, by their texts.
namespace ShownWidgets {

/// The first label or button of that text, with or without the mark of its access key, or with that tooltip;
/// null for none.
template <typename T> T *find(const QWidget &top, const QString &text)
{
    for (T *one : top.findChildren<T *>()) {
        const QStringList texts{one->text(), one->text().remove(u'&'), one->toolTip()};
        if (one->isVisible() && texts.contains(text))
            return one;
    }
    return nullptr;
}

/// The field that the label of that text belongs to.
inline QLineEdit *field(const QWidget &top, const QString &label)
{
    const auto *found = find<QLabel>(top, label);
    return found ? qobject_cast<QLineEdit *>(found->buddy()) : nullptr;
}

/// Returns whether something stands out from the ground there.
inline bool hasInk(QWidget &widget, const QRect &part)
{
    const QImage image = widget.grab(part).toImage();
    QImage ground(image.size(), image.format());
    ground.setDevicePixelRatio(image.devicePixelRatio());
    ground.fill(image.pixelColor(0, 0));
    return image != ground;
}

/// Returns whether all pieces can be seen, none without ink or over another one.
inline bool areClear(const QWidget &top)
{
    QRegion taken;
    for (QWidget *piece : top.findChildren<QWidget *>()) {
        const bool isPiece = qobject_cast<QLabel *>(piece) || qobject_cast<QLineEdit *>(piece) ||
                             qobject_cast<QAbstractButton *>(piece) || qobject_cast<QComboBox *>(piece) ||
                             piece->inherits("SymbolView") || piece->inherits("QListView") ||
                             piece->inherits("QPlainTextEdit");
        if (!isPiece || !piece->isVisible())
            continue;
        QRect place(piece->mapTo(&top, QPoint()), piece->size());
        for (const QWidget *one = piece->parentWidget(); one != &top; one = one->parentWidget())
            place &= QRect(one->mapTo(&top, QPoint()), one->size()); // the rest can be scrolled to
        const bool mayBeBlank = piece->inherits("QListView");
        if (place.isEmpty() || taken.intersects(place) || !(mayBeBlank || hasInk(*piece, piece->rect())))
            return false;
        taken += place;
    }
    return true;
}

} // namespace ShownWidgets
