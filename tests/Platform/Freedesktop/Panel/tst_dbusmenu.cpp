// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DBusMenu.h"
#include "EntryText.h"
#include "PanelTest.h"
#include "dbusmenuProxy.h"

#include <memory>
#include <utility>

namespace {

constexpr int unknown = 4711;
const QDBusVariant none(0);

QStringList lines(const MenuPropertiesList &list)
{
    QStringList lines;
    for (const auto &[id, properties] : list)
        lines += QString::number(id) + u' ' + line(properties);
    return lines;
}

template <typename T> T answer(const QDBusPendingCall &call, int index = 0)
{
    return qdbus_cast<T>(answerTo(call).arguments().value(index));
}

} // namespace

/// The menu as a panel sees it.
class TestDBusMenu : public QObject
{
    Q_OBJECT

private:
    QStringList layout(int id = 0, int depth = -1, const QStringList &names = {})
    {
        const auto root = answer<MenuLayout>(m_panel.GetLayout(id, depth, names), 1);
        MenuPropertiesList layout{{root.id, root.properties}};
        for (const QVariant &child : root.children) {
            const auto entry = qdbus_cast<MenuLayout>(child);
            layout += {entry.id, entry.properties};
        }
        return lines(layout);
    }
    /// Sets the menu and returns all that the panel hears of it.
    QStringList heardOf(const Menu &menu)
    {
        m_menu->setMenu(menu);
        layout(); // what was sent before has come by now
        return std::exchange(m_heard, {});
    }

    BusClient m_client{u"client"_s};
    dbusmenuProxy m_panel = m_client.proxy<dbusmenuProxy>(u"/MenuBar"_s);
    std::unique_ptr<DBusMenu> m_menu;
    QStringList m_heard;
    QStringList m_chosen;

private Q_SLOTS:
    void initTestCase()
    {
        connect(&m_panel, &dbusmenuProxy::ItemsPropertiesUpdated, this,
                [this](const MenuPropertiesList &updated, const MenuPropertyNamesList &removed) {
                    m_heard += lines(updated);
                    for (const auto &[id, names] : removed)
                        m_heard += u"%1 without "_s.arg(id) + names.join(u' ');
                });
        connect(&m_panel, &dbusmenuProxy::LayoutUpdated, this, [this](uint revision, int parent) {
            m_heard += u"revision %1 of %2"_s.arg(revision).arg(parent);
        });
    }
    void init()
    {
        m_menu.reset();
        m_menu = std::make_unique<DBusMenu>(QDBusConnection::sessionBus(), u"/MenuBar"_s);
        m_chosen.clear();
        connect(m_menu.get(), &DBusMenu::chosen, this, [this](const MenuItem &item) { m_chosen += item.id; });
        heardOf(menu());
    }

    void answersAreComplete()
    {
        const QStringList all{u"0 children-display=submenu"_s,
                              u"1 enabled=false label=Morvanel"_s,
                              u"2 type=separator"_s,
                              u"3 accessible-desc=a_1_, Stopped icon-data=32ink label=a__1__\nStopped"_s,
                              u"4 icon-data=32 label=    a.example"_s,
                              u"5 accessible-desc=a_2_, Stopped icon-data=32ink label=a__2__\nStopped"_s,
                              u"6 label=Logs shortcut=Control+comma"_s,
                              u"7 label=Quit shortcut=Control+q"_s};
        QCOMPARE(layout(), all);
        QCOMPARE(layout(0, 0), all.first(1));
        QCOMPARE(layout(7, -1, {u"label"_s}), QStringList{u"7 label=Quit"_s});
        QCOMPARE(line(propertiesOf(m_panel)), u"Status=normal TextDirection=ltr Version=3"_s);
        const QString names =
            u"type label enabled visible icon-name icon-data shortcut toggle-type toggle-state "
            "children-display disposition accessible-desc"_s;
        QStringList values; // most of them the interface's defaults
        for (const QString &name : names.split(u' ')) {
            const QVariant value = answer<QDBusVariant>(m_panel.GetProperty(7, name)).variant();
            values += value.isValid() ? value.toString() : u"?"_s;
        }
        QCOMPARE(values.join(u'|'), u"standard|Quit|true|true|||||-1||normal|"_s);
        QCOMPARE(lines(answer<MenuPropertiesList>(m_panel.GetGroupProperties({}, {}))), all);
        QCOMPARE(lines(answer<MenuPropertiesList>(m_panel.GetGroupProperties({7, unknown, 7}, {u"label"_s}))),
                 QStringList{u"7 label=Quit"_s});
        QCOMPARE(answer<QList<int>>(m_panel.AboutToShowGroup({0, unknown}), 1), QList<int>{unknown});
        const MenuEventList events{{7, u"hovered"_s, none, 0}, {unknown, u"clicked"_s, none, 0}};
        QCOMPARE(answer<QList<int>>(m_panel.EventGroup(events)), QList<int>{unknown});
    }

