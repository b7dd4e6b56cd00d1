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

    void tellsOfAFailedLaunch()
    {
        for (const int mostChildren : {1, 0}) {
            Bench bench;
            bench.launcher.mostChildren = mostChildren;
            bench.launcher.error = u"Exec format error"_s;
            bench.start();
            QCOMPARE(bench.logged(),
                     QStringList{u"✖\uFE0E Could not start cloudflared: Exec format error"_s});
            QCOMPARE(bench.told,
                     (QStringList{u"Connecting…"_s, u"Error: cloudflared could not be started"_s}));
            QCOMPARE(bench.runner.reason(), u"Could not start cloudflared: Exec format error"_s);
            QVERIFY(!bench.runner.hasChild());
        }
    }

    void ends_data()
    {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("reason");

        const QString exited = u"cloudflared exited (code %1)"_s;
        QTest::newRow("silent") << QByteArray() << 0 << exited.arg(0) << exited.arg(0);
        QTest::newRow("bare last line")
            << QByteArray("INF a\nno such file\n") << 1 << exited.arg(1) << u"no such file"_s;
        QTest::newRow("last line of the log")
            << QByteArray("no such file\nINF a\n") << 1 << exited.arg(1) << exited.arg(1);
        QTest::newRow("error in the unfinished line") << QByteArray("ERR a\ntoken is not valid") << 255
                                                      << u"token is not valid"_s << u"token is not valid"_s;
        QTest::newRow("error, then registered")
            << "x ERR broken\n" + registered(0) << 9 << exited.arg(9) << exited.arg(9);
    }
    void ends()
    {
        QFETCH(QByteArray, output);
        QFETCH(int, status);
        QFETCH(QString, message);
        Bench bench;
        bench.start();
        bench.child().write(output);
        bench.child().end(status);
        QCOMPARE(bench.state(), u"Error: "_s + message);
        QCOMPARE(linesOf(bench.runner).last(), u"✖\uFE0E "_s + message);
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

    void warnsWhereTheStateCannotBeRead()
    {
        struct Row
        {
            const char *variable;
            QByteArray value;
            QByteArray output;
            QString cause; ///< empty for none
        };
        const QByteArray json = "bare\n{\"level\":\"info\"}\n{}\n";
        const char *const level = "TUNNEL_LOGLEVEL";
        for (const auto &[variable, value, output, cause] :
             {Row{level, "error", {}, u"the environment sets TUNNEL_LOGLEVEL=error"_s},
              Row{"TUNNEL_LOG_OUTPUT", "json", json, u"the environment sets TUNNEL_LOG_OUTPUT=json"_s},
              Row{level, "info", json, u"cloudflared prints its log as JSON"_s},
              Row{level, "info", QByteArray("INF {}\n").repeated(20) + json, {}}}) {
            qputenv(variable, value);
            Bench bench;
            bench.start();
            qunsetenv(variable);
            bench.child().write(output);
            const QString sentence = u"▶\uFE0E The state shown may be wrong: "_s;
            QCOMPARE(bench.logged().filter(sentence),
                     cause.isEmpty() ? QStringList() : QStringList{sentence + cause});
        }
    }

    void aNewStartForgetsTheLastRun()
    {
        Bench bench;
        bench.start();
        bench.child().write(registered(0) + "x ERR old\nhalf \xff");
        bench.runner.stop();
        bench.child().end(0);
        QCOMPARE(bench.scheduler.pendingCount(), 0);
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
        bench.child().write(registered(0) + "x ERR y\n");
        QCOMPARE(bench.state(), u"Stopping…"_s);
        bench.child().end(9);
        QCOMPARE(bench.state(), u"Stopped"_s);
        QCOMPARE(bench.logged().filter(u"■"_s),
                 (QStringList{u"■ Stop requested"_s, u"■ cloudflared is not responding, killing it"_s,
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

    void cutsLinesAtEveryPlace()
    {
        const QByteArray output = "\xef\xbb\xbf"
                                  "ab\xc3\xa9\r\n\n\ncd\n\xff ERR\n\xf0\x9f\x9a\x87 e\tf\n";
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

    void derivesTheState_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QStringList>("states");

        const QString starting = u"Connecting…"_s;
        const QString one = u"Connected (1 connection)"_s;
        const QString two = u"Connected (2 connections)"_s;
        const QString three = u"Connected (3 connections)"_s;
        const QString lost = u"Reconnecting…"_s;
        QTest::newRow("same index again, and none twice")
            << registered(0) + registered(0) +
                   "Registered tunnel connection\nRegistered tunnel connection connIndex=x\n"
            << QStringList{starting, one, two, three};
        QTest::newRow("lost by each word")
            << registered(0) + registered(1) + registered(12) +
                   "Unregistered tunnel connection connIndex=1\nx ERR Serve tunnel error connIndex=12\n"
                   "Serve tunnel error\nConnection terminated connIndex=12\n"
                   "Connection terminated connIndex=0\n"
            << QStringList{starting, one, two, three, two, one, lost};
        QTest::newRow("back again") << "Connection terminated connIndex=0\n" + registered(0) +
                                           "Connection terminated connIndex=0\n" + registered(3)
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
        bench.child().isRunning = false;
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
