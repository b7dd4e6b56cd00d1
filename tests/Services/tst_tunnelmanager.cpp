// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "TunnelManager.h"
#include "TunnelRunner.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

#include <functional>
#include <map>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

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
    /// The ids that the next run would find.
    QList<qint32> ledger() const { return preferences.integers(u"childPIDs"_s).value_or(QList<qint32>{-1}); }
    /// All that can be seen: the sum, the numbers of running and connected tunnels and of tokens; each
    /// tunnel, with its token if that is not its name, what it waits for and its errors; each child with its
    /// signals.
    QString picture() const
    {
        const QStringList sums{u"idle"_s, u"connecting"_s, u"connected"_s, u"problem"_s};
        QStringList parts{sums[int(manager.overallStatus())] + u" %1 %2 %3"_s.arg(manager.runningCount())
                                                                   .arg(manager.connectedCount())
                                                                   .arg(secrets.items.size())};
        for (const TunnelConfig &tunnel : manager.tunnels()) {
            const TunnelRunner &runner = *manager.runner(tunnel.id);
            parts += tunnel.name + u' ' + runner.state().label();
            const QByteArray token = secrets.items.value(tunnelIdText(tunnel.id), "nothing");
            if (token != tunnel.name.toUtf8())
                parts.last() += u" has "_s + QString::fromLatin1(token);
            if (runner.state().isRunning() && !runner.status().reason.isEmpty())
                parts.last() += u" ("_s + runner.status().reason + u')';
            for (const QString &line : runner.logLines().text().split(u'\n').filter(u"✖\uFE0E"_s))
                parts.last() += u" ✖"_s + line.sliced(2);
        }
        for (const auto &child : launcher.children) {
            parts += u"child "_s + QString::fromUtf8(child->command.environment.front().second);
            for (const int number : child->signalsSent)
                parts.last() += u' ' + QString::number(number);
        }
        parts += (manager.isBusy() ? u"busy"_s : u"free"_s) + (secrets.isAsking() ? u" asking"_s : u""_s);
        return parts.join(u" | "_s).replace(folder.path(), u"~"_s);
    }
    /// Does what one or two words say; the second one is a tunnel's name or a number.
    void act(const QString &step)
    {
        const QString name = step.section(u' ', 1);
        const QUuid tunnel = id(name);
        const QMap<QString, SecretStatus> statuses{{u"found-none"_s, SecretStatus::NotFound},
                                                   {u"locked"_s, SecretStatus::Locked},
                                                   {u"absent"_s, SecretStatus::Absent},
                                                   {u"frozen"_s, SecretStatus::NotAvailable},
                                                   {u"other"_s, SecretStatus::Failed}};
        const std::map<QString, std::function<void()>> actions{
            {u"start"_s, [&] { manager.start(tunnel); }},
            {u"stop"_s, [&] { manager.stop(tunnel); }},
            {u"toggle"_s, [&] { manager.toggle(tunnel); }},
            {u"start-all"_s, [&] { manager.startAll(); }},
            {u"stop-all"_s, [&] { manager.stopAll(); }},
            {u"kill-all"_s, [&] { manager.forceKillAll(); }},
            {u"refuse"_s, [&] { manager.refuseStarts(); }},
            {u"add"_s, [&] { addTunnel(manager, name, {}, name); }},
            {u"type"_s,
             [&] {
                 manager.update({tunnel, name, {}, false}, name + u'2');
             }},
            {u"remove"_s, [&] { manager.remove(tunnel); }},
            {u"connect"_s, [&] { connect(manager, tunnel); }},
            {u"lose"_s, [&] { launcher.last().write("Connection terminated connIndex=0\n"); }},
            {u"end"_s, [&] { launcher.last().end(0); }},
            {u"fail"_s, [&] { manager.runner(tunnel)->fail(u"x"_s); }},
            {u"launch"_s,
             [&] {
                 manager.update({tunnel, name, {}, true}, std::nullopt);
                 manager.startLaunchTunnels();
             }},
            {u"lock"_s, [&] { secrets.isLocked = true; }},
            {u"ask"_s, [&] { secrets.ask(); }},
            {u"appear"_s, [&] { secrets.appear(); }},
            {u"unlock"_s, [&] { secrets.answer(); }},
            {u"dismiss"_s, [&] { secrets.answer(SecretStatus::Locked); }},
            {u"failure"_s, [&] { secrets.failure = statuses.value(name); }},
            {u"token"_s, [&] { secrets.items.first() = name.toLatin1(); }},
            {u"path"_s, [&] { manager.setCloudflaredPath(QDir(folder.path()).filePath(name)); }},
            {u"wait"_s, [&] { scheduler.advance(std::chrono::milliseconds(name.toInt())); }},
            {u"then-remove"_s, [&] {
                 QObject::connect(
                     &manager, &TunnelManager::objectWillChange, &manager,
                     [this, tunnel] { manager.remove(tunnel); }, Qt::SingleShotConnection);
             }}};
        actions.at(step.section(u' ', 0, 0))();
    }
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
        QCOMPARE(TunnelManager::detectCloudflared({u"/none"_s, u"/bin/true"_s, u"/bin/sh"_s}),
                 u"/bin/true"_s);
        QCOMPARE(TunnelManager::detectCloudflared({u"/none"_s, u"/etc/passwd"_s}), std::nullopt);
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
            QCOMPARE(TunnelManager::normalizeToken(raw), token);
    }

    void lives_data()
    {
        QTest::addColumn<QString>("tunnels");
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("picture"); // with the numbers of running and connected ones, and of tokens
        const auto row = [](const QString &tunnels, const QString &steps, const QString &picture) {
            QTest::newRow(qPrintable(steps)) << tunnels << steps << picture;
        };
        const QString missing =
            u" Error: Missing token: set it in Settings%1 ✖ Missing token: set it in Settings"_s;
        const QString alone = u"problem 0 0 1 | t"_s + missing + u" | free"_s;
        const QString notRead = u" ✖ The token could not be read: the keyring is closed"_s;
        const QString notStored = u" ✖ The token could not be stored: the keyring is closed"_s;
        const QString notFound = u"problem 0 0 1 | t Error: cloudflared not found at %1 "
                                 "✖ cloudflared not found at %1 | free"_s;
        const QString waits = u" Connecting… (Waiting for the keyring)"_s;
        const QString stopped = u"idle 0 0 2 | a Stopped | l Stopped"_s;
        const QString children = u" | child w2 | child a2 | busy"_s;
        row(u"o"_s, {}, u"idle 0 0 1 | o Stopped | free"_s);
        row(u"fc"_s, u"fail f, connect c"_s,
            u"problem 1 1 2 | f Error: x ✖ x | c Connected (1 connection) | child c | busy"_s);
        row(u"rs"_s, u"connect r, lose, start s, start unknown"_s,
            u"problem 2 0 2 | r Reconnecting… | s Connecting… | child r | child s | busy"_s);
        row(u"cs"_s, u"connect c, start s"_s,
            u"connecting 2 1 2 | c Connected (1 connection) | s Connecting… | child c | child s | busy"_s);
        row(u"p"_s, u"start p, stop p"_s, u"connecting 1 0 1 | p Stopping… | child p 15 | busy"_s);
        row(u"cod"_s, u"connect c, connect d"_s,
            u"connected 2 2 3 | c Connected (1 connection) | o Stopped | d Connected (1 connection) | "
            "child c | child d | busy"_s);

        row(u"t"_s, u"token , path absent, start t"_s, alone.arg(u" has "_s));
        row(u"t"_s, u"token eyJ\u00ff, start t"_s, alone.arg(u" has eyJ\u00ff"_s));
        row(u"t"_s, u"failure found-none, start t"_s, alone.arg(u""_s));
        row(u"t"_s, u"failure locked, start t"_s, alone.arg(notRead));
        row(u"t"_s, u"failure frozen, start t"_s, alone.arg(notRead));
        row(u"t"_s, u"path cloudflared , start t"_s, notFound.arg(u"~/cloudflared "_s));
        row(u"t"_s, u"path ., start t"_s, notFound.arg(u"~/."_s));
        row(u"t"_s, u"path /etc/passwd, start t"_s, notFound.arg(u"/etc/passwd"_s));

        const QString removed = u"connect t, fail f, remove t, wait 6000, kill-all"_s;
        row(u"tf"_s, removed, u"problem 0 0 1 | f Error: x ✖ x | child t 15 9 9 | busy"_s);
        row(u"tf"_s, removed + u", end"_s, u"problem 0 0 1 | f Error: x ✖ x | child t 15 9 9 | free"_s);
        row(u"to"_s, u"then-remove t, start t, end"_s, u"idle 0 0 1 | o Stopped | child t 15 | free"_s);
        row(u"to"_s, u"start t, then-remove t, connect t, end"_s,
            u"idle 0 0 1 | o Stopped | child t 15 | free"_s);
        row(u"to"_s, u"start t, then-remove t, stop-all, end"_s,
            u"idle 0 0 1 | o Stopped | child t 15 15 | free"_s);
        row(u"to"_s, u"start t, then-remove t, remove t, end"_s,
            u"idle 0 0 1 | o Stopped | child t 15 | free"_s);

        row(u"ab"_s, u"lock, start-all, wait 299, start-all"_s,
            u"idle 0 0 2 | a Stopped | b Stopped | free asking"_s);
        row(u"ab"_s, u"lock, start-all, wait 300"_s,
            u"connecting 2 0 2 | a%1 | b%1 | free asking"_s.arg(waits));
        row(u"al"_s, u"lock, start a, ask, wait 300, start l"_s,
            u"connecting 2 0 2 | a%1 | l%1 | free asking"_s.arg(
                u" Connecting… (Waiting for the keyring to be unlocked)"_s));
        row(u"abcsr"_s, u"lock, start-all, wait 300, remove r, toggle s, toggle b, toggle b, unlock"_s,
            u"connecting 3 0 4 | a Connecting… | b Connecting… | c Connecting… | s Stopped | "
            "child a | child c | child b | busy"_s);
        const QString wait = u"lock, start a, wait 1000, start l, "_s;
        row(u"al"_s, wait + u"wait 0"_s, u"connecting 2 0 2 | a%1 | l%1 | free asking"_s.arg(waits));
        row(u"al"_s, wait + u"stop-all"_s, stopped + u" | free asking"_s);
        row(u"al"_s, wait + u"dismiss"_s, u"problem 0 0 2 | a%1 | l%1 | free"_s.arg(missing.arg(notRead)));
        row(u"al"_s, wait + u"dismiss, lock, start a"_s,
            u"problem 0 0 2 | a%1 | l%1 | free asking"_s.arg(missing.arg(notRead)));
        row(u"al"_s, wait + u"stop-all, unlock, lock, start a"_s, stopped + u" | free asking"_s);
        row(u"al"_s, wait + u"refuse, stop-all, unlock, lock, start a"_s, stopped + u" | free"_s);
        // At log-in the keyring may come later than the tunnels.
        const QString early = u"failure absent, launch a, "_s;
        const QString later = u"connecting 1 0 2 | a Connecting…%1 | l Stopped%2"_s;
        row(u"al"_s, early + u"wait 29999"_s, later.arg(u" (Waiting for a keyring)"_s, u" | free"_s));
        row(u"al"_s, early + u"wait 30000"_s,
            u"problem 0 0 2 | a%1 | l Stopped | free"_s.arg(missing.arg(notRead)));
        row(u"al"_s, early + u"start l"_s,
            u"problem 1 0 2 | a Connecting… (Waiting for a keyring) | l%1 | free"_s.arg(
                missing.arg(notRead)));
        row(u"al"_s, early + u"stop a, appear"_s, stopped + u" | free"_s);
        row(u"al"_s, early + u"appear"_s, later.arg(u""_s, u" | child a | busy"_s));
        row(u"al"_s, early + u"wait 30000, appear"_s,
            later.arg(notRead + u" ✖ Missing token: set it in Settings"_s, u" | child a | busy"_s));
        // A token that is typed meanwhile is used from memory until it is stored or given up.
        const QString type = u"lock, start w, wait 1000, type w, add a, type a, start a, remove r, "_s;
        row(u"w"_s, u"failure other, type w"_s, u"idle 0 0 1 | w Stopped"_s + notStored + u" | free"_s);
        row(u"wr"_s, type + u"wait 0"_s,
            u"connecting 2 0 2 | w Connecting… | a Connecting… has nothing"_s + children + u" asking"_s);
        row(u"wr"_s, type + u"unlock"_s,
            u"connecting 2 0 2 | w Connecting… has w2 | a Connecting… has a2"_s + children);
        row(u"wr"_s, type + u"dismiss"_s,
            u"connecting 2 0 2 | w Connecting…%1 | a Connecting… has nothing%1"_s.arg(notStored) + children);
        row(u"wr"_s, type + u"dismiss, failure none, type w"_s,
            u"connecting 2 0 1 | w Connecting… has w2%1 | a Connecting… has nothing%1"_s.arg(notStored) +
                children);
    }

    void lives()
    {
        QFETCH(QString, tunnels);
        QFETCH(QString, steps);
        Bench bench{tunnels};
        for (const QString &step : steps.split(u", "_s, Qt::SkipEmptyParts))
            bench.act(step);
        QFETCH(QString, picture);
        QCOMPARE(bench.picture().split(u" | "_s), picture.split(u" | "_s));
    }

    /// Neither a refusal nor the end of the program leaves a removed tunnel's token for good, and what an
    /// earlier run left to remove is no reason to ask.
    void removesTokensAtTheNextChance()
    {
        Bench bench{u"ab"_s};
        for (const QString &step : {u"lock"_s, u"remove b"_s, u"dismiss"_s})
            bench.act(step);
        TunnelManager next(bench.services());
        bench.act(u"failure none"_s);
        bench.act(u"lock"_s);
        next.startLaunchTunnels();
        QVERIFY2(!bench.secrets.isAsking(), "the user is asked for the sake of a removed tunnel");
        QCOMPARE(bench.secrets.items.size(), 2);
        bench.secrets.isLocked = false;
        next.startLaunchTunnels();
        QCOMPARE(bench.secrets.items.size(), 1);
        QVERIFY(!bench.preferences.values.contains(u"tokensToRemove"_s));
    }

    /// All children exist and are remembered, once for all, before the first one runs.
    void startsTogether()
    {
        Bench bench{u"abcdefg"_s};
        bench.manager.update({bench.id(u"d"_s), u"d"_s, {}, true}, std::nullopt);
        bench.act(u"connect a"_s);
        bench.act(u"fail b"_s);
        bench.manager.startLaunchTunnels();
        bench.preferences.waits = 0;
        bench.launcher.mostChildren = 5; // as where there are no more processes
        unsigned runs = 0;
        bench.launcher.aboutToRun = [&] {
            QCOMPARE(bench.launcher.children.size(), ++runs == 3 ? 4U : 5U);
            QCOMPARE(bench.preferences.waits, 1);
            bench.launcher.error = runs == 2 ? u"no"_s : QString();
        };
        bench.manager.startAll();
        QCOMPARE(runs, 3U);
        QCOMPARE(bench.ledger(), (QList<qint32>{1000, 1001, 1002, 1004}));
        bench.act(u"stop-all"_s);
        const QString failed = u"Stopped ✖ Could not start cloudflared:"_s;
        QCOMPARE(bench.picture(),
                 u"connecting 4 0 7 | a Stopping… | b Stopping… ✖ x | c %1 no | d Stopping… | "
                 "e Stopping… | f %1  | g %1  | child a 15 | child d 15 | child b 15 | "
                 "child e 15 | busy"_s.arg(failed));
        QCOMPARE(bench.preferences.waits, 1);
    }

    void addsUpdatesAndRemoves()
    {
        Bench bench{{}};
        TunnelManager &manager = bench.manager;
        QSignalSpy announced(&manager, &TunnelManager::objectWillChange);
        QSignalSpy done(&manager, &TunnelManager::objectDidChange);
        TunnelConfig tunnel = FakeWorld::addTunnel(manager, u"first"_s);
        QCOMPARE(bench.secrets.items.first(), "eyJ-token");
        QCOMPARE(bench.secrets.labels.first(), u"com.ardentwick.Morvanel.token: Morvanel token"_s);

        auto &child = bench.connect(manager, tunnel.id);
        tunnel.name = QString(10'000, u'ש') + u"\n\"\\\u2028😀"_s;
        manager.update(tunnel, std::nullopt);
        QCOMPARE(bench.secrets.items.first(), "eyJ-token");
        manager.update(tunnel, u"\uFEFFü \0 \""_s);
        QCOMPARE(bench.secrets.items.first(), QByteArray("\xef\xbb\xbf\xc3\xbc \0 \"", 9));
        QVERIFY(child.signalsSent.isEmpty());
        manager.setLaunchesAtLogin(true);
        QCOMPARE(announced.count(), 6); // two of them for the states of the start
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
        QVERIFY(!manager.runner(tunnel.id));
        QVERIFY(TunnelManager(bench.services()).tunnels().isEmpty());
        QCOMPARE(bench.ledger(), QList<qint32>{child.pid});
        bench.preferences.setIntegers(u"childPIDs"_s, {child.pid, 7, child.pid}); // twice, after a crash
        child.end(9);
        QCOMPARE(bench.ledger(), QList<qint32>{7});
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
        bench.launcher.orphanPaths = {{10, "/usr/bin/cloudflared"}, {11, "/usr/bin/cloudflared-old"},
                                      {12, "/home/x/cloudflared"},  {13, ""},
                                      {14, "cloudflared"},          {-5, "/usr/bin/cloudflared"},
                                      {0, "/usr/bin/cloudflared"},  {1, "/usr/bin/cloudflared"}};
        bench.preferences.setIntegers(u"childPIDs"_s, {0, -5, 12, 11, 13, 14, 99, 10, 1});
        bench.manager.terminateOrphanedProcesses();
        QCOMPARE(bench.launcher.terminatedOrphans, (QList<qint32>{12, 10, 1}));
        QVERIFY(!bench.preferences.values.contains(u"childPIDs"_s));
    }
};

QTEST_GUILESS_MAIN(TestTunnelManager)
#include "tst_tunnelmanager.moc"
