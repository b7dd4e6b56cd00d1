// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "BusClient.h"
#include "DBusMenuExporter.h"
#include "Samples.h"

#include <QDBusAbstractInterface>
#include <QDBusVariant>
#include <QImage>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

static const QString menuInterface = u"com.canonical.dbusmenu"_s;

/// The signals of com.canonical.dbusmenu.
class MenuSignals : public QDBusAbstractInterface
{
    Q_OBJECT

public:
    explicit MenuSignals(const QDBusConnection &bus)
        : QDBusAbstractInterface(QDBusConnection::sessionBus().baseService(), u"/MenuBar"_s,
                                 "com.canonical.dbusmenu", bus, nullptr)
    {
    }

Q_SIGNALS:
    void LayoutUpdated(uint revision, int parent);
    void ItemsPropertiesUpdated(const MenuPropertiesList &updated, const MenuPropertyNamesList &removed);
};

/// Hears the signals of the menu, as a panel does.
struct Panel
{
    explicit Panel(const QDBusConnection &bus)
        : menu(bus)
    {
    }

    MenuSignals menu;
    QSignalSpy layouts{&menu, &MenuSignals::LayoutUpdated};
    QSignalSpy properties{&menu, &MenuSignals::ItemsPropertiesUpdated};
};

class TestDBusMenuExporter : public QObject
{
    Q_OBJECT

private:
    QDBusMessage askMenu(const QString &method, const QVariantList &arguments)
    {
        return m_client->ask(BusClient::call(u"/MenuBar"_s, menuInterface, method, arguments));
    }
    MenuLayout layout()
    {
        return qdbus_cast<MenuLayout>(askMenu(u"GetLayout"_s, {0, -1, QStringList()}).arguments().value(1));
    }
    int numberOf(const QString &label)
    {
        for (const MenuLayout &child : layout().children) {
            if (child.properties.value(u"label"_s).toString().startsWith(label))
                return child.id;
        }
        return -1;
    }

    std::unique_ptr<BusClient> m_client;
    std::unique_ptr<Panel> m_panel;
    std::unique_ptr<DBusMenuExporter> m_menu;
    QList<MenuItem> m_chosen;

private Q_SLOTS:
    void init()
    {
        m_client = std::make_unique<BusClient>(u"client"_s);
        m_panel = std::make_unique<Panel>(m_client->bus());
        m_menu = std::make_unique<DBusMenuExporter>(QDBusConnection::sessionBus(), u"/MenuBar"_s);
        m_menu->setMenu(Samples::menu(3));
        m_chosen.clear();
        connect(m_menu.get(), &DBusMenuExporter::chosen, this,
                [this](const MenuItem &item) { m_chosen += item; });
        QTRY_COMPARE(m_panel->layouts.count(), 1);
        m_panel->layouts.clear();
        m_panel->properties.clear();
    }
    void cleanup()
    {
        m_menu.reset();
        m_panel.reset();
        m_client.reset();
    }

    void layoutIsComplete()
    {
        const MenuLayout root = layout();
        QCOMPARE(root.id, 0);
        QCOMPARE(root.properties.value(u"children-display"_s).toString(), u"submenu"_s);
        QCOMPARE(root.children.size(), Samples::menu(3).size());
        QCOMPARE(root.children[0].properties.value(u"enabled"_s), QVariant(false));
        QCOMPARE(root.children[1].properties.value(u"type"_s).toString(), u"separator"_s);
        const QVariantMap tunnel = root.children[2].properties;
        QCOMPARE(tunnel.value(u"label"_s).toString(), u"tunnel__1\nStopped · click to start"_s);
        QVERIFY(!QImage::fromData(tunnel.value(u"icon-data"_s).toByteArray(), "PNG").isNull());
        const auto keys =
            qdbus_cast<MenuShortcut>(root.children[root.children.size() - 3].properties.value(u"shortcut"_s));
        QCOMPARE(keys, (MenuShortcut{{u"Control"_s, u"comma"_s}}));
    }

    void methodsAnswer()
    {
        const int quit = numberOf(u"Quit"_s);
        const auto value = askMenu(u"GetProperty"_s, {quit, u"label"_s}).arguments().value(0);
        QCOMPARE(value.value<QDBusVariant>().variant(), QVariant(u"Quit Morvanel"_s));
        const auto group = qdbus_cast<MenuPropertiesList>(
            askMenu(u"GetGroupProperties"_s,
                    {QVariant::fromValue(QList<int>{quit, 4711}), QStringList{u"label"_s}})
                .arguments()
                .value(0));
        QCOMPARE(group, (MenuPropertiesList{{quit, {{u"label"_s, u"Quit Morvanel"_s}}}}));
        QCOMPARE(
            askMenu(u"GetGroupProperties"_s, {QVariant::fromValue(QList<int>{4711, 4712}), QStringList()})
                .type(),
            QDBusMessage::ErrorMessage);
        const auto shown =
            askMenu(u"AboutToShowGroup"_s, {QVariant::fromValue(QList<int>{0, 4711})}).arguments();
        QCOMPARE(qdbus_cast<QList<int>>(shown.value(0)), QList<int>());
        QCOMPARE(qdbus_cast<QList<int>>(shown.value(1)), QList<int>{4711});
        const MenuEventList events{{quit, u"hovered"_s, 0, 0}, {4711, u"clicked"_s, 0, 0}};
        const auto errors = askMenu(u"EventGroup"_s, {QVariant::fromValue(events)}).arguments();
        QCOMPARE(qdbus_cast<QList<int>>(errors.value(0)), QList<int>{4711});
        const QVariantMap properties = qdbus_cast<QVariantMap>(
            m_client
                ->ask(BusClient::call(u"/MenuBar"_s, u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s,
                                      {menuInterface}))
                .arguments()
                .value(0));
        QCOMPARE(properties, QVariantMap({{u"Version"_s, 3U},
                                          {u"Status"_s, u"normal"_s},
                                          {u"TextDirection"_s, u"ltr"_s},
                                          {u"IconThemePath"_s, QStringList()}}));
    }

