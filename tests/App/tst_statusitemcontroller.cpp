// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusItemController.h"

#include "AppFakes.h"
#include "Fakes.h"
#include "TunnelRunner.h"

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QString text(const Symbol &image)
{
    static const QStringList colors{u"none"_s, u"green"_s, u"orange"_s, u"red"_s, u"secondary"_s, u"grey"_s};
    return image.symbolName + u' ' + colors.at(int(image.color)) +
           (image.isTemplate ? u" template"_s : QString());
}

/// All of an entry but its id: `    title / detail (tooltip) ^key {dot} disabled -> action object`.
QString text(const MenuItem &item)
{
    static const QStringList actions{u"nothing"_s,  u"toggle"_s, u"open"_s,     u"start all"_s,
                                     u"stop all"_s, u"logs"_s,   u"settings"_s, u"quit"_s};
    QString line = item.isSeparator ? u"---"_s : QString(4 * item.indentation, u' ') + item.title;
    if (!item.detail.isEmpty())
        line += u" / "_s + item.detail;
    if (!item.toolTip.isEmpty())
        line += u" ("_s + item.toolTip + u")"_s;
    if (!item.shortcut.isEmpty())
        line += u" ^"_s + item.shortcut;
    if (item.image)
        line += u" {"_s + text(*item.image) + u"}"_s;
    if (!item.isEnabled)
        line += u" disabled"_s;
    if (item.action != MenuAction::None)
        line += u" -> "_s + actions.at(int(item.action));
    if (const auto *url = std::get_if<QUrl>(&item.data))
        line += u' ' + QString::fromLatin1(url->toEncoded());
    return line;
}

QStringList text(const Menu &menu)
{
    QStringList lines;
    for (const MenuItem &item : menu)
        lines += text(item);
    return lines;
}

/// A controller over a real manager.
struct Desk
{
    FakeWorld world;
    TunnelManager manager{world.services()};
    Journal journal;
    FakeWindows windows{journal};
    FakeApplication application{journal};
    FakeStatusItem item;
    StatusItemController controller{manager, windows, item, application};

    QUuid add(const QString &name, const QString &hostname = {})
    {
        return FakeWorld::addTunnel(manager, name, hostname).id;
    }
    /// Adds a tunnel and brings it into a state.
    void add(const QString &hostname, TunnelState::Case state)
    {
        const QUuid id = add(u"web"_s, hostname);
        if (state == TunnelState::Case::Failed)
            return manager.runner(id)->fail(u"no %1 way"_s);
        if (state == TunnelState::Case::Stopped)
            return;
        world.connect(manager, id, state == TunnelState::Case::Starting ? 0 : 2);
        if (state == TunnelState::Case::Stopping)
            manager.stop(id);
    }
    void settle() { QCoreApplication::processEvents(); }
    void choose(const QString &title)
    {
        settle();
        item.callbacks.itemChosen(item.entry(title));
    }
};

const QStringList commands{u"---"_s, u"Log… ^l -> logs"_s, u"Settings… ^, -> settings"_s, u"---"_s,
                           u"Quit Morvanel ^q -> quit"_s};
using States = QList<TunnelState::Case>;
constexpr auto stopped = TunnelState::Case::Stopped;
constexpr auto connected = TunnelState::Case::Connected;
constexpr auto failed = TunnelState::Case::Failed;

} // namespace

