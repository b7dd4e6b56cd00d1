// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "TunnelRunner.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString path = u"/opt/cloudflared"_s;

QStringList linesOf(const TunnelRunner &runner)
{
    QStringList lines;
    for (qsizetype i = 0; i < runner.logLines().size(); ++i)
        lines += runner.logLines().line(i);
    return lines;
}

QByteArray registered(int index)
{
    return "INF Registered tunnel connection connIndex=" + QByteArray::number(index) + " ip=1\n";
}

/// A runner over fakes that writes down what its owner is told.
struct Bench
{
    FakeChildLauncher launcher;
    FakeScheduler scheduler;
    TunnelRunner runner{QUuid::createUuid(), launcher, scheduler};
    QStringList told;

    Bench()
    {
        runner.onStateChange = [this] { told += runner.state().label(); };
        runner.onProcessStarted = [this](qint32 pid) { told += u"started %1"_s.arg(pid); };
        runner.onProcessExited = [this](qint32 pid) { told += u"exited %1"_s.arg(pid); };
    }
    void start() { runner.start(path, u"eyJ-token"_s); }
    FakeChildLauncher::Child &child() { return launcher.last(); }
    QString state() const { return runner.state().label(); }
    /// Returns the lines that were logged after the one that tells of the start.
    QStringList logged() const { return linesOf(runner).mid(1); }
};

} // namespace

