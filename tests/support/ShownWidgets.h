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

/// The same of one that has to be there: a test that misspells it ends.
template <typename T> T *get(const QWidget &top, const QString &text)
{
    T *found = find<T>(top, text);
    if (!found)
        qFatal("The window shows no %s \"%s\".", T::staticMetaObject.className(), qPrintable(text));
    return found;
}

/// The field that the label of that text belongs to.
inline QLineEdit *field(const QWidget &top, const QString &label)
{
    auto *found = qobject_cast<QLineEdit *>(get<QLabel>(top, label)->buddy());
    if (!found)
        qFatal("The label \"%s\" belongs to no field.", qPrintable(label));
    return found;
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

/// Returns in words the first piece that cannot be seen: without ink or room, or over another one.
inline QString unclearPiece(const QWidget &top)
{
    QList<std::pair<QRect, QString>> taken;
    for (QWidget *piece : top.findChildren<QWidget *>()) {
        const bool isPiece = qobject_cast<QLabel *>(piece) || qobject_cast<QLineEdit *>(piece) ||
                             qobject_cast<QAbstractButton *>(piece) || qobject_cast<QComboBox *>(piece) ||
                             piece->inherits("SymbolView") || piece->inherits("QListView") ||
                             piece->inherits("QPlainTextEdit");
        if (!isPiece || !piece->isVisible())
            continue;
        const QString name = QString::fromLatin1(piece->metaObject()->className()) + QStringLiteral(" \"") +
                             piece->property("text").toString().left(60) + u'"';
        QRect place(piece->mapTo(&top, QPoint()), piece->size());
        for (const QWidget *one = piece->parentWidget(); one != &top; one = one->parentWidget())
            place &= QRect(one->mapTo(&top, QPoint()), one->size()); // the rest can be scrolled to
        if (place.isEmpty())
            return name + QStringLiteral(" has no room");
        for (const auto &[other, otherName] : taken) {
            if (other.intersects(place))
                return name + QStringLiteral(" stands over ") + otherName;
        }
        if (!piece->inherits("QListView") && !hasInk(*piece, piece->rect()))
            return name + QStringLiteral(" is blank");
        taken.append({place, name});
    }
    return {};
}

} // namespace ShownWidgets
