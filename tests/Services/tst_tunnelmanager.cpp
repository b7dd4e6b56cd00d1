// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "Pictures.h"
#include "TunnelManager.h"
#include "TunnelRunner.h"

#include <QDir>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <functional>

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
    QUuid id(QChar name) const
    {
        const qsizetype place = namesOf(manager).indexOf(name);
        if (place < 0)
            qFatal("A test means tunnel %c, but there is none of that name.", name.toLatin1());
        return manager.tunnels()[place].id;
    }
    void update(QChar name, const std::optional<QString> &token, bool startsOnLaunch)
    {
        manager.update({id(name), name, {}, startsOnLaunch}, token);
    }
    /// The ids that the next run would find.
    QList<qint32> ledger() const { return preferences.integers(u"childPIDs"_s).value_or(QList<qint32>{-1}); }
    /// Returns all that can be seen: the sum of all; each tunnel, with its token if that is not its name,
    /// what it waits for and its errors; tokens of other tunnels; each child with the signals that it got.
    QString picture() const
    {
        const QStringList sums{u"idle"_s, u"connecting"_s, u"connected"_s, u"problem"_s};
        QStringList parts{sums[int(manager.overallStatus())]};
        if (manager.runningCount() > 0)
            parts += u"%1 of %2 connected"_s.arg(manager.connectedCount()).arg(manager.runningCount());
        auto tokens = secrets.items;
        for (const TunnelConfig &tunnel : manager.tunnels()) {
            const TunnelRunner &runner = *manager.runner(tunnel.id);
            parts += tunnel.name + u' ' + runner.state().label();
            const QString token =
                QString::fromLatin1(tokens.value(tunnelIdText(tunnel.id), "no").append(" token"));
            tokens.remove(tunnelIdText(tunnel.id));
            if (token != tunnel.name + u" token"_s)
                parts.last() += u" with "_s + token;
            if (runner.state().isRunning() && !runner.status().reason.isEmpty())
                parts.last() += u" ("_s + runner.status().reason + u')';
            for (const QString &line : runner.logLines().text().split(u'\n').filter(u"✖\uFE0E"_s))
                parts.last() += u" ✖"_s + line.sliced(2);
        }
        for (const QByteArray &token : tokens)
            parts += QString::fromLatin1(token + " token of no tunnel");
        for (const auto &child : launcher.children) {
            parts += u"child "_s + QString::fromUtf8(child->command.environment.front().second);
            for (const int number : child->signalsSent)
                parts.last() += number == 15 ? u" terminated"_s : u" killed"_s;
        }
        if (manager.isBusy())
            parts += u"busy"_s;
        if (secrets.isAsking())
            parts += u"asks the keyring"_s;
        return parts.join(u", "_s).replace(folder.path(), u"~"_s);
    }
};

/// Something that is done to a manager or by its surroundings.
using Deed = std::function<void(Bench &)>;
using Deeds = QList<Deed>;

