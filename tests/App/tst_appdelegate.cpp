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
    QStringList beforeIcon; ///< children of the last run that were ended, children that were started
    TunnelManager manager{world.services()};
    AppDelegate delegate{manager, desktop, desktop, world.scheduler, [this] {
                             beforeIcon += QString::number(world.launcher.terminatedOrphans.size());
                             beforeIcon += QString::number(world.launcher.children.size());
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
        QTest::addColumn<bool>("showsInDock");
        QTest::addColumn<QStringList>("asked");
        QTest::addColumn<int>("children"); // after the launch

        QTest::newRow("tunnel, Dock") << true << QStringList{u"regular"_s, u"settings"_s} << 1;
        QTest::newRow("tunnel") << false << QStringList{u"accessory"_s, u"activate"_s} << 1;
        QTest::newRow("tunnel, left alone") << false << QStringList{u"accessory"_s, u"activate"_s} << 0;
        QTest::newRow("nothing") << false << QStringList{u"accessory"_s, u"settings"_s, u"activate"_s} << 0;
        QTest::newRow("tunnel, test host") << true << QStringList{u"regular"_s} << 0;
    }
    /// The last run's children end first; this one's come after the icon.
    void launches()
    {
        QFETCH(bool, showsInDock);
        const QString what = QString::fromLatin1(QTest::currentDataTag());
        Bench bench;
        bench.desktop.testHost = what.contains("host"_L1);
        bench.world.preferences.setIntegers(u"childPIDs"_s, {77});
        bench.world.launcher.orphanPaths = {{77, "/usr/bin/cloudflared"}};
        if (what.contains("tunnel"_L1))
            bench.manager.add({QUuid::createUuid(), u"t"_s, {}, true}, u"eyJ"_s);
        bench.manager.setShowsInDock(showsInDock);
        bench.delegate.applicationWillFinishLaunching();
        bench.delegate.applicationDidFinishLaunching(
            what.contains("left"_L1) ? AppDelegate::LaunchTunnels::Leave : AppDelegate::LaunchTunnels::Start);
        QCoreApplication::processEvents();
        QTEST(bench.desktop.asked(), "asked");
        QCOMPARE(bench.beforeIcon, bench.desktop.testHost ? QStringList() : (QStringList{u"1"_s, u"0"_s}));
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
        QCOMPARE(bench.desktop.asked(), (QStringList{u"settings"_s, u"regular"_s, u"accessory"_s}));
        QCoreApplication::processEvents();
        QCOMPARE(bench.desktop.asked(), QStringList{u"activate"_s});
        QVERIFY(!bench.delegate.applicationShouldHandleReopen(true));
        QCOMPARE(bench.desktop.asked(), QStringList{u"settings"_s});
    }

    void quits_data()
    {
        QTest::addColumn<int>("endsAt"); // what is waited for, in ms; 0 never
        QTest::addColumn<int>("repliesAt");
        QTest::addColumn<QList<int>>("signalsSent");

        QTest::newRow("child") << 1000 << 1200 << QList{15};
        QTest::newRow("child that stays") << 0 << 4200 << QList{15, 9};
        QTest::newRow("child of a removed tunnel") << 0 << 4200 << QList{15, 9};
        QTest::newRow("token") << 199 << 200 << QList<int>();
        QTest::newRow("token that is not stored") << 0 << 4200 << QList<int>();
    }
    void quits()
    {
        QFETCH(int, endsAt);
        const QByteArray what = QTest::currentDataTag();
        Bench bench;
        bench.world.secrets.isLocked = what.startsWith("token");
        const QUuid id = FakeWorld::addTunnel(bench.manager, u"t"_s).id;
        if (what.startsWith("child"))
            bench.world.connect(bench.manager, id);
        if (what.contains("removed"))
            bench.manager.remove(id);
        int time = 0;
        do {
            QCOMPARE(bench.delegate.applicationShouldTerminate(), Reply::Later);
            bench.world.scheduler.advance(1ms);
            if (++time == endsAt && what == "token")
                bench.world.secrets.answer();
            else if (time == endsAt)
                bench.world.launcher.last().end(0);
        } while (time < 5000 && bench.desktop.asked() != QStringList{u"reply yes"_s});
        QTEST(time, "repliesAt");
        if (what.startsWith("child"))
            QTEST(bench.world.launcher.last().signalsSent, "signalsSent");
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
