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

namespace {

struct Bench
{
    FakeWorld world;
    Journal journal;
    FakeWindows windows{journal};
    FakeApplication application{journal};
    int childrenAtStatusItem = -1;
    int orphansAtStatusItem = -1;
    TunnelManager manager{world.services()};
    AppDelegate delegate{manager, windows, application, world.scheduler, [this] {
                             journal += u"status item"_s;
                             childrenAtStatusItem = int(world.launcher.children.size());
                             orphansAtStatusItem = int(world.processes.terminated.size());
                             return std::unique_ptr<StatusItemController>();
                         }};

    void launch()
    {
        delegate.applicationWillFinishLaunching();
        delegate.applicationDidFinishLaunching();
        QCoreApplication::processEvents();
    }
    /// Returns the requests since the last call.
    QStringList asked() { return std::exchange(journal, {}); }
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
        QTest::addColumn<bool>("isHosted");
        QTest::addColumn<QStringList>("asked");

        QTest::newRow("first launch")
            << false << true << false << QStringList{u"regular"_s, u"status item"_s, u"settings"_s};
        QTest::newRow("Dock") << true << true << false
                              << QStringList{u"regular"_s, u"status item"_s, u"settings"_s};
        QTest::newRow("panel only") << true << false << false
                                    << QStringList{u"accessory"_s, u"status item"_s, u"activate"_s};
        QTest::newRow("panel only, no tunnels")
            << false << false << false
            << QStringList{u"accessory"_s, u"status item"_s, u"settings"_s, u"activate"_s};
        QTest::newRow("test host") << true << true << true << QStringList{u"regular"_s};
    }

    void launches()
    {
        QFETCH(bool, hasTunnel);
        QFETCH(bool, showsInDock);
        Bench bench;
        QFETCH(bool, isHosted);
        bench.application.testHost = isHosted;
        if (hasTunnel)
            bench.manager.add({QUuid::createUuid(), u"t"_s, {}, true}, u"eyJ"_s);
        bench.manager.setShowsInDock(showsInDock);
        bench.launch();
        QTEST(bench.asked(), "asked");
        QCOMPARE(bench.world.launcher.children.size(), size_t(hasTunnel && !isHosted));
    }

    void launchOrder()
    {
        Bench bench;
        bench.world.preferences.setIntegers(u"childPIDs"_s, {77});
        bench.world.processes.paths = {{77, "/usr/bin/cloudflared"}};
        bench.manager.add({QUuid::createUuid(), u"t"_s, {}, true}, u"eyJ"_s);
        bench.launch();
        QCOMPARE(bench.orphansAtStatusItem, 1);
        QCOMPARE(bench.childrenAtStatusItem, 0);
        QCOMPARE(bench.world.processes.terminated, QList<qint32>{77});
        QCOMPARE(bench.world.preferences.integers(u"childPIDs"_s), QList<qint32>{1000});
    }

    void followsTheDockPreference()
    {
        Bench bench;
        bench.launch();
        bench.asked();
        bench.manager.setShowsInDock(true); // the first assignment counts whatever it says
        QCOMPARE(bench.asked(), QStringList{u"regular"_s});
        bench.manager.setShowsInDock(true);
        bench.manager.setShowsInDock(false);
        bench.manager.setShowsInDock(false);
        QCOMPARE(bench.asked(), QStringList{u"accessory"_s});
        QCoreApplication::processEvents();
        QCOMPARE(bench.asked(), QStringList{u"activate"_s});
    }

    void reopens()
    {
        Bench bench;
        QVERIFY(!bench.delegate.applicationShouldHandleReopen(true));
        QCOMPARE(bench.asked(), QStringList{u"settings"_s});
    }

    void quits_data()
    {
        QTest::addColumn<int>("endsAfter"); // ms after SIGTERM; 0 never
        QTest::addColumn<int>("terminatedAt");
        QTest::addColumn<QList<int>>("signalsSent");

        QTest::newRow("at once") << 1 << 200 << QList<int>{15};
        QTest::newRow("after a second") << 1000 << 1200 << QList<int>{15};
        QTest::newRow("never") << 0 << 4200 << QList<int>{15, 9};
    }

    void quits()
    {
        QFETCH(int, endsAfter);
        Bench bench;
        auto &child = bench.world.connect(bench.manager, FakeWorld::addTunnel(bench.manager, u"t"_s).id);
        QCOMPARE(bench.delegate.applicationShouldTerminate(), AppDelegate::TerminateReply::Later);
        int terminatedAt = 0;
        for (int time = 1; time <= 5000 && terminatedAt == 0; ++time) {
            bench.world.scheduler.advance(1ms);
            QCOMPARE(bench.delegate.applicationShouldTerminate(), AppDelegate::TerminateReply::Later);
            if (time == endsAfter)
                child.end(0);
            if (bench.asked().contains(u"reply yes"_s))
                terminatedAt = time;
        }
        QTEST(terminatedAt, "terminatedAt");
        QTEST(child.signalsSent, "signalsSent");
    }

    /// The end comes with a later turn of the event loop; a click may come before it.
    void quitWithNothingRunningRefusesStarts()
    {
        Bench bench;
        const QUuid id = FakeWorld::addTunnel(bench.manager, u"t"_s).id;
        QCOMPARE(bench.delegate.applicationShouldTerminate(), AppDelegate::TerminateReply::Now);
        bench.manager.start(id);
        QVERIFY(bench.world.launcher.children.empty());
    }

    void quitWaitsForATokenToBeStored()
    {
        for (const bool isStored : {true, false}) {
            Bench bench;
            bench.world.secrets.isLocked = true;
            FakeWorld::addTunnel(bench.manager, u"t"_s);
            QCOMPARE(bench.delegate.applicationShouldTerminate(), AppDelegate::TerminateReply::Later);
            bench.world.scheduler.advance(199ms);
            if (isStored)
                bench.world.secrets.answer();
            bench.world.scheduler.advance(1ms);
            QCOMPARE(bench.asked().size(), isStored ? 1 : 0);
            bench.world.scheduler.advance(200ms);
            QCOMPARE(bench.asked(), isStored ? QStringList() : QStringList{u"reply yes"_s});
        }
    }

    void quitWaitsForChildrenOfRemovedTunnels()
    {
        Bench bench;
        const QUuid id = FakeWorld::addTunnel(bench.manager, u"t"_s).id;
        auto &child = bench.world.connect(bench.manager, id);
        bench.manager.remove(id);
        QCOMPARE(bench.delegate.applicationShouldTerminate(), AppDelegate::TerminateReply::Later);
        bench.world.scheduler.advance(5s);
        QCOMPARE(child.signalsSent, (QList<int>{15, 9}));
        QCOMPARE(bench.asked(), QStringList{u"reply yes"_s});
    }
};

QTEST_GUILESS_MAIN(TestAppDelegate)
#include "tst_appdelegate.moc"
