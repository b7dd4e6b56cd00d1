// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Calls of a menu with any arguments, between changes of it, as any program on the session bus may make them.

#include "DBusMenu.h"
#include "Fuzz.h"

#include <QCoreApplication>

namespace {

Menu anyMenu(FuzzedDataProvider &input)
{
    Menu menu(input.ConsumeIntegralInRange(0, 12));
    for (MenuItem &item : menu) {
        item.id = QString::number(input.ConsumeIntegralInRange(0, 7));
        item.isSeparator = input.ConsumeBool();
        item.isEnabled = input.ConsumeBool();
        item.title = QString::fromStdString(input.ConsumeRandomLengthString(64));
    }
    return menu;
}

void call(DBusMenu &menu, FuzzedDataProvider &input)
{
    const int id = input.ConsumeIntegralInRange(-1, 40);
    const int number = input.ConsumeIntegral<int>();
    const QString name = QString::fromStdString(input.ConsumeRandomLengthString(64));
    QList<int> unknown;
    MenuLayout layout;
    menu.AboutToShowGroup({id, number}, unknown);
    menu.GetProperty(number, name);
    menu.GetGroupProperties({id, number}, {name});
    menu.GetLayout(id, number, {name}, layout);
    menu.EventGroup(
        {{id, QStringLiteral("clicked"), QDBusVariant(name), 0}, {number, name, QDBusVariant(id), 0}});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int argumentCount = 0;
    static const QCoreApplication application(argumentCount, nullptr);
    FuzzedDataProvider input(data, size);
    DBusMenu menu(QDBusConnection(QStringLiteral("none")), QStringLiteral("/menu"));
    QObject::connect(&menu, &DBusMenu::aboutToShow, &menu, [&] { menu.setMenu(anyMenu(input)); });
    QObject::connect(&menu, &DBusMenu::chosen, &menu, [&](const MenuItem &item) {
        expect(item.isEnabled && !item.isSeparator, "only an entry that can be clicked acts");
    });
    while (input.remaining_bytes() > 0) {
        menu.setMenu(anyMenu(input));
        call(menu, input);
        QCoreApplication::processEvents();
    }
    return 0;
}