const auto start = [](QChar name) -> Deed { return [=](Bench &on) { on.manager.start(on.id(name)); }; };
const auto stop = [](QChar name) -> Deed { return [=](Bench &on) { on.manager.stop(on.id(name)); }; };
const auto toggle = [](QChar name) -> Deed { return [=](Bench &on) { on.manager.toggle(on.id(name)); }; };
const auto removeTunnel = [](QChar name) -> Deed {
    return [=](Bench &on) { on.manager.remove(on.id(name)); };
};
const Deed startAll = [](Bench &on) { on.manager.startAll(); };
const Deed stopAll = [](Bench &on) { on.manager.stopAll(); };
const Deed killAll = [](Bench &on) { on.manager.forceKillAll(); };
const Deed refuseStarts = [](Bench &on) { on.manager.refuseStarts(); };
const auto add = [](QChar name) -> Deed {
    return [=](Bench &on) { FakeWorld::addTunnel(on.manager, name, {}, name); };
};
const auto typeToken = [](QChar name) -> Deed {
    return [=](Bench &on) { on.update(name, name + u"2"_s, false); };
};
/// Opens the program with this launch tunnel.
const auto launchWith = [](QChar name) -> Deed {
    return [=](Bench &on) {
        on.update(name, std::nullopt, true);
        on.manager.startLaunchTunnels();
    };
};
/// Removes the tunnel inside the next announcement.
const auto removeAtTheNextChange = [](QChar name) -> Deed {
    return [=](Bench &on) {
        QObject::connect(
            &on.manager, &TunnelManager::objectWillChange, &on.manager,
            [&on, id = on.id(name)] { on.manager.remove(id); }, Qt::SingleShotConnection);
    };
};
const auto connectTunnel = [](QChar name) -> Deed {
    return [=](Bench &on) { on.FakeWorld::connect(on.manager, on.id(name)); };
};
const Deed loseConnection = [](Bench &on) {
    on.launcher.last().write("Connection terminated connIndex=0\n");
};
const Deed endChild = [](Bench &on) { on.launcher.last().end(0); };
const auto fail = [](QChar name) -> Deed {
    return [=](Bench &on) { on.manager.runner(on.id(name))->fail(u"x"_s); };
};
const auto waitFor = [](std::chrono::milliseconds time) -> Deed {
    return [=](Bench &on) { on.scheduler.advance(time); };
};
const auto setPath = [](const QString &path) -> Deed {
    return [=](Bench &on) { on.manager.setCloudflaredPath(QDir(on.folder.path()).filePath(path)); };
};
const auto failKeyring = [](SecretStatus status) -> Deed {
    return [=](Bench &on) { on.secrets.failure = status; };
};
const auto storeToken = [](const QByteArray &token) -> Deed {
    return [=](Bench &on) { on.secrets.items.first() = token; };
};
const Deed lock = [](Bench &on) { on.secrets.isLocked = true; };
const Deed unlock = [](Bench &on) { on.secrets.answer(); };
const Deed dismissQuestion = [](Bench &on) { on.secrets.answer(SecretStatus::Locked); };
const Deed putQuestion = [](Bench &on) { on.secrets.ask(); };
const Deed keyringAppears = [](Bench &on) { on.secrets.appear(); };

} // namespace

class TestTunnelManager : public QObject
{
    Q_OBJECT

private:
    static void addColumns()
    {
        QTest::addColumn<QString>("tunnels");
        QTest::addColumn<Deeds>("deeds");
        QTest::addColumn<QString>("picture");
    }
    static void row(const char *name, const QString &tunnels, const Deeds &deeds, const QString &picture)
    {
        QTest::newRow(name) << tunnels << deeds << picture;
    }
    /// Plays a row: after all deeds the manager has to look like the picture.
    static void play()
    {
        QFETCH(QString, tunnels);
        QFETCH(Deeds, deeds);
        QFETCH(QString, picture);
        Bench bench{tunnels};
        for (const Deed &deed : deeds)
            deed(bench);
        NO_FAULT(Pictures::difference(bench.picture(), picture));
    }

    const QString m_missing =
        u" Error: Missing token: set it in Settings%1 ✖ Missing token: set it in Settings"_s;
    const QString m_notRead = u" ✖ The token could not be read: the keyring is closed"_s;
    const QString m_notStored = u" ✖ The token could not be stored: the keyring is closed"_s;

private Q_SLOTS:
    void findsCloudflared()
    {
        const QStringList candidates{u"/opt/homebrew/bin/cloudflared"_s, u"/usr/local/bin/cloudflared"_s,
                                     u"/usr/bin/cloudflared"_s};
        QCOMPARE(TunnelManager::candidatePaths().join(u'\n'), candidates.join(u'\n'));
        QCOMPARE(TunnelManager::detectCloudflared({u"/none"_s, u"/bin/true"_s, u"/bin/sh"_s}),
                 u"/bin/true"_s);
        QCOMPARE(TunnelManager::detectCloudflared({u"/none"_s, u"/etc/passwd"_s}), std::nullopt);
    }

