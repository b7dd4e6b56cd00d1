// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusItemController.h"

#include "AppFakes.h"
#include "Fakes.h"
#include "StatusIcon.h"
#include "TunnelRunner.h"

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QString text(const Symbol &image)
{
    static const QStringList colors{u"none"_s, u"green"_s, u"orange"_s, u"red"_s, u"secondary"_s, u"grey"_s};
    return image.symbolName + u" \""_s + image.description + u"\" "_s + colors.at(int(image.color)) +
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
    std::unique_ptr<StatusItemController> controller =
        std::make_unique<StatusItemController>(manager, windows, item, application);

    QUuid add(const QString &name, const QString &hostname = {})
    {
        return FakeWorld::addTunnel(manager, name, hostname).id;
    }
    /// Adds a tunnel and brings it into a state that a table names by its first word.
    void add(const QString &name, const QString &hostname, const QString &state)
    {
        const QUuid id = add(name, hostname);
        if (state == "failed"_L1)
            return manager.runner(id)->fail(u"no %1 way"_s);
        if (state == "stopped"_L1)
            return;
        auto &child = world.connect(manager, id, state == "starting"_L1 ? 0 : 2);
        if (state == "reconnecting"_L1)
            child.write("INF Unregistered tunnel connection connIndex=0\n"
                        "INF Unregistered tunnel connection connIndex=1\n");
        if (state == "stopping"_L1)
            manager.stop(id);
    }
    void settle() { QCoreApplication::processEvents(); }
    void choose(const MenuItem &entry) { item.callbacks.itemChosen(entry); }
    void choose(const QString &title)
    {
        settle();
        choose(item.entry(title));
    }
    QStringList menu()
    {
        settle();
        return text(item.menu);
    }
    /// The entries between the header and the rest of a menu with one tunnel.
    QStringList tunnelEntries() { return menu().mid(2, item.menu.size() - 2 - 7); }
};

const QStringList commands{u"---"_s, u"Log… ^l -> logs"_s, u"Settings… ^, -> settings"_s, u"---"_s,
                           u"Quit Morvanel ^q -> quit"_s};

} // namespace

