// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "TunnelManager.h"
#include "TunnelRunner.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QStringList namesOf(const TunnelManager &manager)
{
    QStringList names;
    for (const TunnelConfig &tunnel : manager.tunnels())
        names += tunnel.name;
    return names;
}

QList<qint32> ledgerOf(const FakeWorld &world)
{
    return world.preferences.integers(u"childPIDs"_s).value_or(QList<qint32>{-1});
}

QByteArray record(const QByteArray &id, const QByteArray &name)
{
    return R"({"id":")" + id + R"(","name":")" + name + R"(","hostname":"","startOnLaunch":false})";
}

} // namespace

class TestTunnelManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loads_data();
    void loads();
    void keepsTwoTunnelsWithOneId();
    void path_data();
    void path();
    void overallStatus_data();
    void overallStatus();
    void startChecks_data();
    void startChecks();
    void startsAllThatDoNotRun();
    void startsLaunchTunnelsInOrder();
    void addsUpdatesAndRemoves();
    void aRemovedTunnelIsStoppedForSure();
    void aTunnelMayBeRemovedWhileItsStateChanges_data();
    void aTunnelMayBeRemovedWhileItsStateChanges();
    void anIdUsedAgainStopsTheRunnerThatWasThere();
    void startsNothingAtTheEnd();
    void moves_data();
    void moves();
    void announcesEveryAssignment();
    void loginItem();
    void keepsTheLedger();
    void terminatesOrphans();
    void badLedgerCountsAsEmpty_data();
    void badLedgerCountsAsEmpty();
    void unreadableTokensAreMissing();
};

void TestTunnelManager::loads_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QStringList>("names");

    const QByteArray a = record("3F2504E0-4F89-41D3-9A0C-0305E82C3301", "a");
    const QByteArray b = record("3f2504e0-4f89-41d3-9a0c-0305e82c3302", "b");
    QTest::newRow("two") << "[" + b + "," + a + "]" << QStringList{u"b"_s, u"a"_s};
    QTest::newRow("one is damaged") << "[" + a + "," + record("nonsense", "b") + "]" << QStringList();
    QTest::newRow("an element is no record") << "[" + a + ",7]" << QStringList();
    QTest::newRow("no array") << a << QStringList();
    QTest::newRow("no JSON") << QByteArray("[{") << QStringList();
    QTest::newRow("empty") << QByteArray() << QStringList();
}

void TestTunnelManager::loads()
{
    QFETCH(QByteArray, stored);
    QFETCH(QStringList, names);
    FakeWorld world;
    world.preferences.setData(u"tunnels"_s, stored);
    TunnelManager manager(world.services());
    QCOMPARE(namesOf(manager), names);
    for (const TunnelConfig &tunnel : manager.tunnels())
        QVERIFY(manager.runner(tunnel.id));
    QCOMPARE(world.preferences.data(u"tunnels"_s), stored);

    FakeWorld::addTunnel(manager, u"new"_s);
    QCOMPARE(namesOf(TunnelManager(world.services())), names + QStringList{u"new"_s});
}

void TestTunnelManager::keepsTwoTunnelsWithOneId()
{
    const QByteArray id = "3F2504E0-4F89-41D3-9A0C-0305E82C3301";
    FakeWorld world;
    world.preferences.setData(u"tunnels"_s, "[" + record(id, "a") + "," + record(id, "b") + "]");
    world.secrets.add({{}, QString::fromLatin1(id)}, "eyJ", {});
    TunnelManager manager(world.services());
    QCOMPARE(namesOf(manager), (QStringList{u"a"_s, u"b"_s}));
    manager.startAll();
    QCOMPARE(manager.runningCount(), 1);
    manager.remove(manager.tunnels().first().id);
    QVERIFY(manager.tunnels().isEmpty());
}

void TestTunnelManager::path_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QStringList>("executables");
    QTest::addColumn<QString>("path");

    const QString first = u"/opt/homebrew/bin/cloudflared"_s;
    const QString second = u"/usr/local/bin/cloudflared"_s;
    const QString third = u"/usr/bin/cloudflared"_s;
    QTest::newRow("stored") << QVariant(u"~/x "_s) << QStringList{third} << u"~/x "_s;
    QTest::newRow("stored empty") << QVariant(u""_s) << QStringList{third} << u""_s;
    QTest::newRow("stored as something else") << QVariant(true) << QStringList{third} << third;
    QTest::newRow("detected in order") << QVariant() << QStringList{third, second} << second;
    QTest::newRow("nowhere") << QVariant() << QStringList() << first;
}