    void textsArePlain()
    {
        struct Row
        {
            QString title;
            QString detail;
            QString label;
            QString description;
        };
        const QString endless(10'000, u'n');
        for (const auto &[title, detail, label, description] :
             {Row{u"a_b__c"_s, u"_"_s, u"a__b____c\n__"_s, u"a_b__c, _"_s},
              Row{u"<b>&amp;&</b>"_s, {}, u"<b>&amp;&</b>"_s, {}},
              Row{u"a\nb"_s, u"c\u2028d"_s, u"a b\nc d"_s, u"a b, c d"_s},
              Row{{}, u"Stopped"_s, u"\nStopped"_s, u", Stopped"_s},
              Row{u"שלום"_s, u"up"_s, u"\u200eשלום\nup"_s, u"שלום, up"_s}, // begins at the left all the same
              Row{u"web — Stopped"_s, u"Stopped"_s, u"web — Stopped\nStopped"_s, {}},
              Row{endless, u"up"_s, QString(100, u'n') + u'…' + QString(99, u'n') + u"\nup"_s,
                  QString(250, u'n') + u'…' + QString(249, u'n') + u", up"_s}}) {
            MenuItem item = tunnel(1, detail);
            item.title = title;
            QCOMPARE(EntryText::label(item, {}), label);
            QCOMPARE(EntryText::accessibleDescription(item), description);
        }
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

    /// A number stays with its entry and is never given to another one.
    void differencesAreAnnounced()
    {
        Menu next = menu();
        QCOMPARE(heardOf(next), QStringList());
        next[4] = tunnel(2, u"Connected"_s, ColorRole::Green);
        next[0].isEnabled = true;
        QCOMPARE(heardOf(next),
                 (QStringList{u"5 accessible-desc=a_2_, Connected icon-data=32ink label=a__2__\nConnected"_s,
                              u"1 without enabled"_s}));
        next.swapItemsAt(2, 4);
        next += next[2]; // under the same id it could not be told from the first
        QCOMPARE(heardOf(next), QStringList{u"revision 3 of 0"_s});
        next[3] = address(u"b.example"_s); // the same entry, but it does something else
        QCOMPARE(heardOf(next), QStringList{u"revision 4 of 0"_s});
        QCOMPARE(layout(0, 1, {u"label"_s}).mid(3),
                 (QStringList{u"5 label=a__2__\nConnected"_s, u"8 label=    b.example"_s,
                              u"3 label=a__1__\nStopped"_s, u"6 label=Logs"_s, u"7 label=Quit"_s}));
        next.removeAt(3);
        QCOMPARE(heardOf(next), QStringList{u"revision 5 of 0"_s});
        m_menu->setQuirks({.joinsLines = true});
        QCOMPARE(heardOf(next),
                 (QStringList{u"5 label=a__2__ — Connected"_s, u"3 label=a__1__ — Stopped"_s}));
    }

    void clickReachesTheEntryAsDrawn()
    {
        for (const int id : {1, 2, 3}) // header, separator and a tunnel
            answerTo(m_panel.Event(id, u"clicked"_s, none, 0));
        QTRY_COMPARE(m_chosen, QStringList{u"tunnel-1"_s});
        m_menu->Event(5, u"clicked"_s, none, 0);
        m_menu->setMenu({}); // gone before the click acts
        QTRY_COMPARE(m_chosen, (QStringList{u"tunnel-1"_s, u"tunnel-2"_s}));
    }

    void shownMenuIsUpToDate()
    {
        Menu next = menu();
        connect(m_menu.get(), &DBusMenu::aboutToShow, m_menu.get(), [&] { m_menu->setMenu(next); });
        QCOMPARE(answer<bool>(m_panel.AboutToShow(0)), false);
        QCOMPARE(answer<QList<int>>(m_panel.AboutToShowGroup({0})), QList<int>());
        next.removeLast();
        QCOMPARE(answer<QList<int>>(m_panel.AboutToShowGroup({0, 1})), (QList<int>{0, 1}));
        next.removeLast();
        QCOMPARE(answer<bool>(m_panel.AboutToShow(0)), true);
        next.removeLast();
        answerTo(m_panel.Event(0, u"opened"_s, none, 0)); // all that some panels send
        QTRY_COMPARE(layout().size(), 5);
    }
};

QTEST_MAIN(TestDBusMenu)
#include "tst_dbusmenu.moc"
