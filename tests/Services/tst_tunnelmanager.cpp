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

const QString missing = u"✖\uFE0E Missing token: set it in Settings"_s;
const QString notRead = u"✖\uFE0E The token could not be read: the keyring is closed"_s;
const QString notFound = u"✖\uFE0E cloudflared not found at PATH"_s;

/// The names of all tunnels in a row.
QString namesOf(const TunnelManager &manager)
{
    QString names;
    for (const TunnelConfig &tunnel : manager.tunnels())
        names += tunnel.name;
    return names;
}

/// A manager over fakes, with a tunnel for each letter of a text; the letter is its name and its token.
struct Bench : FakeWorld
{
    TunnelManager manager{services()};

    explicit Bench(const QString &letters)
    {
        for (const QChar letter : letters)
            addTunnel(manager, letter, {}, letter);
    }
    QUuid id(const QString &name) const
    {
        const qsizetype place = namesOf(manager).indexOf(name);
        return place < 0 ? QUuid::createUuid() : manager.tunnels()[place].id;
    }
    void start(const QString &name) { manager.start(id(name)); }
    QStringList log(const QString &name) const
    {
        return manager.runner(id(name))->logLines().text().split(u'\n', Qt::SkipEmptyParts);
    }
    /// All names with their states.
    QString states() const
    {
        QStringList states;
        for (const TunnelConfig &tunnel : manager.tunnels())
            states += tunnel.name + u' ' + manager.state(tunnel.id).label();
        return states.join(u", "_s);
    }
    /// The tokens of all children in a row.
    QByteArray tokens() const
    {
        QByteArray tokens;
        for (const auto &child : launcher.children)
            tokens += child->command.environment.front().second;
        return tokens;
    }
    /// The ids that the next run would find.
    QList<qint32> ledger() const { return preferences.integers(u"childPIDs"_s).value_or(QList<qint32>{-1}); }
    QByteArray secret(const QUuid &tunnel) const { return secrets.items.value(tunnelIdText(tunnel), "none"); }
};

} // namespace

class TestTunnelManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loads()
    {
        const QByteArray stored = TunnelConfig::toJson(
            {{QUuid::createUuid(), u"b"_s, u"x"_s, true}, {QUuid::createUuid(), u"a"_s, {}, false}});
        const QStringList candidates{u"/opt/homebrew/bin/cloudflared"_s, u"/usr/local/bin/cloudflared"_s,
                                     u"/usr/bin/cloudflared"_s};
        QCOMPARE(TunnelManager::candidatePaths(), candidates);
        const QString found = TunnelManager::detectCloudflared().value_or(candidates.first());
        const QList<std::tuple<QVariant, QVariant, QString, QString>> rows{
            {stored, u"~/x "_s, u"ba"_s, u"~/x "_s},
            {QByteArray(stored.chopped(1) + ",7]"), u""_s, {}, {}},
            {QByteArray("[{"), true, {}, found},
            {{}, {}, {}, found}};
        for (const auto &[tunnels, path, names, shownPath] : rows) {
            FakeWorld world;
            world.preferences.values = {{u"tunnels"_s, tunnels}, {u"cloudflaredPath"_s, path}};
            TunnelManager manager(world.services());
            QCOMPARE(namesOf(manager), names);
            for (const TunnelConfig &tunnel : manager.tunnels())
                QVERIFY(manager.runner(tunnel.id));
            QCOMPARE(manager.cloudflaredPath(), shownPath);
            QVERIFY(manager.showsInDock());
            QCOMPARE(world.preferences.writes, 0);
            FakeWorld::addTunnel(manager, u"new"_s);
            QCOMPARE(TunnelManager(world.services()).tunnels(), manager.tunnels());
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

    void overallStatus()
    {
        using enum OverallStatus;
        const QList<std::tuple<QString, OverallStatus, int, int>> rows{
            {u"fc"_s, Problem, 1, 1},     {u"sr"_s, Problem, 2, 0},
            {u"cs"_s, Connecting, 2, 1},  {u"p"_s, Connecting, 1, 0},
            {u"ccoo"_s, Connected, 2, 2}, {u"o"_s, Idle, 0, 0}}; // one letter a tunnel
        for (const auto &[states, status, running, connected] : rows) {
            Bench bench{states};
            for (const auto &[id, name, hostname, startOnLaunch] : bench.manager.tunnels()) {
                if (name == u"f")
                    bench.manager.runner(id)->fail(u"x"_s);
                else if (name == u"c" || name == u"r")
                    bench.connect(bench.manager, id, 2);
                else if (name != u"o")
                    bench.manager.start(id);
                if (name == u"p")
                    bench.manager.stop(id);
                if (name == u"r")
                    bench.launcher.last().write(
                        "Connection terminated connIndex=0\nConnection terminated connIndex=1\n");
            }
            QCOMPARE(bench.manager.overallStatus(), status);
            QCOMPARE(bench.manager.runningCount(), running);
            QCOMPARE(bench.manager.connectedCount(), connected);
        }
    }

    void aStartNeedsATokenAndAProgram()
    {
        using enum SecretStatus;
        const QString program = u"cloudflared"_s;
        const QList<std::tuple<SecretStatus, QByteArray, QString, QStringList>> rows{
            {Success, "", u"absent"_s, {missing}},
            {Success, "eyJ\xff", program, {missing}},
            {NotFound, "eyJ", program, {missing}},
            {Locked, "eyJ", program, {notRead, missing}},
            {NotAvailable, "eyJ", program, {notRead, missing}},
            {Success, "eyJ", u"cloudflared "_s, {notFound}},
            {Success, "eyJ", u"."_s, {notFound}},
            {Success, "eyJ", u"plain"_s, {notFound}}};
        for (const auto &[failure, token, name, log] : rows) {
            Bench bench{u"t"_s};
            const QString path = bench.folder.filePath(name);
            QFile plain(bench.folder.filePath(u"plain"_s));
            QVERIFY(plain.open(QFile::WriteOnly));
            bench.secrets.items.first() = token;
            bench.secrets.failure = failure;
            bench.manager.setCloudflaredPath(path);
            bench.start(u"t"_s);
            QCOMPARE(bench.tokens(), "");
            QCOMPARE(bench.log(u"t"_s).replaceInStrings(path, u"PATH"_s), log);
            QCOMPARE(bench.states().replace(path, u"PATH"_s), u"t Error: "_s + log.last().sliced(3));
            QCOMPARE(bench.scheduler.pendingCount(), 0);
        }
    }

    /// All children exist and are remembered, once for all, before the first one runs.
    void startsTogether()
    {
        Bench bench{u"abcdefg"_s};
        bench.connect(bench.manager, bench.id(u"a"_s));
        bench.manager.runner(bench.id(u"b"_s))->fail(u"x"_s);
        bench.manager.update({bench.id(u"d"_s), u"d"_s, {}, true}, std::nullopt);
        bench.manager.startLaunchTunnels();
        bench.start(u"unknown"_s);
        bench.preferences.waits = 0;
        bench.launcher.mostChildren = 5; // as where there are no more processes
        QList<QByteArray> runs;
        bench.launcher.aboutToRun = [&] {
            runs += bench.tokens();
            QCOMPARE(bench.preferences.waits, 1);
            bench.launcher.error = runs.size() == 2 ? u"no"_s : QString();
        };
        bench.manager.startAll();
        QCOMPARE(runs, (QList<QByteArray>{"adbce", "adbce", "adbe"}));
        QCOMPARE(bench.ledger(), (QList<qint32>{1000, 1001, 1002, 1004}));
        const QString failed = u"Error: cloudflared could not be started"_s;
        QCOMPARE(bench.states(), u"a Connected (1 connection), b Connecting…, c %1, d Connecting…, "
                                 "e Connecting…, f %1, g %1"_s.arg(failed));
        bench.manager.stopAll();
        QCOMPARE(bench.states(), u"a Stopping…, b Stopping…, c Stopped, d Stopping…, "
                                 "e Stopping…, f Stopped, g Stopped"_s);
        QCOMPARE(bench.preferences.waits, 1);
    }

    void addsUpdatesAndRemoves()
    {
        Bench bench{{}};
        TunnelManager &manager = bench.manager;
        QSignalSpy announced(&manager, &TunnelManager::objectWillChange);
        QSignalSpy done(&manager, &TunnelManager::objectDidChange);
        TunnelConfig tunnel = FakeWorld::addTunnel(manager, u"first"_s);
        QCOMPARE(announced.count(), 1);
        QCOMPARE(bench.secret(tunnel.id), "eyJ-token");
        QCOMPARE(bench.secrets.labels.first(), u"com.ardentwick.Morvanel.token: Morvanel token"_s);

        auto &child = bench.connect(manager, tunnel.id);
        tunnel.name = QString(10'000, u'ש') + u"\n\"\\\u2028😀"_s;
        manager.update(tunnel, std::nullopt);
        QCOMPARE(bench.secret(tunnel.id), "eyJ-token");
        manager.update(tunnel, u"\uFEFFü \0 \""_s);
        QCOMPARE(bench.secret(tunnel.id), QByteArray("\xef\xbb\xbf\xc3\xbc \0 \"", 9));
        QVERIFY(child.signalsSent.isEmpty());
        manager.update({QUuid::createUuid(), u"stranger"_s, {}, false}, u"token"_s);
        QCOMPARE(bench.secrets.items.size(), 1);
        QCOMPARE(TunnelManager(bench.services()).tunnels(), QList<TunnelConfig>{tunnel});
        for (const QVariant &value : std::as_const(bench.preferences.values))
            QVERIFY(!value.toByteArray().contains("eyJ"));
        QVERIFY(done.wait());
        QCOMPARE(done.count(), 1);

        announced.clear();
        manager.remove(tunnel.id);
        QCOMPARE(announced.count(), 1);
        QVERIFY(bench.secrets.items.isEmpty());
        QVERIFY(!manager.runner(tunnel.id));
        QVERIFY(TunnelManager(bench.services()).tunnels().isEmpty());
        QCOMPARE(manager.runningCount(), 0);
        QVERIFY(manager.isBusy());
        bench.scheduler.advance(6s);
        manager.forceKillAll();
        QCOMPARE(child.signalsSent, (QList<int>{15, 9, 9}));
        QCOMPARE(bench.ledger(), QList<qint32>{child.pid});
        child.end(9);
        QCOMPARE(bench.ledger(), QList<qint32>());
        QVERIFY(!manager.isBusy());
        QCOMPARE(bench.scheduler.pendingCount(), 0);
    }

    void aTunnelMayBeRemovedWhileItsStateChanges()
    {
        for (const auto change : {"start"_L1, "output"_L1, "stop all"_L1, "remove"_L1}) {
            Bench bench{u"to"_s};
            const QUuid id = bench.id(u"t"_s);
            if (change != "start"_L1)
                bench.manager.start(id);
            connect(
                &bench.manager, &TunnelManager::objectWillChange, this, [&] { bench.manager.remove(id); },
                Qt::SingleShotConnection);
            if (change == "start"_L1)
                bench.manager.start(id);
            else if (change == "output"_L1)
                bench.launcher.last().write("Registered tunnel connection connIndex=0\nmore\n");
            else if (change == "stop all"_L1)
                bench.manager.stopAll();
            else
                bench.manager.remove(id);
            QVERIFY(bench.launcher.last().signalsSent.contains(15));
            bench.launcher.last().end(0);
            QVERIFY(!bench.manager.isBusy());
            QCOMPARE(bench.states(), u"o Stopped"_s);
        }
    }

    void moves()
    {
        const QList<std::tuple<std::set<qsizetype>, int, QString>> rows{
            {{4}, 0, u"eabcd"_s}, {{0}, 5, u"bcdea"_s},       {{1}, 3, u"acbde"_s},
            {{1}, 2, u"abcde"_s}, {{0, 2, 4}, 3, u"baced"_s}, {{-1, 7}, 9, u"abcde"_s}};
        for (const auto &[from, to, order] : rows) {
            Bench bench{u"abcde"_s};
            bench.manager.moveTunnels(from, to);
            QCOMPARE(namesOf(bench.manager), order);
            QCOMPARE(TunnelManager(bench.services()).tunnels(), bench.manager.tunnels());
        }
    }

    void terminatesOrphans()
    {
        Bench bench{{}};
        bench.processes.paths = {{10, "/usr/bin/cloudflared"}, {11, "/usr/bin/cloudflared-old"},
                                 {12, "/home/x/cloudflared"},  {13, ""},
                                 {14, "cloudflared"},          {-5, "/usr/bin/cloudflared"},
                                 {0, "/usr/bin/cloudflared"},  {1, "/usr/bin/cloudflared"}};
        bench.preferences.setIntegers(u"childPIDs"_s, {0, -5, 12, 11, 13, 14, 99, 10, 1});
        bench.manager.terminateOrphanedProcesses();
        QCOMPARE(bench.processes.terminated, (QList<qint32>{12, 10, 1}));
        QVERIFY(!bench.preferences.values.contains(u"childPIDs"_s));
    }

    /// An open keyring shows no wait; a closed one is asked once for all.
    void startsWaitForTheKeyring()
    {
        Bench bench{u"abcsr"_s};
        bench.secrets.isLocked = true;
        bench.manager.startAll();
        bench.scheduler.advance(299ms);
        bench.manager.startAll();
        QCOMPARE(bench.manager.runningCount(), 0);
        bench.scheduler.advance(1ms);
        const QUuid removed = bench.id(u"r"_s);
        bench.manager.remove(removed);
        for (const QString &name : {u"s"_s, u"b"_s, u"b"_s})
            bench.manager.toggle(bench.id(name));
        QCOMPARE(bench.states(), u"a Connecting…, b Connecting…, c Connecting…, s Stopped"_s);
        QCOMPARE(bench.tokens(), "");
        const QString waits = u"Waiting for the keyring to be unlocked"_s;
        QCOMPARE(bench.manager.runner(bench.id(u"a"_s))->reason(), waits);
        bench.preferences.waits = 0;

        bench.secrets.answer();
        QCOMPARE(bench.tokens(), "acb");
        QCOMPARE(bench.preferences.waits, 1);
        QCOMPARE(bench.scheduler.pendingCount(), 0);
        QCOMPARE(bench.log(u"a"_s).count(u"▶\uFE0E "_s + waits), 1);
        QCOMPARE(bench.log(u"b"_s).count(u"▶\uFE0E "_s + waits), 2);
        QCOMPARE(bench.secret(removed), "none");
    }

    void aWaitEnds()
    {
        for (const auto end : {"dismissed"_L1, "stop all"_L1, "quit"_L1}) {
            const bool isDismissed = end == "dismissed"_L1;
            Bench bench{u"al"_s};
            bench.secrets.isLocked = true;
            bench.start(u"a"_s);
            bench.scheduler.advance(1s);
            bench.start(u"l"_s); // later than the wait
            QCOMPARE(bench.states(), u"a Connecting…, l Connecting…"_s);
            if (end == "quit"_L1)
                bench.manager.refuseStarts();
            if (!isDismissed)
                bench.manager.stopAll();
            QCOMPARE(bench.manager.runningCount(), isDismissed ? 2 : 0);
            QVERIFY(bench.secrets.isAsking());
            bench.secrets.answer(isDismissed ? SecretStatus::Locked : SecretStatus::Success);
            QVERIFY(!bench.secrets.isAsking());
            const QString failed = u"a Error: %1, l Error: %1"_s.arg(missing.sliced(3));
            QCOMPARE(bench.states(), isDismissed ? failed : u"a Stopped, l Stopped"_s);
            for (const QString &name : {u"a"_s, u"l"_s})
                QCOMPARE(bench.log(name).mid(1),
                         isDismissed ? QStringList({notRead, missing}) : QStringList());
            bench.secrets.isLocked = true;
            bench.start(u"a"_s);
            QCOMPARE(bench.secrets.isAsking(), end != "quit"_L1);
        }
    }

    /// A token that is typed while the keyring is locked is used from memory until it is stored or given up.
    void tokensWaitForTheKeyring()
    {
        for (const SecretStatus answer : {SecretStatus::Success, SecretStatus::Locked}) {
            const bool isStored = answer == SecretStatus::Success;
            Bench bench{u"wr"_s};
            const TunnelConfig waiting = bench.manager.tunnels().first();
            const QUuid removed = bench.id(u"r"_s);
            bench.secrets.isLocked = true;
            bench.start(u"w"_s);
            bench.scheduler.advance(1s);
            bench.manager.update(waiting, u"typed "_s);
            const TunnelConfig added = FakeWorld::addTunnel(bench.manager, u"a"_s, {}, u"first"_s);
            bench.manager.update(added, u"second"_s);
            bench.start(u"a"_s);
            bench.manager.remove(removed);
            QCOMPARE(bench.tokens(), "typed second");

            bench.secrets.answer(answer);
            QVERIFY(!bench.secrets.isAsking());
            QCOMPARE(bench.secret(waiting.id), isStored ? "typed " : "w");
            QCOMPARE(bench.secret(added.id), isStored ? "second" : "none");
            QCOMPARE(bench.secret(removed), isStored ? "none" : "r");
            const QString notStored = u"✖\uFE0E The token could not be stored: the keyring is closed"_s;
            for (const QString &name : {u"w"_s, u"a"_s})
                QCOMPARE(bench.log(name).count(notStored), isStored ? 0 : 1);

            bench.secrets.failure = SecretStatus::Success;
            bench.manager.update(waiting, u"typed"_s);
            QCOMPARE(bench.secret(removed), "none");
        }
    }
};

QTEST_GUILESS_MAIN(TestTunnelManager)
#include "tst_tunnelmanager.moc"
