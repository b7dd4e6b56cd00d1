// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AppDelegate.h"
#include "AppFakes.h"
#include "Fakes.h"
#include "StatusItemController.h"
#include "TunnelManager.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Reply = AppDelegate::TerminateReply;

namespace {

struct Bench
{
    FakeWorld world;
    FakeDesktop desktop;
    QString beforeIcon; ///< how many children of the last run had ended, and how many were started
    TunnelManager manager{world.services()};
    AppDelegate delegate{manager, desktop, desktop, world.scheduler, [this] {
                             beforeIcon +=
                                 u"%1 ended, %2 started"_s.arg(world.launcher.terminatedOrphans.size())
                                     .arg(world.launcher.children.size());
                             return std::unique_ptr<StatusItemController>();
                         }};
};

} // namespace

class TestAppDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void launches_data()
    {
        QTest::addColumn<bool>("hasTunnel");
        QTest::addColumn<bool>("showsInDock");
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("asked");
        QTest::addColumn<int>("children"); // after the launch

        QTest::newRow("no Settings with the Dock")
            << true << true << u"usual"_s << u"regular, settings"_s << 1;
        QTest::newRow("Settings without the Dock")
            << true << false << u"usual"_s << u"accessory, activate"_s << 1;
        QTest::newRow("tunnel not left alone")
            << true << false << u"leaving tunnels alone"_s << u"accessory, activate"_s << 0;
        QTest::newRow("no Settings without a tunnel")
            << false << false << u"usual"_s << u"accessory, settings, activate"_s << 0;
        QTest::newRow("something done in a test host")
            << true << true << u"in a test host"_s << u"regular"_s << 0;
    }
    /// The last run's children end first; this one's come after the icon.
    void launches()
    {
        QFETCH(bool, hasTunnel);
        QFETCH(bool, showsInDock);
        QFETCH(QString, start);
        const bool leaves = start == u"leaving tunnels alone";
        Bench bench;
        bench.desktop.testHost = start == u"in a test host";
        bench.world.preferences.setIntegers(u"childPIDs"_s, {77});
        bench.world.launcher.orphanPaths = {{77, "/usr/bin/cloudflared"}};
        if (hasTunnel)
            bench.manager.add({QUuid::createUuid(), u"t"_s, {}, true}, u"eyJ"_s);
        bench.manager.setShowsInDock(showsInDock);
        bench.delegate.applicationWillFinishLaunching();
        bench.delegate.applicationDidFinishLaunching(leaves ? AppDelegate::LaunchTunnels::Leave
                                                            : AppDelegate::LaunchTunnels::Start);
        QCoreApplication::processEvents();
        QTEST(bench.desktop.asked(), "asked");
        QCOMPARE(bench.beforeIcon, bench.desktop.testHost ? QString() : u"1 ended, 0 started"_s);
        QTEST(int(bench.world.launcher.children.size()), "children");
    }

    void followsTheDockPreference()
    {
        Bench bench;
        bench.delegate.applicationDidFinishLaunching();
        bench.manager.setShowsInDock(true); // the first assignment counts whatever it says
        bench.manager.setShowsInDock(true);
        bench.manager.setShowsInDock(false);
        bench.manager.setShowsInDock(false);
        QCOMPARE(bench.desktop.asked(), u"settings, regular, accessory"_s);
        QCoreApplication::processEvents();
        QCOMPARE(bench.desktop.asked(), u"activate"_s);
        QVERIFY(!bench.delegate.applicationShouldHandleReopen(true));
        QCOMPARE(bench.desktop.asked(), u"settings"_s);
    }

    void quits_data()
    {
        QTest::addColumn<QString>("waitsFor");
        QTest::addColumn<int>("endsAt"); // what is waited for, in ms; 0 never
        QTest::addColumn<int>("repliesAt");
        QTest::addColumn<QString>("signalsSent");

        QTest::newRow("child's end not seen") << u"child"_s << 1000 << 1200 << u"TERM"_s;
        QTest::newRow("child that stays not killed") << u"child"_s << 0 << 4200 << u"TERM KILL"_s;
        QTest::newRow("child of a removed tunnel left")
            << u"child without a tunnel"_s << 0 << 4200 << u"TERM KILL"_s;
        QTest::newRow("token lost that is stored in time") << u"token"_s << 199 << 200 << QString();
        QTest::newRow("token waited for without end") << u"token"_s << 0 << 4200 << QString();
    }
    void quits()
    {
        QFETCH(QString, waitsFor);
        QFETCH(int, endsAt);
        Bench bench;
        bench.world.secrets.isLocked = waitsFor == u"token";
        const QUuid id = FakeWorld::addTunnel(bench.manager, u"t"_s).id;
        if (waitsFor != u"token")
            bench.world.connect(bench.manager, id);
        if (waitsFor == u"child without a tunnel")
            bench.manager.remove(id);
        int time = 0;
        do {
            QCOMPARE(bench.delegate.applicationShouldTerminate(), Reply::Later);
            bench.world.scheduler.advance(1ms);
            if (++time == endsAt && waitsFor == u"token")
                bench.world.secrets.answer();
            else if (time == endsAt)
                bench.world.launcher.last().end(0);
        } while (time < 5000 && bench.desktop.asked() != u"reply yes");
        QTEST(time, "repliesAt");
        QString sent;
        for (const auto &child : bench.world.launcher.children)
            for (const int signal : child->signalsSent)
                sent += signal == 15 ? u"TERM "_s : u"KILL "_s;
        QTEST(sent.trimmed(), "signalsSent");
    }

    /// The end comes with a later turn of the event loop; a click may come before it.
    void quitWithNothingRunningRefusesStarts()
    {
        Bench bench;
        const QUuid id = FakeWorld::addTunnel(bench.manager, u"t"_s).id;
        QCOMPARE(bench.delegate.applicationShouldTerminate(), Reply::Now);
        bench.manager.start(id);
        QVERIFY(bench.world.launcher.children.empty());
    }
};

QTEST_GUILESS_MAIN(TestAppDelegate)
#include "tst_appdelegate.moc"