class TestStatusItemController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void content()
    {
        const QList<std::pair<States, QStringList>> rows{
            {{stopped},
             {u"bolt.horizontal.icloud none template"_s, u"No active tunnels"_s, u""_s, u""_s,
              u"Morvanel: no active tunnels"_s}},
            {{TunnelState::Case::Starting, connected},
             {u"arrow.clockwise.icloud orange"_s, u"Connecting"_s, u""_s, u"1"_s, u"Morvanel: connecting"_s}},
            {{connected, stopped},
             {u"bolt.horizontal.icloud.fill green"_s, u"Tunnels connected"_s, u""_s, u"1"_s,
              u"Morvanel: 1 of 2 tunnels connected"_s}},
            {{connected, connected, failed},
             {u"exclamationmark.icloud.fill red"_s, u"A tunnel has a problem"_s, u" 2"_s, u"2"_s,
              u"Morvanel: a tunnel has a problem"_s}}};
        for (const auto &[states, shown] : rows) {
            Desk desk;
            for (const TunnelState::Case state : states)
                desk.add({}, state);
            desk.settle();
            const StatusItemContent &content = desk.item.content;
            QCOMPARE((QStringList{text(*content.image), content.image->description, content.title,
                                  content.badge, content.toolTip}),
                     shown);
        }
    }

    void tunnelEntries_data()
    {
        QTest::addColumn<QString>("hostname");
        QTest::addColumn<TunnelState::Case>("state");
        QTest::addColumn<QStringList>("lines");
        const auto row = [](const QString &hostname, TunnelState::Case state, const QString &detail,
                            const QString &click, const QString &color, const QStringList &open = {}) {
            const QString entry =
                u"web / %1 (Click to %2 the tunnel) {circle.fill %3} -> toggle"_s.arg(detail, click, color);
            QTest::addRow("%d, %s", int(state), qPrintable(hostname))
                << hostname << state << QStringList{entry} + open;
        };
        const auto isConnected = [row](const QString &hostname, const QStringList &open) {
            row(hostname, connected, u"Connected (2 connections)"_s, u"stop"_s, u"green"_s, open);
        };
        isConnected(u" API.Example.org "_s, {u"    Open API.Example.org -> open https://api.example.org"_s});
        isConnected(u"HTTP://http:80/b?c"_s, {u"    Open http -> open http://http:80/b?c"_s});
        isConnected(u"file:///srv/a%20b"_s, {u"    Open file:///srv/a%20b -> open file:///srv/a%20b"_s});
        row({}, TunnelState::Case::Stopping, u"Stopping…"_s, u"stop"_s, u"orange"_s);
        row({}, stopped, u"Stopped · click to start"_s, u"start"_s, u"grey"_s);
        row(u" a.example "_s, stopped, u"Stopped ·  a.example "_s, u"start"_s, u"grey"_s);
        row({}, failed, u"Error · no %1 way"_s, u"start"_s, u"red"_s);
    }
    void tunnelEntries()
    {
        QFETCH(QString, hostname);
        QFETCH(TunnelState::Case, state);
        Desk desk;
        desk.add(hostname, state);
        desk.settle();
        QTEST(text(desk.item.menu.mid(2, desk.item.menu.size() - 2 - 7)), "lines");
        const TunnelConfig &tunnel = desk.manager.tunnels().first();
        QCOMPARE(desk.item.menu[2].image->description, desk.manager.state(tunnel.id).label());
    }

    void menus_data()
    {
        QTest::addColumn<States>("states");
        QTest::addColumn<bool>("hasCloudflared");
        QTest::addColumn<QStringList>("menu"); // without the entries of tunnels
        QTest::addColumn<QStringList>("dockMenu");
        const auto header = [](const QString &title) {
            return QStringList{title + u" disabled"_s, u"---"_s};
        };
        const QString stop = u"Stop All -> stop all"_s;
        const QString start = u"Start All -> start all"_s;
        const QString up = u"web — Connected (2 connections) {circle.fill green} -> toggle"_s;
        const QString down = u"web — Stopped {circle.fill grey} -> toggle"_s;
        const QString logs = u"Log… -> logs"_s;

        QTest::newRow("none") << States{} << true
                              << header(u"Morvanel"_s) + QStringList{u"No tunnels configured disabled"_s,
                                                                     u"Add Tunnel… -> settings"_s}
                              << QStringList{logs};
        QTest::newRow("one, no cloudflared")
            << States{connected} << false
            << header(u"Morvanel · 1/1 connected"_s) +
                   QStringList{u"---"_s, u"⚠︎ cloudflared not found -> settings"_s, u"---"_s, stop}
            << QStringList{up, u"---"_s, stop, logs};
        QTest::newRow("one of two") << States{stopped, connected} << true
                                    << header(u"Morvanel · 1/2 connected"_s) +
                                           QStringList{u"---"_s, start, stop}
                                    << QStringList{down, up, u"---"_s, stop, logs};
        QTest::newRow("all") << States{connected, connected} << true
                             << header(u"Morvanel · 2/2 connected"_s) +
                                    QStringList{u"---"_s, u"Start All disabled -> start all"_s, stop}
                             << QStringList{up, up, u"---"_s, stop, logs};
        const QString noStop = u"Stop All disabled -> stop all"_s;
        QTest::newRow("nothing runs") << States{stopped} << true
                                      << header(u"Morvanel · 0/1 connected"_s) + QStringList{u"---"_s, noStop}
                                      << QStringList{down, u"---"_s, noStop, logs};
    }
    void menus()
    {
        QFETCH(States, states);
        QFETCH(bool, hasCloudflared);
        QFETCH(QStringList, menu);
        Desk desk;
        for (const TunnelState::Case state : states)
            desk.add({}, state);
        desk.settle();
        if (!hasCloudflared)
            QVERIFY(QFile::remove(desk.world.cloudflaredPath));
        desk.item.callbacks.menuAboutToShow(); // nothing announces that the file has gone
        QStringList shown = text(desk.item.menu);
        shown.removeIf([](const QString &line) { return line.endsWith("-> toggle"_L1); });
        QCOMPARE(shown, menu + commands);
        QTEST(text(desk.item.dockMenu), "dockMenu");
    }

    void longTextsAreCut()
    {
        Desk desk;
        const QString message(100, u'x');
        desk.manager.runner(desk.add(QString(300, u'漢')))->fail(message);
        desk.settle();
        QCOMPARE(desk.item.menu[2].detail, u"Error · "_s + message.first(70));
        QCOMPARE(desk.item.dockMenu.first().title,
                 QString(100, u'漢') + u'…' + QString(99, u'漢') + u" — Error: "_s + message);
    }

    /// A stored list may hold one tunnel twice.
    void entryIdsAreUnique()
    {
        Desk desk;
        const TunnelConfig tunnel = FakeWorld::addTunnel(desk.manager, u"web"_s, u"a.example"_s);
        desk.manager.add(tunnel, u"eyJ"_s);
        desk.world.connect(desk.manager, tunnel.id);
        desk.settle();
        for (const Menu &menu : {desk.item.menu, desk.item.dockMenu}) {
            QSet<QString> ids;
            for (const MenuItem &item : menu)
                ids += item.id;
            QCOMPARE(ids.size(), menu.size());
            QVERIFY(!ids.contains(QString()));
        }
    }

    /// A burst does not make the desktop work for each of its steps, and no count is an old one.
    void announcementsOfOneTurnGiveOneRefresh()
    {
        Desk desk;
        const QUuid web = desk.add(u"web"_s);
        const QUuid ssh = desk.add(u"ssh"_s);
        desk.settle();
        const int before = desk.item.refreshes;
        auto &child = desk.world.connect(desk.manager, web, 4);
        for (int i = 0; i < 1000; ++i)
            child.write("INF Unregistered tunnel connection connIndex=0\n"
                        "INF Registered tunnel connection connIndex=0\n");
        desk.manager.remove(ssh);
        QCOMPARE(desk.item.refreshes, before);
        desk.settle();
        QCOMPARE(desk.item.refreshes, before + 1);
        QCOMPARE(desk.item.entry(u"web"_s).detail, u"Connected (4 connections)"_s);
        QCOMPARE(desk.item.content.badge, u"1"_s);
        QCOMPARE(desk.item.entry(u"ssh"_s), MenuItem());
        child.end(1);
        desk.settle();
        QCOMPARE(desk.item.content.badge, QString());
        QCOMPARE(desk.item.refreshes, before + 2);
    }

    void clickActsOnTheStateOfThatMoment()
    {
        Desk desk;
        const QUuid web = desk.add(u"web"_s);
        desk.settle();
        const MenuItem drawnStopped = desk.item.entry(u"web"_s);
        const auto state = [&] { return desk.manager.state(web).kind(); };
        desk.item.callbacks.itemChosen(drawnStopped);
        QCOMPARE(state(), TunnelState::Case::Starting);
        desk.item.callbacks.itemChosen(drawnStopped); // it runs by now
        QCOMPARE(state(), TunnelState::Case::Stopping);
        desk.world.launcher.last().end(0);
        desk.manager.runner(web)->fail(u"x"_s);
        desk.choose(u"web"_s);
        QCOMPARE(state(), TunnelState::Case::Starting);
        desk.settle();
        desk.item.callbacks.itemChosen(desk.item.dockMenu.first());
        QCOMPARE(state(), TunnelState::Case::Stopping);
    }

    void commandsAct()
    {
        Desk desk;
        desk.choose(u"Add Tunnel…"_s);
        desk.choose(u"Log…"_s);
        desk.choose(u"Settings…"_s);
        desk.choose(u"Quit Morvanel"_s);
        QCOMPARE(desk.journal, (Journal{u"settings"_s, u"logs"_s, u"settings"_s, u"terminate"_s}));

        const QUuid web = desk.add(u"web"_s, u"web.example.org"_s);
        desk.add(u"ssh"_s);
        desk.choose(u"Start All"_s);
        QCOMPARE(desk.manager.runningCount(), 2);
        desk.choose(u"Stop All"_s);
        for (const auto &child : desk.world.launcher.children)
            child->end(0);
        QCOMPARE(desk.manager.runningCount(), 0);

        desk.world.connect(desk.manager, web);
        desk.settle();
        const MenuItem drawn = desk.item.entry(u"Open web.example.org"_s);
        desk.manager.stop(web);
        desk.item.callbacks.itemChosen(drawn);
        QCOMPARE(desk.journal.last(), u"open https://web.example.org"_s);
    }

    void oddEntriesDoNothing()
    {
        Desk desk;
        desk.add({}, failed);
        desk.settle();
        const Menu before = desk.item.menu;
        desk.item.callbacks.itemChosen(MenuItem());
        for (MenuItem entry : before) {
            entry.data = {};
            if (entry.action == MenuAction::ToggleTunnel || !entry.isEnabled)
                desk.item.callbacks.itemChosen(entry); // stopping all would clear the failure
        }
        desk.settle();
        QCOMPARE(desk.item.menu, before);
        QCOMPARE(desk.journal, Journal());
        QVERIFY(desk.world.launcher.children.empty());
    }
};

QTEST_GUILESS_MAIN(TestStatusItemController)
#include "tst_statusitemcontroller.moc"