void TestTunnelManager::path()
{
    QFETCH(QVariant, stored);
    FakeWorld world;
    world.preferences.values = {};
    if (stored.isValid())
        world.preferences.values[u"cloudflaredPath"_s] = stored;
    QFETCH(QStringList, executables);
    world.files.executables = executables;
    const TunnelManager manager(world.services());
    QTEST(manager.cloudflaredPath(), "path");
    QVERIFY(manager.showsInDock());
    QCOMPARE(world.preferences.writes, 0);
}

void TestTunnelManager::overallStatus_data()
{
    QTest::addColumn<QString>("states"); // one letter a tunnel
    QTest::addColumn<OverallStatus>("status");
    QTest::addColumn<int>("running");
    QTest::addColumn<int>("connected");

    QTest::newRow("none") << u""_s << OverallStatus::Idle << 0 << 0;
    QTest::newRow("stopped") << u"oo"_s << OverallStatus::Idle << 0 << 0;
    QTest::newRow("failed and connected") << u"fc"_s << OverallStatus::Problem << 1 << 1;
    QTest::newRow("reconnecting and starting") << u"sr"_s << OverallStatus::Problem << 2 << 0;
    QTest::newRow("starting and connected") << u"cs"_s << OverallStatus::Connecting << 2 << 1;
    QTest::newRow("stopping") << u"p"_s << OverallStatus::Connecting << 1 << 0;
    QTest::newRow("connected") << u"ccoo"_s << OverallStatus::Connected << 2 << 2;
}

void TestTunnelManager::overallStatus()
{
    QFETCH(QString, states);
    FakeWorld world;
    TunnelManager manager(world.services());
    for (const QChar state : states) {
        const QUuid id = FakeWorld::addTunnel(manager, state).id;
        if (state == u'f')
            manager.runner(id)->fail(u"x"_s);
        if (state == u's' || state == u'p')
            manager.start(id);
        if (state == u'p')
            manager.stop(id);
        if (state == u'c' || state == u'r')
            world.connect(manager, id, 3);
        if (state == u'r')
            world.launcher.last().write(
                "Connection terminated connIndex=0\nConnection terminated connIndex=1\n"
                "Connection terminated connIndex=2\n");
    }
    QTEST(manager.overallStatus(), "status");
    QTEST(manager.runningCount(), "running");
    QTEST(manager.connectedCount(), "connected");
    QCOMPARE(manager.state(QUuid::createUuid()), TunnelState::stopped());
}

void TestTunnelManager::startChecks_data()
{
    QTest::addColumn<std::optional<QString>>("token");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("message"); // null: started

    const QString good = FakeWorld::cloudflaredPath;
    QTest::newRow("no token") << std::optional<QString>() << u""_s << u"Missing token: set it in Settings"_s;
    QTest::newRow("empty token") << std::optional<QString>(u""_s) << good
                                 << u"Missing token: set it in Settings"_s;
    QTest::newRow("blank token") << std::optional<QString>(u" "_s) << good << QString();
    QTest::newRow("wrong path") << std::optional<QString>(u"eyJ"_s) << u" /x"_s
                                << u"cloudflared not found at  /x"_s;
    QTest::newRow("empty path") << std::optional<QString>(u"eyJ"_s) << u""_s
                                << u"cloudflared not found at "_s;
}

void TestTunnelManager::startChecks()
{
    QFETCH(std::optional<QString>, token);
    QFETCH(QString, path);
    QFETCH(QString, message);
    FakeWorld world;
    TunnelManager manager(world.services());
    const QUuid id = FakeWorld::addTunnel(manager, u"t"_s, {}, token.value_or(QString())).id;
    if (!token)
        world.secrets.items.clear();
    manager.setCloudflaredPath(path);
    manager.start(id);
    if (message.isNull()) {
        QCOMPARE(manager.state(id), TunnelState::starting());
        return;
    }
    QVERIFY(world.launcher.children.empty());
    QCOMPARE(manager.state(id), TunnelState::failed(message));
    QCOMPARE(manager.runner(id)->logLines().text(), u"✖\uFE0E "_s + message);
}

