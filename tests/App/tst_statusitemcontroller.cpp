// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusItemController.h"

#include "AppFakes.h"
#include "Fakes.h"
#include "StatusPresentation.h"
#include "TunnelRunner.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// A controller over a real manager with a tunnel "web" (with a host name) and a tunnel "ssh".
struct Desk
{
    FakeWorld world;
    TunnelManager manager{world.services()};
    TunnelConfig web = FakeWorld::addTunnel(manager, u"web"_s, u"web.example.org"_s);
    TunnelConfig ssh = FakeWorld::addTunnel(manager, u"ssh"_s);
    Journal journal;
    FakeWindows windows{journal};
    FakeApplication application{journal};
    FakeStatusItem item;
    std::unique_ptr<StatusItemController> controller =
        std::make_unique<StatusItemController>(manager, windows, item, application);

    void settle() { QCoreApplication::processEvents(); }
    void choose(const MenuItem &entry) { item.callbacks.itemChosen(entry); }
    void choose(const QString &title)
    {
        settle();
        choose(item.entry(title));
    }
    /// "web state, ssh state" as the menu shows them.
    QString details() const { return item.entry(u"web"_s).detail + u", "_s + item.entry(u"ssh"_s).detail; }
    bool showsTheManager() const
    {
        const TunnelsSnapshot now = TunnelsSnapshot::of(manager);
        return item.menu == StatusPresentation::menu(now) &&
               item.content == StatusPresentation::content(now) &&
               item.dockMenu == StatusPresentation::dockMenu(now);
    }
};

} // namespace

class TestStatusItemController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void followsTheManager();
    void announcementsOfOneTurnGiveOneRefresh();
    void looksForCloudflaredWhenTheMenuIsWanted();
    void clickActsOnTheStateOfThatMoment();
    void clickActsOnTheTunnelItWasDrawnFor();
    void commands();
    void oddEntriesDoNothing();
    void canBeDestroyedAtAnyTime();
};

void TestStatusItemController::followsTheManager()
{
    Desk desk;
    QVERIFY(desk.showsTheManager());
    QCOMPARE(desk.details(), u"Stopped · web.example.org, Stopped · click to start"_s);

    desk.world.connect(desk.manager, desk.web.id);
    desk.settle();
    QVERIFY(desk.showsTheManager());
    QCOMPARE(desk.details(), u"Connected (1 connection), Stopped · click to start"_s);
    QCOMPARE(desk.item.content.badge, u"1"_s);
    QCOMPARE(desk.item.content.title, QString());
    QCOMPARE(desk.item.entry(u"Open web.example.org"_s).indentation, 1);

    desk.world.connect(desk.manager, desk.ssh.id);
    desk.settle();
    QCOMPARE(desk.item.content.title, u" 2"_s);
    QCOMPARE(desk.item.content.toolTip, u"Morvanel: 2 of 2 tunnels connected"_s);
    QCOMPARE(desk.item.dockMenu, desk.controller->makeDockMenu());

    desk.world.launcher.last().end(1 << 8);
    desk.settle();
    QVERIFY(desk.showsTheManager());
    QCOMPARE(desk.item.content.toolTip, u"Morvanel: a tunnel has a problem"_s);

    desk.manager.remove(desk.ssh.id);
    desk.settle();
    QVERIFY(desk.showsTheManager());
    QCOMPARE(desk.item.entry(u"ssh"_s), MenuItem());
}

// The announcement comes before the change, and a burst must not make the desktop work for each of its steps.
void TestStatusItemController::announcementsOfOneTurnGiveOneRefresh()
{
    Desk desk;
    desk.settle();
    const int before = desk.item.refreshes;
    auto &child = desk.world.connect(desk.manager, desk.web.id, 4);
    for (int i = 0; i < 1000; ++i)
        child.write(
            "INF Unregistered tunnel connection connIndex=0\nINF Registered tunnel connection connIndex=0\n");
    desk.manager.remove(desk.ssh.id);
    QCOMPARE(desk.item.refreshes, before);
    desk.settle();
    QCOMPARE(desk.item.refreshes, before + 1);
    QVERIFY(desk.showsTheManager());

    desk.settle();
    QCOMPARE(desk.item.refreshes, before + 1);
    desk.manager.stopAll();
    desk.settle();
    QCOMPARE(desk.item.refreshes, before + 2);
}

void TestStatusItemController::looksForCloudflaredWhenTheMenuIsWanted()
{
    Desk desk;
    const QString warning = u"⚠︎ cloudflared not found"_s;
    QFile::remove(desk.world.cloudflaredPath);
    QCOMPARE(desk.item.entry(warning), MenuItem());
    desk.item.callbacks.menuAboutToShow();
    QCOMPARE(desk.item.entry(warning).title, warning);
    desk.choose(warning);
    QCOMPARE(desk.journal, Journal{u"settings"_s});

    FakeWorld::install(desk.world.cloudflaredPath);
    desk.item.callbacks.menuAboutToShow();
    QCOMPARE(desk.item.entry(warning), MenuItem());
}

