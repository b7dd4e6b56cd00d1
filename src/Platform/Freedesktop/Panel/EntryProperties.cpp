// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "EntryProperties.h"

#include "MenuText.h"
#include "MenuTypes.h"

using namespace Qt::StringLiterals;

QVariantMap EntryProperties::of(const MenuItem &item, const HostQuirks &quirks, const ImageEncoder &png)
{
    if (item.isSeparator)
        return {{u"type"_s, u"separator"_s}};
    QVariantMap properties{{u"label"_s, MenuText::label(item, quirks)}};
    if (!item.isEnabled)
        properties[u"enabled"_s] = false;
    if (const QStringList shortcut = MenuText::shortcut(item.shortcut); !shortcut.isEmpty())
        properties[u"shortcut"_s] = QVariant::fromValue(MenuShortcut{shortcut});
    if (const QString description = MenuText::accessibleDescription(item); !description.isEmpty())
        properties[u"accessible-desc"_s] = description;
    if (item.image) {
        if (const QByteArray picture = png(*item.image); !picture.isEmpty())
            properties[u"icon-data"_s] = picture;
    }
    return properties;
}

QVariant EntryProperties::defaultValue(const QString &name)
{
    static const QVariantMap defaults{
        {u"type"_s, u"standard"_s},
        {u"label"_s, QString()},
        {u"enabled"_s, true},
        {u"visible"_s, true},
        {u"icon-name"_s, QString()},
        {u"icon-data"_s, QByteArray()},
        {u"shortcut"_s, QVariant::fromValue(MenuShortcut())},
        {u"toggle-type"_s, QString()},
        {u"toggle-state"_s, -1},
        {u"children-display"_s, QString()},
        {u"disposition"_s, u"normal"_s},
        {u"accessible-desc"_s, QString()},
    };
    return defaults.value(name);
}

QVariantMap EntryProperties::selected(const QVariantMap &properties, const QStringList &names)
{
    if (names.isEmpty())
        return properties;
    QVariantMap selection;
    for (const QString &name : names) {
        if (const auto found = properties.constFind(name); found != properties.cend())
            selection.insert(name, *found);
    }
    return selection;
}
