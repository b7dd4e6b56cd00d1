// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Calls of a menu with any arguments, between changes of it, as any program on the session bus may make them.

#include "DBusMenu.h"
#include "Fuzz.h"

#include <QCoreApplication>
#include <QHash>

using namespace Qt::StringLiterals;

namespace {

QString anyText(FuzzedDataProvider &input)
{
    return QString::fromStdString(input.ConsumeRandomLengthString(64));
}

int anyId(FuzzedDataProvider &input)
{
    return input.ConsumeBool() ? input.ConsumeIntegralInRange(-1, 40) : input.ConsumeIntegral<int>();
}

Menu anyMenu(FuzzedDataProvider &input)
{
    Menu menu;
    for (int n = input.ConsumeIntegralInRange(0, 12); n > 0; --n) {
        MenuItem item;
        item.id = u"entry-%1"_s.arg(input.ConsumeIntegralInRange(0, 7));
        item.isSeparator = input.ConsumeBool();
        item.isEnabled = input.ConsumeBool();
        item.title = anyText(input);
        item.detail = anyText(input);
        item.action = input.PickValueInArray({MenuAction::None, MenuAction::OpenURL, MenuAction::Quit});
        menu += item;
    }
    return menu;
}

void call(DBusMenu &menu, FuzzedDataProvider &input)
{
    const int id = anyId(input);
    const QString name = input.ConsumeBool() ? u"clicked"_s : anyText(input);
    QList<int> unknown;
    MenuLayout layout;
    menu.AboutToShow(id);
    menu.AboutToShowGroup({id, anyId(input)}, unknown);
    menu.GetProperty(id, name);
    menu.GetGroupProperties({id, anyId(input)}, {name});
    menu.GetLayout(id, anyId(input), {name}, layout);
    menu.Event(id, name, QDBusVariant(name), 0);
    menu.EventGroup({MenuEvent{anyId(input), name, QDBusVariant(id), 0}});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int argumentCount = 0;
    static const QCoreApplication application(argumentCount, nullptr);
    FuzzedDataProvider input(data, size);
    QHash<int, MenuItem> seen;
    DBusMenu menu(QDBusConnection(u"none"_s), u"/menu"_s);
    QObject::connect(&menu, &DBusMenu::aboutToShow, &menu, [&] {
        if (input.ConsumeBool())
            menu.setMenu(anyMenu(input));
    });
    QObject::connect(&menu, &DBusMenu::chosen, &menu, [&](const MenuItem &item) {
        Fuzz::expect(item.isEnabled && !item.isSeparator, "only an entry that can be clicked acts");
    });
    while (input.remaining_bytes() > 0) {
        if (input.ConsumeBool())
            menu.setMenu(anyMenu(input));
        QCoreApplication::processEvents();
        call(menu, input);
        for (int id = 1; id <= 40; ++id) {
            const MenuItem *item = menu.exported().item(id);
            if (!item)
                continue;
            Fuzz::expect(seen.value(id, *item).id == item->id && seen.value(id, *item).action == item->action,
                         "a number is never given to another entry");
            seen.insert(id, *item);
        }
    }
    return 0;
}
