// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AppFakes.h"
#include "Fakes.h"
#include "Notifications.h"
#include "Pictures.h"
#include "TunnelNotifications.h"
#include "TunnelRunner.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Holds what is on the screen.
class FakeNotifications : public Notifications
{
public:
    void show(const QUuid &tag, const Notification &notification) override
    {
        shown[tag] = notification;
        ++count;
    }
    void update(const QUuid &tag, const Notification &notification) override
    {
        if (shown.contains(tag))
            show(tag, notification);
    }
    void withdraw(const QUuid &tag) override { shown.remove(tag); }

    QHash<QUuid, Notification> shown;
    int count = 0; ///< of those shown so far
};

struct Bench
{
    FakeWorld world;
    FakeDesktop desktop;
    FakeNotifications screen;
    TunnelManager manager{world.services()};
    TunnelNotifications notifications{manager, desktop, screen, world.scheduler};
    const QUuid other = FakeWorld::addTunnel(manager, u"other"_s).id;
    const QUuid id = FakeWorld::addTunnel(manager, u"a <b>\n"_s).id;

    void forEachChild(const std::function<void(FakeChildLauncher::Child &)> &act)
    {
        for (const auto &child : world.launcher.children) {
            if (child->isRunning)
                act(*child);
        }
    }
    /// Returns what is on the screen, sorted, and what else is to be seen.
    QString picture() const
    {
        QStringList texts;
        for (const Notification &notification : screen.shown)
            texts += notification.title + u": "_s + notification.body;
        texts.sort();
        const QString more = u"%1 shown so far, %2 timers run"_s;
        return (texts + QStringList{more.arg(screen.count).arg(world.scheduler.pendingCount())}).join(u'\n');
    }
};

using Deed = std::function<void(Bench &)>;
using Deeds = QList<Deed>;

const Deed start = [](Bench &on) { on.manager.start(on.id); };
const Deed startOther = [](Bench &on) { on.manager.start(on.other); };
const Deed startBoth = [](Bench &on) { on.manager.startAll(); };
const Deed stop = [](Bench &on) { on.manager.stop(on.id); };
const Deed removeTunnel = [](Bench &on) { on.manager.remove(on.id); };
const Deed quit = [](Bench &on) { on.notifications.end(); };
const Deed closeAll = [](Bench &on) { on.screen.shown.clear(); };
const Deed haveNoKeyring = [](Bench &on) { on.world.secrets.failure = SecretStatus::NotAvailable; };
const Deed haveNoToken = [](Bench &on) { on.world.secrets.items.clear(); };
const Deed haveNoProgram = [](Bench &on) { on.manager.setCloudflaredPath(u"/nowhere"_s); };
const Deed typeToken = [](Bench &on) { on.manager.update({on.id, u"a <b>\n"_s, {}, false}, u"new"_s); };
const Deed lock = [](Bench &on) { on.world.secrets.isLocked = true; };
const Deed unlock = [](Bench &on) { on.world.secrets.answer(); };
const Deed dismiss = [](Bench &on) {
    on.world.secrets.answer(SecretStatus::Locked);
    on.world.secrets.failure = SecretStatus::Success;
};
const auto waitFor = [](std::chrono::seconds time) -> Deed {
    return [=](Bench &on) { on.world.scheduler.advance(time); };
};
/// The last child prints the line; `print`: each of them.
const auto printLast = [](const QByteArray &line) -> Deed {
    return [=](Bench &on) { on.world.launcher.last().write(line + '\n'); };
};
const auto print = [](const QByteArray &line) -> Deed {
    return [=](Bench &on) { on.forEachChild([&](auto &child) { child.write(line + '\n'); }); };
};
const Deed exitAll = [](Bench &on) { on.forEachChild([](auto &child) { child.end(1); }); };
const Deed connectLast = printLast("Registered tunnel connection connIndex=0");
const Deed loseLast = printLast("Connection terminated connIndex=0");

