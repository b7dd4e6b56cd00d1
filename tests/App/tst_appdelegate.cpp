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
        QTest::addColumn<QString>("asked");

        QTest::newRow("Dock") << true << true << false << u"regular, status item, settings"_s;
        QTest::newRow("panel only") << true << false << false << u"accessory, status item, activate"_s;
        QTest::newRow("no tunnels") << false << false << false
                                    << u"accessory, status item, settings, activate"_s;
        QTest::newRow("test host") << true << true << true << u"regular"_s;
    }
    /// The last run's children end first; this one's come after the icon.
    void launches()
    {
        QFETCH(bool, hasTunnel);
        QFETCH(bool, showsInDock);
        QFETCH(bool, isHosted);
        Bench bench;
        bench.application.testHost = isHosted;
        bench.world.preferences.setIntegers(u"childPIDs"_s, {77});
        bench.world.processes.paths = {{77, "/usr/bin/cloudflared"}};
        if (hasTunnel)
            bench.manager.add({QUuid::createUuid(), u"t"_s, {}, true}, u"eyJ"_s);
        bench.manager.setShowsInDock(showsInDock);
        bench.launch();
        QTEST(bench.asked().join(u", "_s), "asked");
        QCOMPARE(bench.orphansAtStatusItem, isHosted ? -1 : 1);
        QCOMPARE(bench.childrenAtStatusItem, isHosted ? -1 : 0);
        QCOMPARE(bench.world.launcher.children.size(), size_t(hasTunnel && !isHosted));
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

    void quits()
    {
        struct Row
        {
            int endsAfter; ///< ms after SIGTERM; 0 never
            int terminatedAt;
            QList<int> signalsSent;
        };
        for (const auto &[endsAfter, terminatedAt, signalsSent] :
             {Row{1000, 1200, {15}}, Row{0, 4200, {15, 9}}}) {
            Bench bench;
            auto &child = bench.world.connect(bench.manager, FakeWorld::addTunnel(bench.manager, u"t"_s).id);
            int time = 0;
            do {
                QCOMPARE(bench.delegate.applicationShouldTerminate(), AppDelegate::TerminateReply::Later);
                bench.world.scheduler.advance(1ms);
                if (++time == endsAfter)
                    child.end(0);
            } while (time < 5000 && bench.asked().isEmpty());
            QCOMPARE(time, terminatedAt);
            QCOMPARE(child.signalsSent, signalsSent);
        }
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