void TestTunnelManager::startsAllThatDoNotRun()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    QList<QUuid> ids;
    for (const QString &name : {u"connected"_s, u"failed"_s, u"stopped"_s, u"starting"_s})
        ids += FakeWorld::addTunnel(manager, name, {}, name).id;
    world.connect(manager, ids[0]);
    manager.runner(ids[1])->fail(u"x"_s);
    manager.start(ids[3]);
    manager.start(QUuid::createUuid());
    manager.startAll();
    QCOMPARE(world.launcher.children.size(), 4U);
    QCOMPARE(world.launcher.children[2]->command.environment.front().second, "failed");
    QCOMPARE(world.launcher.children[3]->command.environment.front().second, "stopped");
    manager.stopAll();
    for (const auto &child : world.launcher.children)
        QCOMPARE(child->signalsSent, QList<int>{15});
}

void TestTunnelManager::startsLaunchTunnelsInOrder()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    for (const QString &name : {u"a"_s, u"b"_s, u"c"_s})
        manager.add({QUuid::createUuid(), name, {}, name != u"b"_s}, name);
    manager.startLaunchTunnels();
    QCOMPARE(world.launcher.children.size(), 2U);
    QCOMPARE(world.launcher.children[0]->command.environment.front().second, "a");
    QCOMPARE(world.launcher.children[1]->command.environment.front().second, "c");
}

void TestTunnelManager::addsUpdatesAndRemoves()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    QSignalSpy announced(&manager, &TunnelManager::objectWillChange);
    TunnelConfig tunnel = FakeWorld::addTunnel(manager, u"first"_s);
    const QString account = tunnelIdText(tunnel.id);
    QCOMPARE(announced.count(), 1);
    QCOMPARE(world.secrets.items[account], "eyJ-token");
    QCOMPARE(world.secrets.labels[account], u"Morvanel token"_s);
    QCOMPARE(world.secrets.services[account], u"com.ardentwick.Morvanel.token"_s);
    QCOMPARE(manager.state(tunnel.id), TunnelState::stopped());

    const auto &child = world.connect(manager, tunnel.id);
    tunnel.name = QString(10'000, u'ש') + u"\n\"\\\u2028😀"_s;
    manager.update(tunnel, std::nullopt);
    QCOMPARE(world.secrets.items[account], "eyJ-token");
    manager.update(tunnel, u"\uFEFFü \0 \""_s);
    QCOMPARE(world.secrets.items[account], QByteArray("\xef\xbb\xbf\xc3\xbc \0 \"", 9));
    QCOMPARE(KeychainStore(world.secrets).token(tunnel.id), u"\uFEFFü \0 \""_s);
    QVERIFY(child.signalsSent.isEmpty());
    manager.update({QUuid::createUuid(), u"stranger"_s, {}, false}, u"token"_s);
    QCOMPARE(world.secrets.items.size(), 1);
    QCOMPARE(TunnelManager(world.services()).tunnels(), QList<TunnelConfig>{tunnel});

    manager.remove(tunnel.id);
    QCOMPARE(child.signalsSent, QList<int>{15});
    QVERIFY(!manager.runner(tunnel.id));
    QVERIFY(world.secrets.items.isEmpty());
    QVERIFY(TunnelManager(world.services()).tunnels().isEmpty());
    for (const QVariant &value : std::as_const(world.preferences.values))
        QVERIFY(!value.toByteArray().contains("eyJ"));
}

void TestTunnelManager::aRemovedTunnelIsStoppedForSure()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const QUuid id = FakeWorld::addTunnel(manager, u"t"_s).id;
    auto &child = world.connect(manager, id);
    manager.remove(id);
    QCOMPARE(manager.runningCount(), 0);
    QCOMPARE(manager.childCount(), 1);
    world.scheduler.advance(6s);
    QCOMPARE(child.signalsSent, (QList<int>{15, 9}));
    manager.forceKillAll();
    QCOMPARE(child.signalsSent, (QList<int>{15, 9, 9}));
    QCOMPARE(ledgerOf(world), QList<qint32>{child.pid});
    child.end(9);
    QCOMPARE(ledgerOf(world), QList<qint32>());
    QCOMPARE(manager.childCount(), 0);
    QCOMPARE(world.scheduler.pendingCount(), 0);
}

