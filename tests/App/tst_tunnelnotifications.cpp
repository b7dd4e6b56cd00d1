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
        {u"stop"_s, [this] { manager.stop(id); }},
        {u"remove"_s, [this] { manager.remove(id); }},
        {u"quit"_s, [this] { notifications.end(); }},
        {u"no keyring"_s, [this] { world.secrets.failure = SecretStatus::NotAvailable; }},
        {u"locked"_s, [this] { world.secrets.isLocked = true; }},
        {u"exit"_s, [this] { world.launcher.last().end(1); }},
        {u"connect"_s, [this] { world.launcher.last().write("Registered tunnel connection connIndex=0\n"); }},
        {u"lose"_s, [this] { world.launcher.last().write("Connection terminated connIndex=0\n"); }}};

    /// Does what the word says, waits some seconds or writes a line, and lets the announcements arrive.
    void perform(const QString &step)
    {
        if (words.contains(step))
            words[step]();
        else if (step.endsWith(u's'))
            world.scheduler.advance(std::chrono::seconds(step.chopped(1).toInt()));
        else
            world.launcher.last().write(step.toUtf8() + '\n');
        QCoreApplication::processEvents();
    }
};

} // namespace

class TestTunnelNotifications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tells_data()
    {
        QTest::addColumn<QString>("shown"); // at the end; the tunnel's name stands before it
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("timers"); // a stop has one of its own

        QTest::newRow("start, x ERR broken, exit") << u"broken"_s << 1 << 0;
        QTest::newRow("start, no <file>, exit") << u"no <file>"_s << 1 << 0;
        QTest::newRow("no keyring, start, start")
            << u"The token could not be read: the keyring is closed"_s << 2 << 0;
        QTest::newRow("locked, start, 1s, 60s") << u"Waiting for the keyring to be unlocked"_s << 1 << 0;
        QTest::newRow("start, x ERR broken, 59s") << QString() << 0 << 1;
        QTest::newRow("start, 59s, x ERR broken, 1s, 300s") << u"broken"_s << 1 << 0;
        QTest::newRow("start, 60s") << u"Connecting…"_s << 1 << 0;
        QTest::newRow("start, 60s, x ERR broken, exit") << u"broken"_s << 2 << 0;
        QTest::newRow("start, connect, lose, x ERR broken, 60s") << u"broken"_s << 1 << 0;
        QTest::newRow("start, 40s, connect, lose, 40s") << QString() << 0 << 1;
        QTest::newRow("start, 60s, connect") << QString() << 1 << 0;
        QTest::newRow("start, 60s, stop") << QString() << 1 << 1;
        QTest::newRow("start, x ERR broken, stop, exit") << QString() << 0 << 0;
        QTest::newRow("start, exit, stop") << QString() << 1 << 0;
        QTest::newRow("start, exit, remove") << QString() << 1 << 0;
        QTest::newRow("start, 60s, quit, exit") << QString() << 1 << 0;
    }
    void tells()
    {
        QFETCH(QString, shown);
        Bench bench;
        for (const QString &step : QString::fromUtf8(QTest::currentDataTag()).split(u", "_s))
            bench.perform(step);
        const Notification seen = bench.screen.shown.value(bench.id);
        QCOMPARE(seen.body, shown);
        QCOMPARE(seen.title, shown.isEmpty() ? QString() : u"a <b> "_s);
        QTEST(bench.screen.count, "count");
        QTEST(int(bench.world.scheduler.pendingCount()), "timers");
    }

    void aClickOpensTheLog()
    {
        Bench bench;
        for (const QString &step : {u"start"_s, u"exit"_s})
            bench.perform(step);
        bench.screen.shown.value(bench.id).clicked();
        QCOMPARE(bench.desktop.asked(), QStringList{u"log"_s + bench.id.toString()});
    }
};

QTEST_GUILESS_MAIN(TestTunnelNotifications)
#include "tst_tunnelnotifications.moc"
