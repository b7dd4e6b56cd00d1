// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "TunnelManager.h"
#include "TunnelRunner.h"

#include <QDir>
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

QStringList logOf(const TunnelManager &manager, const QUuid &id)
{
    return manager.runner(id)->logLines().text().split(u'\n', Qt::SkipEmptyParts);
}

const QString missing = u"✖\uFE0E Missing token: set it in Settings"_s;
const QString notRead = u"✖\uFE0E The token could not be read: the keyring is closed"_s;
const TunnelState missingToken = TunnelState::failed(u"Missing token: set it in Settings"_s);

QByteArray record(const QByteArray &id, const QByteArray &name)
{
    return R"({"id":")" + id + R"(","name":")" + name + R"(","hostname":"","startOnLaunch":false})";
}

} // namespace

class TestTunnelManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loads()
    {
        const QByteArray a = record("3F2504E0-4F89-41D3-9A0C-0305E82C3301", "a");
        const QByteArray b = record("3f2504e0-4f89-41d3-9a0c-0305e82c3302", "b");
        const QList<std::pair<QByteArray, QStringList>> rows{
            {"[" + b + "," + a + "]", {u"b"_s, u"a"_s}},
            {"[" + a + "," + record("nonsense", "b") + "]", {}},
            {"[" + a + ",7]", {}},
            {"[{", {}}};
        for (const auto &[stored, names] : rows) {
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
    }

    void path()
    {
        const QStringList candidates{u"/opt/homebrew/bin/cloudflared"_s, u"/usr/local/bin/cloudflared"_s,
                                     u"/usr/bin/cloudflared"_s};
        QCOMPARE(TunnelManager::candidatePaths(), candidates);
        const QString found = TunnelManager::detectCloudflared().value_or(candidates.first());
        const QList<std::pair<QVariant, QString>> rows{
            {u"~/x "_s, u"~/x "_s}, {u""_s, u""_s}, {true, found}, {{}, found}};
        for (const auto &[stored, path] : rows) {
            FakeWorld world;
            world.preferences.values[u"cloudflaredPath"_s] = stored;
            const TunnelManager manager(world.services());
            QCOMPARE(manager.cloudflaredPath(), path);
            QVERIFY(manager.showsInDock());
            QCOMPARE(world.preferences.writes, 0);
        }
    }

    void executableFiles()
    {
        FakeWorld world;
        const auto at = [&](const QString &name) { return world.folder.filePath(name); };
        QVERIFY(QDir(world.folder.path()).mkdir(u"folder"_s) &&
                QFile::link(world.cloudflaredPath, at(u"link"_s)) &&
                QFile::link(at(u"nothing"_s), at(u"broken"_s)));
        FakeWorld::install(at(u"plain"_s));
        QVERIFY(QFile::setPermissions(at(u"plain"_s), QFile::ReadOwner | QFile::WriteOwner));
        TunnelManager manager(world.services());
        const QList<std::pair<QString, bool>> rows{{world.cloudflaredPath, true},
                                                   {at(u"link"_s), true},
                                                   {at(u"folder"_s), false},
                                                   {at(u"plain"_s), false},
                                                   {at(u"broken"_s), false},
                                                   {world.cloudflaredPath + u' ', false},
                                                   {world.cloudflaredPath + QChar(), false},
                                                   {{}, false}};
        for (const auto &[path, isExecutable] : rows) {
            manager.setCloudflaredPath(path);
            QCOMPARE(manager.isCloudflaredExecutable(), isExecutable);
        }
    }

    void normalizeToken()
    {
        const QList<std::pair<QString, QString>> rows{
            {u"  eyJabc== \n"_s, u"eyJabc"_s},
            {u"sudo cloudflared \\\n tunnel run\u2028--token\r\n\"eyJabc\"\n"_s, u"eyJabc"_s},
            {u"cloudflared tunnel run --token abc"_s, u"abc"_s},
            {u"--token='abc'"_s, u"abc"_s},
            {u"\"'\"abc'\"'"_s, u"abc"_s},
            {u"x eyJ1 --token eyJ2"_s, u"eyJ1"_s},
            {u"a EYJ1 --TOKEN b"_s, u"a EYJ1 --TOKEN b"_s},
            {u"--token"_s, u"--token"_s},
            {u" run --token= "_s, u"run --token="_s},
            {u"--token --token abc"_s, u"--token"_s},
            {u" abc  def "_s, u"abc  def"_s},
            {u" \t\n"_s, u""_s},
            {u" \"'' "_s, u"\"''"_s},
            {u"\u00A0eyJabc\u0085x"_s, u"eyJabc"_s}};
        for (const auto &[raw, token] : rows)
            QCOMPARE(KeychainStore::normalizeToken(raw), token);
    }

    void overallStatus_data()
    {
        QTest::addColumn<QString>("states"); // one letter a tunnel
        QTest::addColumn<OverallStatus>("status");
        QTest::addColumn<int>("running");
        QTest::addColumn<int>("connected");

        QTest::newRow("failed and connected") << u"fc"_s << OverallStatus::Problem << 1 << 1;
        QTest::newRow("reconnecting and starting") << u"sr"_s << OverallStatus::Problem << 2 << 0;
        QTest::newRow("starting and connected") << u"cs"_s << OverallStatus::Connecting << 2 << 1;
        QTest::newRow("stopping") << u"p"_s << OverallStatus::Connecting << 1 << 0;
        QTest::newRow("connected") << u"ccoo"_s << OverallStatus::Connected << 2 << 2;
    }

    void overallStatus()
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

    void aStartNeedsATokenAndAProgram()
    {
        struct Case
        {
            SecretStatus failure;
            QByteArray token;
            QString path; ///< null: there is a program
            QStringList lines;
        };
        const auto notFound = [](const QString &path) {
            return QStringList{u"✖\uFE0E cloudflared not found at "_s + path};
        };
        for (const auto &[failure, token, path, lines] :
             {Case{SecretStatus::Success, "", u""_s, {missing}},
              Case{SecretStatus::Success, "eyJ\xff", {}, {missing}},
              Case{SecretStatus::NotFound, "eyJ", {}, {missing}},
              Case{SecretStatus::Locked, "eyJ", {}, {notRead, missing}},
              Case{SecretStatus::NotAvailable, "eyJ", {}, {notRead, missing}},
              Case{SecretStatus::Success, "eyJ", u" /x"_s, notFound(u" /x"_s)}}) {
            FakeWorld world;
            TunnelManager manager(world.services());
            const QUuid id = FakeWorld::addTunnel(manager, u"t"_s).id;
            world.secrets.items[tunnelIdText(id)] = token;
            world.secrets.failure = failure;
            if (!path.isNull())
                manager.setCloudflaredPath(path);
            manager.start(id);
            QVERIFY(world.launcher.children.empty());
            QCOMPARE(logOf(manager, id), lines);
            QCOMPARE(manager.state(id), TunnelState::failed(lines.last().sliced(3)));
            QCOMPARE(world.scheduler.pendingCount(), 0);
        }
    }

    /// All children exist and are remembered, once for all, before the first one runs.
    void startsTogether()
    {
        FakeWorld world;
        TunnelManager manager(world.services());
        QList<QUuid> ids;
        for (const QString &name : {u"connected"_s, u"failed"_s, u"stopped"_s, u"starting"_s, u"last"_s})
            ids += FakeWorld::addTunnel(manager, name, {}, name).id;
        world.connect(manager, ids[0]);
        manager.runner(ids[1])->fail(u"x"_s);
        manager.start(ids[3]);
        manager.start(QUuid::createUuid());
        world.preferences.waits = 0;
        int runs = 0;
        world.launcher.aboutToRun = [&] {
            QCOMPARE(world.launcher.children.size(), 5U - (runs > 1 ? 1 : 0));
            QCOMPARE(world.preferences.waits, 1);
            world.launcher.error = ++runs == 2 ? u"no"_s : QString();
        };
        manager.startAll();
        QCOMPARE(runs, 3);
        QCOMPARE(ledgerOf(world), (QList<qint32>{1000, 1001, 1002, 1004}));
        QCOMPARE(manager.state(ids[2]), TunnelState::failed(u"cloudflared could not be started"_s));
        const auto &children = world.launcher.children;
        QCOMPARE(children[2]->command.environment.front().second, "failed");
        QCOMPARE(children[3]->command.environment.front().second, "last");
        manager.stopAll();
        for (const auto &child : children)
            QCOMPARE(child->signalsSent, QList<int>{15});
        QCOMPARE(world.preferences.waits, 1);
    }

    /// A lack of processes or descriptors fails those that come too late.
    void startsAsManyAsThereIsRoomFor()
    {
        FakeWorld world;
        TunnelManager manager(world.services());
        world.launcher.mostChildren = 2;
        for (const QString &name : {u"a"_s, u"b"_s, u"c"_s, u"d"_s})
            manager.add({QUuid::createUuid(), name, {}, name != u"b"_s}, name);
        manager.startLaunchTunnels();
        QCOMPARE(world.launcher.children[0]->command.environment.front().second, "a");
        QCOMPARE(world.launcher.children[1]->command.environment.front().second, "c");
        QCOMPARE(manager.state(manager.tunnels()[1].id), TunnelState::stopped());
        QCOMPARE(manager.state(manager.tunnels()[3].id),
                 TunnelState::failed(u"cloudflared could not be started"_s));
        QCOMPARE(ledgerOf(world), (QList<qint32>{1000, 1001}));
    }

    void addsUpdatesAndRemoves()
    {
        FakeWorld world;
        TunnelManager manager(world.services());
        QSignalSpy announced(&manager, &TunnelManager::objectWillChange);
        TunnelConfig tunnel = FakeWorld::addTunnel(manager, u"first"_s);
        const QString account = tunnelIdText(tunnel.id);
        QCOMPARE(announced.count(), 1);
        QCOMPARE(world.secrets.items[account], "eyJ-token");
        QCOMPARE(world.secrets.labels[account], u"com.ardentwick.Morvanel.token: Morvanel token"_s);
        QCOMPARE(manager.state(tunnel.id), TunnelState::stopped());

        const auto &child = world.connect(manager, tunnel.id);
        tunnel.name = QString(10'000, u'ש') + u"\n\"\\\u2028😀"_s;
        manager.update(tunnel, std::nullopt);
        QCOMPARE(world.secrets.items[account], "eyJ-token");
        manager.update(tunnel, u"\uFEFFü \0 \""_s);
        QCOMPARE(world.secrets.items[account], QByteArray("\xef\xbb\xbf\xc3\xbc \0 \"", 9));
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

    void aRemovedTunnelIsStoppedForSure()
    {
        FakeWorld world;
        TunnelManager manager(world.services());
        const QUuid id = FakeWorld::addTunnel(manager, u"t"_s).id;
        auto &child = world.connect(manager, id);
        manager.remove(id);
        QCOMPARE(manager.runningCount(), 0);
        QVERIFY(manager.isBusy());
        world.scheduler.advance(6s);
        QCOMPARE(child.signalsSent, (QList<int>{15, 9}));
        manager.forceKillAll();
        QCOMPARE(child.signalsSent, (QList<int>{15, 9, 9}));
        QCOMPARE(ledgerOf(world), QList<qint32>{child.pid});
        child.end(9);
        QCOMPARE(ledgerOf(world), QList<qint32>());
        QVERIFY(!manager.isBusy());
        QCOMPARE(world.scheduler.pendingCount(), 0);
    }

    void aTunnelMayBeRemovedWhileItsStateChanges()
    {
        for (const auto change : {"start"_L1, "output"_L1, "stop all"_L1, "remove"_L1}) {
            FakeWorld world;
            TunnelManager manager(world.services());
            const QUuid id = FakeWorld::addTunnel(manager, u"t"_s).id;
            if (change != "start"_L1)
                manager.start(id);
            FakeWorld::addTunnel(manager, u"other"_s);
            connect(
                &manager, &TunnelManager::objectWillChange, this, [&] { manager.remove(id); },
                Qt::SingleShotConnection);
            if (change == "start"_L1)
                manager.start(id);
            auto &child = world.launcher.last();
            if (change == "output"_L1)
                child.write("Registered tunnel connection connIndex=0\nmore\n");
            else if (change == "stop all"_L1)
                manager.stopAll();
            else if (change == "remove"_L1)
                manager.remove(id);
            QVERIFY(child.signalsSent.contains(15));
            child.end(0);
            QVERIFY(!manager.isBusy());
            QCOMPARE(namesOf(manager), QStringList{u"other"_s});
        }
    }

    void moves()
    {
        struct Move
        {
            std::set<qsizetype> from;
            int to;
            QString order;
        };
        for (const auto &[from, to, order] :
             {Move{{4}, 0, u"eabcd"_s}, Move{{0}, 5, u"bcdea"_s}, Move{{1}, 3, u"acbde"_s},
              Move{{1}, 2, u"abcde"_s}, Move{{0, 2, 4}, 3, u"baced"_s}, Move{{-1, 7}, 9, u"abcde"_s}}) {
            FakeWorld world;
            TunnelManager manager(world.services());
            for (const auto name : u"abcde"_s)
                FakeWorld::addTunnel(manager, name);
            manager.moveTunnels(from, to);
            QCOMPARE(namesOf(manager).join(QString()), order);
            QCOMPARE(TunnelManager(world.services()).tunnels(), manager.tunnels());
        }
    }

    void terminatesOrphans()
    {
        FakeWorld world;
        world.processes.paths = {{10, "/usr/bin/cloudflared"}, {11, "/usr/bin/cloudflared-old"},
                                 {12, "/home/x/cloudflared"},  {13, ""},
                                 {14, "cloudflared"},          {-5, "/usr/bin/cloudflared"},
                                 {0, "/usr/bin/cloudflared"}};
        world.preferences.values[u"childPIDs"_s] =
            QVariant::fromValue(QList<qint32>{0, -5, 12, 11, 13, 14, 99, 10});
        TunnelManager manager(world.services());
        manager.terminateOrphanedProcesses();
        QCOMPARE(world.processes.terminated, (QList<qint32>{12, 10}));
        QVERIFY(!world.preferences.values.contains(u"childPIDs"_s));
    }

    /// An open keyring shows no wait; a closed one is asked once for all.
    void startsWaitForTheKeyring()
    {
        FakeWorld world;
        TunnelManager manager(world.services());
        QList<QUuid> ids;
        for (const QString &name : {u"a"_s, u"b"_s, u"c"_s, u"stopped"_s, u"removed"_s})
            ids += FakeWorld::addTunnel(manager, name, {}, name).id;
        world.secrets.isLocked = true;
        manager.startAll();
        QCOMPARE(manager.state(ids[0]), TunnelState::stopped());
        world.scheduler.advance(299ms);
        QCOMPARE(manager.runningCount(), 0);
        manager.startAll();
        world.scheduler.advance(1ms);
        QCOMPARE(manager.runningCount(), 5);
        QCOMPARE(manager.state(ids[0]), TunnelState::starting());
        manager.toggle(ids[3]);
        QCOMPARE(manager.state(ids[3]), TunnelState::stopped());
        manager.remove(ids[4]);
        manager.toggle(ids[1]);
        manager.toggle(ids[1]);
        QCOMPARE(manager.state(ids[1]), TunnelState::starting());
        QVERIFY(world.launcher.children.empty());

        world.secrets.answer();
        QCOMPARE(world.launcher.children.size(), 3U);
        QCOMPARE(world.preferences.waits, 1);
        QCOMPARE(world.scheduler.pendingCount(), 0);
        QCOMPARE(logOf(manager, ids[0]).size(), 2);
        QCOMPARE(logOf(manager, ids[0]).first(), u"▶\uFE0E Waiting for the keyring to be unlocked"_s);
        QCOMPARE(logOf(manager, ids[1]).size(), 3);
        QVERIFY(!world.secrets.items.contains(tunnelIdText(ids[4])));
    }

    void aWaitEnds()
    {
        for (const auto end : {"dismissed"_L1, "stop all"_L1, "quit"_L1}) {
            const bool isDismissed = end == "dismissed"_L1;
            FakeWorld world;
            TunnelManager manager(world.services());
            const QUuid a = FakeWorld::addTunnel(manager, u"a"_s).id;
            const QUuid late = FakeWorld::addTunnel(manager, u"late"_s).id;
            world.secrets.isLocked = true;
            manager.start(a);
            world.scheduler.advance(1s);
            manager.start(late);
            QCOMPARE(manager.state(late), TunnelState::starting());
            if (end == "quit"_L1)
                manager.refuseStarts();
            if (!isDismissed)
                manager.stopAll();
            QCOMPARE(manager.runningCount(), isDismissed ? 2 : 0);
            QVERIFY(world.secrets.isAsking());
            world.secrets.answer(isDismissed ? SecretStatus::Locked : SecretStatus::Success);
            QVERIFY(!world.secrets.isAsking());
            QVERIFY(world.launcher.children.empty());
            for (const QUuid &id : {a, late}) {
                QCOMPARE(manager.state(id), isDismissed ? missingToken : TunnelState::stopped());
                QCOMPARE(logOf(manager, id).mid(1),
                         isDismissed ? QStringList({notRead, missing}) : QStringList());
            }
            world.secrets.isLocked = true;
            manager.start(a);
            QCOMPARE(world.secrets.isAsking(), end != "quit"_L1);
        }
    }

    /// A token that is typed while the keyring is locked is used from memory until it is stored or given up.
    void tokensWaitForTheKeyring()
    {
        for (const SecretStatus answer : {SecretStatus::Success, SecretStatus::Locked}) {
            const bool isStored = answer == SecretStatus::Success;
            FakeWorld world;
            TunnelManager manager(world.services());
            TunnelConfig waiting = FakeWorld::addTunnel(manager, u"waiting"_s, {}, u"old"_s);
            const QUuid removed = FakeWorld::addTunnel(manager, u"removed"_s, {}, u"gone"_s).id;
            world.secrets.isLocked = true;
            manager.start(waiting.id);
            world.scheduler.advance(1s);
            manager.update(waiting, u"typed"_s);
            QCOMPARE(world.launcher.last().command.environment.front().second, "typed");
            const QUuid added = FakeWorld::addTunnel(manager, u"added"_s, {}, u"first"_s).id;
            manager.update(manager.tunnels().last(), u"second"_s);
            manager.start(added);
            QCOMPARE(world.launcher.last().command.environment.front().second, "second");
            QCOMPARE(world.launcher.children.size(), 2U);
            manager.remove(removed);

            world.secrets.answer(answer);
            QVERIFY(!world.secrets.isAsking());
            QCOMPARE(world.secrets.items.value(tunnelIdText(waiting.id)), isStored ? "typed" : "old");
            QCOMPARE(world.secrets.items.value(tunnelIdText(added)), isStored ? "second" : QByteArray());
            QCOMPARE(world.secrets.items.contains(tunnelIdText(removed)), !isStored);
            const QString notStored = u"✖\uFE0E The token could not be stored: the keyring is closed"_s;
            for (const QUuid &id : {waiting.id, added})
                QCOMPARE(logOf(manager, id).count(notStored), isStored ? 0 : 1);

            world.secrets.failure = SecretStatus::Success;
            manager.update(waiting, u"typed"_s);
            QVERIFY(!world.secrets.items.contains(tunnelIdText(removed)));
        }
    }
};

QTEST_GUILESS_MAIN(TestTunnelManager)
#include "tst_tunnelmanager.moc"