    void badCallsGetAnError_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QVariantList>("arguments");
        const QVariant none = QVariant::fromValue(QDBusVariant(0));
        const auto row = [](const char *name, const QString &method, const QVariantList &arguments) {
            QTest::newRow(name) << method << arguments;
        };
        row("layout of nothing", u"GetLayout"_s, {4711, -1, QStringList()});
        row("negative entry", u"GetLayout"_s, {-1, 0, QStringList()});
        row("property of nothing", u"GetProperty"_s, {4711, u"label"_s});
        row("unknown property", u"GetProperty"_s, {0, u"nonsense"_s});
        row("event for nothing", u"Event"_s, {4711, u"clicked"_s, none, 0U});
        row("showing nothing", u"AboutToShow"_s, {4711});
        row("showing only nothing", u"AboutToShowGroup"_s, {QVariant::fromValue(QList<int>{4711})});
        row("events for nothing", u"EventGroup"_s,
            {QVariant::fromValue(MenuEventList{{4711, u"clicked"_s, 0, 0}})});
    }

    void badCallsGetAnError()
    {
        QFETCH(QString, method);
        QFETCH(QVariantList, arguments);
        QCOMPARE(askMenu(method, arguments).type(), QDBusMessage::ErrorMessage);
        QCOMPARE(layout().children.size(), Samples::menu(3).size());
    }

    void clickReachesTheEntryAsDrawn()
    {
        const QVariant none = QVariant::fromValue(QDBusVariant(0));
        const int number = numberOf(u"tunnel__2"_s);
        const MenuItem drawn = Samples::menu(3)[3];
        // The tunnel is removed before the click is handled, but the panel has not heard of it yet.
        m_menu->setMenu(Samples::menu(1));
        QVERIFY(m_menu->handleEvent(number, u"clicked"_s));
        QTRY_COMPARE(m_chosen, QList<MenuItem>{drawn});
        QTRY_COMPARE(m_panel->layouts.count(), 1);
        QCOMPARE(askMenu(u"Event"_s, {number, u"clicked"_s, none, 0U}).type(), QDBusMessage::ErrorMessage);
        QCOMPARE(m_chosen.size(), 1);
    }

    void disabledEntriesAndSeparatorsCannotBeChosen()
    {
        const QVariant none = QVariant::fromValue(QDBusVariant(0));
        const MenuLayout root = layout();
        for (const int row : {0, 1, 2})
            askMenu(u"Event"_s, {root.children[row].id, u"clicked"_s, none, 0U});
        QTRY_COMPARE(m_chosen.size(), 1);
        QCOMPARE(m_chosen.first().id, u"tunnel-1"_s);
    }

    void shownMenuIsUpToDate()
    {
        int tunnels = 5;
        const QObject scope;
        connect(m_menu.get(), &DBusMenuExporter::aboutToShow, &scope,
                [this, &tunnels] { m_menu->setMenu(Samples::menu(tunnels)); });
        QCOMPARE(askMenu(u"AboutToShow"_s, {0}).arguments().value(0), QVariant(true));
        QCOMPARE(layout().children.size(), Samples::menu(5).size());
        QCOMPARE(askMenu(u"AboutToShow"_s, {0}).arguments().value(0), QVariant(false));
        tunnels = 6;
        m_menu->handleEvent(0, u"opened"_s); // all that some panels say
        QTRY_COMPARE(layout().children.size(), Samples::menu(6).size());
    }

    void oneTurnSendsOneRefresh()
    {
        const auto before = askMenu(u"GetLayout"_s, {0, 0, QStringList()}).arguments().value(0).toUInt();
        for (int tunnels = 4; tunnels < 50; ++tunnels)
            m_menu->setMenu(Samples::menu(tunnels));
        QTRY_COMPARE(m_panel->layouts.count(), 1);
        QCOMPARE(m_panel->layouts.first(), QVariantList({before + 1, 0}));
        QCOMPARE(layout().children.size(), Samples::menu(49).size());
        m_menu->setMenu(Samples::menu(49));
        layout();
        QCOMPARE(m_panel->layouts.count(), 1);
        QCOMPARE(m_panel->properties.count(), 1); // the header's text
    }
};

QTEST_MAIN(TestDBusMenuExporter)
#include "tst_dbusmenuexporter.moc"
