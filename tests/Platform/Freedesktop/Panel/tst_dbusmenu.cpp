// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DBusMenu.h"
#include "PanelTest.h"
#include "dbusmenuProxy.h"

#include <QImage>
#include <QTest>

#include <memory>

namespace {

constexpr int unknown = 4711;
const QDBusVariant none(0);

QString labelOf(const MenuLayout &entry)
{
    return entry.properties.value(u"label"_s).toString();
}

} // namespace

/// The menu as a panel sees it.
class TestDBusMenu : public QObject
{
    Q_OBJECT

private:
    QList<MenuLayout> children(int depth = -1, const QStringList &names = {})
    {
        const QDBusMessage answer = answerTo(m_panel.GetLayout(ExportedMenu::rootId, depth, names));
        QList<MenuLayout> children;
        for (const QVariant &child : qdbus_cast<MenuLayout>(answer.arguments().value(1)).children)
            children += qdbus_cast<MenuLayout>(child);
        return children;
    }
    int numberOf(const QString &label)
    {
        for (const MenuLayout &child : children()) {
            if (labelOf(child).startsWith(label))
                return child.id;
        }
        return -1;
    }
    /// Sets the menu and returns the signals that the panel hears of it.
    std::pair<MenuPropertiesList, MenuPropertyNamesList> changesOf(const Menu &menu)
    {
        m_properties.clear();
        m_layouts.clear();
        m_menu->setMenu(menu);
        children(0); // what was sent before has come by now
        const QVariantList change = m_properties.value(0);
        return {change.value(0).value<MenuPropertiesList>(), change.value(1).value<MenuPropertyNamesList>()};
    }

    BusClient m_client{u"client"_s};
    dbusmenuProxy m_panel = m_client.proxy<dbusmenuProxy>(u"/MenuBar"_s);
    QSignalSpy m_properties{&m_panel, &dbusmenuProxy::ItemsPropertiesUpdated};
    QSignalSpy m_layouts{&m_panel, &dbusmenuProxy::LayoutUpdated};
    std::unique_ptr<DBusMenu> m_menu;
    QStringList m_chosen;

private Q_SLOTS:
    void init()
    {
        m_menu = std::make_unique<DBusMenu>(QDBusConnection::sessionBus(), u"/MenuBar"_s);
        m_chosen.clear();
        connect(m_menu.get(), &DBusMenu::chosen, this, [this](const MenuItem &item) { m_chosen += item.id; });
        changesOf(Samples::menu(3));
    }
    void cleanup() { m_menu.reset(); }

    void layoutIsComplete()
    {
        const QList<MenuLayout> entries = children();
        QCOMPARE(entries.size(), Samples::menu(3).size());
        QCOMPARE(entries[0].properties.value(u"enabled"_s), QVariant(false));
        QCOMPARE(entries[1].properties, QVariantMap({{u"type"_s, u"separator"_s}}));
        QCOMPARE(labelOf(entries[2]), u"tunnel__1\nStopped · click to start"_s);
        const QByteArray dot = entries[2].properties.value(u"icon-data"_s).toByteArray();
        QCOMPARE(QImage::fromData(dot, "PNG").size(), QSize(32, 32));
        const auto keysOf = [](const MenuLayout &entry) {
            return qdbus_cast<MenuShortcut>(entry.properties.value(u"shortcut"_s));
        };
        QCOMPARE(keysOf(entries[6]), (MenuShortcut{{u"Control"_s, u"comma"_s}}));
        QCOMPARE(keysOf(entries[7]), (MenuShortcut{{u"Control"_s, u"q"_s}}));
        QCOMPARE(children(0).size(), 0);
        QCOMPARE(children(1, {u"label"_s})[0].properties.keys(), QStringList{u"label"_s});
        QCOMPARE(propertiesOf(m_panel), QVariantMap({{u"Version"_s, 3U},
                                                     {u"Status"_s, u"normal"_s},
                                                     {u"TextDirection"_s, u"ltr"_s},
                                                     {u"IconThemePath"_s, QStringList()}}));
    }

    void groupsAnswerForTheEntriesThatExist()
    {
        const int quit = numberOf(u"Quit"_s);
        const auto first = [](const QDBusPendingCall &call) { return answerTo(call).arguments().value(0); };
        for (const auto &[name, value] : {std::pair(u"label"_s, QVariant(u"Quit Morvanel"_s)),
                                          std::pair(u"enabled"_s, QVariant(true))}) // written, and by default
            QCOMPARE(first(m_panel.GetProperty(quit, name)).value<QDBusVariant>().variant(), value);
        const auto group = [&](const QList<int> &ids) {
            return qdbus_cast<MenuPropertiesList>(first(m_panel.GetGroupProperties(ids, {u"label"_s})));
        };
        QCOMPARE(group({quit, unknown, quit}),
                 (MenuPropertiesList{{quit, {{u"label"_s, u"Quit Morvanel"_s}}}}));
        QCOMPARE(group({}).size(), Samples::menu(3).size() + 1);
        const QVariantList shown = answerTo(m_panel.AboutToShowGroup({0, unknown})).arguments();
        QCOMPARE(qdbus_cast<QList<int>>(shown.value(0)), QList<int>());
        QCOMPARE(qdbus_cast<QList<int>>(shown.value(1)), QList<int>{unknown});
        const MenuEventList events{{quit, u"hovered"_s, none, 0}, {unknown, u"clicked"_s, none, 0}};
        QCOMPARE(qdbus_cast<QList<int>>(first(m_panel.EventGroup(events))), QList<int>{unknown});
    }

