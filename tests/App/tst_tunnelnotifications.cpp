// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AppFakes.h"
#include "Fakes.h"
#include "Notifications.h"
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
    const QHash<QString, std::function<void()>> words{
        {u"start"_s, [this] { manager.start(id); }},
        {u"start other"_s, [this] { manager.start(other); }},
        {u"start both"_s, [this] { manager.startAll(); }},
        {u"stop"_s, [this] { manager.stop(id); }},
        {u"remove"_s, [this] { manager.remove(id); }},
        {u"quit"_s, [this] { notifications.end(); }},
        {u"close"_s, [this] { screen.shown.clear(); }},
        {u"no keyring"_s, [this] { world.secrets.failure = SecretStatus::NotAvailable; }},
        {u"no token"_s, [this] { world.secrets.items.clear(); }},
        {u"no program"_s, [this] { manager.setCloudflaredPath(u"/nowhere"_s); }},
        {u"type"_s,
         [this] {
             manager.update({id, u"a <b>\n"_s, {}, false}, u"new"_s);
         }},
        {u"unlock"_s, [this] { world.secrets.answer(); }},
        {u"locked"_s, [this] { world.secrets.isLocked = true; }},
        {u"exit"_s, [this] { forEachChild([](FakeChildLauncher::Child &child) { child.end(1); }); }},
        {u"connect"_s, [this] { world.launcher.last().write("Registered tunnel connection connIndex=0\n"); }},
        {u"lose"_s, [this] { world.launcher.last().write("Connection terminated connIndex=0\n"); }}};

    void forEachChild(const std::function<void(FakeChildLauncher::Child &)> &act)
    {
        for (const auto &child : world.launcher.children) {
            if (child->isRunning)
                act(*child);
        }
    }
    /// Does what each word says, waits some seconds or has the children print a line, the last one alone
    /// where the line begins with "last", and lets the announcements arrive.
    void perform(const QString &steps)
    {
        for (const QString &step : steps.split(u", "_s)) {
            const QByteArray line = step.toUtf8() + '\n';
            if (words.contains(step))
                words[step]();
            else if (step.endsWith(u's'))
                world.scheduler.advance(std::chrono::seconds(step.chopped(1).toInt()));
            else if (step.startsWith(u"last "))
                world.launcher.last().write(line.sliced(5));
            else
                forEachChild([&](FakeChildLauncher::Child &child) { child.write(line); });
            QCoreApplication::processEvents();
        }
    }
    /// Returns what is on the screen, sorted.
    QString shown() const
    {
        QStringList texts;
        for (const Notification &notification : screen.shown)
            texts += notification.title + u": "_s + notification.body;
        texts.sort();
        return texts.join(u" | "_s);
    }
};

} // namespace