/// Takes the steps, and lets the announcements of each arrive.
void perform(Bench &bench, const Deeds &deeds)
{
    for (const auto &deed : deeds) {
        deed(bench);
        QCoreApplication::processEvents();
    }
}

} // namespace

class TestTunnelNotifications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tells_data()
    {
        QTest::addColumn<Deeds>("deeds");
        QTest::addColumn<QString>("picture"); // at the end; the tunnel is called "a <b>\n"

        // What is on the screen, how much was shown so far, and the timers that run; a stop has one of its
        // own.
        const auto row = [](const char *name, const Deeds &deeds, const QString &shown, int count,
                            int timers = 0) {
            const QString more = u"%1 shown so far, %2 timers run"_s.arg(count).arg(timers);
            QTest::newRow(name) << deeds << (shown.isEmpty() ? more : shown + u'\n' + more);
        };
        const auto failed = [](const QString &reason) { return u"“a <b> ” failed: "_s + reason; };
        const auto hangs = [](const QString &reason) { return u"“a <b> ” is not connected: "_s + reason; };
        const QString unknown = u"Not connected after a minute, and cloudflared does not say why"_s;
        const QString exited = u"cloudflared exited (code 1)"_s;
        row("a failure is not told", {start, print("x ERR broken"), exitAll}, failed(u"broken"_s), 1);
        row("markup in a reason is lost", {start, print("no <file>"), exitAll}, failed(u"no <file>"_s), 1);
        row("a second failure is not told anew", {haveNoKeyring, start, start},
            failed(u"The token could not be read: the keyring is closed"_s), 2);
        row("a locked keyring is not told", {lock, start, waitFor(1s), waitFor(60s)},
            hangs(u"Waiting for the keyring"_s), 1);
        row("told before the minute is over", {start, print("INF a"), print("x ERR broken"), waitFor(59s)},
            {}, 0, 1);
        row("a minute without a connection is not told",
            {start, print("x INF a"), waitFor(59s), print("x ERR broken"), waitFor(1s), waitFor(300s)},
            hangs(u"broken"_s), 1);
        row("a minute without a word is not told", {start, print("x INF a"), waitFor(60s)}, hangs(unknown),
            1);
        row("a failure after a minute is a second notification",
            {start, print("x INF a"), waitFor(60s), print("x ERR broken"), exitAll}, failed(u"broken"_s), 2);
        row("other reasons are told one by one",
            {start, print("x INF a"), waitFor(60s), print("x ERR one"), print("x ERR two"), waitFor(1s)},
            hangs(u"two"_s), 2);
        row("another reason brings a closed one back",
            {start, print("x INF a"), waitFor(60s), closeAll, print("x ERR one"), waitFor(1s)}, {}, 1);
        row("a failure that was closed comes back with another tunnel",
            {start, exitAll, closeAll, startOther}, {}, 1, 2);
        row("the next try changes what is told of the failure",
            {start, exitAll, start, print("x INF a"), print("x ERR new"), waitFor(1s)}, failed(exited), 1, 1);
        const QString unreadable = u"The state of “a <b> ” cannot be read: The state shown may be wrong: "_s;
        row("silence of the level INF is told as no connection", {start, print("x ERR broken"), waitFor(60s)},
            unreadable +
                u"cloudflared has printed no line of level INF; its configuration may set loglevel. Last error: broken"_s,
            1);
        row("JSON is told as no connection", {start, print("{}"), waitFor(60s)},
            unreadable + u"cloudflared prints its log as JSON"_s, 1);
        row("a connection lost for a minute is not told",
            {start, print("x INF a"), connectLast, loseLast, print("x ERR broken"), waitFor(60s)},
            hangs(u"broken"_s), 1);
        row("a connection meanwhile does not count",
            {start, print("x INF a"), waitFor(40s), connectLast, loseLast, waitFor(40s)}, {}, 0, 1);
        row("a connection leaves it on the screen", {start, print("x INF a"), waitFor(60s), connectLast}, {},
            1);
        row("a stop leaves it on the screen", {start, print("x INF a"), waitFor(60s), stop}, {}, 1, 1);
        row("an end that was asked for is told", {start, print("x ERR broken"), stop, exitAll}, {}, 0);
        row("a cleared failure stays on the screen", {start, exitAll, stop}, {}, 1);
        row("a removed tunnel's stays on the screen", {start, exitAll, removeTunnel}, {}, 1);
        row("something is told after the end", {start, print("x INF a"), waitFor(60s), quit, exitAll}, {}, 1);

        const QString lost = u"The token of “a <b> ” is not stored: %1: set it again in Settings"_s;
        row("the end loses a token in silence", {lock, typeToken, quit},
            lost.arg(u"Morvanel ends before the keyring has taken it"_s), 1, 1);
        row("a token counts as lost though it is stored", {lock, typeToken, quit, unlock}, {}, 1);
        row("a token is given up in silence", {lock, typeToken, dismiss},
            lost.arg(u"the keyring is closed"_s), 1);
        row("a token counts as given up though it was stored later", {lock, typeToken, dismiss, typeToken},
            {}, 1);
        row("a removed tunnel's token stays on the screen", {lock, typeToken, dismiss, removeTunnel}, {}, 1);

        const QString both = u"\nother, a <b> "_s;
        row("two failures for one reason are two", {startBoth, exitAll},
            u"2 tunnels failed: "_s + exited + both, 1);
        row("two failures soon after one another are two", {start, exitAll, startOther, exitAll},
            u"2 tunnels failed: "_s + exited + both, 2);
        row("a later failure is joined", {start, exitAll, waitFor(1s), startOther, exitAll},
            failed(exited) + u"\n“other” failed: "_s + exited, 2);
        row("failures for two reasons are joined", {startBoth, printLast("x ERR broken"), exitAll},
            failed(u"broken"_s) + u"\n“other” failed: "_s + exited, 2);
        row("two that do not connect are two", {startBoth, print("x INF a"), waitFor(60s)},
            u"2 tunnels are not connected: "_s + unknown + both, 1);
        row("one of two has a reason, which is not told",
            {startBoth, print("x INF a"), waitFor(60s), printLast("x ERR broken"), waitFor(1s)},
            u"2 tunnels are not connected: other: "_s + unknown + u"\na <b> : broken"_s, 2);
        row("one of two connects and is still named",
            {startBoth, print("x INF a"), waitFor(60s), connectLast},
            u"“other” is not connected: "_s + unknown, 2, 0);
    }
    void tells()
    {
        QFETCH(Deeds, deeds);
        QFETCH(QString, picture);
        Bench bench;
        perform(bench, deeds);
        NO_FAULT(Pictures::difference(bench.picture(), picture));
    }

    void aClickOpensWhatHelps()
    {
        for (const auto &[deeds, windows] : {std::pair(Deeds{start, exitAll}, u"log%1, log%1"_s),
                                             std::pair(Deeds{haveNoKeyring, start}, u"log%1, log%1"_s),
                                             std::pair(Deeds{haveNoToken, start}, u"tunnel%1, log%1"_s),
                                             std::pair(Deeds{haveNoProgram, start}, u"general, log%1"_s),
                                             std::pair(Deeds{lock, typeToken, dismiss}, u"tunnel%1"_s)}) {
            Bench bench;
            perform(bench, deeds);
            for (const Notification &notification : bench.screen.shown) {
                notification.clicked();
                QCOMPARE(notification.clickLabel, windows.startsWith("log"_L1) ? u"Log…"_s : u"Settings…"_s);
                for (const Notification::Button &button : notification.buttons)
                    button.pressed();
            }
            QCOMPARE(bench.desktop.asked(), QString(windows).replace(u"%1"_s, bench.id.toString()));
        }
    }
};

QTEST_GUILESS_MAIN(TestTunnelNotifications)
#include "tst_tunnelnotifications.moc"