    void badCallsGetAnError()
    {
        const QList<QDBusPendingCall> calls{
            m_panel.GetLayout(unknown, -1, {}),
            m_panel.GetLayout(-1, 0, {}),
            m_panel.GetGroupProperties({unknown, unknown + 1}, {}),
            m_panel.GetProperty(unknown, u"label"_s),
            m_panel.GetProperty(0, u"nonsense"_s),
            m_panel.Event(unknown, u"clicked"_s, none, 0),
            m_panel.EventGroup({{unknown, u"clicked"_s, none, 0}}),
            m_panel.AboutToShow(unknown),
            m_panel.AboutToShowGroup({unknown}),
        };
        for (const QDBusPendingCall &call : calls)
            QCOMPARE(answerTo(call).errorName(), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
    }

    void onlyDifferencesAreAnnounced()
    {
        const int number = numberOf(u"tunnel__2"_s);
        Menu next = Samples::menu(3);
        QVERIFY(changesOf(next).first.isEmpty() && m_properties.isEmpty() && m_layouts.isEmpty());

        next[3] = Samples::connected(2);
        const auto [updated, removed] = changesOf(next);
        QCOMPARE(updated.value(0).id, number);
        QCOMPARE(updated.value(0).properties.keys(),
                 QStringList({u"accessible-desc"_s, u"icon-data"_s, u"label"_s}));
        QVERIFY(updated.size() == 1 && removed.isEmpty() && m_layouts.isEmpty());

        next[0].isEnabled = true;
        QCOMPARE(changesOf(next).second, (MenuPropertyNamesList{{children()[0].id, {u"enabled"_s}}}));

        m_properties.clear();
        m_menu->setQuirks({.twoLineLabels = false, .refusesActivate = false});
        QTRY_COMPARE(m_properties.size(), 1);
        const auto labels = m_properties.first().first().value<MenuPropertiesList>();
        QCOMPARE(labels.size(), 3); // entries with a detail
        QCOMPARE(labels.first().properties.keys(), QStringList{u"label"_s});
    }

    void numbersStayWithTheirEntries()
    {
        const int first = numberOf(u"tunnel__1"_s);
        const uint revision = answerTo(m_panel.GetLayout(0, 0, {})).arguments().value(0).toUInt();
        Menu next = Samples::menu(3);
        next.insert(3, Samples::openAddress(1, u"a.example"_s));
        next.swapItemsAt(2, 4);
        changesOf(next);
        QCOMPARE(m_layouts.value(0), QVariantList({revision + 1, 0}));
        const int address = numberOf(u"    Open a.example"_s);
        QCOMPARE(numberOf(u"tunnel__1"_s), first);

        next[3] = Samples::openAddress(1, u"b.example"_s); // the same entry, but it does something else
        changesOf(next);
        QVERIFY(numberOf(u"    Open b.example"_s) > address);
        next.removeAt(3);
        changesOf(next);
        next.insert(3, Samples::openAddress(1, u"a.example"_s));
        changesOf(next);
        QVERIFY(numberOf(u"    Open a.example"_s) > address + 1);

        next += next[2]; // a second entry under the same id could not be told from the first
        changesOf(next);
        QCOMPARE(children().size(), next.size() - 1);
    }

    void clickReachesTheEntryAsDrawn()
    {
        const QList<MenuLayout> entries = children();
        for (const int row : {0, 1, 3}) // header, separator and a tunnel
            answerTo(m_panel.Event(entries[row].id, u"clicked"_s, none, 0));
        QTRY_COMPARE(m_chosen, QStringList{u"tunnel-2"_s});
        m_menu->Event(entries[4].id, u"clicked"_s, none, 0);
        m_menu->setMenu(Samples::menu(1)); // gone before the click acts
        QTRY_COMPARE(m_chosen.size(), 2);
        QCOMPARE(m_chosen.last(), u"tunnel-3"_s);
        QVERIFY(answerTo(m_panel.Event(entries[4].id, u"clicked"_s, none, 0)).type() ==
                QDBusMessage::ErrorMessage);
    }

    void shownMenuIsUpToDate()
    {
        int tunnels = 5;
        connect(m_menu.get(), &DBusMenu::aboutToShow, m_menu.get(),
                [this, &tunnels] { m_menu->setMenu(Samples::menu(tunnels)); });
        QCOMPARE(answerTo(m_panel.AboutToShow(0)).arguments().value(0), QVariant(true));
        QCOMPARE(children().size(), Samples::menu(5).size());
        QCOMPARE(answerTo(m_panel.AboutToShow(0)).arguments().value(0), QVariant(false));
        tunnels = 6;
        answerTo(m_panel.Event(0, u"opened"_s, none, 0)); // all that some panels send
        QTRY_COMPARE(children().size(), Samples::menu(6).size());
    }
};

QTEST_MAIN(TestDBusMenu)
#include "tst_dbusmenu.moc"