    void loads_data()
    {
        QTest::addColumn<QVariantMap>("stored");
        QTest::addColumn<QString>("names");
        QTest::addColumn<QString>("path");
        const QByteArray list = TunnelConfig::toJson(
            {{QUuid::createUuid(), u"b"_s, u"x"_s, true}, {QUuid::createUuid(), u"a"_s, {}, false}});
        // Looks by itself where the program looks when no path is stored.
        const QString found = QStandardPaths::findExecutable(
            u"cloudflared"_s, {u"/opt/homebrew/bin"_s, u"/usr/local/bin"_s, u"/usr/bin"_s});
        const QString detected = found.isEmpty() ? u"/opt/homebrew/bin/cloudflared"_s : found;
        const auto row = [](const char *name, const QVariant &tunnels, const QVariant &stored,
                            const QString &names, const QString &path) {
            QTest::newRow(name) << QVariantMap{{u"tunnels"_s, tunnels}, {u"cloudflaredPath"_s, stored}}
                                << names << path;
        };
        row("a path is cleaned, tunnels are sorted", list, u"~/x "_s, u"ba"_s, u"~/x "_s);
        row("a damaged record is half read", QByteArray(list.chopped(1) + ",7]"), u""_s, {}, {});
        row("values of another type are used", QByteArray("[{"), true, {}, detected);
        row("nothing stored, and no path is shown", {}, {}, {}, detected);
    }
    void loads()
    {
        QFETCH(QVariantMap, stored);
        FakeWorld world;
        world.preferences.values = stored;
        TunnelManager manager(world.services());
        QTEST(namesOf(manager), "names");
        for (const TunnelConfig &tunnel : manager.tunnels())
            QVERIFY2(manager.runner(tunnel.id), "a tunnel that was loaded has no runner");
        QTEST(manager.cloudflaredPath(), "path");
        QVERIFY2(manager.showsInDock(), "a new user's program is not in the Dock");
        QVERIFY2(world.preferences.writes == 0, "loading writes preferences");
        FakeWorld::addTunnel(manager, u"new"_s);
        QVERIFY2(TunnelManager(world.services()).tunnels() == manager.tunnels(),
                 "the next run has other tunnels");
    }

    void normalizeToken_data()
    {
        QTest::addColumn<QString>("pasted");
        QTest::addColumn<QString>("token");
        const auto row = [](const char *name, const QString &pasted, const QString &token) {
            QTest::newRow(name) << pasted << token;
        };
        row("padding or line end stay", u"  eyJabc== \n"_s, u"eyJabc"_s);
        row("a command of several lines hides it",
            u"sudo cloudflared \\\n tunnel run\u2028--token\r\n\"eyJabc\"\n"_s, u"eyJabc"_s);
        row("behind --token only eyJ counts", u"cloudflared tunnel run --token abc"_s, u"abc"_s);
        row("--token= is not known, or quotes stay", u"--token='abc'"_s, u"abc"_s);
        row("quotes in quotes stay", u"\"'\"abc'\"'"_s, u"abc"_s);
        row("a later --token wins over eyJ", u"x eyJ1 --token eyJ2"_s, u"eyJ1"_s);
        row("capitals count as a token", u"a EYJ1 --TOKEN b"_s, u"a EYJ1 --TOKEN b"_s);
        row("--token alone leaves nothing", u"--token"_s, u"--token"_s);
        row("--token= alone leaves nothing", u" run --token= "_s, u"run --token="_s);
        row("the second --token counts", u"--token --token abc"_s, u"--token"_s);
        row("blanks inside are cut", u" abc  def "_s, u"abc  def"_s);
        row("blanks count as a token", u" \t\n"_s, u""_s);
        row("quotes alone are removed", u" \"'' "_s, u"\"''"_s);
        row("blanks of other scripts stay", u"\u00A0eyJabc\u0085x"_s, u"eyJabc"_s);
    }
    void normalizeToken()
    {
        QFETCH(QString, pasted);
        QTEST(TunnelManager::normalizeToken(pasted), "token");
    }

