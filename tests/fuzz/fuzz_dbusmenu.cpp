// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Calls of a menu with any arguments, between changes of it, as any program on the session bus may make them.

#include "DBusMenu.h"
#include "Fuzz.h"

#include <QCoreApplication>
#include <QHash>

namespace {

QString anyText(FuzzedDataProvider &input)
{
    return QString::fromStdString(input.ConsumeRandomLengthString(64));
}

Menu anyMenu(FuzzedDataProvider &input)
{
    Menu menu(input.ConsumeIntegralInRange(0, 12));
    for (MenuItem &item : menu) {
        item.id = QString::number(input.ConsumeIntegralInRange(0, 7));
        item.isSeparator = input.ConsumeBool();
        item.isEnabled = input.ConsumeBool();
        item.title = anyText(input);
        item.detail = anyText(input);
    }
    return menu;
}

void call(DBusMenu &menu, FuzzedDataProvider &input)
{
    const int id = input.ConsumeBool() ? input.ConsumeIntegralInRange(-1, 40) : input.ConsumeIntegral<int>();
    const int number = input.ConsumeIntegral<int>();
    const QString name = input.ConsumeBool() ? QStringLiteral("clicked") : anyText(input);
    QList<int> unknown;
    MenuLayout layout;
    menu.AboutToShow(id);
    menu.AboutToShowGroup({id, number}, unknown);
    menu.GetProperty(id, name);
    menu.GetGroupProperties({id, number}, {name});
    menu.GetLayout(id, number, {name}, layout);
    menu.Event(id, name, QDBusVariant(name), 0);
    menu.EventGroup({MenuEvent{id, name, QDBusVariant(number), 0}});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int argumentCount = 0;
    static const QCoreApplication application(argumentCount, nullptr);
    FuzzedDataProvider input(data, size);
    QHash<int, QString> seen; // entries by their numbers
    DBusMenu menu(QDBusConnection(QStringLiteral("none")), QStringLiteral("/menu"));
    QObject::connect(&menu, &DBusMenu::aboutToShow, &menu, [&] { menu.setMenu(anyMenu(input)); });
    QObject::connect(&menu, &DBusMenu::chosen, &menu, [&](const MenuItem &item) {
        expect(item.isEnabled && !item.isSeparator, "only an entry that can be clicked acts");
    });
    while (input.remaining_bytes() > 0) {
        menu.setMenu(anyMenu(input));
        QCoreApplication::processEvents();
        call(menu, input);
        for (const int id : menu.exported().numbers()) {
            const QString entry = menu.exported().item(id)->id;
            expect(seen.value(id, entry) == entry, "a number is never given to another entry");
            seen.insert(id, entry);
        }
    }
    return 0;
}