class TestStatusItemController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void content_data()
    {
        QTest::addColumn<QStringList>("states");
        QTest::addColumn<QString>("image");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("badge");
        QTest::addColumn<QString>("toolTip");
        const QString idle = u"bolt.horizontal.icloud \"No active tunnels\" none template"_s;
        const QString connected = u"bolt.horizontal.icloud.fill \"Tunnels connected\" green"_s;
        const QString up = u"connected"_s;
        QTest::newRow("idle") << QStringList{u"stopped"_s} << idle << u""_s << u""_s
                              << u"Morvanel: no active tunnels"_s;
        QTest::newRow("connecting") << QStringList{u"starting"_s, up}
                                    << u"arrow.clockwise.icloud \"Connecting\" orange"_s << u""_s << u"1"_s
                                    << u"Morvanel: connecting"_s;
        QTest::newRow("one of two") << QStringList{up, u"stopped"_s} << connected << u""_s << u"1"_s
                                    << u"Morvanel: 1 of 2 tunnels connected"_s;
        QTest::newRow("twelve") << QStringList(12, up) << connected << u" 12"_s << u"12"_s
                                << u"Morvanel: 12 of 12 tunnels connected"_s;
        QTest::newRow("problem") << QStringList{up, up, u"failed"_s}
                                 << u"exclamationmark.icloud.fill \"A tunnel has a problem\" red"_s << u" 2"_s
                                 << u"2"_s << u"Morvanel: a tunnel has a problem"_s;
    }

    void content()
    {
        QFETCH(QStringList, states);
        Desk desk;
        for (const QString &state : states)
            desk.add(u"t"_s, {}, state);
        desk.settle();
        QTEST(text(*desk.item.content.image), "image");
        QTEST(desk.item.content.title, "title");
        QTEST(desk.item.content.badge, "badge");
        QTEST(desk.item.content.toolTip, "toolTip");
    }

    void tunnelEntries_data()
    {
        QTest::addColumn<QString>("hostname");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("lines");
        const auto row = [](const char *state, const QString &hostname, const QString &detail,
                            const QString &verb, const QString &dot, const QString &address = {}) {
            QStringList lines{
                u"web / %1 (Click to %2 the tunnel) {circle.fill %3} -> toggle"_s.arg(detail, verb, dot)};
            if (!address.isEmpty())
                lines += u"    Open "_s + address;
            QTest::addRow("%s, %s", state, qPrintable(hostname))
                << hostname << QString::fromLatin1(state) << lines;
        };
        const auto plain = [row](const char *state, const QString &hostname, const QString &label,
                                 const QString &color, const QString &address = {}) {
            row(state, hostname, label, u"stop"_s, u"\"%1\" %2"_s.arg(label, color), address);
        };
        const auto connected = [plain](const QString &hostname, const QString &address) {
            plain("connected", hostname, u"Connected (2 connections)"_s, u"green"_s, address);
        };
        connected({}, {});
        connected(u"a b"_s, {});
        connected(u" API.Example.org "_s, u"API.Example.org -> open https://api.example.org"_s);
        connected(u"HTTP://http/b?c"_s, u"http -> open http://http/b?c"_s);
        connected(u"a.example:8443"_s, u"a.example -> open https://a.example:8443"_s);
        connected(u"file:///srv/a%20b"_s, u"file:///srv/a%20b -> open file:///srv/a%20b"_s);
        plain("starting", u"a.example"_s, u"Connecting…"_s, u"orange"_s);
        plain("reconnecting", u"a.example"_s, u"Reconnecting…"_s, u"orange"_s);
        plain("stopping", {}, u"Stopping…"_s, u"orange"_s);
        const QString grey = u"\"Stopped\" grey"_s;
        row("stopped", {}, u"Stopped · click to start"_s, u"start"_s, grey);
        row("stopped", u" a.example "_s, u"Stopped ·  a.example "_s, u"start"_s, grey);
        row("failed", u"a.example"_s, u"Error · no %1 way"_s, u"start"_s, u"\"Error: no %1 way\" red"_s);
    }

    void tunnelEntries()
    {
        QFETCH(QString, hostname);
        QFETCH(QString, state);
        Desk desk;
        desk.add(u"web"_s, hostname, state);
        QTEST(desk.tunnelEntries(), "lines");
    }

    void menus_data()
    {
        QTest::addColumn<QStringList>("states");
        QTest::addColumn<bool>("hasCloudflared");
        QTest::addColumn<QStringList>("menu"); // without the entries of tunnels
        QTest::addColumn<QStringList>("dockMenu");
        const QString stop = u"Stop All -> stop all"_s;
        const QString noStop = u"Stop All disabled -> stop all"_s;
        const QStringList warning{u"---"_s, u"⚠︎ cloudflared not found -> settings"_s};
        const QStringList dockLogs{u"Log… -> logs"_s};
        const QString connected =
            u"t — Connected (2 connections) {circle.fill \"Connected (2 connections)\" green} -> toggle"_s;
        const QString stopped = u"t — Stopped {circle.fill \"Stopped\" grey} -> toggle"_s;
        const QStringList none{u"Morvanel disabled"_s, u"---"_s, u"No tunnels configured disabled"_s,
                               u"Add Tunnel… -> settings"_s};

        QTest::newRow("none") << QStringList() << true << none + commands << dockLogs;
        QTest::newRow("none, no cloudflared")
            << QStringList() << false << none + warning + commands << dockLogs;
        QTest::newRow("one, no cloudflared")
            << QStringList{u"connected"_s} << false
            << QStringList{u"Morvanel · 1/1 connected disabled"_s, u"---"_s} + warning +
                   QStringList{u"---"_s, stop} + commands
            << QStringList{connected, u"---"_s, stop} + dockLogs;
        QTest::newRow("two, one running") << QStringList{u"stopped"_s, u"connected"_s} << true
                                          << QStringList{u"Morvanel · 1/2 connected disabled"_s, u"---"_s,
                                                         u"---"_s, u"Start All -> start all"_s, stop} +
                                                 commands
                                          << QStringList{stopped, connected, u"---"_s, stop} + dockLogs;
        QTest::newRow("two, all running")
            << QStringList{u"connected"_s, u"connected"_s} << true
            << QStringList{u"Morvanel · 2/2 connected disabled"_s, u"---"_s, u"---"_s,
                           u"Start All disabled -> start all"_s, stop} +
                   commands
            << QStringList{connected, connected, u"---"_s, stop} + dockLogs;
        QTest::newRow("two, none running") << QStringList{u"stopped"_s, u"stopped"_s} << true
                                           << QStringList{u"Morvanel · 0/2 connected disabled"_s, u"---"_s,
                                                          u"---"_s, u"Start All -> start all"_s, noStop} +
                                                  commands
                                           << QStringList{stopped, stopped, u"---"_s, noStop} + dockLogs;
    }

    void menus()
    {
        QFETCH(QStringList, states);
        QFETCH(bool, hasCloudflared);
        Desk desk;
        for (const QString &state : states)
            desk.add(u"t"_s, {}, state);
        if (!hasCloudflared)
            QVERIFY(QFile::remove(desk.world.cloudflaredPath));
        desk.settle();
        desk.item.callbacks.menuAboutToShow();
        QStringList menu = desk.menu();
        QCOMPARE(menu.removeIf([](const QString &line) { return line.endsWith("-> toggle"_L1); }),
                 states.size());
        QTEST(menu, "menu");
        QTEST(text(desk.item.dockMenu), "dockMenu");
    }

    void longTextsAreCutBetweenCharacters()
    {
        // One character each for a user: a letter, a letter with two marks, a flag, a family, a line break.
        for (const QString &character :
             {u"x"_s, u"e\u0301\u0323"_s, u"🇩🇪"_s, u"👨‍👩‍👧"_s, u"\r\n"_s}) {
            for (const int count : {69, 70, 100}) {
                Desk desk;
                desk.manager.runner(desk.add(u"n"_s))->fail(character.repeated(count));
                desk.settle();
                QCOMPARE(desk.item.entry(u"n"_s).detail, u"Error · "_s + character.repeated(qMin(count, 70)));
            }
        }
        Desk desk; // the launcher's menu keeps a message whole
        desk.manager.runner(desk.add(QString(300, u'漢')))->fail(QString(100, u'x'));
        desk.settle();
        QCOMPARE(desk.item.dockMenu.first().title,
                 QString(100, u'漢') + u'…' + QString(99, u'漢') + u" — Error: "_s + QString(100, u'x'));
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

    // The announcement comes before the change, and a burst must not make the desktop work for each of its
    // steps.
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
        QCOMPARE(desk.item.entry(u"ssh"_s), MenuItem());
        desk.settle();
        QCOMPARE(desk.item.refreshes, before + 1);
        desk.manager.stopAll();
        desk.settle();
        QCOMPARE(desk.item.refreshes, before + 2);
    }

    void looksForCloudflaredWhenTheMenuIsWanted()
    {
        Desk desk;
        const QString warning = u"⚠︎ cloudflared not found"_s;
        QVERIFY(QFile::remove(desk.world.cloudflaredPath));
        QCOMPARE(desk.item.entry(warning), MenuItem());
        desk.item.callbacks.menuAboutToShow();
        QCOMPARE(desk.item.entry(warning).title, warning);
        FakeWorld::install(desk.world.cloudflaredPath);
        desk.item.callbacks.menuAboutToShow();
        QCOMPARE(desk.item.entry(warning), MenuItem());
    }

    void clickActsOnTheStateOfThatMoment()
    {
        Desk desk;
        const QUuid web = desk.add(u"web"_s);
        desk.settle();
        const MenuItem drawnStopped = desk.item.entry(u"web"_s);
        const auto state = [&] { return desk.manager.state(web).kind(); };

        desk.choose(drawnStopped);
        QCOMPARE(state(), TunnelState::Case::Starting);
        desk.choose(drawnStopped); // it runs by now
        QCOMPARE(state(), TunnelState::Case::Stopping);
        desk.world.launcher.last().end(0);

        desk.manager.runner(web)->fail(u"x"_s);
        desk.choose(u"web"_s);
        QCOMPARE(state(), TunnelState::Case::Starting);
        desk.settle();
        desk.choose(FakeStatusItem::entry(desk.item.dockMenu, u"web — Connecting…"_s));
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
        desk.choose(drawn);
        QCOMPARE(desk.journal.last(), u"open https://web.example.org"_s);
    }

    void oddEntriesDoNothing()
    {
        Desk desk;
        desk.add(u"web"_s, {}, u"failed"_s);
        const QStringList before = desk.menu();
        desk.choose(MenuItem());
        for (MenuItem entry : std::as_const(desk.item.menu)) {
            entry.data = {};
            if (entry.action == MenuAction::ToggleTunnel || !entry.isEnabled)
                desk.choose(entry); // stopping all would clear the failure
        }
        QCOMPARE(desk.menu(), before);
        QCOMPARE(desk.journal, Journal());
        QVERIFY(desk.world.launcher.children.empty());
    }
};

QTEST_GUILESS_MAIN(TestStatusItemController)
#include "tst_statusitemcontroller.moc"
