// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Fakes.h"
#include "TunnelRunner.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <map>

using namespace Qt::StringLiterals;

namespace {

QByteArray registered(int index)
{
    return "INF Registered tunnel connection connIndex=" + QByteArray::number(index) + " ip=1\n";
}

/// A runner over fakes that writes down, in order, what its owner is told and what the runner itself logs
/// after the start.
struct Bench
{
    FakeChildLauncher launcher;
    FakeScheduler scheduler;
    TunnelRunner runner{QUuid::createUuid(), launcher, scheduler};
    QStringList told;
    QStringList log;

    Bench()
    {
        runner.onStateChange = [this] { told += runner.state().label(); };
        runner.onProcessStarted = [this](qint32 pid) { told += u"started %1"_s.arg(pid); };
        runner.onProcessExited = [this](qint32 pid) { told += u"exited %1"_s.arg(pid); };
        QObject::connect(&runner, &TunnelRunner::reasonChanged, &runner, [this] {
            const TunnelStatus status = runner.status();
            told += u'(' + (status.isLastError ? status.note() : status.reason) + u')';
        });
        QObject::connect(&runner, &TunnelRunner::logLinesChanged, &runner, [this] { readLog(); });
    }
    FakeChildLauncher::Child &child() { return launcher.last(); }
    void start() { runner.start(u"/opt/cloudflared"_s, u"eyJ-token"_s); }
    void readLog()
    {
        for (qsizetype i = log.size(); i < runner.logLines().size(); ++i) {
            log += runner.logLines().line(i);
            if (u"▶■✖"_s.contains(log.last().front()) && !log.last().contains(u"Starting: "_s))
                told += QString(log.last()).remove(u'\uFE0E');
        }
    }
    /// Does what a word says, maybe with a number; any other text is output of the child.
    void act(const QByteArray &step)
    {
        const int number = step.sliced(step.lastIndexOf(' ') + 1).toInt();
        const std::map<QByteArray, std::function<void()>> actions{
            {"start", [&] { start(); }},
            {"stop", [&] { runner.stop(); }},
            {"fail", [&] { runner.fail(u"x"_s); }},
            {"no-process", [&] { launcher.mostChildren = 0; }},
            {"no-program", [&] { launcher.error = u"no program"_s; }},
            {"die", [&] { child().isRunning = false; }},
            {"end", [&] { child().end(number); }},
            {"killed", [&] { child().end(9, u"SIGKILL"_s); }},
            {"wait", [&] { scheduler.advance(std::chrono::milliseconds(number)); }},
            {"level", [&] { qputenv("TUNNEL_LOGLEVEL", step.sliced(6)); }},
            {"format", [&] { qputenv("TUNNEL_LOG_OUTPUT", step.sliced(7)); }}};
        const auto action = actions.find(step.split(' ').first());
        if (action != actions.end())
            action->second();
        else
            child().write(step);
    }
};

} // namespace

