// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ExportedMenu.h"
#include "Samples.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace Samples;

namespace {

ExportedMenu exported(const Menu &menu)
{
    ExportedMenu result([](const Symbol &image) { return QByteArray::number(int(image.color)); });
    result.update(menu, {});
    return result;
}

/// The number under which an entry is known outside; 0 if it is not.
int numberOf(const ExportedMenu &menu, const QString &id)
{
    const auto layout = menu.layout(0, -1, {});
    for (const MenuLayout &child : layout->children) {
        if (menu.item(child.id)->id == id)
            return child.id;
    }
    return 0;
}

MenuItem connected(int number)
{
    return tunnel(number, u"tunnel_%1"_s.arg(number), u"Connected (4 connections)"_s, ColorRole::Green);
}

} // namespace

class TestExportedMenu : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameMenuChangesNothing()
    {
        ExportedMenu menu = exported(Samples::menu(20));
        const MenuChange change = menu.update(Samples::menu(20), {});
        QVERIFY(!change.layoutChanged && change.updated.isEmpty() && change.removed.isEmpty());
    }

    void stateChangeTouchesItsEntryAlone()
    {
        ExportedMenu menu = exported(Samples::menu(20));
        const int number = numberOf(menu, u"tunnel-7"_s);
        Menu next = Samples::menu(20);
        next[8] = connected(7);
        const MenuChange change = menu.update(next, {});
        const MenuProperties expected{number,
                                      {{u"label"_s, u"tunnel__7\nConnected (4 connections)"_s},
                                       {u"accessible-desc"_s, u"tunnel_7, Connected (4 connections)"_s},
                                       {u"icon-data"_s, QByteArray::number(int(ColorRole::Green))}}};
        QVERIFY(!change.layoutChanged);
        QCOMPARE(change.updated, MenuPropertiesList{expected});
        QVERIFY(change.removed.isEmpty());
    }

    void droppedPropertiesAreNamed()
    {
        ExportedMenu menu = exported(Samples::menu(1));
        const int number = numberOf(menu, u"header"_s);
        Menu next = Samples::menu(1);
        next[0].isEnabled = true;
        const MenuChange change = menu.update(next, {});
        QCOMPARE(change.removed, (MenuPropertyNamesList{{number, {u"enabled"_s}}}));
        QVERIFY(change.updated.isEmpty() && !change.layoutChanged);
    }

    void entriesComeAndGoUnderTheirOwnNumbers()
    {
        ExportedMenu menu = exported(Samples::menu(2));
        const int first = numberOf(menu, u"tunnel-1"_s);
        Menu next = Samples::menu(2);
        next.insert(3, openAddress(1, u"a.example"_s));
        QVERIFY(menu.update(next, {}).layoutChanged);
        const int address = numberOf(menu, u"open-1"_s);
        QCOMPARE(numberOf(menu, u"tunnel-1"_s), first);

        QVERIFY(menu.update(Samples::menu(2), {}).layoutChanged);
        QVERIFY(!menu.contains(address));
        next.insert(5, openAddress(2, u"b.example"_s));
        menu.update(next, {});
        QVERIFY(numberOf(menu, u"open-1"_s) != address);
        QVERIFY(numberOf(menu, u"open-2"_s) != address);
    }

    void entryThatDoesSomethingElseGetsANewNumber()
    {
        Menu before = Samples::menu(1);
        before.insert(3, openAddress(1, u"old.example"_s));
        ExportedMenu menu = exported(before);
        const int old = numberOf(menu, u"open-1"_s);
        before[3] = openAddress(1, u"new.example"_s);
        QVERIFY(menu.update(before, {}).layoutChanged);
        QVERIFY(!menu.contains(old));
    }

    void movedEntriesKeepTheirNumbers()
    {
        ExportedMenu menu = exported(Samples::menu(2));
        const int first = numberOf(menu, u"tunnel-1"_s);
        Menu next = Samples::menu(2);
        next.swapItemsAt(2, 3);
        const MenuChange change = menu.update(next, {});
        QVERIFY(change.layoutChanged && change.updated.isEmpty());
        QCOMPARE(numberOf(menu, u"tunnel-1"_s), first);
    }

    void anotherPanelGetsItsOwnLabels()
    {
        ExportedMenu menu = exported(Samples::menu(3));
        HostQuirks oneLine;
        oneLine.twoLineLabels = false;
        const MenuChange change = menu.update(Samples::menu(3), oneLine);
        QVERIFY(!change.layoutChanged);
        QCOMPARE(change.updated.size(), 3); // entries with a detail
        QCOMPARE(change.updated.first().properties.keys(), QStringList{u"label"_s});
    }

    void layoutFollowsDepthAndFilter()
    {
        const ExportedMenu menu = exported(Samples::menu(1));
        QCOMPARE(menu.layout(0, 0, {})->children.size(), 0);
        QCOMPARE(menu.layout(0, 1, {})->children.size(), Samples::menu(1).size());
        const int number = numberOf(menu, u"tunnel-1"_s);
        QCOMPARE(menu.layout(number, -1, {u"label"_s})->properties.keys(), QStringList{u"label"_s});
        QVERIFY(menu.layout(number, -1, {u"nonsense"_s})->properties.isEmpty());
        QVERIFY(!menu.layout(99, -1, {}));
        QVERIFY(!menu.layout(-1, -1, {}));
    }

    void propertiesHaveDefaults()
    {
        const ExportedMenu menu = exported(Samples::menu(1));
        const int settings = numberOf(menu, u"settings"_s);
        QCOMPARE(menu.property(settings, u"enabled"_s), QVariant(true));
        QCOMPARE(menu.property(0, u"children-display"_s), QVariant(u"submenu"_s));
        QVERIFY(!menu.property(settings, u"nonsense"_s).isValid());
        QVERIFY(!menu.property(99, u"label"_s).isValid());
        QCOMPARE(menu.properties({settings, 99, settings}, {u"label"_s}).size(), 1);
        QCOMPARE(menu.properties({}, {}).size(), Samples::menu(1).size() + 1);
    }

    void entriesUnderOneIdAreShownOnce()
    {
        const ExportedMenu menu = exported(
            {command(u"x"_s, u"a"_s, MenuAction::Quit), command(u"x"_s, u"b"_s, MenuAction::OpenLogs)});
        QCOMPARE(menu.layout(0, -1, {})->children.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestExportedMenu)
#include "tst_exportedmenu.moc"