    void sumsUp_data()
    {
        addColumns();
        row("a tunnel at rest counts as running", u"o"_s, {}, u"idle, o Stopped"_s);
        row("a connection hides a failure", u"fc"_s, {fail(u'f'), connectTunnel(u'c')},
            u"problem, 1 of 1 connected, f Error: x ✖ x, c Connected (1 connection), child c, busy"_s);
        row("a start hides a lost connection", u"rs"_s, {connectTunnel(u'r'), loseConnection, start(u's')},
            u"problem, 0 of 2 connected, r Reconnecting…, s Connecting…, child r, child s, busy"_s);
        row("a connection hides a start", u"cs"_s, {connectTunnel(u'c'), start(u's')},
            u"connecting, 1 of 2 connected, c Connected (1 connection), s Connecting…, "
            "child c, child s, busy"_s);
        row("a stopping tunnel does not count", u"p"_s, {start(u'p'), stop(u'p')},
            u"connecting, 0 of 1 connected, p Stopping…, child p terminated, busy"_s);
        row("a tunnel at rest makes the sum less than connected", u"cod"_s,
            {connectTunnel(u'c'), connectTunnel(u'd')},
            u"connected, 2 of 2 connected, c Connected (1 connection), o Stopped, "
            "d Connected (1 connection), child c, child d, busy"_s);
        row("an id of no tunnel is started", u"o"_s,
            {[](Bench &on) { on.manager.start(QUuid::createUuid()); }}, u"idle, o Stopped"_s);
    }
    void sumsUp() { play(); }

    void saysWhatAStartLacks_data()
    {
        addColumns();
        const QString missing = u"problem, t"_s + m_missing;
        const QString notFound = u"problem, t Error: cloudflared not found at %1 "
                                 "✖ cloudflared not found at %1"_s;
        row("an empty token is used, or the path is blamed first", u"t"_s,
            {storeToken({}), setPath(u"absent"_s), start(u't')}, missing.arg(u" with  token"_s));
        row("a token that is no text is used", u"t"_s, {storeToken("eyJ\xff"), start(u't')},
            missing.arg(u" with eyJ\u00ff token"_s));
        row("a start without a token", u"t"_s, {failKeyring(SecretStatus::NotFound), start(u't')},
            missing.arg(u""_s));
        row("a locked keyring gives no reason", u"t"_s, {failKeyring(SecretStatus::Locked), start(u't')},
            missing.arg(m_notRead));
        row("a frozen keyring gives no reason", u"t"_s,
            {failKeyring(SecretStatus::NotAvailable), start(u't')}, missing.arg(m_notRead));
        row("a blank behind the path is cut", u"t"_s, {setPath(u"cloudflared "_s), start(u't')},
            notFound.arg(u"~/cloudflared "_s));
        row("a folder counts as program", u"t"_s, {setPath(u"."_s), start(u't')}, notFound.arg(u"~/."_s));
        row("a plain file counts as program", u"t"_s, {setPath(u"/etc/passwd"_s), start(u't')},
            notFound.arg(u"/etc/passwd"_s));
    }
    void saysWhatAStartLacks() { play(); }

    void removesTunnels_data()
    {
        addColumns();
        const Deeds removed{connectTunnel(u't'), fail(u'f'), removeTunnel(u't'), waitFor(6s), killAll};
        const QString left = u"problem, f Error: x ✖ x, child t terminated killed killed"_s;
        const QString alone = u"idle, o Stopped, child t terminated"_s;
        row("the child of a removed tunnel is not killed, or is forgotten", u"tf"_s, removed,
            left + u", busy"_s);
        row("the ended child of a removed tunnel is still waited for", u"tf"_s, removed + Deeds{endChild},
            left);
        row("removed in its own start, its child runs on", u"to"_s,
            {removeAtTheNextChange(u't'), start(u't'), endChild}, alone);
        row("removed as it connects, its child runs on", u"to"_s,
            {start(u't'), removeAtTheNextChange(u't'), connectTunnel(u't'), endChild}, alone);
        row("removed as all are stopped, its child runs on", u"to"_s,
            {start(u't'), removeAtTheNextChange(u't'), stopAll, endChild}, alone + u" terminated"_s);
        row("removed twice, its child runs on", u"to"_s,
            {start(u't'), removeAtTheNextChange(u't'), removeTunnel(u't'), endChild}, alone);
    }
    void removesTunnels() { play(); }