class TestTunnelRunner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void launchesWithExactlyTheCommand()
    {
        const QTemporaryDir folder;
        for (const QString &name : {u"cloudflared"_s, u"cloudflared-linux-amd64"_s}) {
            const QString link = folder.filePath(name + u"-link/cloudflared"_s);
            QFile file(folder.filePath(name));
            QVERIFY(QDir().mkpath(QFileInfo(link).path()) && file.open(QFile::WriteOnly) && file.link(link));
            Bench bench;
            bench.runner.start(link, u"eyJ-token"_s);
            const ChildCommand &command = bench.child().command;
            QCOMPARE(command.executable, link);
            QCOMPARE(command.arguments, (QStringList{u"tunnel"_s, u"run"_s}));
            const std::vector<std::pair<QByteArray, QByteArray>> expected{{"TUNNEL_TOKEN", "eyJ-token"},
                                                                          {"NO_AUTOUPDATE", "true"},
                                                                          {"TUNNEL_GRACE_PERIOD", "2s"},
                                                                          {"NO_COLOR", "1"}};
            QCOMPARE(command.environment, expected);
            QCOMPARE(bench.log, QStringList{u"▶\uFE0E Starting: %1 tunnel run"_s.arg(link)});
        }
    }

    void padsTokens()
    {
        const std::pair<const char *, const char *> rows[]{
            {"eyJzIjoxfQ", "eyJzIjoxfQ=="}, // {"s":1}
            {"eyJzIjoxMn0", "eyJzIjoxMn0="},
            {"eyJzIjoxMjN9", "eyJzIjoxMjN9"},
            {"eyJzIjoiPz8_In0", "eyJzIjoiPz8_In0"}, // safe in addresses, no plain Base64
            {"WzFd", "WzFd"},                       // [1], padded already
            {"WzEsMl0", "WzEsMl0"},                 // [1,2]
            {"eyJ-token", "eyJ-token"},
            {"eyJzIjoxf", "eyJzIjoxf"}}; // of no possible length
        for (const auto &[token, handedOver] : rows) {
            Bench bench;
            bench.runner.start(u"cloudflared"_s, QString::fromLatin1(token));
            QCOMPARE(bench.child().command.environment.front().second, QByteArray(handedOver));
        }
    }

    void lives_data()
    {
        QTest::addColumn<QList<QByteArray>>("steps");
        QTest::addColumn<QString>("told");

        const auto row = [](const char *name, const QList<QByteArray> &steps, const QString &told) {
            QTest::newRow(name) << steps << told;
        };
        const QString started = u"Connecting… | started 1000"_s;
        const auto run = [&](const char *name, const QList<QByteArray> &steps, const QString &told) {
            row(name, QList<QByteArray>{"start"} + steps, started + u" | "_s + told);
        };
        const auto exited = [](int code, const QString &reason = {}) {
            const QString message = u"cloudflared exited (code %1)"_s.arg(code);
            return u"exited 1000 | ✖ %1 | Error: %1 | (%2)"_s.arg(message,
                                                                  reason.isEmpty() ? message : reason);
        };
        const QString one = u"Connected (1 connection)"_s;
        const QString two = u"Connected (2 connections)"_s;
        const QString three = u"Connected (3 connections)"_s;
        const QString stopping = u"Stopping… | ■ Stop requested"_s;
        const QString stopped = u"exited 1000 | ■ Tunnel stopped | Stopped"_s;

        const QString refused = u"Connecting… | ✖ Could not start cloudflared: no program | "
                                "Error: cloudflared could not be started | "
                                "(Could not start cloudflared: no program)"_s;
        row("no program", {"no-program", "start"}, refused);
        row("no process", {"no-program", "no-process", "start"}, refused);
        row("no child", {"stop", "fail", "fail", "stop"}, u"✖ x | Error: x | (x) | ✖ x | (x) | Stopped"_s);

        run("silent", {"end 0"}, exited(0));
        run("bare last line", {"INF a\nno such file\n", "end 1"}, exited(1, u"no such file"_s));
        run("last line of the log", {"no such file\nINF a\n", "end 1"}, exited(1));
        run("own last line", {"bare\n", "fail", "end 1"}, u"✖ x | Error: x | (x) | "_s + exited(1));
        run("error in the unfinished line", {"ERR a\nx\nerror=\"b\" is not valid", "end 255"},
            u"(Last error: a) | exited 1000 | ✖ b | Error: b | (b)"_s);
        run("error, then registered", {"x ERR broken\n" + registered(0), "end 9"},
            one + u" | "_s + exited(9));
        run("ended by a signal", {"x ERR a\n", "killed"},
            u"(Last error: a) | exited 1000 | ✖ a | Error: a | (cloudflared was ended by SIGKILL)"_s);
        run("dead before its output", {"die", registered(0), "stop", "end 1"}, exited(1));

        run("failed while it runs", {"fail", "start", "INF alive\n", "stop"},
            u"✖ x | Error: x | (x) | Connecting… | "_s + stopping + u" | 1000 got 15"_s);
        run("stopped",
            {registered(0) + "x ERR old\nhalf \xff", "stop", "end 0", "start", "wait 6000", "end 3"},
            one + u" | "_s + stopping + u" | "_s + stopped + u" | Connecting… | started 1001 | "_s +
                exited(3).replace(u"1000"_s, u"1001"_s) + u" | 1000 got 15"_s);
        run("killed", {"stop", "wait 5999", "stop", "wait 1", registered(0) + "x ERR y\n", "end 9"},
            stopping + u" | ■ Stop requested | ■ cloudflared is not responding, killing it | "_s + stopped +
                u" | 1000 got 15 | 1000 got 15 | 1000 got 9"_s);
        run("tells the reason",
            {"x ERR a\nx ERR b\nINF c\n", "y ERR b\n", "x ERR d\n", registered(0),
             "x ERR Connection terminated error=\"e\" connIndex=0\n", "end 1", "start", "x ERR e\n", "stop"},
            u"(Last error: b) | (Last error: d) | "_s + one +
                u" | () | Reconnecting… | (Last error: e) | exited 1000 | ✖ e | Error: e | (e) | "
                "Connecting… | started 1001 | (Last error: e) | "_s +
                stopping + u" | 1001 got 15"_s);

        run("same index again, and none twice",
            {registered(0) + registered(0) +
             "RRegistered tunnel connection\nRegistered tunnel connection connIndex=x\n"},
            one + u" | "_s + two + u" | "_s + three);
        run("lost by each word",
            {registered(0) + registered(1) + registered(12) +
             "Unregistered tunnel connection connIndex=1\xc2\xbd connIndex=0\nServe tunnel error\n"
             "Serve tunnel error connIndex=12\nConnection terminated connIndex=0\nConnection lost\n"},
            QStringList{one, two, three, two, one, u"Reconnecting…"_s}.join(u" | "_s));
        run("connections end with their child",
            {registered(0) + registered(1), "end 1", "start", registered(2)},
            one + u" | "_s + two + u" | "_s + exited(1) + u" | Connecting… | started 1001 | "_s + one);
        run("back again",
            {"Connection terminated connIndex=0\n" + registered(0), "Connection terminated connIndex=0\n",
             registered(3)},
            one + u" | Reconnecting… | "_s + one);

        const QByteArray json = "bare\n{\"level\":\"info\"}\n{}\n";
        const QString doubt = u"▶ The state shown may be wrong: "_s;
        const QString level = u"the environment sets TUNNEL_LOGLEVEL=error | "_s;
        row("level", {"level error", "start"}, doubt + level + started);
        const QString format = u"the environment sets TUNNEL_LOG_OUTPUT=json | "_s;
        row("format", {"format json", "start", json}, doubt + format + started);
        row("JSON", {"level info", "start", QByteArray("INF {}\n").repeated(8) + json},
            started + u" | "_s + doubt + u"cloudflared prints its log as JSON"_s);
        const QString hidden =
            u"cloudflared has printed no line of level INF; its configuration may set loglevel"_s;
        row("no line of level INF", {"start", "x WRN INF\n", "wait 20000"},
            started + u" | "_s + doubt + hidden);
        row("JSON is doubted once", {"start", "{}\n", "wait 20000"},
            started + u" | "_s + doubt + u"cloudflared prints its log as JSON"_s);
        row("read", {"start", "x INF a\n", "wait 20000"}, started);
        row("late JSON", {"start", QByteArray("INF {}\n").repeated(9) + json}, started);
    }

    void lives()
    {
        QFETCH(QList<QByteArray>, steps);
        Bench bench;
        for (const QByteArray &step : steps)
            bench.act(step);
        for (const auto &child : bench.launcher.children) {
            for (const int number : child->signalsSent)
                bench.told += u"%1 got %2"_s.arg(child->pid).arg(number);
        }
        qunsetenv("TUNNEL_LOGLEVEL");
        qunsetenv("TUNNEL_LOG_OUTPUT");
        QFETCH(QString, told);
        QCOMPARE(bench.told, told.split(u" | "_s));
    }

    void explainsItsEnd_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("reason");

        const QString exited = u"cloudflared exited (code 1)"_s;
        QTest::newRow("ends at an escaped quote")
            << u"x ERR a error=\"Get \\\"b\\\": \\\\ \" connIndex=0"_s << u"Get \\"_s << u"Get \"b\": \\ "_s;
        QTest::newRow("fields behind one word")
            << u"x ERR no way error=Unauthorized connIndex=0 ip=1"_s
            << u"no way error=Unauthorized connIndex=0 ip=1"_s << u"no way: Unauthorized"_s;
        QTest::newRow("fields without an error") << u"x ERR 1=1 is so connIndex=0 a=\"b c\""_s
                                                 << u"1=1 is so connIndex=0 a=\"b c\""_s << u"1=1 is so"_s;
        QTest::newRow("no text in quotes")
            << u"x ERR no way error=\"\" a=1\t"_s << u"no way error=\"\" a=1"_s << u"no way"_s;
        QTest::newRow("no last quote") << u"x ERR a error=\"no way"_s << u"no way"_s << u"no way"_s;
        QTest::newRow("update check")
            << u"x ERR update check failed error=\"no way\""_s << u"no way"_s << exited;
        QTest::newRow("help behind an error")
            << u"x ERR broken\nx ERR Please try: event=0\nx ERR   1. a event=0"_s << u"1. a event=0"_s
            << u"broken"_s;
        QTest::newRow("printed help")
            << u"Incorrect Usage: -x\nNAME:\n   y\nSee 'z'."_s << exited << u"Incorrect Usage: -x"_s;
    }
    void explainsItsEnd()
    {
        Bench bench;
        bench.start();
        QFETCH(QString, output);
        bench.child().write(output.toUtf8());
        bench.child().end(1);
        QTEST(bench.runner.state().message(), "message");
        QTEST(bench.runner.status().reason, "reason");
    }

    void cutsLinesAtEveryPlace()
    {
        const QByteArray output = "\xef\xbb\xbf"
                                  "ab\xc3\xa9\r\n\n\ncd\n\xff ERR\n\xf0\x9f\x9a\x87 e\tf\n";
        const QStringList expected{u"\uFEFFabé\r"_s, u"cd"_s, u"🚇 e\tf"_s, u"rest"_s};
        for (qsizetype cut = 0; cut <= output.size(); ++cut) {
            Bench bench;
            bench.start();
            for (const QByteArray &piece :
                 {output.left(cut), output.mid(cut), QByteArray("re"), QByteArray("st")})
                bench.child().write(piece);
            QCOMPARE(bench.log.mid(1), expected.mid(0, 3));
            bench.child().end(0);
            QCOMPARE(bench.log.mid(1, 4), expected);
        }
    }

    void cutsEndlessLines()
    {
        Bench bench;
        bench.start();
        const QByteArray half(512 * 1024 - 1, 'x');
        for (const QByteArray &piece :
             {half, half + "\xc3\xa9\n", half, half + "\xf0\x9f\x9a\x87", half, QByteArray("\xff\na\n")})
            bench.child().write(piece);
        bench.child().write(half + half + half + "\nb\n");
        const QString whole = QString::fromLatin1(half + half);
        QCOMPARE(bench.log.mid(1),
                 (QStringList{whole + u'é', u"▶\uFE0E Cut a line after 1 MiB, as others will be"_s, whole,
                              u"a"_s, whole + u'x', u"b"_s}));
    }

    void keepsTwoThousandLines()
    {
        Bench bench;
        bench.start();
        QByteArray output;
        for (int i = 1; i <= 5001; ++i)
            output += QByteArray::number(i) + (i == 4000 ? QByteArray(100'000, 'x') : QByteArray()) + '\n';
        bench.child().write(output);
        const LogBuffer &log = bench.runner.logLines();
        QCOMPARE(log.size(), 2000);
        QCOMPARE(log.line(0), u"3002"_s);
        QCOMPARE(log.line(998).size(), 100'004);
        QCOMPARE(log.line(1999), u"5001"_s);
        QCOMPARE(log.text().count(u'\n'), 1999);
        bench.runner.clearLog();
        bench.child().write("a\nb\n");
        QCOMPARE(log.text(), u"a\nb"_s);
        QCOMPARE(log.endNumber(), 5004U);
    }
};

QTEST_GUILESS_MAIN(TestTunnelRunner)
#include "tst_tunnelrunner.moc"