void TestStatusItemController::clickActsOnTheStateOfThatMoment()
{
    Desk desk;
    const MenuItem drawnStopped = desk.item.entry(u"web"_s);
    const auto state = [&desk] { return desk.manager.state(desk.web.id).kind(); };

    desk.choose(drawnStopped);
    QCOMPARE(state(), TunnelState::Case::Starting);
    desk.choose(drawnStopped); // it runs by now
    QCOMPARE(state(), TunnelState::Case::Stopping);
    QCOMPARE(desk.world.launcher.last().signalsSent, QList<int>{15});
    desk.world.launcher.last().end(0);
    QCOMPARE(state(), TunnelState::Case::Stopped);

    auto &child = desk.world.connect(desk.manager, desk.web.id);
    child.write("INF Unregistered tunnel connection connIndex=0\n");
    QCOMPARE(state(), TunnelState::Case::Reconnecting);
    desk.choose(u"web"_s);
    QCOMPARE(state(), TunnelState::Case::Stopping);
    child.end(0);

    desk.manager.runner(desk.web.id)->fail(u"x"_s);
    desk.choose(u"web"_s);
    QCOMPARE(state(), TunnelState::Case::Starting);
    desk.choose(FakeStatusItem::entry(desk.controller->makeDockMenu(), u"web — Connecting…"_s));
    QCOMPARE(state(), TunnelState::Case::Stopping);
}

void TestStatusItemController::clickActsOnTheTunnelItWasDrawnFor()
{
    Desk desk;
    const MenuItem drawn = desk.item.entry(u"ssh"_s);
    desk.manager.moveTunnels({1}, 0);
    desk.manager.update({desk.web.id, u"ssh"_s, {}, false}, std::nullopt);
    desk.settle();
    desk.choose(drawn);
    QCOMPARE(desk.manager.state(desk.ssh.id), TunnelState::starting());
    QCOMPARE(desk.manager.state(desk.web.id), TunnelState::stopped());

    desk.manager.remove(desk.ssh.id);
    const auto launched = desk.world.launcher.children.size();
    desk.choose(drawn);
    QCOMPARE(desk.world.launcher.children.size(), launched);
}

void TestStatusItemController::commands()
{
    Desk desk;
    desk.choose(u"Log…"_s);
    desk.choose(u"Settings…"_s);
    desk.choose(u"Quit Morvanel"_s);
    QCOMPARE(desk.journal, (Journal{u"logs"_s, u"settings"_s, u"terminate"_s}));

    desk.choose(u"Start All"_s);
    QCOMPARE(desk.manager.runningCount(), 2);
    desk.choose(u"Stop All"_s);
    for (const auto &child : desk.world.launcher.children)
        child->end(0);
    QCOMPARE(desk.manager.runningCount(), 0);

    desk.world.connect(desk.manager, desk.web.id);
    desk.settle();
    const MenuItem drawn = desk.item.entry(u"Open web.example.org"_s);
    desk.manager.stop(desk.web.id);
    desk.choose(drawn);
    QCOMPARE(desk.journal.last(), u"open https://web.example.org"_s);
}

void TestStatusItemController::oddEntriesDoNothing()
{
    Desk desk;
    desk.manager.runner(desk.web.id)->fail(u"x"_s);
    desk.settle();
    const TunnelsSnapshot before = TunnelsSnapshot::of(desk.manager);

    desk.choose(MenuItem());
    desk.choose(desk.item.menu.first());
    for (MenuItem entry : std::as_const(desk.item.menu)) {
        entry.data = {};
        if (entry.action == MenuAction::ToggleTunnel || entry.action == MenuAction::OpenURL)
            desk.choose(entry);
    }
    // Stopping all would clear the failure; the entry was drawn as one that cannot be chosen.
    QVERIFY(!desk.item.entry(u"Stop All"_s).isEnabled);
    desk.choose(u"Stop All"_s);

    QCOMPARE(StatusPresentation::menu(TunnelsSnapshot::of(desk.manager)), StatusPresentation::menu(before));
    QCOMPARE(desk.journal, Journal());
    QVERIFY(desk.world.launcher.children.empty());
}

void TestStatusItemController::canBeDestroyedAtAnyTime()
{
    Desk desk;
    desk.manager.start(desk.web.id); // a refresh is under way
    const int before = desk.item.refreshes;
    desk.controller.reset();
    desk.settle();
    QCOMPARE(desk.item.refreshes, before);
    QVERIFY(!desk.item.callbacks.itemChosen);
}

QTEST_GUILESS_MAIN(TestStatusItemController)
#include "tst_statusitemcontroller.moc"