    void waitsForTheKeyring_data()
    {
        addColumns();
        const QString waits = u" Connecting… (Waiting for the keyring)"_s;
        const QString stopped = u"idle, a Stopped, l Stopped"_s;
        const QString failed = u"problem, a%1, l%1"_s.arg(m_missing.arg(m_notRead));
        const QString asks = u", asks the keyring"_s;
        row("a quick keyring makes the list flicker", u"ab"_s, {lock, startAll, waitFor(299ms), startAll},
            u"idle, a Stopped, b Stopped"_s + asks);
        row("a slow keyring is not shown", u"ab"_s, {lock, startAll, waitFor(300ms)},
            u"connecting, 0 of 2 connected, a%1, b%1"_s.arg(waits) + asks);
        row("a question on the screen is not named", u"al"_s,
            {lock, start(u'a'), putQuestion, waitFor(300ms), start(u'l')},
            u"connecting, 0 of 2 connected, a%1, l%1"_s.arg(
                u" Connecting… (Waiting for the keyring to be unlocked)"_s) +
                asks);
        row("tunnels stopped or removed meanwhile start at the answer", u"abcsr"_s,
            {lock, startAll, waitFor(300ms), removeTunnel(u'r'), toggle(u's'), toggle(u'b'), toggle(u'b'),
             unlock},
            u"connecting, 0 of 3 connected, a Connecting…, b Connecting…, c Connecting…, s Stopped, "
            "child a, child c, child b, busy"_s);
        const Deeds waiting{lock, start(u'a'), waitFor(1s), start(u'l')};
        row("a tunnel started later is not shown waiting at once", u"al"_s, waiting,
            u"connecting, 0 of 2 connected, a%1, l%1"_s.arg(waits) + asks);
        row("a waiting tunnel cannot be stopped", u"al"_s, waiting + Deeds{stopAll}, stopped + asks);
        row("a dismissed question gives no reason", u"al"_s, waiting + Deeds{dismissQuestion}, failed);
        row("a dismissed question is never asked again", u"al"_s,
            waiting + Deeds{dismissQuestion, lock, start(u'a')}, failed + asks);
        row("a stopped tunnel starts at the answer", u"al"_s,
            waiting + Deeds{stopAll, unlock, lock, start(u'a')}, stopped + asks);
        row("the keyring is asked as the program ends", u"al"_s,
            waiting + Deeds{refuseStarts, stopAll, unlock, lock, start(u'a')}, stopped);
    }
    void waitsForTheKeyring() { play(); }