void TestTunnelManager::aTunnelMayBeRemovedWhileItsStateChanges_data()
{
    QTest::addColumn<QString>("change");
    QTest::newRow("output") << u"output"_s;
    QTest::newRow("stop all") << u"stop all"_s;
    QTest::newRow("remove") << u"remove"_s;
}

void TestTunnelManager::aTunnelMayBeRemovedWhileItsStateChanges()
{
    QFETCH(QString, change);
    FakeWorld world;
    TunnelManager manager(world.services());
    const QUuid id = FakeWorld::addTunnel(manager, u"t"_s).id;
    manager.start(id);
    FakeWorld::addTunnel(manager, u"other"_s);
    QMetaObject::Connection connection = connect(&manager, &TunnelManager::objectWillChange, this, [&] {
        disconnect(connection);
        manager.remove(id);
    });
    auto &child = world.launcher.last();
    if (change == u"output"_s)
        child.write("Registered tunnel connection connIndex=0\nmore\n");
    else if (change == u"stop all"_s)
        manager.stopAll();
    else
        manager.remove(id);
    QVERIFY(child.signalsSent.contains(15));
    child.end(0);
    QCOMPARE(manager.childCount(), 0);
    QCOMPARE(namesOf(manager), QStringList{u"other"_s});
}

void TestTunnelManager::anIdUsedAgainStopsTheRunnerThatWasThere()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const TunnelConfig tunnel = FakeWorld::addTunnel(manager, u"t"_s);
    auto &child = world.connect(manager, tunnel.id);
    manager.add(tunnel, u"eyJ"_s);
    QCOMPARE(child.signalsSent, QList<int>{15});
    QCOMPARE(manager.childCount(), 1);
    child.end(0);
    QCOMPARE(ledgerOf(world), QList<qint32>());
}

void TestTunnelManager::startsNothingAtTheEnd()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const QUuid id = FakeWorld::addTunnel(manager, u"t"_s).id;
    manager.refuseStarts();
    manager.start(id);
    manager.startAll();
    QVERIFY(world.launcher.children.empty());
    QCOMPARE(manager.state(id), TunnelState::stopped());
}

void TestTunnelManager::moves_data()
{
    QTest::addColumn<QList<int>>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<QString>("order");

    QTest::newRow("last to the top") << QList<int>{4} << 0 << u"eabcd"_s;
    QTest::newRow("first to the end") << QList<int>{0} << 5 << u"bcdea"_s;
    QTest::newRow("one down") << QList<int>{1} << 3 << u"acbde"_s;
    QTest::newRow("onto itself") << QList<int>{1} << 1 << u"abcde"_s;
    QTest::newRow("just behind itself") << QList<int>{1} << 2 << u"abcde"_s;
    QTest::newRow("several") << QList<int>{0, 2, 4} << 3 << u"baced"_s;
    QTest::newRow("offsets that are none") << QList<int>{-1, 7} << 9 << u"abcde"_s;
}

void TestTunnelManager::moves()
{
    QFETCH(QList<int>, from);
    QFETCH(int, to);
    FakeWorld world;
    TunnelManager manager(world.services());
    for (const auto name : u"abcde"_s)
        FakeWorld::addTunnel(manager, name);
    manager.moveTunnels(std::set<qsizetype>(from.begin(), from.end()), to);
    QTEST(namesOf(manager).join(QString()), "order");
    QCOMPARE(TunnelManager(world.services()).tunnels(), manager.tunnels());
}

void TestTunnelManager::announcesEveryAssignment()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    QStringList seen;
    connect(&manager, &TunnelManager::objectWillChange, this, [&] { seen += manager.cloudflaredPath(); });
    QSignalSpy assigned(&manager, &TunnelManager::showsInDockAssigned);
    manager.setCloudflaredPath(u"/new"_s);
    manager.setCloudflaredPath(u"/new"_s);
    QCOMPARE(seen, (QStringList{FakeWorld::cloudflaredPath, u"/new"_s}));
    QCOMPARE(world.preferences.writes, 2);
    manager.setShowsInDock(false);
    manager.setShowsInDock(false);
    QCOMPARE(assigned.count(), 2);
    QVERIFY(!TunnelManager(world.services()).showsInDock());
}