class TestTunnelRunner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void launchesWithExactlyTheCommand()
    {
        Bench bench;
        bench.start();
        const ChildCommand &command = bench.child().command;
        QCOMPARE(command.executable, path);
        QCOMPARE(command.arguments, (QStringList{u"tunnel"_s, u"run"_s}));
        const std::vector<std::pair<QByteArray, QByteArray>> expected{{"TUNNEL_TOKEN", "eyJ-token"},
                                                                      {"NO_AUTOUPDATE", "true"},
                                                                      {"TUNNEL_GRACE_PERIOD", "2s"},
                                                                      {"NO_COLOR", "1"}};
        QCOMPARE(command.environment, expected);
        QCOMPARE(linesOf(bench.runner), QStringList{u"▶\uFE0E Starting: /opt/cloudflared tunnel run"_s});
        QCOMPARE(bench.told, (QStringList{u"Connecting…"_s, u"started 1000"_s}));
    }

    /// The next run would not know the child by its program's name.
    void endsWithTheProgramWhereTheFileHasAnotherName()
    {
        const QTemporaryDir folder;
        const auto linkTo = [&](const QString &name) {
            const QString link = folder.filePath(name + u"-link/cloudflared"_s);
            QFile file(folder.filePath(name));
            QDir(folder.path()).mkpath(name + u"-link"_s);
            return file.open(QFile::WriteOnly) && file.link(link) ? link : QString();
        };
        for (const QString &name : {u"cloudflared"_s, u"cloudflared-linux-amd64"_s}) {
            Bench bench;
            bench.runner.start(linkTo(name), u"eyJ-token"_s);
            QCOMPARE(bench.child().command.endsWithThisProcess, name != "cloudflared"_L1);
        }
    }

    void tellsOfAFailedLaunch_data()
    {
        QTest::addColumn<bool>("isProcess");
        QTest::newRow("no program") << true;
        QTest::newRow("no process") << false;
    }
    void tellsOfAFailedLaunch()
    {
        QFETCH(bool, isProcess);
        Bench bench;
        (isProcess ? bench.launcher.error : bench.launcher.prepareError) = u"Exec format error"_s;
        bench.start();
        QCOMPARE(bench.logged(), QStringList{u"✖\uFE0E Could not start cloudflared: Exec format error"_s});
        QCOMPARE(bench.told, (QStringList{u"Connecting…"_s, u"Error: cloudflared could not be started"_s}));
        QCOMPARE(bench.runner.reason(), u"Could not start cloudflared: Exec format error"_s);
        QVERIFY(!bench.runner.hasChild());
    }

    void ends_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<bool>("isStopped");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("lastLine");
        QTest::addColumn<QString>("reason");

        QTest::newRow("silent") << QByteArray() << false << 1 << u"Error: cloudflared exited (code 1)"_s
                                << u"✖\uFE0E cloudflared exited (code 1)"_s
                                << u"cloudflared exited (code 1)"_s;
        QTest::newRow("bare last line")
            << QByteArray("INF a\nno such file\n") << false << 1 << u"Error: cloudflared exited (code 1)"_s
            << u"✖\uFE0E cloudflared exited (code 1)"_s << u"no such file"_s;
        QTest::newRow("clean but unasked")
            << QByteArray("INF bye\n") << false << 0 << u"Error: cloudflared exited (code 0)"_s
            << u"✖\uFE0E cloudflared exited (code 0)"_s << u"cloudflared exited (code 0)"_s;
        QTest::newRow("error field")
            << QByteArray("2024-01-01T00:00:00Z ERR Serve tunnel error error=\"x y\" connIndex=0\n") << false
            << 1 << u"Error: x y"_s << u"✖\uFE0E x y"_s << u"x y"_s;
        QTest::newRow("error in the unfinished line")
            << QByteArray("ERR a\ntoken is not valid") << false << 255 << u"Error: token is not valid"_s
            << u"✖\uFE0E token is not valid"_s << u"token is not valid"_s;
        QTest::newRow("error, then registered")
            << "x ERR broken\n" + registered(0) << false << 9 << u"Error: cloudflared exited (code 9)"_s
            << u"✖\uFE0E cloudflared exited (code 9)"_s << u"cloudflared exited (code 9)"_s;
        QTest::newRow("registration that is an error")
            << QByteArray("x ERR Registered tunnel connection\n") << false << 9
            << u"Error: Registered tunnel connection"_s << u"✖\uFE0E Registered tunnel connection"_s
            << u"Registered tunnel connection"_s;
        QTest::newRow("stopped, full of errors")
            << QByteArray("x ERR y\n") << true << 1 << u"Stopped"_s << u"■ Tunnel stopped"_s << QString();
    }

    void ends()
    {
        QFETCH(QByteArray, output);
        QFETCH(bool, isStopped);
        QFETCH(int, status);
        Bench bench;
        bench.start();
        if (isStopped)
            bench.runner.stop();
        bench.child().write(output);
        bench.child().end(status);
        QTEST(bench.state(), "state");
        QTEST(linesOf(bench.runner).last(), "lastLine");
        QTEST(bench.runner.reason(), "reason");
        QCOMPARE(bench.told.indexOf(u"exited 1000"_s), bench.told.size() - 2);
        QVERIFY(!bench.runner.hasChild());
        QCOMPARE(bench.scheduler.pendingCount(), 0);
    }

    void tellsTheReasonWhileItTries()
    {
        Bench bench;
        QStringList reasons;
        connect(&bench.runner, &TunnelRunner::reasonChanged, this,
                [&] { reasons += bench.runner.lastErrorNote(); });
        bench.start();
        for (const QByteArray &output :
             {QByteArray("x ERR a\nx ERR b\nINF c\n"), QByteArray("y ERR b\n"), QByteArray("x ERR d\n"),
              registered(0), QByteArray("x ERR Connection terminated error=\"e\" connIndex=0\n")})
            bench.child().write(output);
        QCOMPARE(reasons,
                 (QStringList{u"Last error: b"_s, u"Last error: d"_s, QString(), u"Last error: e"_s}));
        bench.child().end(1);
        bench.start();
        bench.child().write("x ERR e\n");
        QCOMPARE(reasons.mid(4), (QStringList{QString(), u"Last error: e"_s}));
        bench.runner.stop();
        QCOMPARE(bench.runner.reason(), QString());
    }

    void warnsWhereTheStateCannotBeRead_data()
    {
        QTest::addColumn<QByteArrayList>("setting");
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("cause");

        const QByteArray json = "bare\n{\"level\":\"info\"}\n{}\n";
        const QByteArrayList none{"TUNNEL_LOGLEVEL", "info"};
        QTest::newRow("level") << QByteArrayList{"TUNNEL_LOGLEVEL", "error"} << QByteArray()
                               << u"the environment sets TUNNEL_LOGLEVEL=error"_s;
        QTest::newRow("format, once") << QByteArrayList{"TUNNEL_LOG_OUTPUT", "json"} << json
                                      << u"the environment sets TUNNEL_LOG_OUTPUT=json"_s;
        QTest::newRow("output") << none << json << u"cloudflared prints its log as JSON"_s;
        QTest::newRow("late output") << none << QByteArray("plain\n").repeated(20) + json << QString();
        QTest::newRow("nothing") << none << QByteArray("INF {}\n") << QString();
    }
    void warnsWhereTheStateCannotBeRead()
    {
        QFETCH(QByteArrayList, setting);
        QFETCH(QByteArray, output);
        QFETCH(QString, cause);
        qputenv(setting[0], setting[1]);
        const auto restore = qScopeGuard([&] { qunsetenv(setting[0]); });
        Bench bench;
        bench.start();
        bench.child().write(output);
        const QString sentence = u"▶\uFE0E The state shown may be wrong: "_s;
        QCOMPARE(bench.logged().filter(sentence),
                 cause.isEmpty() ? QStringList() : QStringList{sentence + cause});
    }

    void aNewStartForgetsTheLastRun()
    {
        Bench bench;
        bench.start();
        bench.child().write(registered(0) + "x ERR old\nhalf \xff");
        bench.runner.stop();
        bench.child().end(0);
        bench.start();
        QCOMPARE(bench.state(), u"Connecting…"_s);
        bench.child().write("INF new\n");
        QCOMPARE(bench.state(), u"Connecting…"_s);
        bench.child().end(3);
        QCOMPARE(bench.state(), u"Error: cloudflared exited (code 3)"_s);
        QCOMPARE(bench.logged().size(), 7);
    }

    void stopsAndKillsAfterItsDeadline()
    {
        Bench bench;
        bench.start();
        bench.runner.stop();
        QCOMPARE(bench.state(), u"Stopping…"_s);
        bench.scheduler.advance(5999ms);
        QCOMPARE(bench.child().signalsSent, QList<int>{15});
        bench.scheduler.advance(1ms);
        QCOMPARE(bench.child().signalsSent, (QList<int>{15, 9}));
        bench.child().write(registered(0));
        QCOMPARE(bench.state(), u"Stopping…"_s);
        bench.child().end(9);
        QCOMPARE(bench.state(), u"Stopped"_s);
        QStringList lines = bench.logged();
        lines.removeAt(2);
        QCOMPARE(lines, (QStringList{u"■ Stop requested"_s, u"■ cloudflared is not responding, killing it"_s,
                                     u"■ Tunnel stopped"_s}));
    }

    void aFailureOfARunningTunnelKeepsItsChild()
    {
        Bench bench;
        bench.start();
        bench.runner.fail(u"x"_s);
        bench.start();
        QCOMPARE(bench.launcher.children.size(), 1U);
        bench.child().write("INF alive\n");
        QCOMPARE(bench.state(), u"Connecting…"_s);
        bench.runner.stop();
        QCOMPARE(bench.child().signalsSent, QList<int>{15});
    }

    void stopWithoutChild()
    {
        Bench bench;
        bench.runner.stop();
        QVERIFY(bench.told.isEmpty());
        bench.runner.fail(u"x"_s);
        bench.runner.fail(u"x"_s);
        bench.runner.fail(u"y"_s);
        bench.runner.stop();
        QCOMPARE(bench.told, (QStringList{u"Error: x"_s, u"Error: y"_s, u"Stopped"_s}));
        QCOMPARE(linesOf(bench.runner), (QStringList{u"✖\uFE0E x"_s, u"✖\uFE0E x"_s, u"✖\uFE0E y"_s}));
    }

    void aStopCheckSparesTheNextChild()
    {
        Bench bench;
        bench.start();
        bench.runner.stop();
        bench.child().end(0);
        bench.start();
        bench.scheduler.advance(10s);
        QCOMPARE(bench.child().signalsSent, QList<int>());
    }

    void cutsLinesAtEveryPlace()
    {
        const QByteArray output = "\xef\xbb\xbf"
                                  "ab\xc3\xa9\r\n\n\ncd\n\xf0\x9f\x9a\x87 e\tf\n";
        const QStringList expected{u"\uFEFFabé\r"_s, u"cd"_s, u"🚇 e\tf"_s, u"rest"_s};
        for (qsizetype cut = 0; cut <= output.size(); ++cut) {
            Bench bench;
            bench.start();
            if (cut > 0)
                bench.child().write(output.left(cut));
            if (cut < output.size())
                bench.child().write(output.mid(cut));
            bench.child().write("re");
            bench.child().write("st");
            QCOMPARE(bench.logged(), expected.mid(0, 3));
            bench.child().end(0);
            QCOMPARE(bench.logged().mid(0, 4), expected);
        }
    }

    void dropsWhatIsNoText()
    {
        Bench bench;
        bench.start();
        bench.child().write("one\n\xff\xfe ERR not text\n\xed\xa0\x80\n\xc0\xaf\ntwo\nhalf \xe2\x82");
        bench.child().end(4);
        QCOMPARE(bench.logged(), (QStringList{u"one"_s, u"two"_s, u"✖\uFE0E cloudflared exited (code 4)"_s}));
    }

    void derivesTheState_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QStringList>("states");

        const QString starting = u"Connecting…"_s;
        const QString one = u"Connected (1 connection)"_s;
        const QString two = u"Connected (2 connections)"_s;
        const QString lost = u"Reconnecting…"_s;
        QTest::newRow("other lines") << QByteArray("INF hello\nWRN Registered TUNNEL connection\n")
                                     << QStringList{starting};
        QTest::newRow("same index again")
            << registered(0) + registered(1) + registered(0) << QStringList{starting, one, two};
        QTest::newRow("without index")
            << QByteArray("Registered tunnel connection\nRegistered tunnel connection connIndex=x\n")
            << QStringList{starting, one, two};
        QTest::newRow("first index counts") << QByteArray("Registered tunnel connection connIndex=1 "
                                                          "connIndex=2\nConnection terminated connIndex=2\n")
                                            << QStringList{starting, one};
        QTest::newRow("lost by each word")
            << registered(0) + registered(1) + registered(12) +
                   "Unregistered tunnel connection connIndex=1\nx ERR Serve tunnel error connIndex=12\n"
                   "Connection terminated connIndex=0\n"
            << QStringList{starting, one, two, u"Connected (3 connections)"_s, two, one, lost};
        QTest::newRow("lost three times")
            << registered(0) + registered(1) +
                   "Unregistered tunnel connection connIndex=0\n"
                   "Serve tunnel error connIndex=0\nConnection terminated connIndex=0\n"
            << QStringList{starting, one, two, one};
        QTest::newRow("loss without index") << registered(0) + "Serve tunnel error\n"
                                            << QStringList{starting, one};
        QTest::newRow("loss before any")
            << QByteArray("Connection terminated connIndex=0\n") << QStringList{starting};
        QTest::newRow("back again") << registered(0) + "Connection terminated connIndex=0\n" + registered(3)
                                    << QStringList{starting, one, lost, one};
    }

    void derivesTheState()
    {
        QFETCH(QByteArray, lines);
        Bench bench;
        bench.start();
        bench.child().write(lines);
        bench.told.removeAll(u"started 1000"_s);
        QTEST(bench.told, "states");
    }

    void aDeadChildKeepsItsState()
    {
        Bench bench;
        bench.start();
        bench.child().die();
        bench.child().write(registered(0));
        QCOMPARE(bench.state(), u"Connecting…"_s);
        bench.runner.stop();
        QCOMPARE(bench.state(), u"Connecting…"_s);
        bench.child().end(1);
        QCOMPARE(bench.state(), u"Error: cloudflared exited (code 1)"_s);
    }

    void keepsTwoThousandLines()
    {
        Bench bench;
        bench.start();
        QByteArray output;
        for (int i = 1; i <= 5001; ++i)
            output += QByteArray::number(i) + (i == 4000 ? QByteArray(100'000, 'x') : QByteArray()) + '\n';
        bench.child().write(output);
        QCOMPARE(bench.runner.logLines().size(), 2000);
        QCOMPARE(bench.runner.logLines().line(0), u"3002"_s);
        QCOMPARE(bench.runner.logLines().line(998).size(), 100'004);
        QCOMPARE(bench.runner.logLines().line(1999), u"5001"_s);
        QCOMPARE(bench.runner.logLines().text().count(u'\n'), 1999);
    }
};

QTEST_GUILESS_MAIN(TestTunnelRunner)
#include "tst_tunnelrunner.moc"