    /// At log-in the keyring may come later than the tunnels.
    void waitsForAKeyringAtLogIn_data()
    {
        addColumns();
        const Deeds early{failKeyring(SecretStatus::Absent), launchWith(u'a')};
        const QString waits = u"0 of 1 connected, a Connecting… (Waiting for a keyring), l"_s;
        const QString started = u"connecting, 0 of 1 connected, a Connecting…%1, l Stopped, child a, busy"_s;
        const QString failed = m_missing.arg(m_notRead);
        row("the wait is given up before half a minute", u"al"_s, early + Deeds{waitFor(29'999ms)},
            u"connecting, "_s + waits + u" Stopped"_s);
        row("the wait lasts longer than half a minute", u"al"_s, early + Deeds{waitFor(30s)},
            u"problem, a%1, l Stopped"_s.arg(failed));
        row("a start by the user waits too", u"al"_s, early + Deeds{start(u'l')},
            u"problem, "_s + waits + failed);
        row("a stopped tunnel starts when the keyring comes", u"al"_s,
            early + Deeds{stop(u'a'), keyringAppears}, u"idle, a Stopped, l Stopped"_s);
        row("a keyring that comes is missed", u"al"_s, early + Deeds{keyringAppears}, started.arg(u""_s));
        row("a keyring that comes after the wait is missed", u"al"_s,
            early + Deeds{waitFor(30s), keyringAppears},
            started.arg(m_notRead + u" ✖ Missing token: set it in Settings"_s));
    }
    void waitsForAKeyringAtLogIn() { play(); }

    /// A token that is typed meanwhile is used from memory until it is stored or given up.
    void usesTypedTokens_data()
    {
        addColumns();
        const Deeds typed{lock,      start(u'w'),     waitFor(1s), typeToken(u'w'),
                          add(u'a'), typeToken(u'a'), start(u'a'), removeTunnel(u'r')};
        const QString both = u"connecting, 0 of 2 connected, w Connecting…%1, a Connecting…%2, "_s;
        const QString children = u"child w2, child a2, busy"_s;
        const QString none = u" with no token"_s + m_notStored;
        row("nothing says that a token could not be stored", u"w"_s,
            {failKeyring(SecretStatus::Failed), typeToken(u'w')}, u"idle, w Stopped"_s + m_notStored);
        row("a typed token is not used before it is stored", u"wr"_s, typed,
            both.arg(u""_s, u" with no token"_s) + u"r token of no tunnel, "_s + children +
                u", asks the keyring"_s);
        row("a typed token is not stored at the answer", u"wr"_s, typed + Deeds{unlock},
            both.arg(u" with w2 token"_s, u" with a2 token"_s) + children);
        row("after a dismissed question the typed token is neither used nor told", u"wr"_s,
            typed + Deeds{dismissQuestion},
            both.arg(m_notStored, none) + u"r token of no tunnel, "_s + children);
        row("a token typed again after a dismissed question is not stored", u"wr"_s,
            typed + Deeds{dismissQuestion, failKeyring(SecretStatus::Success), typeToken(u'w')},
            both.arg(u" with w2 token"_s + m_notStored, none) + children);
    }
    void usesTypedTokens() { play(); }

    /// Neither a refusal nor the end of the program leaves a removed tunnel's token for good, and what an
    /// earlier run left to remove is no reason to ask.
    void removesTokensAtTheNextChance()
    {
        Bench bench{u"ab"_s};
        for (const Deed &deed : Deeds{lock, removeTunnel(u'b'), dismissQuestion})
            deed(bench);
        TunnelManager next(bench.services());
        bench.secrets.failure = SecretStatus::Success;
        bench.secrets.isLocked = true;
        next.startLaunchTunnels();
        QVERIFY2(!bench.secrets.isAsking(), "the user is asked for the sake of a removed tunnel");
        bench.secrets.isLocked = false;
        next.startLaunchTunnels();
        QVERIFY2(bench.secrets.items.values() == QByteArrayList{"a"}, "the removed tunnel's token is kept");
        QVERIFY2(!bench.preferences.values.contains(u"tokensToRemove"_s),
                 "a token is removed again and again");
    }

    /// All children exist and are remembered, once for all, before the first one runs.
    void startsTogether()
    {
        Bench bench{u"abcdefg"_s};
        bench.update(u'd', std::nullopt, true);
        for (const Deed &deed : Deeds{connectTunnel(u'a'), fail(u'b')})
            deed(bench);
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
        bench.manager.stopAll();
        const QString failed = u"Stopped ✖ Could not start cloudflared:"_s;
        NO_FAULT(Pictures::difference(
            bench.picture(),
            u"connecting, 0 of 4 connected, a Stopping…, b Stopping… ✖ x, c %1 no, "
            "d Stopping…, e Stopping…, f %1 , g %1 , child a terminated, "
            "child d terminated, child b terminated, child e terminated, busy"_s.arg(failed)));
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

    void moves_data()
    {
        QTest::addColumn<std::set<qsizetype>>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QString>("order"); // of abcde
        using Offsets = std::set<qsizetype>;
        QTest::newRow("a tunnel cannot be moved to the top") << Offsets{4} << 0 << u"eabcd"_s;
        QTest::newRow("a tunnel cannot be moved to the end") << Offsets{0} << 5 << u"bcdea"_s;
        QTest::newRow("a tunnel moved down stops one place off") << Offsets{1} << 3 << u"acbde"_s;
        QTest::newRow("a tunnel dropped on its own place moves") << Offsets{1} << 2 << u"abcde"_s;
        QTest::newRow("tunnels from both sides lose their order") << Offsets{0, 2, 4} << 3 << u"baced"_s;
        QTest::newRow("offsets outside the list move something") << Offsets{-1, 7} << 9 << u"abcde"_s;
    }
    void moves()
    {
        QFETCH(const std::set<qsizetype>, from);
        QFETCH(const int, to);
        Bench bench{u"abcde"_s};
        bench.manager.moveTunnels(from, to);
        QTEST(namesOf(bench.manager), "order");
        QVERIFY2(TunnelManager(bench.services()).tunnels() == bench.manager.tunnels(),
                 "the next run has another order");
    }

    /// None but those whose program is called cloudflared; 0 and negative numbers would be whole groups.
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