class TestTunnelNotifications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tells_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("shown"); // at the end; the tunnel is called "a <b>\n"
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("timers"); // a stop has one of its own

        const auto row = [](const char *name, const char *steps, const QString &shown, int count,
                            int timers = 0) {
            QTest::newRow(name) << QString::fromUtf8(steps) << shown << count << timers;
        };
        const auto failed = [](const QString &reason) { return u"“a <b> ” failed: "_s + reason; };
        const auto hangs = [](const QString &reason) { return u"“a <b> ” is not connected: "_s + reason; };
        const QString unknown = u"Not connected after a minute, and cloudflared does not say why"_s;
        const QString exited = u"cloudflared exited (code 1)"_s;
        row("a failure", "start, x ERR broken, exit", failed(u"broken"_s), 1);
        row("markup in a reason", "start, no <file>, exit", failed(u"no <file>"_s), 1);
        row("a second failure", "no keyring, start, start",
            failed(u"The token could not be read: the keyring is closed"_s), 2);
        row("a locked keyring", "locked, start, 1s, 60s", hangs(u"Waiting for the keyring"_s), 1);
        row("not a minute yet", "start, INF a, x ERR broken, 59s", {}, 0, 1);
        row("a minute", "start, x INF a, 59s, x ERR broken, 1s, 300s", hangs(u"broken"_s), 1);
        row("a minute without a word", "start, x INF a, 60s", hangs(unknown), 1);
        row("a failure after a minute", "start, x INF a, 60s, x ERR broken, exit", failed(u"broken"_s), 2);
        row("other reasons", "start, x INF a, 60s, x ERR one, x ERR two, 1s", hangs(u"two"_s), 2);
        row("another reason, closed", "start, x INF a, 60s, close, x ERR one, 1s", {}, 1);
        row("a try after a failure", "start, exit, start, x INF a, x ERR new, 1s", failed(exited), 1, 1);
        const QString unreadable = u"The state of “a <b> ” cannot be read: The state shown may be wrong: "_s;
        row("no line of level INF", "start, x ERR broken, 60s",
            unreadable +
                u"cloudflared has printed no line of level INF; its configuration may set loglevel. Last error: broken"_s,
            1);
        row("JSON", "start, {}, 60s", unreadable + u"cloudflared prints its log as JSON"_s, 1);
        row("lost for a minute", "start, x INF a, connect, lose, x ERR broken, 60s", hangs(u"broken"_s), 1);
        row("connected meanwhile", "start, x INF a, 40s, connect, lose, 40s", {}, 0, 1);
        row("connects at last", "start, x INF a, 60s, connect", {}, 1);
        row("stopped", "start, x INF a, 60s, stop", {}, 1, 1);
        row("ends after a stop", "start, x ERR broken, stop, exit", {}, 0);
        row("cleared", "start, exit, stop", {}, 1);
        row("removed", "start, exit, remove", {}, 1);
        row("quit", "start, x INF a, 60s, quit, exit", {}, 1);

        row("a token that is lost", "locked, type, quit",
            u"The token of “a <b> ” is not stored: "
            "Morvanel ends before the keyring has taken it: set it again in Settings"_s,
            1, 1);
        row("a token that is stored at last", "locked, type, quit, unlock", {}, 1);

        const QString both = u"\nother, a <b> "_s;
        row("two for one reason", "start both, exit", u"2 tunnels failed: "_s + exited + both, 1);
        row("soon after one another", "start, exit, start other, exit",
            u"2 tunnels failed: "_s + exited + both, 2);
        row("later than one another", "start, exit, 1s, start other, exit",
            failed(exited) + u" | “other” failed: "_s + exited, 2);
        row("for two reasons", "start both, last x ERR broken, exit",
            failed(u"broken"_s) + u" | “other” failed: "_s + exited, 2);
        row("two hang", "start both, x INF a, 60s", u"2 tunnels are not connected: "_s + unknown + both, 1);
        row("one of two has a reason", "start both, x INF a, 60s, last x ERR broken, 1s",
            u"2 tunnels are not connected: other: "_s + unknown + u"\na <b> : broken"_s, 2);
        row("one of two connects", "start both, x INF a, 60s, connect",
            u"“other” is not connected: "_s + unknown, 2, 0);
    }
    void tells()
    {
        Bench bench;
        QFETCH(QString, steps);
        bench.perform(steps);
        QTEST(bench.shown(), "shown");
        QTEST(bench.screen.count, "count");
        QTEST(int(bench.world.scheduler.pendingCount()), "timers");
    }

    void aClickOpensWhatHelps()
    {
        for (const auto &[steps, window] :
             {std::pair(u"start, exit"_s, u"log"_s), std::pair(u"no keyring, start"_s, u"log"_s),
              std::pair(u"no token, start"_s, u"tunnel"_s),
              std::pair(u"no program, start"_s, u"general"_s)}) {
            Bench bench;
            bench.perform(steps);
            const QString id = bench.id.toString();
            for (const Notification &notification : bench.screen.shown) {
                notification.clicked();
                notification.buttons.front().pressed();
            }
            QCOMPARE(bench.desktop.asked(),
                     (window == "general"_L1 ? window : window + id) + u", log"_s + id);
        }
    }
};

QTEST_GUILESS_MAIN(TestTunnelNotifications)
#include "tst_tunnelnotifications.moc"