void TestTunnelManager::loginItem()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    QSignalSpy announced(&manager, &TunnelManager::objectWillChange);
    manager.setLaunchesAtLogin(true);
    QVERIFY(manager.launchesAtLogin());
    QCOMPARE(announced.count(), 1);
    world.loginItem.current = LoginItemStatus::RequiresApproval;
    QVERIFY(!manager.launchesAtLogin());
    world.loginItem.refusal = u"no"_s;
    QVERIFY_THROWS_EXCEPTION(LoginItemError, manager.setLaunchesAtLogin(false));
    QCOMPARE(announced.count(), 1);
    QCOMPARE(world.preferences.writes, 0);
}

void TestTunnelManager::keepsTheLedger()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const QUuid a = FakeWorld::addTunnel(manager, u"a"_s).id;
    const QUuid b = FakeWorld::addTunnel(manager, u"b"_s).id;
    manager.start(a);
    world.launcher.nextPid = 1000; // an id can come again; both entries go with it
    manager.start(b);
    QCOMPARE(ledgerOf(world), (QList<qint32>{1000, 1000}));
    world.launcher.last().end(0);
    QCOMPARE(ledgerOf(world), QList<qint32>());
    world.launcher.error = u"no"_s;
    manager.start(b);
    QCOMPARE(ledgerOf(world), QList<qint32>());
}

void TestTunnelManager::terminatesOrphans()
{
    FakeWorld world;
    world.processes.paths = {
        {10, "/usr/bin/cloudflared"}, {11, "/usr/bin/cloudflared-old"}, {12, "/home/x/cloudflared"}, {13, ""},
        {14, "cloudflared"},          {-5, "/usr/bin/cloudflared"},     {0, "/usr/bin/cloudflared"}};
    world.preferences.setIntegers(u"childPIDs"_s, {0, -5, 12, 11, 13, 14, 99, 10});
    TunnelManager manager(world.services());
    manager.terminateOrphanedProcesses();
    QCOMPARE(world.processes.terminated, (QList<qint32>{12, 10}));
    QVERIFY(!world.preferences.values.contains(u"childPIDs"_s));
}

void TestTunnelManager::badLedgerCountsAsEmpty_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::newRow("text") << QVariant(u"10"_s);
    QTest::newRow("other list") << QVariant(QStringList{u"10"_s});
    QTest::newRow("empty") << QVariant::fromValue(QList<qint32>());
}

void TestTunnelManager::badLedgerCountsAsEmpty()
{
    QFETCH(QVariant, stored);
    FakeWorld world;
    world.processes.paths = {{10, "/usr/bin/cloudflared"}};
    world.preferences.values[u"childPIDs"_s] = stored;
    TunnelManager manager(world.services());
    manager.start(FakeWorld::addTunnel(manager, u"t"_s).id);
    QCOMPARE(ledgerOf(world), QList<qint32>{1000});
    world.preferences.values[u"childPIDs"_s] = stored;
    manager.terminateOrphanedProcesses();
    QVERIFY(world.processes.terminated.isEmpty());
    QVERIFY(!world.preferences.values.contains(u"childPIDs"_s));
}

void TestTunnelManager::unreadableTokensAreMissing()
{
    FakeWorld world;
    TunnelManager manager(world.services());
    const QUuid id = FakeWorld::addTunnel(manager, u"t"_s).id;
    const TunnelState missing = TunnelState::failed(u"Missing token: set it in Settings"_s);
    world.secrets.items[tunnelIdText(id)] = "eyJ\xff";
    manager.start(id);
    QCOMPARE(manager.state(id), missing);
    manager.stop(id);
    world.secrets.failure = SecretStatus::InteractionNotAllowed;
    manager.start(id);
    QCOMPARE(manager.state(id), missing);
    KeychainStore keychain(world.secrets);
    QVERIFY(!keychain.setToken(u"x"_s, id));
}

QTEST_GUILESS_MAIN(TestTunnelManager)
#include "tst_tunnelmanager.moc"
